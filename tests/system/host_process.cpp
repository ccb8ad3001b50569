#include "system/host_process.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qvant::test {

namespace {

constexpr int PATIENCE = 30'000;

struct Pipe {
    Pipe() {
        if (pipe2(m_arEnds, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    }
    int m_arEnds[2];
};

void Close(int& nFile) {
    if (nFile >= 0) close(nFile);
    nFile = -1;
}

void Await(int nFile, short nEvents, const char* pszWhat) {
    pollfd file{nFile, nEvents, 0};
    int nReady = 0;
    while ((nReady = poll(&file, 1, PATIENCE)) < 0 && errno == EINTR) {
    }
    if (nReady == 0) throw std::runtime_error(std::string("the program takes too long: ") + pszWhat);
}

std::filesystem::path BuildFolder() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path();
}

}  // namespace

CProcess::CProcess(const std::vector<std::string>& arCommand, const Variables& arVariables) {
    std::signal(SIGPIPE, SIG_IGN);
    Pipe input, output;
    m_nErrors = memfd_create("errors", MFD_CLOEXEC);
    m_nProcess = fork();
    if (m_nProcess < 0) throw std::runtime_error("can't fork");
    if (m_nProcess == 0) Execute(arCommand, arVariables, input.m_arEnds[0], output.m_arEnds[1]);
    close(input.m_arEnds[0]);
    close(output.m_arEnds[1]);
    m_nInput = input.m_arEnds[1];
    m_nOutput = output.m_arEnds[0];
    fcntl(m_nInput, F_SETFL, O_NONBLOCK);
}

CProcess::~CProcess() {
    if (m_nProcess > 0) {
        kill(m_nProcess, SIGKILL);
        waitpid(m_nProcess, nullptr, 0);
    }
    Close(m_nInput);
    Close(m_nOutput);
    Close(m_nErrors);
}

void CProcess::Execute(const std::vector<std::string>& arCommand, const Variables& arVariables, int nInput,
                       int nOutput) const {
    dup2(nInput, STDIN_FILENO);
    dup2(nOutput, STDOUT_FILENO);
    dup2(m_nErrors, STDERR_FILENO);
    std::signal(SIGPIPE, SIG_DFL);
    for (const auto& [strName, strValue] : arVariables) setenv(strName.c_str(), strValue.c_str(), 1);
    std::vector<char*> arPointers;
    for (const std::string& strWord : arCommand) arPointers.push_back(const_cast<char*>(strWord.c_str()));
    arPointers.push_back(nullptr);
    execv(arPointers[0], arPointers.data());
    _exit(127);
}

void CProcess::Write(std::string_view strBytes) {
    while (!strBytes.empty()) {
        const ssize_t nWritten = write(m_nInput, strBytes.data(), strBytes.size());
        if (nWritten >= 0) {
            strBytes.remove_prefix(static_cast<std::size_t>(nWritten));
        } else if (errno == EAGAIN) {
            Await(m_nInput, POLLOUT, "it doesn't read");
        } else if (errno != EINTR) {
            return;
        }
    }
}

void CProcess::CloseInput() { Close(m_nInput); }

void CProcess::CloseOutput() { Close(m_nOutput); }

bool CProcess::Fill() {
    Await(m_nOutput, POLLIN, "it doesn't write");
    char szBytes[65536];
    const ssize_t nRead = read(m_nOutput, szBytes, sizeof szBytes);
    if (nRead <= 0) return false;
    m_strBuffer.erase(0, m_nStart);
    m_nStart = 0;
    m_strBuffer.append(szBytes, static_cast<std::size_t>(nRead));
    return true;
}

bool CProcess::ReadLine(std::string& strLine) {
    std::size_t nSearched = m_nStart;
    while (true) {
        const std::size_t nEnd = m_strBuffer.find('\n', nSearched);
        if (nEnd != std::string::npos) {
            strLine = m_strBuffer.substr(m_nStart, nEnd - m_nStart);
            m_nStart = nEnd + 1;
            return true;
        }
        nSearched = m_strBuffer.size() - m_nStart;
        if (!Fill()) return false;
    }
}

std::string CProcess::ReadAll() {
    while (Fill()) {
    }
    return m_strBuffer.substr(std::exchange(m_nStart, m_strBuffer.size()));
}

void CProcess::Signal(int nSignal) const { kill(m_nProcess, nSignal); }

int CProcess::Wait() {
    const int nHandle = static_cast<int>(syscall(SYS_pidfd_open, m_nProcess, 0));
    Await(nHandle, POLLIN, "it doesn't end");
    close(nHandle);
    int nStatus = 0;
    waitpid(std::exchange(m_nProcess, -1), &nStatus, 0);
    return WIFSIGNALED(nStatus) ? -WTERMSIG(nStatus) : WEXITSTATUS(nStatus);
}

std::string CProcess::GetErrors() const {
    // The offset is the program's, which writes on: the size is asked for without moving it.
    struct stat info {};
    fstat(m_nErrors, &info);
    std::string strErrors(static_cast<std::size_t>(info.st_size), '\0');
    const ssize_t nRead = pread(m_nErrors, strErrors.data(), strErrors.size(), 0);
    strErrors.resize(static_cast<std::size_t>(std::max<ssize_t>(nRead, 0)));
    return strErrors;
}

namespace {

rapidjson::Document ParseLine(const std::string& strLine) {
    rapidjson::Document document;
    document.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(strLine.data(),
                                                                                           strLine.size());
    if (document.HasParseError() || !document.IsObject()) throw std::runtime_error("not a JSON line: " + strLine);
    return document;
}

}  // namespace

CHostProcess::CHostProcess(std::vector<std::string> arArguments, const CProcess::Variables& arVariables)
    : m_process(
          [&arArguments] {
              arArguments.insert(arArguments.begin(), {ProgramPath("lumivale-host"), "--json"});
              return arArguments;
          }(),
          arVariables) {}

rapidjson::Document CHostProcess::Ask(std::string_view strRequest) {
    m_process.Write(std::string(strRequest) + '\n');
    return ReadReply();
}

rapidjson::Document CHostProcess::ReadNext() {
    std::string strLine;
    return m_process.ReadLine(strLine) ? ParseLine(strLine) : rapidjson::Document();
}

std::vector<rapidjson::Document> CHostProcess::GetEvents() const {
    std::vector<rapidjson::Document> arEvents;
    for (const std::string& strLine : m_arEvents) arEvents.push_back(ParseLine(strLine));
    return arEvents;
}

rapidjson::Document CHostProcess::ReadReply() {
    for (std::string strLine; m_process.ReadLine(strLine);) {
        rapidjson::Document document = ParseLine(strLine);
        if (document.HasMember("reply")) return document;
        m_arEvents.push_back(strLine);
    }
    throw std::runtime_error("the host ended: " + m_process.GetErrors());
}

std::string CHostProcess::AskFor(std::string_view strRequest, const char* pszMember) {
    const rapidjson::Document reply = Ask(strRequest);
    if (!reply["ok"].GetBool()) return std::string("error: ") + reply["error"].GetString();
    return reply.HasMember(pszMember) ? ToJson(reply[pszMember]) : "absent";
}

std::string CHostProcess::AskForError(std::string_view strRequest) {
    const rapidjson::Document reply = Ask(strRequest);
    return reply["ok"].GetBool() ? "" : reply["error"].GetString();
}

std::vector<std::string> CHostProcess::GetEvents(std::string_view strKind) const {
    std::vector<std::string> arTexts;
    for (const std::string& strLine : m_arEvents) {
        rapidjson::Document fields = ParseLine(strLine);
        if (fields["event"].GetString() != strKind) continue;
        for (const char* pszName : {"event", "n", "ms"}) fields.EraseMember(pszName);
        arTexts.push_back(ToJson(fields));
    }
    return arTexts;
}

int CHostProcess::Finish() {
    m_process.CloseInput();
    for (std::string strLine; m_process.ReadLine(strLine);) {
        if (ParseLine(strLine).HasMember("event")) m_arEvents.push_back(strLine);
    }
    return m_process.Wait();
}

std::string ToJson(const rapidjson::Value& value) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    value.Accept(writer);
    return {buffer.GetString(), buffer.GetSize()};
}

std::string ProgramPath(std::string_view strName) { return (BuildFolder() / "bin" / strName).string(); }

std::string LibraryPath(std::string_view strName) { return (BuildFolder() / "lib" / strName).string(); }

}  // namespace qvant::test

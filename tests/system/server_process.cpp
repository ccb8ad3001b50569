#include "system/server_process.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <httplib.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace qvant::test {

namespace {

struct Pipe {
    int hRead = -1;
    int hWrite = -1;
};

Pipe MakePipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe2");
    return {ends[0], ends[1]};
}

pid_t Spawn(const std::vector<std::string>& arArguments, int hOutput, int hErrors) {
    std::vector<std::string> arAll{LUMIVALE_REFSERVER};
    arAll.insert(arAll.end(), arArguments.begin(), arArguments.end());
    std::vector<char*> arPointers;
    for (auto& strArgument : arAll) arPointers.push_back(strArgument.data());
    arPointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, hOutput, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, hErrors, STDERR_FILENO);
    pid_t nProcess = -1;
    const int nError = posix_spawn(&nProcess, LUMIVALE_REFSERVER, &actions, nullptr, arPointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (nError != 0) throw std::system_error(nError, std::generic_category(), LUMIVALE_REFSERVER);
    return nProcess;
}

}  // namespace

CProcessOutput::CProcessOutput(int hPipe) : m_hPipe(hPipe), m_thread([this] { Read(); }) {}

CProcessOutput::~CProcessOutput() {
    m_thread.join();
    close(m_hPipe);
}

void CProcessOutput::Read() {
    std::string strRest;
    char block[4096];
    for (ssize_t nRead = 0; (nRead = read(m_hPipe, block, sizeof block)) > 0 || (nRead < 0 && errno == EINTR);) {
        if (nRead < 0) continue;
        strRest.append(block, static_cast<std::size_t>(nRead));
        const std::lock_guard lock(m_mutex);
        for (std::size_t nEnd = 0; (nEnd = strRest.find('\n')) != std::string::npos;) {
            m_arLines.push_back(strRest.substr(0, nEnd));
            strRest.erase(0, nEnd + 1);
        }
        m_changed.notify_all();
    }
    const std::lock_guard lock(m_mutex);
    if (!strRest.empty()) m_arLines.push_back(strRest);
    m_bEnded = true;
    m_changed.notify_all();
}

std::string CProcessOutput::WaitForLine(const std::function<bool(const std::string&)>& accept,
                                        std::chrono::milliseconds timeout) const {
    const auto end = std::chrono::steady_clock::now() + timeout;
    std::unique_lock lock(m_mutex);
    for (std::size_t nSeen = 0;;) {
        for (; nSeen < m_arLines.size(); ++nSeen) {
            if (accept(m_arLines[nSeen])) return m_arLines[nSeen];
        }
        const auto more = [&] { return m_bEnded || nSeen < m_arLines.size(); };
        if (m_bEnded || !m_changed.wait_until(lock, end, more)) return {};
    }
}

std::string CProcessOutput::WaitForText(const std::string& strText, std::chrono::milliseconds timeout) const {
    return WaitForLine([&](const std::string& strLine) { return strLine.find(strText) != std::string::npos; }, timeout);
}

std::vector<std::string> CProcessOutput::GetLines() const {
    const std::lock_guard lock(m_mutex);
    return m_arLines;
}

void CProcessOutput::WaitForEnd() const {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_bEnded; });
}

CServerProcess::CServerProcess(const std::vector<std::string>& arArguments) {
    const Pipe output = MakePipe();
    const Pipe errors = MakePipe();
    m_nProcess = Spawn(arArguments, output.hWrite, errors.hWrite);
    close(output.hWrite);
    close(errors.hWrite);
    m_pOutput = std::make_unique<CProcessOutput>(output.hRead);
    m_pErrors = std::make_unique<CProcessOutput>(errors.hRead);
}

CServerProcess::~CServerProcess() {
    if (m_nProcess <= 0) return;
    Signal(SIGKILL);
    Wait();
}

std::unique_ptr<CServerProcess> CServerProcess::Serve(const std::filesystem::path& data,
                                                      const std::vector<std::string>& arMore) {
    std::vector<std::string> arArguments{"--data", data.string()};
    arArguments.insert(arArguments.end(), arMore.begin(), arMore.end());
    auto pServer = std::make_unique<CServerProcess>(arArguments);
    const std::string strMark = "listening on ";
    const std::string strLine = pServer->m_pOutput->WaitForText(strMark);
    if (strLine.empty()) {
        std::string strWhy = "the server doesn't listen:";
        for (const auto& strError : pServer->m_pErrors->GetLines()) strWhy += "\n" + strError;
        throw std::runtime_error(strWhy);
    }
    pServer->m_strUrl = strLine.substr(strMark.size());
    return pServer;
}

int CServerProcess::GetPort() const { return std::stoi(m_strUrl.substr(m_strUrl.rfind(':') + 1)); }

void CServerProcess::Signal(int nSignal) const { kill(m_nProcess, nSignal); }

int CServerProcess::Wait() {
    if (m_nProcess <= 0) return m_nStatus;
    int nState = 0;
    while (waitpid(m_nProcess, &nState, 0) < 0 && errno == EINTR) {
    }
    m_nProcess = -1;
    m_nStatus = WIFEXITED(nState) ? WEXITSTATUS(nState) : 128 + WTERMSIG(nState);
    m_pOutput->WaitForEnd();
    m_pErrors->WaitForEnd();
    return m_nStatus;
}

int CServerProcess::Stop() {
    Signal(SIGTERM);
    return Wait();
}

bool PostFaults(const CServerProcess& server, const std::string& strFaults) {
    httplib::Client client("127.0.0.1", server.GetPort());
    const auto result = client.Post("/_control/faults", strFaults, "application/json");
    return result && result->status == 200;
}

}  // namespace qvant::test

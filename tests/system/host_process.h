/// Programs that run beside the test, and the host among them, spoken to in JSON lines.
#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <rapidjson/document.h>
#include <sys/types.h>

namespace qvant::test {

/// A started program with its standard input and output in the test's hands. Killed with the object if it still runs.
///
/// Every wait ends with an exception after half a minute: a test hangs no longer than that.
class CProcess {
public:
    using Variables = std::vector<std::pair<std::string, std::string>>;

    /// @param arCommand    path of the program, then its arguments
    /// @param arVariables  variables set on top of the test's own environment
    explicit CProcess(const std::vector<std::string>& arCommand, const Variables& arVariables = {});
    CProcess(const CProcess&) = delete;
    CProcess& operator=(const CProcess&) = delete;
    ~CProcess();

    /// Writes to the program's input. What it doesn't read any more is lost.
    void Write(std::string_view strBytes);
    void CloseInput();
    /// The next line of its output without the line end. @return false at the end of the output
    bool ReadLine(std::string& strLine);
    /// All that is left of its output, to the end.
    std::string ReadAll();
    /// Leaves the program with an output that nobody reads.
    void CloseOutput();

    void Signal(int nSignal) const;
    /// Waits for the end. @return the exit status; below 0 the signal that ended it
    int Wait();
    /// What the program has written to its standard error so far.
    std::string GetErrors() const;

private:
    [[noreturn]] void Execute(const std::vector<std::string>& arCommand, const Variables& arVariables, int nInput,
                              int nOutput) const;
    bool Fill();

    pid_t m_nProcess = -1;
    int m_nInput = -1;
    int m_nOutput = -1;
    int m_nErrors = -1;
    std::string m_strBuffer;
    std::size_t m_nStart = 0;
};

/// The host in machine mode.
class CHostProcess {
public:
    /// @param arArguments  options besides --json
    explicit CHostProcess(std::vector<std::string> arArguments, const CProcess::Variables& arVariables = {});

    /// Sends one request and gives its reply. Events that come first are kept.
    rapidjson::Document Ask(std::string_view strRequest);
    /// Sends lines without waiting for their replies.
    void Send(std::string_view strLines) { m_process.Write(strLines); }
    /// The next line of either kind. @return null at the end of the output
    rapidjson::Document ReadNext();
    /// The next reply; events that come first are kept.
    rapidjson::Document ReadReply();

    /// Asks, and gives the reply's member as JSON text; "absent" when there is none.
    std::string AskFor(std::string_view strRequest, const char* pszMember);
    /// Asks, and gives the reply's error; "" when there is none.
    std::string AskForError(std::string_view strRequest);

    /// The events so far, in their order.
    std::vector<rapidjson::Document> GetEvents() const;
    /// The fields of the kept events of a kind, each event as JSON text without "event", "n" and "ms".
    std::vector<std::string> GetEvents(std::string_view strKind) const;

    /// Ends the host by the end of its input. @return its exit status
    int Finish();

    CProcess& GetProcess() { return m_process; }

private:
    CProcess m_process;
    std::vector<std::string> m_arEvents;  ///< as lines: a parsed event takes a hundred times the memory
};

/// JSON text of a value.
std::string ToJson(const rapidjson::Value& value);

/// Path of a program of this build, beside the test program.
std::string ProgramPath(std::string_view strName);
/// Path of a library of this build.
std::string LibraryPath(std::string_view strName);

}  // namespace qvant::test

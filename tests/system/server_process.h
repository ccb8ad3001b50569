/// The built reference server as a process of its own, for the tests of everything that speaks to it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <sys/types.h>

namespace qvant::test {

/// The lines that a process wrote to one of its outputs, taken in by a thread so that the process never has to wait.
class CProcessOutput {
public:
    /// Owns the reading end of a pipe from here on.
    explicit CProcessOutput(int hPipe);
    ~CProcessOutput();
    CProcessOutput(const CProcessOutput&) = delete;
    CProcessOutput& operator=(const CProcessOutput&) = delete;

    /// Waits for a line, among those that came and those to come, that the test accepts.
    /// @return the line; empty when the output ended or the time-out passed without one
    std::string WaitForLine(const std::function<bool(const std::string&)>& accept,
                            std::chrono::milliseconds timeout = std::chrono::seconds(30)) const;

    /// The same, for a line that holds a text.
    std::string WaitForText(const std::string& strText,
                            std::chrono::milliseconds timeout = std::chrono::seconds(30)) const;

    std::vector<std::string> GetLines() const;

    /// Waits until the process has closed this output.
    void WaitForEnd() const;

private:
    void Read();

    int m_hPipe;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<std::string> m_arLines;
    bool m_bEnded = false;
    std::thread m_thread;
};

/// Any run of `lumivale-refserver`. One that still runs is killed at the end.
class CServerProcess {
public:
    explicit CServerProcess(const std::vector<std::string>& arArguments);
    ~CServerProcess();
    CServerProcess(const CServerProcess&) = delete;
    CServerProcess& operator=(const CServerProcess&) = delete;

    /// A server of this data folder that already listens, on a free port.
    /// @throw std::runtime_error  it ended instead; the text holds what it wrote
    static std::unique_ptr<CServerProcess> Serve(const std::filesystem::path& data,
                                                 const std::vector<std::string>& arMore = {});

    /// "http://127.0.0.1:PORT/"
    const std::string& GetUrl() const { return m_strUrl; }
    int GetPort() const;

    const CProcessOutput& GetOutput() const { return *m_pOutput; }
    const CProcessOutput& GetErrors() const { return *m_pErrors; }

    void Signal(int nSignal) const;

    /// Waits for the end of the process.
    /// @return its exit status; 128 and the signal when a signal ended it
    int Wait();

    /// SIGTERM and the wait.
    int Stop();

private:
    pid_t m_nProcess = -1;
    int m_nStatus = -1;
    std::string m_strUrl;
    std::unique_ptr<CProcessOutput> m_pOutput;
    std::unique_ptr<CProcessOutput> m_pErrors;
};

/// Replaces the faults of a running server with a JSON array of them.
/// @return whether the server took them
bool PostFaults(const CServerProcess& server, const std::string& strFaults);

}  // namespace qvant::test

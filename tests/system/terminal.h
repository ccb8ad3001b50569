/// A program at a terminal, as a person sits at one.
#pragma once

#include <csignal>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qvant::test {

inline constexpr const char* PROMPT = "lumivale> ";

/// The host at a terminal of its own, 80 columns wide.
class CTerminal {
public:
    explicit CTerminal(std::vector<std::string> arCommand) {
        const winsize size{24, 80, 0, 0};
        m_nProcess = forkpty(&m_nTerminal, nullptr, nullptr, &size);
        if (m_nProcess != 0) return;
        setenv("TERM", "xterm", 1);
        std::vector<char*> arPointers;
        for (std::string& strWord : arCommand) arPointers.push_back(strWord.data());
        arPointers.push_back(nullptr);
        execv(arPointers[0], arPointers.data());
        _exit(127);
    }
    CTerminal(const CTerminal&) = delete;
    CTerminal& operator=(const CTerminal&) = delete;
    ~CTerminal() {
        if (m_nProcess > 0) {
            kill(m_nProcess, SIGKILL);
            waitpid(m_nProcess, nullptr, 0);
        }
        close(m_nTerminal);
    }

    void Type(std::string_view strKeys) const {
        ASSERT_EQ(write(m_nTerminal, strKeys.data(), strKeys.size()), static_cast<ssize_t>(strKeys.size()));
    }

    /// What the program shows up to the first place where the text stands; without the text at the end of it all.
    std::string ReadTo(std::string_view strText) {
        std::size_t nFound = std::string::npos;
        while ((nFound = m_strShown.find(strText)) == std::string::npos && Fill()) {
        }
        EXPECT_NE(nFound, std::string::npos) << "no \"" << strText << "\" in: " << m_strShown;
        const std::size_t nEnd = nFound == std::string::npos ? m_strShown.size() : nFound + strText.size();
        std::string strRead = m_strShown.substr(0, nEnd);
        m_strShown.erase(0, nEnd);
        return strRead;
    }

    /// @return the exit status, once the program has ended
    int Wait() {
        while (Fill()) {
        }
        int nStatus = 0;
        waitpid(std::exchange(m_nProcess, -1), &nStatus, 0);
        return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -WTERMSIG(nStatus);
    }
    const std::string& GetRest() const { return m_strShown; }

private:
    static constexpr int PATIENCE = 30'000;

    bool Fill() {
        pollfd file{m_nTerminal, POLLIN, 0};
        char szBytes[4096];
        if (poll(&file, 1, PATIENCE) <= 0) return false;
        const ssize_t nRead = read(m_nTerminal, szBytes, sizeof szBytes);
        if (nRead > 0) m_strShown.append(szBytes, static_cast<std::size_t>(nRead));
        return nRead > 0;
    }

    pid_t m_nProcess = -1;
    int m_nTerminal = -1;
    std::string m_strShown;
};

}  // namespace qvant::test

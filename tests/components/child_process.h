/// A program that a test runs beside itself.
#pragma once

#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qvant::test {

class CChildProcess {
public:
    explicit CChildProcess(std::vector<std::string> arArguments) {
        int arPipe[2];
        if (pipe2(arPipe, O_CLOEXEC) != 0) return;
        std::vector<char*> arPointers;
        for (std::string& strArgument : arArguments) arPointers.push_back(strArgument.data());
        arPointers.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, arPipe[1], STDOUT_FILENO);
        if (posix_spawn(&m_nProcess, arPointers[0], &actions, nullptr, arPointers.data(), environ) != 0)
            m_nProcess = -1;
        posix_spawn_file_actions_destroy(&actions);
        close(arPipe[1]);
        m_pOutput = fdopen(arPipe[0], "r");
    }
    ~CChildProcess() {
        if (m_nProcess > 0) Kill();
        if (m_pOutput) std::fclose(m_pOutput);
    }
    CChildProcess(const CChildProcess&) = delete;
    CChildProcess& operator=(const CChildProcess&) = delete;

    /// The next line of its output, with its end; empty at the end of the output.
    std::string ReadLine() {
        char szLine[256];
        return m_pOutput && std::fgets(szLine, sizeof szLine, m_pOutput) ? szLine : "";
    }

    void Kill() {
        kill(m_nProcess, SIGKILL);
        Wait();
    }

    /// Waits for its end. @return the exit status; -1 when it was killed or never ran
    int Wait() {
        int nStatus = 0;
        if (m_nProcess <= 0 || waitpid(m_nProcess, &nStatus, 0) != m_nProcess) return -1;
        m_nProcess = -1;
        return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
    }

private:
    pid_t m_nProcess = -1;
    FILE* m_pOutput = nullptr;
};

}  // namespace qvant::test

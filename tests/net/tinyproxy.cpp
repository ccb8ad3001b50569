#include "net/tinyproxy.h"

#include <csignal>
#include <fstream>
#include <stdexcept>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "net/scripted_server.h"

extern char** environ;

namespace qvant::test {

namespace {

void WriteConfiguration(const std::string& strPath, std::uint16_t nPort, const std::string& strBasicAuth) {
    std::ofstream file(strPath);
    file << "Port " << nPort << "\nListen 127.0.0.1\nAllow 127.0.0.1\nTimeout 600\nMaxClients 20\nLogLevel Info\n";
    if (!strBasicAuth.empty()) file << "BasicAuth " << strBasicAuth << "\n";
}

}  // namespace

CTinyproxy::CTinyproxy(const std::string& strFolder, const std::string& strBasicAuth) {
    // Somebody else may take the port between its choice and the start.
    for (int nAttempt = 0; nAttempt < 5; ++nAttempt) {
        if (Start(strFolder, strBasicAuth) && WaitUntilReady()) return;
        Stop();
    }
    throw std::runtime_error("tinyproxy doesn't start");
}

CTinyproxy::~CTinyproxy() { Stop(); }

bool CTinyproxy::Start(const std::string& strFolder, const std::string& strBasicAuth) {
    m_nPort = FindFreePort();
    const std::string strPath = strFolder + "/tinyproxy.conf";
    WriteConfiguration(strPath, m_nPort, strBasicAuth);
    int pipes[2];
    if (pipe2(pipes, O_CLOEXEC) != 0) return false;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipes[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, pipes[1], STDERR_FILENO);
    const char* arguments[] = {"tinyproxy", "-d", "-c", strPath.c_str(), nullptr};
    const int nResult =
        posix_spawnp(&m_nProcess, "tinyproxy", &actions, nullptr, const_cast<char* const*>(arguments), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(pipes[1]);
    m_nOutput = pipes[0];
    return nResult == 0;
}

bool CTinyproxy::WaitUntilReady() {
    std::string strOutput;
    char block[512];
    for (;;) {
        const ssize_t nRead = read(m_nOutput, block, sizeof(block));
        if (nRead <= 0) return false;
        strOutput.append(block, static_cast<std::size_t>(nRead));
        if (strOutput.find("Accepting connections") != std::string::npos) return true;
    }
}

void CTinyproxy::Stop() {
    if (m_nProcess > 0) {
        kill(m_nProcess, SIGTERM);
        waitpid(m_nProcess, nullptr, 0);
    }
    if (m_nOutput >= 0) close(m_nOutput);
    m_nProcess = -1;
    m_nOutput = -1;
}

}  // namespace qvant::test

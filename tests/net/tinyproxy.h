/// A real proxy, the tinyproxy program, on a local port.
#pragma once

#include <cstdint>
#include <string>

#include <sys/types.h>

namespace qvant::test {

class CTinyproxy {
public:
    /// Starts the program and waits until it accepts connections.
    /// @param strFolder    where its configuration goes
    /// @param strBasicAuth  "account password" that it demands; empty: nothing
    CTinyproxy(const std::string& strFolder, const std::string& strBasicAuth);
    ~CTinyproxy();
    CTinyproxy(const CTinyproxy&) = delete;
    CTinyproxy& operator=(const CTinyproxy&) = delete;

    std::uint16_t GetPort() const { return m_nPort; }

private:
    bool Start(const std::string& strFolder, const std::string& strBasicAuth);
    bool WaitUntilReady();
    void Stop();

    std::uint16_t m_nPort = 0;
    pid_t m_nProcess = -1;
    int m_nOutput = -1;
};

}  // namespace qvant::test

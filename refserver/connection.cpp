#include "connection.h"

#include <algorithm>
#include <cerrno>
#include <chrono>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qvant::refserver {

namespace {

// A client that keeps its connection without a word for this long is let go.
constexpr int IdleMs = 120'000;
constexpr std::size_t BlockBytes = 16'384;
constexpr std::size_t SlowStepsPerSecond = 20;

}  // namespace

CConnection::CConnection(int hSocket, const CStopSignal& stop) : m_hSocket(hSocket), m_stop(stop) {}

CConnection::~CConnection() {
    if (m_hSocket >= 0) close(m_hSocket);
}

bool CConnection::WaitReady(short nEvents, int nTimeoutMs) {
    if (m_hSocket < 0) return false;
    for (;;) {
        pollfd entries[] = {{m_hSocket, nEvents, 0}, {m_stop.GetHandle(), POLLIN, 0}};
        const int nReady = poll(entries, 2, nTimeoutMs);
        if (nReady < 0 && errno == EINTR) continue;
        return nReady > 0 && entries[1].revents == 0;
    }
}

bool CConnection::Fill() {
    m_strBuffer.erase(0, m_nPosition);
    m_nPosition = 0;
    char block[BlockBytes];
    for (;;) {
        if (!WaitReady(POLLIN, IdleMs)) return false;
        const auto nRead = recv(m_hSocket, block, sizeof block, MSG_DONTWAIT);
        if (nRead > 0) {
            m_strBuffer.append(block, static_cast<std::size_t>(nRead));
            return true;
        }
        if (nRead == 0 || (errno != EINTR && errno != EAGAIN)) return false;
    }
}

bool CConnection::ReadLine(std::string& strLine, std::size_t nLimit) {
    for (std::size_t nSearched = 0;;) {
        const auto nEnd = m_strBuffer.find('\n', m_nPosition + nSearched);
        if (nEnd != std::string::npos) {
            strLine.assign(m_strBuffer, m_nPosition, nEnd - m_nPosition);
            if (!strLine.empty() && strLine.back() == '\r') strLine.pop_back();
            m_nPosition = nEnd + 1;
            return strLine.size() <= nLimit;
        }
        nSearched = m_strBuffer.size() - m_nPosition;
        if (nSearched > nLimit || !Fill()) return false;
    }
}

bool CConnection::ReadBytes(std::string& strBytes, std::size_t nCount) {
    while (m_strBuffer.size() - m_nPosition < nCount) {
        if (!Fill()) return false;
    }
    strBytes.assign(m_strBuffer, m_nPosition, nCount);
    m_nPosition += nCount;
    return true;
}

bool CConnection::Write(std::string_view bytes) {
    while (!bytes.empty()) {
        if (!WaitReady(POLLOUT, IdleMs)) return false;
        const auto nSent = send(m_hSocket, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (nSent < 0) {
            if (errno == EINTR || errno == EAGAIN) continue;
            return false;
        }
        m_nWritten += static_cast<std::size_t>(nSent);
        bytes.remove_prefix(static_cast<std::size_t>(nSent));
    }
    return true;
}

bool CConnection::WriteSlowly(std::string_view bytes, std::size_t nRate) {
    const auto nStep = std::max<std::size_t>(1, nRate / SlowStepsPerSecond);
    const auto pause = std::chrono::milliseconds(1000 * nStep / std::max<std::size_t>(1, nRate));
    while (!bytes.empty()) {
        const auto step = bytes.substr(0, nStep);
        if (!Write(step)) return false;
        bytes.remove_prefix(step.size());
        if (!bytes.empty() && m_stop.WaitFor(pause)) return false;
    }
    return true;
}

void CConnection::Reset() {
    if (m_hSocket < 0) return;
    const linger atOnce{1, 0};
    setsockopt(m_hSocket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    close(m_hSocket);
    m_hSocket = -1;
}

void CConnection::WaitForEnd() { WaitReady(POLLRDHUP, -1); }

}  // namespace qvant::refserver

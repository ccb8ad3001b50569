/// One client's socket, byte by byte: what it sent, and replies sent whole, slowly, in part or not at all.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "stop_signal.h"

namespace qvant::refserver {

/// Used by the one thread that serves the client. Every wait ends when the program stops, and then counts as failed.
class CConnection {
public:
    /// Owns the socket from here on.
    CConnection(int hSocket, const CStopSignal& stop);
    ~CConnection();
    CConnection(const CConnection&) = delete;
    CConnection& operator=(const CConnection&) = delete;

    /// Reads up to the next line feed; the line end isn't part of the line.
    /// @param nLimit  longest line; a longer one counts as a failure
    bool ReadLine(std::string& strLine, std::size_t nLimit);

    /// Reads exactly this many bytes.
    bool ReadBytes(std::string& strBytes, std::size_t nCount);

    bool Write(std::string_view bytes);

    /// Writes in small steps, so that `nRate` bytes go out in a second.
    bool WriteSlowly(std::string_view bytes, std::size_t nRate);

    /// Closes at once with a TCP reset, whatever is still on its way.
    void Reset();

    /// Keeps silent until the client goes away or the program stops.
    void WaitForEnd();

    /// The number of bytes written so far.
    std::size_t GetWritten() const { return m_nWritten; }

private:
    bool Fill();
    bool WaitReady(short nEvents, int nTimeoutMs);

    int m_hSocket;
    const CStopSignal& m_stop;
    std::string m_strBuffer;
    std::size_t m_nPosition = 0;
    std::size_t m_nWritten = 0;
};

}  // namespace qvant::refserver

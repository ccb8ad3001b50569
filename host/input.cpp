#include "input.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <poll.h>
#include <unistd.h>

namespace qvant::host {

namespace {

constexpr std::size_t READ_SIZE = std::size_t{64} << 10;
constexpr std::string_view UTF8_MARK = "\xEF\xBB\xBF";

/// @return false at the stop
bool WaitFor(int nFile, CStop& stop) {
    pollfd arFiles[] = {{nFile, POLLIN, 0}, {stop.GetFile(), POLLIN, 0}};
    while (poll(arFiles, 2, -1) < 0 && errno == EINTR) {
    }
    return !stop.IsRequested();
}

/// @return false when the file takes no more
bool WriteSome(int nFile, std::string_view& strLeft) {
    const ssize_t nWritten = write(nFile, strLeft.data(), strLeft.size());
    if (nWritten >= 0) {
        strLeft.remove_prefix(static_cast<std::size_t>(nWritten));
        return true;
    }
    if (errno == EINTR) return true;
    if (errno != EAGAIN) return false;
    pollfd file{nFile, POLLOUT, 0};
    return poll(&file, 1, -1) >= 0 || errno == EINTR;
}

}  // namespace

std::optional<std::string> CFileLines::Read() {
    std::string strLine;
    while (!m_stop.IsRequested()) {
        const std::size_t nEnd = m_strBuffer.find('\n', m_nStart);
        Take(strLine, std::min(nEnd, m_strBuffer.size()));
        if (nEnd != std::string::npos) {
            ++m_nStart;
            TrimEnds(strLine);
            return strLine;
        }
        if (!Fill()) break;
    }
    // A last line without a line end is a line too; one that the stop cut off isn't.
    if (strLine.empty() || m_stop.IsRequested()) return std::nullopt;
    TrimEnds(strLine);
    return strLine;
}

/// Scripts of other systems have a mark before the first line and a second sign at each line's end.
void CFileLines::TrimEnds(std::string& strLine) {
    if (std::exchange(m_bFirst, false) && strLine.starts_with(UTF8_MARK)) strLine.erase(0, UTF8_MARK.size());
    if (strLine.ends_with('\r')) strLine.pop_back();
}

/// Moves the buffer's bytes up to `nEnd` to the line, as far as the limit lets it grow.
void CFileLines::Take(std::string& strLine, std::size_t nEnd) {
    const std::size_t nRoom = LINE_LIMIT + 1 - strLine.size();
    strLine.append(m_strBuffer, m_nStart, std::min(nEnd - m_nStart, nRoom));
    m_nStart = nEnd;
}

bool CFileLines::Fill() {
    if (!WaitFor(m_nFile, m_stop)) return false;
    m_strBuffer.resize(READ_SIZE);
    m_nStart = 0;
    ssize_t nRead = 0;
    do {
        nRead = read(m_nFile, m_strBuffer.data(), READ_SIZE);
    } while (nRead < 0 && errno == EINTR);
    m_strBuffer.resize(static_cast<std::size_t>(std::max<ssize_t>(nRead, 0)));
    return nRead > 0;
}

void CFileWriter::Write(std::string_view strLines) {
    const CLock lock(m_mutex);
    while (!strLines.empty()) {
        if (WriteSome(m_nFile, strLines)) continue;
        m_stop.Request();
        return;
    }
}

}  // namespace qvant::host

#include "platform/linux/file_calls.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

#include "platform/files.h"

namespace qvant::platform {

namespace {

/// Kept apart from `errno`, which the clean-up after a failure would overwrite.
thread_local int t_nLastError = 0;

}  // namespace

bool NoteFileError(int nError) {
    t_nLastError = nError;
    return false;
}

int GetLastFileError() { return t_nLastError; }

std::string ToPath(TextView strPath) { return Contains(strPath, TextView(u"\0", 1)) ? std::string() : Narrow(strPath); }

bool CDescriptor::Close() {
    if (!IsOpen()) return true;
    const int nResult = close(std::exchange(m_nDescriptor, -1));
    // The descriptor is gone after an interrupted close as well.
    return nResult == 0 || errno == EINTR;
}

int OpenFile(const std::string& strPath, int nFlags, mode_t nMode) {
    for (;;) {
        const int nDescriptor = open(strPath.c_str(), nFlags | O_CLOEXEC, nMode);
        if (nDescriptor >= 0 || errno != EINTR) return nDescriptor;
    }
}

int OpenToRead(const std::string& strPath, struct stat& status) {
    const int nDescriptor = OpenFile(strPath, O_RDONLY | O_NONBLOCK);
    if (nDescriptor < 0) return nDescriptor;
    if (fstat(nDescriptor, &status) == 0 && !S_ISDIR(status.st_mode)) return nDescriptor;
    close(nDescriptor);
    errno = EISDIR;
    return -1;
}

bool WriteAll(int nDescriptor, std::string_view strBytes) {
    while (!strBytes.empty()) {
        const ssize_t nWritten = write(nDescriptor, strBytes.data(), strBytes.size());
        if (nWritten < 0 && errno == EINTR) continue;
        if (nWritten < 0) return false;
        strBytes.remove_prefix(static_cast<std::size_t>(nWritten));
    }
    return true;
}

bool FlushFile(int nDescriptor) {
    while (fsync(nDescriptor) != 0) {
        if (errno != EINTR) return false;
    }
    return true;
}

}  // namespace qvant::platform

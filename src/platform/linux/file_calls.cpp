#include "platform/linux/file_calls.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/files.h"
#include "platform/user_files.h"

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

int CreateUserFile(const std::string& strPath, int nFlags) {
    constexpr mode_t USER_FILE = 0600;
    const int nDescriptor = OpenFile(strPath, nFlags | O_CREAT, USER_FILE);
    if (nDescriptor >= 0) fchmod(nDescriptor, USER_FILE);
    return nDescriptor;
}

void ChangeMode(const std::string& strPath, mode_t nKind, mode_t nKeep, mode_t nGive) {
    constexpr mode_t ALL_BITS = 07777;
    const CDescriptor file(OpenFile(strPath, O_PATH | O_NOFOLLOW));
    struct stat status {};
    if (!file.IsOpen() || fstat(file.Get(), &status) != 0) return;
    const mode_t nMode = (status.st_mode & ALL_BITS & nKeep) | nGive;
    if ((status.st_mode & S_IFMT) != nKind || status.st_uid != geteuid() || (status.st_mode & ALL_BITS) == nMode)
        return;
    chmod(("/proc/self/fd/" + std::to_string(file.Get())).c_str(), nMode);
}

void NarrowToUser(TextView strPath) {
    constexpr mode_t USER_BITS = 0700;
    ChangeMode(ToPath(strPath), S_IFREG, USER_BITS, 0);
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

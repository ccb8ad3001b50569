/// Stands between a process and the system's file calls (LD_PRELOAD): counts those on the files of some folders, and
/// has them end the process or fail as its board says.
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include "interpose/fault_board.h"

namespace {

using qvant::proof::FaultBoard;

/// The system's own call of this name.
template <class Function>
Function Real(const char* pszName) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, pszName));
}
#define REAL(NAME) static const auto real = Real<decltype(&::NAME)>(#NAME)

FaultBoard* MapBoard() {
    const char* const pszPath = std::getenv(qvant::proof::BOARD_VARIABLE);
    if (!pszPath) return nullptr;
    const auto realOpen = Real<int (*)(const char*, int, ...)>("open");
    const int nFile = realOpen(pszPath, O_RDWR | O_CLOEXEC);
    if (nFile < 0) return nullptr;
    void* const pMemory = mmap(nullptr, sizeof(FaultBoard), PROT_READ | PROT_WRITE, MAP_SHARED, nFile, 0);
    close(nFile);
    return pMemory == MAP_FAILED ? nullptr : static_cast<FaultBoard*>(pMemory);
}

FaultBoard* GetBoard() {
    static FaultBoard* const pBoard = MapBoard();
    return pBoard;
}

bool IsCounting() { return GetBoard() && GetBoard()->bCounting != 0; }

bool IsBelowFolders(std::string_view strPath) {
    const char* const pszFolders = std::getenv(qvant::proof::FOLDERS_VARIABLE);
    std::string_view strRest = pszFolders ? pszFolders : "";
    while (!strRest.empty()) {
        const std::string_view strFolder = strRest.substr(0, strRest.find(':'));
        strRest.remove_prefix(std::min(strRest.size(), strFolder.size() + 1));
        if (!strFolder.empty() && strPath.starts_with(strFolder) && strPath.substr(strFolder.size()).starts_with('/')) {
            return true;
        }
    }
    return false;
}

std::string PathOf(int nFile) {
    char szPath[PATH_MAX];
    const std::string strLink = "/proc/self/fd/" + std::to_string(nFile);
    const ssize_t nLength = readlink(strLink.c_str(), szPath, sizeof szPath);
    return nLength > 0 ? std::string(szPath, static_cast<std::size_t>(nLength)) : std::string();
}

std::string PathOf(int nFolder, const char* pszPath) {
    if (*pszPath == '/' || nFolder == AT_FDCWD) return pszPath;
    return PathOf(nFolder) + '/' + pszPath;
}

enum class Kind { Write, Flush, Rename, Remove, Cut, Create, OpenToWrite };

/// Whether the system could answer a call of this kind with this error.
bool CanFail(Kind kind, std::uint32_t nError) {
    switch (nError) {
        case ENOSPC:
            return kind != Kind::Remove && kind != Kind::OpenToWrite;
        case EACCES:
            return kind != Kind::Write && kind != Kind::Flush && kind != Kind::Cut;
        default:
            return kind != Kind::Flush;
    }
}

/// Notes the first call that goes wrong.
void Note(FaultBoard& board, const char* pszCall, const std::string& strPath) {
    if (board.nFailed++ == 0) std::snprintf(board.szFirst, sizeof board.szFirst, "%s %s", pszCall, strPath.c_str());
}

/// Counts a call, and ends the process when its turn has come.
/// @return whether the call is to fail, with `errno` set
bool GoesWrong(Kind kind, const char* pszCall, const std::string& strPath) {
    if (!IsBelowFolders(strPath)) return false;
    FaultBoard& board = *GetBoard();
    // To open a file changes nothing: it has no number of its own.
    const std::uint64_t nCall = kind == Kind::OpenToWrite ? board.nCalls + 1 : ++board.nCalls;
    const std::uint64_t nFirst = board.nFirst;
    if (nFirst == 0 || nCall < nFirst) return false;
    const std::uint32_t nError = board.nError;
    if (nError != 0 && !CanFail(kind, nError)) return false;
    if (nError == 0 && kind == Kind::OpenToWrite) return false;
    Note(board, pszCall, strPath);
    if (nError == 0) _exit(qvant::proof::ENDED_BY_BOARD);
    errno = static_cast<int>(nError);
    return true;
}

/// What fits of a write. @return nothing when the disk is full, with `errno` set
bool TakeRoom(int nFile, std::size_t& nBytes) {
    FaultBoard& board = *GetBoard();
    const std::string strPath = PathOf(nFile);
    if (!IsBelowFolders(strPath)) return true;
    const std::uint64_t nRoom = board.nRoom;
    const std::uint64_t nBefore = board.nBytes.fetch_add(nBytes);
    if (nRoom == 0 || nBefore + nBytes <= nRoom) return true;
    Note(board, "write", strPath);
    if (nBefore >= nRoom) {
        errno = static_cast<int>(board.nError.load());
        return false;
    }
    nBytes = static_cast<std::size_t>(nRoom - nBefore);
    return true;
}

bool MayWrite(const char* pszCall, int nFile, std::size_t& nBytes) {
    if (!IsCounting()) return true;
    return !GoesWrong(Kind::Write, pszCall, PathOf(nFile)) && TakeRoom(nFile, nBytes);
}

bool MayFlush(const char* pszCall, int nFile) {
    return !IsCounting() || !GoesWrong(Kind::Flush, pszCall, PathOf(nFile));
}

bool MayCut(const char* pszCall, int nFile) { return !IsCounting() || !GoesWrong(Kind::Cut, pszCall, PathOf(nFile)); }

bool MayOpen(const char* pszCall, int nFolder, const char* pszPath, int nFlags) {
    if (!IsCounting() || (nFlags & (O_WRONLY | O_RDWR)) == 0) return true;
    const std::string strPath = PathOf(nFolder, pszPath);
    struct stat status {};
    const bool bCreates = (nFlags & O_CREAT) != 0 && stat(strPath.c_str(), &status) != 0;
    return !GoesWrong(bCreates ? Kind::Create : Kind::OpenToWrite, pszCall, strPath);
}

bool MayRename(const char* pszCall, int nFolder, const char* pszPath) {
    return !IsCounting() || !GoesWrong(Kind::Rename, pszCall, PathOf(nFolder, pszPath));
}

bool MayRemove(const char* pszCall, int nFolder, const char* pszPath) {
    return !IsCounting() || !GoesWrong(Kind::Remove, pszCall, PathOf(nFolder, pszPath));
}

mode_t ModeOf(int nFlags, va_list& arguments) {
    return (nFlags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
}

}  // namespace

#define EXPORT extern "C" __attribute__((visibility("default")))

EXPORT ssize_t write(int nFile, const void* pBytes, size_t nBytes) {
    REAL(write);
    return MayWrite("write", nFile, nBytes) ? real(nFile, pBytes, nBytes) : -1;
}

EXPORT ssize_t pwrite(int nFile, const void* pBytes, size_t nBytes, off_t nPlace) {
    REAL(pwrite);
    return MayWrite("pwrite", nFile, nBytes) ? real(nFile, pBytes, nBytes, nPlace) : -1;
}

EXPORT ssize_t pwrite64(int nFile, const void* pBytes, size_t nBytes, off64_t nPlace) {
    REAL(pwrite64);
    return MayWrite("pwrite64", nFile, nBytes) ? real(nFile, pBytes, nBytes, nPlace) : -1;
}

/// Pieces are never cut: a bound of the room counts them as whole.
EXPORT ssize_t writev(int nFile, const iovec* pPieces, int nPieces) {
    REAL(writev);
    std::size_t nBytes = 0;
    for (int i = 0; i < nPieces; ++i) nBytes += pPieces[i].iov_len;
    return MayWrite("writev", nFile, nBytes) ? real(nFile, pPieces, nPieces) : -1;
}

EXPORT int fsync(int nFile) {
    REAL(fsync);
    return MayFlush("fsync", nFile) ? real(nFile) : -1;
}

EXPORT int fdatasync(int nFile) {
    REAL(fdatasync);
    return MayFlush("fdatasync", nFile) ? real(nFile) : -1;
}

EXPORT int ftruncate(int nFile, off_t nSize) noexcept {
    REAL(ftruncate);
    return MayCut("ftruncate", nFile) ? real(nFile, nSize) : -1;
}

EXPORT int ftruncate64(int nFile, off64_t nSize) noexcept {
    REAL(ftruncate64);
    return MayCut("ftruncate64", nFile) ? real(nFile, nSize) : -1;
}

EXPORT int posix_fallocate(int nFile, off_t nPlace, off_t nSize) {
    REAL(posix_fallocate);
    return MayCut("posix_fallocate", nFile) ? real(nFile, nPlace, nSize) : errno;
}

EXPORT int rename(const char* pszFrom, const char* pszTo) noexcept {
    REAL(rename);
    return MayRename("rename", AT_FDCWD, pszTo) ? real(pszFrom, pszTo) : -1;
}

EXPORT int renameat(int nFrom, const char* pszFrom, int nTo, const char* pszTo) noexcept {
    REAL(renameat);
    return MayRename("renameat", nTo, pszTo) ? real(nFrom, pszFrom, nTo, pszTo) : -1;
}

EXPORT int unlink(const char* pszPath) noexcept {
    REAL(unlink);
    return MayRemove("unlink", AT_FDCWD, pszPath) ? real(pszPath) : -1;
}

EXPORT int unlinkat(int nFolder, const char* pszPath, int nFlags) noexcept {
    REAL(unlinkat);
    return MayRemove("unlinkat", nFolder, pszPath) ? real(nFolder, pszPath, nFlags) : -1;
}

EXPORT int mkostemps(char* pszPattern, int nEnd, int nFlags) {
    REAL(mkostemps);
    if (IsCounting() && GoesWrong(Kind::Create, "mkostemps", pszPattern)) return -1;
    return real(pszPattern, nEnd, nFlags);
}

#define OPEN_CALL(NAME)                                            \
    EXPORT int NAME(const char* pszPath, int nFlags, ...) {        \
        REAL(NAME);                                                \
        va_list arguments;                                         \
        va_start(arguments, nFlags);                               \
        const mode_t nMode = ModeOf(nFlags, arguments);            \
        va_end(arguments);                                         \
        if (!MayOpen(#NAME, AT_FDCWD, pszPath, nFlags)) return -1; \
        return real(pszPath, nFlags, nMode);                       \
    }
OPEN_CALL(open)
OPEN_CALL(open64)

#define OPENAT_CALL(NAME)                                                \
    EXPORT int NAME(int nFolder, const char* pszPath, int nFlags, ...) { \
        REAL(NAME);                                                      \
        va_list arguments;                                               \
        va_start(arguments, nFlags);                                     \
        const mode_t nMode = ModeOf(nFlags, arguments);                  \
        va_end(arguments);                                               \
        if (!MayOpen(#NAME, nFolder, pszPath, nFlags)) return -1;        \
        return real(nFolder, pszPath, nFlags, nMode);                    \
    }
OPENAT_CALL(openat)
OPENAT_CALL(openat64)

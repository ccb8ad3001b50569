#include "platform/linux/temporary_file.h"

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string_view>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/files.h"

namespace qvant::platform {

namespace {

constexpr std::string_view NAME_START = ".lumivale-";
constexpr std::string_view NAME_PLACES = "XXXXXX";  ///< filled in by the system
constexpr std::string_view NAME_END = ".tmp";
constexpr int MOST_TRIES = 100;
constexpr mode_t USER_FILE = 0600;

bool IsTemporaryName(std::string_view strName) {
    return strName.size() == NAME_START.size() + NAME_PLACES.size() + NAME_END.size() &&
           strName.starts_with(NAME_START) && strName.ends_with(NAME_END);
}

/// Locks a file that is new: the lock ends with the process, however that ends. Where the file system has no locks,
/// the sweep gets none either and leaves every file alone.
/// @return false when a sweep took the file for a stale one before it was locked
bool Mark(int nFile) {
    if (flock(nFile, LOCK_EX | LOCK_NB) != 0) return errno != EWOULDBLOCK;
    struct stat status {};
    return fstat(nFile, &status) == 0 && status.st_nlink > 0;
}

void RemoveUnlessMarked(int nFolder, const char* pszName) {
    const int nFile = openat(nFolder, pszName, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (nFile < 0) return;
    // Removed under the lock, so that a writer whose file has only just been made sees what became of it.
    if (flock(nFile, LOCK_EX | LOCK_NB) == 0) unlinkat(nFolder, pszName, 0);
    close(nFile);
}

struct CloseFolder {
    void operator()(DIR* pFolder) const { closedir(pFolder); }
};

}  // namespace

int CreateTemporary(const std::string& strFolder, std::string& strPath) {
    for (int nTry = 0; nTry < MOST_TRIES; ++nTry) {
        strPath = strFolder + '/';
        strPath.append(NAME_START).append(NAME_PLACES).append(NAME_END);
        const int nFile = mkostemps(strPath.data(), static_cast<int>(NAME_END.size()), O_CLOEXEC);
        if (nFile >= 0) fchmod(nFile, USER_FILE);  // whatever the process's mask has taken from it
        if (nFile < 0 || Mark(nFile)) return nFile;
        close(nFile);
    }
    errno = EAGAIN;
    return -1;
}

void RemoveStaleReplacements(TextView strFolder) {
    if (Contains(strFolder, TextView(u"\0", 1))) return;  // the path of something else
    const std::unique_ptr<DIR, CloseFolder> pFolder(opendir(Narrow(strFolder).c_str()));
    if (!pFolder) return;
    while (const dirent* pEntry = readdir(pFolder.get())) {
        if (IsTemporaryName(pEntry->d_name)) RemoveUnlessMarked(dirfd(pFolder.get()), pEntry->d_name);
    }
}

}  // namespace qvant::platform

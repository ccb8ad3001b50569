#include "platform/shared_memory.h"

#include <cerrno>
#include <limits>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qvant::platform {

namespace {

constexpr mode_t USER_FILE = 0600;
constexpr const char* FOLDER = "/dev/shm";  ///< where the system shows the blocks

bool IsName(TextView strName) {
    return !strName.empty() && strName.find_first_of(TextView(u"/\0", 2)) == TextView::npos;
}

/// Locks a block that is new: the lock ends with the process, however that ends.
/// @return false when a sweep took the block for a stale one before it was locked
bool Mark(int nDescriptor) {
    if (flock(nDescriptor, LOCK_EX | LOCK_NB) != 0) return errno != EWOULDBLOCK;
    struct stat status {};
    return fstat(nDescriptor, &status) == 0 && status.st_nlink > 0;
}

void RemoveUnlessMarked(const std::string& strName) {
    const std::string strPath = "/" + strName;
    const int nDescriptor = shm_open(strPath.c_str(), O_RDWR, 0);
    if (nDescriptor < 0) return;
    if (flock(nDescriptor, LOCK_EX | LOCK_NB) == 0) shm_unlink(strPath.c_str());
    close(nDescriptor);
}

/// Gives the block its size and its memory: a page that the system hasn't got would end the process at the first touch.
int SetAside(int nDescriptor, std::size_t nSize) {
    if (nSize > static_cast<std::size_t>(std::numeric_limits<off_t>::max())) return EFBIG;
    int nError = 0;
    do {
        nError = posix_fallocate(nDescriptor, 0, static_cast<off_t>(nSize));
    } while (nError == EINTR);
    return nError;
}

}  // namespace

std::unique_ptr<CSharedMemory> CSharedMemory::Create(TextView strName, std::size_t nSize, int& nError) {
    if (!IsName(strName)) {
        nError = EINVAL;
        return nullptr;
    }
    std::string strPath("/");
    strPath += Narrow(strName);
    const int nDescriptor = shm_open(strPath.c_str(), O_RDWR | O_CREAT | O_EXCL, USER_FILE);
    if (nDescriptor < 0) {
        nError = errno == EEXIST ? ALREADY_EXISTS : errno;
        return nullptr;
    }
    fchmod(nDescriptor, USER_FILE);  // whatever the process's mask has taken from it
    if (!Mark(nDescriptor)) {
        close(nDescriptor);
        nError = ALREADY_EXISTS;
        return nullptr;
    }
    // From here on the object takes the name back, whatever happens.
    std::unique_ptr<CSharedMemory> pMemory(new CSharedMemory(std::move(strPath), nSize, nDescriptor));
    nError = SetAside(nDescriptor, nSize);
    return nError == 0 ? std::move(pMemory) : nullptr;
}

CSharedMemory::~CSharedMemory() {
    shm_unlink(m_strPath.c_str());
    close(m_nDescriptor);
}

void RemoveStaleSharedMemory(TextView strNameStart) {
    const std::string strStart = Narrow(strNameStart);
    const std::unique_ptr<DIR, int (*)(DIR*)> pFolder(opendir(FOLDER), closedir);
    while (const dirent* pEntry = pFolder ? readdir(pFolder.get()) : nullptr) {
        const std::string strName = pEntry->d_name;
        if (strName.starts_with(strStart)) RemoveUnlessMarked(strName);
    }
}

int CSharedMemory::Fill(const std::function<void(char*)>& fill) const {
    void* pView = mmap(nullptr, m_nSize, PROT_READ | PROT_WRITE, MAP_SHARED, m_nDescriptor, 0);
    if (pView == MAP_FAILED) return errno;
    fill(static_cast<char*>(pView));
    munmap(pView, m_nSize);
    return 0;
}

}  // namespace qvant::platform

#include "platform/shared_memory.h"

#include <cerrno>
#include <cstring>
#include <limits>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace qvant::platform {

namespace {

constexpr mode_t USER_FILE = 0600;

bool IsName(TextView strName) {
    return !strName.empty() && strName.find_first_of(TextView(u"/\0", 2)) == TextView::npos;
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
    // From here on the object takes the name back, whatever happens.
    std::unique_ptr<CSharedMemory> pMemory(new CSharedMemory(std::move(strPath), nSize, nDescriptor));
    nError = SetAside(nDescriptor, nSize);
    return nError == 0 ? std::move(pMemory) : nullptr;
}

CSharedMemory::~CSharedMemory() {
    shm_unlink(m_strPath.c_str());
    close(m_nDescriptor);
}

int CSharedMemory::Write(std::string_view strBytes) const {
    if (strBytes.size() > m_nSize) return EINVAL;
    void* pView = mmap(nullptr, m_nSize, PROT_READ | PROT_WRITE, MAP_SHARED, m_nDescriptor, 0);
    if (pView == MAP_FAILED) return errno;
    if (!strBytes.empty()) std::memcpy(pView, strBytes.data(), strBytes.size());
    munmap(pView, m_nSize);
    return 0;
}

}  // namespace qvant::platform

/// A file for a parser that reads nothing else. It lies in memory, and is gone with the process however that ends.
#pragma once

#include <cerrno>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

#include "base/text.h"
#include "require.h"

namespace qvant::fuzz {

class CMemoryFile {
public:
    CMemoryFile() : m_nFile(::memfd_create("fuzz", 0)) { Require(m_nFile >= 0, "there is memory for a file"); }
    ~CMemoryFile() { ::close(m_nFile); }
    CMemoryFile(const CMemoryFile&) = delete;
    CMemoryFile& operator=(const CMemoryFile&) = delete;

    void Replace(std::string_view strBytes) const {
        const bool bWritten = ::ftruncate(m_nFile, 0) == 0 && ::pwrite(m_nFile, strBytes.data(), strBytes.size(), 0) ==
                                                                  static_cast<ssize_t>(strBytes.size());
        Require(bWritten, "the file takes the bytes");
    }

    /// Opened by this name it is read from its start.
    Text GetPath() const { return Widen("/proc/self/fd/" + std::to_string(m_nFile)); }

private:
    const int m_nFile;
};

}  // namespace qvant::fuzz

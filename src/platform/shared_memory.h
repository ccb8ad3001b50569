/// Named memory that other modules and processes of the user can open.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "base/text.h"

namespace qvant::platform {

/// A block that this object made and owns: its name goes with it, while whoever has opened the block keeps it. A block
/// of a process that was killed stays until `RemoveStaleSharedMemory`.
class CSharedMemory {
public:
    static constexpr int ALREADY_EXISTS = 183;  ///< the number of a name that is taken

    /// Makes a block that must not be there yet, filled with zeros, for this user alone. Its memory is set aside at
    /// once, so that writing to it can't fail later.
    /// @param strName  without "/" and NUL; a reader opens "/" followed by it
    /// @param nSize    in bytes, above 0
    /// @param nError   out, on failure: `ALREADY_EXISTS` for a name that is taken, else the system's number
    /// @return null on failure; nothing is left behind then
    static std::unique_ptr<CSharedMemory> Create(TextView strName, std::size_t nSize, int& nError);

    ~CSharedMemory();
    CSharedMemory(const CSharedMemory&) = delete;
    CSharedMemory& operator=(const CSharedMemory&) = delete;

    /// Maps the block, has its bytes written, and unmaps it.
    /// @param fill  gets the block's first byte
    /// @return 0, or the system's number; nothing was written then
    int Fill(const std::function<void(char*)>& fill) const;

private:
    CSharedMemory(std::string strPath, std::size_t nSize, int nDescriptor)
        : m_strPath(std::move(strPath)), m_nSize(nSize), m_nDescriptor(nDescriptor) {}

    const std::string m_strPath;
    const std::size_t m_nSize;
    const int m_nDescriptor;
};

/// Removes the blocks whose names begin so and whose makers live no more. Any thread, any process of the user.
void RemoveStaleSharedMemory(TextView strNameStart);

}  // namespace qvant::platform

/// What the operations on files have in common: open files, whole writes, the number of the last failure.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include <sys/stat.h>
#include <sys/types.h>

#include "base/text.h"

namespace qvant::platform {

/// Notes the number of a failed call for `GetLastFileError`. @return false
bool NoteFileError(int nError);

/// The system's form of a path. A NUL would make it the path of something else; such a path names nothing.
std::string ToPath(TextView strPath);

/// An open file, closed at the end of its scope.
class CDescriptor {
public:
    CDescriptor() = default;
    explicit CDescriptor(int nDescriptor) : m_nDescriptor(nDescriptor) {}
    ~CDescriptor() { Close(); }
    CDescriptor(CDescriptor&& other) noexcept : m_nDescriptor(std::exchange(other.m_nDescriptor, -1)) {}
    CDescriptor& operator=(CDescriptor&&) = delete;

    bool IsOpen() const { return m_nDescriptor >= 0; }
    int Get() const { return m_nDescriptor; }

    /// @return false when what was written can't be kept
    bool Close();

private:
    int m_nDescriptor = -1;
};

/// Opens a file that no child process inherits. @return below 0 on failure
int OpenFile(const std::string& strPath, int nFlags, mode_t nMode = 0);

/// Opens for reading what isn't a folder. A pipe without a writer doesn't hold up the caller.
/// @param status  out: what the system tells of it
/// @return below 0 on failure, which `errno` tells
int OpenToRead(const std::string& strPath, struct stat& status);

/// Creates a file, or opens the one that is there, for this user alone: whatever the process's mask takes away or an
/// older file still gives to others, its mode is 0600 then. (A file system without modes keeps its own.)
/// @param nFlags  how to open it, O_CREAT apart
/// @return below 0 on failure
int CreateUserFile(const std::string& strPath, int nFlags);

/// Sets the mode of a file or folder of this user, and of no link to one. It is never opened for that: to close it
/// would take from a database of this process the locks that it holds on its file.
/// @param nKind  S_IFREG or S_IFDIR; another one stays as it is
/// @param nKeep  the bits of the mode that stay
/// @param nGive  those that come
void ChangeMode(const std::string& strPath, mode_t nKind, mode_t nKeep, mode_t nGive);

/// Writes all of it. @return false on failure, which `errno` tells
bool WriteAll(int nDescriptor, std::string_view strBytes);

/// Brings what was written to the disk. @return false on failure, which `errno` tells
bool FlushFile(int nDescriptor);

}  // namespace qvant::platform

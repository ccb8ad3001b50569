/// Files and folders. Paths are wide text with "/"; nothing here throws but for memory.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/text.h"

namespace qvant::platform {

/// Path of the process's executable; with `LUMIVALE_HOME` set, a file in that folder.
Text GetExecutablePath();

/// The common application-data folder, without a trailing slash; nothing when the machine has none.
std::optional<Text> GetCommonDataFolder();

/// The user's own application-data folder, for per-user registration; nothing when there is no home.
std::optional<Text> GetUserDataFolder();

/// The folder for temporary files, with a trailing slash.
Text GetTempFolder();

/// Makes the folder and those above it. @return true when it is there afterwards
bool CreateFolders(TextView strPath);

/// Whether the file can be opened for reading.
bool CanReadFile(TextView strPath);

/// Whether there is anything of that name, readable or not.
bool FileExists(TextView strPath);

/// When the file was last written, in whole seconds since 1970; nothing when there is none of that name.
std::optional<std::int64_t> GetLastWriteTime(TextView strPath);

/// The whole file; nothing when it can't be read to its end.
std::optional<std::string> ReadWholeFile(TextView strPath);

/// The whole file as text: UTF-16LE behind its mark, else UTF-8 with or without one. Line ends stay as they are.
std::optional<Text> ReadWholeText(TextView strPath);

/// Replaces the file whole: a temporary file beside it, flushed to the disk, then renamed over it. A failure or a
/// crash leaves the old file. The file is readable by the user alone.
/// @return false when the disk or the folder refuses; nothing is left behind then
bool ReplaceFile(TextView strPath, std::string_view strBytes);

/// The same in pieces: what takes the place of a file is written beside it, and becomes it whole.
///
/// One thread at a time, not always the same one. A replacement that isn't committed leaves nothing behind.
class CFileReplacement {
public:
    /// Creates the temporary file. A folder that refuses shows in the operations below.
    explicit CFileReplacement(TextView strPath);
    ~CFileReplacement();
    CFileReplacement(const CFileReplacement&) = delete;
    CFileReplacement& operator=(const CFileReplacement&) = delete;

    /// Appends. @return false when this or anything before it failed
    bool Write(std::string_view strBytes);

    /// Brings to the disk what was written so far; what comes afterwards is flushed at the commit.
    /// @return false when this or anything before it failed
    bool Flush();

    /// Flushes, then replaces the file. The last operation.
    /// @return false when this or anything before it failed; nothing is left behind then
    bool Commit();

private:
    struct Temporary;
    const std::unique_ptr<Temporary> m_pTemporary;
};

/// Creates a new empty file with a name of its own: prefix, up to six hexadecimal digits, ".tmp".
/// @return the path; nothing when the folder refuses
std::optional<Text> CreateTempFile(TextView strFolder, TextView strPrefix);

/// Creates a file that must not be there yet, open to this user alone, and writes it. It is for the hands of this
/// process: nothing waits until the disk has it.
/// @return false when it was there or couldn't be written whole
/// @param pCreated  out: whether it could be created, written or not; may be null
bool WriteNewFile(TextView strPath, std::string_view strBytes, bool* pCreated = nullptr);

/// Replaces the file as `ReplaceFile` does, but leaves none of that name when that fails: for a file that mustn't be
/// older than what was to be written. Only a crash leaves the old one.
/// @return false when it couldn't be created or written whole
/// @param pCreated  out: whether it could be created, written or not; may be null
bool ReplaceOrRemoveFile(TextView strPath, std::string_view strBytes, bool* pCreated = nullptr);

/// Gives the lines of a file, without LF or CR LF at their ends, until `visit` returns false. What follows the last LF
/// is a line too. Needs the memory of the longest line.
/// @return false, with no line given, when it can't be opened, or while anybody who writes it holds it locked
bool ForEachLine(TextView strPath, const std::function<bool(std::string_view strLine)>& visit);

void DeleteFile(TextView strPath);

/// Names of the files in a folder, without the folders in it, in the order of their units; none when it can't be read.
std::vector<Text> ListFiles(TextView strFolder);

/// Removes the temporary files that replacements left in the folder because their process was killed. What somebody
/// still writes, in this process or another, stays.
void RemoveStaleReplacements(TextView strFolder);

/// Number of the last failed file operation of the calling thread (`errno`).
int GetLastFileError();

}  // namespace qvant::platform

/// A temporary file beside the target, renamed over it when it is whole.
#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

#include "platform/files.h"
#include "platform/linux/file_calls.h"
#include "platform/linux/temporary_file.h"

namespace qvant::platform {

namespace {

std::string GetFolderOf(const std::string& strPath) {
    const std::size_t nSlash = strPath.find_last_of('/');
    if (nSlash == std::string::npos) return ".";
    return nSlash == 0 ? "/" : strPath.substr(0, nSlash);
}

/// Makes a rename in the folder outlast a crash. A file system that doesn't flush folders says "invalid".
bool FlushFolder(const std::string& strFolder) {
    const CDescriptor folder(OpenFile(strFolder, O_RDONLY | O_DIRECTORY));
    if (!folder.IsOpen()) return errno == EACCES;  // a folder that may be written and not read
    return FlushFile(folder.Get()) || errno == EINVAL;
}

}  // namespace

struct CFileReplacement::Temporary {
    explicit Temporary(TextView strPath)
        : strFile(ToPath(strPath)),
          strFolder(GetFolderOf(strFile)),
          file(CreateTemporary(strFolder, strTemporary)),
          bCreated(file.IsOpen()),
          nError(bCreated ? 0 : errno) {}

    /// Keeps the first failure for whoever commits, who may be another thread.
    bool Keep(bool bDone) {
        if (!bDone && nError == 0) nError = errno;
        return nError == 0;
    }

    const std::string strFile;
    const std::string strFolder;
    std::string strTemporary;
    CDescriptor file;
    bool bCreated;  ///< whether there is a temporary file to remove
    bool bFlushed = false;
    int nError;
};

CFileReplacement::CFileReplacement(TextView strPath) : m_pTemporary(std::make_unique<Temporary>(strPath)) {}

CFileReplacement::~CFileReplacement() {
    if (m_pTemporary->bCreated) unlink(m_pTemporary->strTemporary.c_str());
}

bool CFileReplacement::Write(std::string_view strBytes) {
    Temporary& temporary = *m_pTemporary;
    temporary.bFlushed = false;
    return temporary.nError == 0 && temporary.Keep(WriteAll(temporary.file.Get(), strBytes));
}

bool CFileReplacement::Flush() {
    Temporary& temporary = *m_pTemporary;
    if (temporary.nError == 0 && !temporary.bFlushed)
        temporary.bFlushed = temporary.Keep(FlushFile(temporary.file.Get()));
    return temporary.nError == 0;
}

bool CFileReplacement::Commit() {
    Temporary& temporary = *m_pTemporary;
    // Open until the rename, or a sweep would take it for a stale one. After the flush, closing it can't fail any more.
    const bool bReplaced =
        Flush() && temporary.Keep(rename(temporary.strTemporary.c_str(), temporary.strFile.c_str()) == 0);
    if (!bReplaced) return NoteFileError(temporary.nError);
    temporary.bCreated = false;
    return FlushFolder(temporary.strFolder) || NoteFileError(errno);
}

bool ReplaceFile(TextView strPath, std::string_view strBytes) {
    CFileReplacement replacement(strPath);
    replacement.Write(strBytes);
    return replacement.Commit();
}

bool ReplaceOrRemoveFile(TextView strPath, std::string_view strBytes, bool* pCreated) {
    CFileReplacement replacement(strPath);
    const bool bBegun = replacement.Write({});
    const bool bWhole = replacement.Write(strBytes) && replacement.Flush();
    const bool bReplaced = replacement.Commit();
    if (pCreated) *pCreated = bBegun && (bReplaced || !bWhole);
    if (bReplaced) return true;
    const int nError = GetLastFileError();
    unlink(ToPath(strPath).c_str());
    return NoteFileError(nError);
}

}  // namespace qvant::platform

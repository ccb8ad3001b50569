#include "platform/files.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <memory>
#include <random>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/file_calls.h"

namespace qvant::platform {

namespace {

constexpr mode_t USER_FOLDER = 0700;

/// Tells those who ask as well that the file is being written or read; where the file system has no locks, nobody is
/// told. @return false when another one's lock stands against it
bool TryLock(int nDescriptor, int nKind) { return flock(nDescriptor, nKind | LOCK_NB) == 0 || errno != EWOULDBLOCK; }

/// Reads a piece behind what there is. @return false at the end of the file, or of what can be read
bool ReadPiece(int nDescriptor, std::string& strBytes) {
    std::array<char, 4'096> arPiece{};
    for (;;) {
        const ssize_t nRead = read(nDescriptor, arPiece.data(), arPiece.size());
        if (nRead < 0 && errno == EINTR) continue;
        if (nRead > 0) strBytes.append(arPiece.data(), static_cast<std::size_t>(nRead));
        return nRead > 0;
    }
}

bool IsFolder(const std::string& strPath) {
    struct stat status {};
    return stat(strPath.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::string RandomDigits() {
    constexpr std::uint32_t SIX_DIGITS = 0xFFFFFF;
    std::array<char, 8> arDigits{};
    std::random_device random;
    const auto end = std::to_chars(arDigits.data(), arDigits.data() + arDigits.size(), random() & SIX_DIGITS, 16).ptr;
    return std::string(arDigits.data(), end);
}

}  // namespace

bool CreateFolders(TextView strPath) {
    const std::string strFolder = ToPath(strPath);
    int nError = 0;
    for (std::size_t nSlash = 0; nSlash != std::string::npos;) {
        nSlash = strFolder.find('/', nSlash + 1);
        // What can't be made may be there already; only the last one decides.
        const std::string strPart = strFolder.substr(0, nSlash);
        nError = mkdir(strPart.c_str(), USER_FOLDER) == 0 ? 0 : errno;
        // A mask that takes from the user as well would let nothing be made in it.
        if (nError == 0) ChangeMode(strPart, S_IFDIR, 0, USER_FOLDER);
    }
    if (IsFolder(strFolder)) return true;
    errno = nError;
    return NoteFileError(errno);
}

bool CanReadFile(TextView strPath) {
    struct stat status {};
    return CDescriptor(OpenToRead(ToPath(strPath), status)).IsOpen() || NoteFileError(errno);
}

bool FileExists(TextView strPath) {
    struct stat status {};
    return lstat(ToPath(strPath).c_str(), &status) == 0;
}

std::optional<std::int64_t> GetLastWriteTime(TextView strPath) {
    struct stat status {};
    if (stat(ToPath(strPath).c_str(), &status) == 0) return status.st_mtim.tv_sec;
    NoteFileError(errno);
    return std::nullopt;
}

std::optional<Text> CreateTempFile(TextView strFolder, TextView strPrefix) {
    constexpr int MOST_TRIES = 1'000;
    std::string strStart = ToPath(strFolder);
    if (!strStart.empty() && strStart.back() != '/') strStart.push_back('/');
    strStart += ToPath(strPrefix);
    for (int nTry = 0; nTry < MOST_TRIES; ++nTry) {
        const std::string strFile = strStart + RandomDigits() + ".tmp";
        if (CDescriptor(CreateUserFile(strFile, O_WRONLY | O_EXCL)).IsOpen()) return Widen(strFile);
        if (errno != EEXIST) break;
    }
    NoteFileError(errno);
    return std::nullopt;
}

bool WriteNewFile(TextView strPath, std::string_view strBytes, bool* pCreated) {
    const std::string strFile = ToPath(strPath);
    CDescriptor file(CreateUserFile(strFile, O_WRONLY | O_EXCL));
    if (pCreated) *pCreated = file.IsOpen();
    if (!file.IsOpen()) return NoteFileError(errno);
    if (WriteAll(file.Get(), strBytes) && file.Close()) return true;
    NoteFileError(errno);
    unlink(strFile.c_str());
    return false;
}

bool ForEachLine(TextView strPath, const std::function<bool(std::string_view strLine)>& visit) {
    struct stat status {};
    const CDescriptor file(OpenToRead(ToPath(strPath), status));
    if (!file.IsOpen() || !TryLock(file.Get(), LOCK_SH)) return NoteFileError(errno);
    std::string strRest;  // what no LF has followed so far
    for (std::size_t nLooked = 0; ReadPiece(file.Get(), strRest); nLooked = strRest.size()) {
        std::string_view strLines = strRest;
        for (std::size_t nEnd = strLines.find('\n', nLooked); nEnd != std::string_view::npos;
             nEnd = strLines.find('\n')) {
            std::string_view strLine = strLines.substr(0, nEnd);
            if (strLine.ends_with('\r')) strLine.remove_suffix(1);
            if (!visit(strLine)) return true;
            strLines.remove_prefix(nEnd + 1);
        }
        strRest.erase(0, strRest.size() - strLines.size());
    }
    if (!strRest.empty()) visit(strRest);
    return true;
}

void DeleteFile(TextView strPath) {
    if (unlink(ToPath(strPath).c_str()) != 0) NoteFileError(errno);
}

std::vector<Text> ListFiles(TextView strFolder) {
    const std::string strPath = ToPath(strFolder);
    const std::unique_ptr<DIR, int (*)(DIR*)> pFolder(opendir(strPath.c_str()), closedir);
    std::vector<Text> arNames;
    if (!pFolder) NoteFileError(errno);
    while (const dirent* const pEntry = pFolder ? readdir(pFolder.get()) : nullptr) {
        const std::string_view strName = pEntry->d_name;
        if (!IsFolder(std::string(strPath).append("/").append(strName))) arNames.push_back(Widen(strName));
    }
    std::sort(arNames.begin(), arNames.end());
    return arNames;
}

}  // namespace qvant::platform

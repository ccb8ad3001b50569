#include "platform/files.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <memory>
#include <random>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/temporary_file.h"

namespace qvant::platform {

namespace {

constexpr mode_t USER_FILE = 0600;
constexpr mode_t USER_FOLDER = 0700;

/// Kept apart from `errno`, which the clean-up after a failure would overwrite.
thread_local int t_nLastError = 0;

/// Notes the failure of the call before it.
bool Fail() {
    t_nLastError = errno;
    return false;
}

/// The system's form of a path. A NUL would make it the path of something else; such a path names nothing.
std::string ToPath(TextView strPath) { return Contains(strPath, TextView(u"\0", 1)) ? std::string() : Narrow(strPath); }

std::string GetFolderOf(const std::string& strPath) {
    const std::size_t nSlash = strPath.find_last_of('/');
    if (nSlash == std::string::npos) return ".";
    return nSlash == 0 ? "/" : strPath.substr(0, nSlash);
}

/// An open file, closed at the end of its scope.
class CDescriptor {
public:
    CDescriptor() = default;
    explicit CDescriptor(int nDescriptor) : m_nDescriptor(nDescriptor) {}
    ~CDescriptor() { Close(); }
    CDescriptor(const CDescriptor&) = delete;
    CDescriptor& operator=(const CDescriptor&) = delete;

    bool IsOpen() const { return m_nDescriptor >= 0; }
    int Get() const { return m_nDescriptor; }

    /// @return false when what was written can't be kept
    bool Close() {
        if (!IsOpen()) return true;
        const int nResult = close(std::exchange(m_nDescriptor, -1));
        // The descriptor is gone after an interrupted close as well.
        return nResult == 0 || errno == EINTR;
    }

private:
    int m_nDescriptor = -1;
};

int Open(const std::string& strPath, int nFlags, mode_t nMode = 0) {
    for (;;) {
        const int nDescriptor = open(strPath.c_str(), nFlags | O_CLOEXEC, nMode);
        if (nDescriptor >= 0 || errno != EINTR) return nDescriptor;
    }
}

/// Opens for reading what isn't a folder. A pipe without a writer doesn't hold up the caller.
int OpenToRead(const std::string& strPath, struct stat& status) {
    const int nDescriptor = Open(strPath, O_RDONLY | O_NONBLOCK);
    if (nDescriptor < 0) return nDescriptor;
    if (fstat(nDescriptor, &status) == 0 && !S_ISDIR(status.st_mode)) return nDescriptor;
    close(nDescriptor);
    errno = EISDIR;
    return -1;
}

bool WriteAll(int nDescriptor, std::string_view strBytes) {
    while (!strBytes.empty()) {
        const ssize_t nWritten = write(nDescriptor, strBytes.data(), strBytes.size());
        if (nWritten < 0 && errno == EINTR) continue;
        if (nWritten < 0) return false;
        strBytes.remove_prefix(static_cast<std::size_t>(nWritten));
    }
    return true;
}

bool Flush(int nDescriptor) {
    while (fsync(nDescriptor) != 0) {
        if (errno != EINTR) return false;
    }
    return true;
}

/// Makes a rename in the folder outlast a crash. A file system that doesn't flush folders says "invalid".
bool FlushFolder(const std::string& strFolder) {
    CDescriptor folder(Open(strFolder, O_RDONLY | O_DIRECTORY));
    if (!folder.IsOpen()) return errno == EACCES;  // a folder that may be written and not read
    return Flush(folder.Get()) || errno == EINVAL;
}

/// Writes, flushes and closes a new file.
bool WriteAndClose(CDescriptor& file, std::string_view strBytes) {
    return WriteAll(file.Get(), strBytes) && Flush(file.Get()) && file.Close();
}

/// Appends the rest of the file, as far as it can be read.
bool ReadAll(int nDescriptor, std::string& strBytes) {
    constexpr std::size_t LEAST_ROOM = 4'096;
    std::size_t nSize = 0;
    for (;;) {
        if (strBytes.size() - nSize < LEAST_ROOM) strBytes.resize(std::max(strBytes.size() * 2, nSize + LEAST_ROOM));
        const ssize_t nRead = read(nDescriptor, strBytes.data() + nSize, strBytes.size() - nSize);
        if (nRead < 0 && errno == EINTR) continue;
        if (nRead < 0) return false;
        nSize += static_cast<std::size_t>(nRead);
        if (nRead > 0) continue;
        strBytes.resize(nSize);
        return true;
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
        nError = mkdir(strFolder.substr(0, nSlash).c_str(), USER_FOLDER) == 0 ? 0 : errno;
    }
    if (IsFolder(strFolder)) return true;
    errno = nError;
    return Fail();
}

bool CanReadFile(TextView strPath) {
    struct stat status {};
    return CDescriptor(OpenToRead(ToPath(strPath), status)).IsOpen() || Fail();
}

bool FileExists(TextView strPath) {
    struct stat status {};
    return lstat(ToPath(strPath).c_str(), &status) == 0;
}

std::optional<std::string> ReadWholeFile(TextView strPath) {
    struct stat status {};
    const CDescriptor file(OpenToRead(ToPath(strPath), status));
    // One byte and the least room more than the file has, so that its end is met without growing.
    std::string strBytes(file.IsOpen() ? static_cast<std::size_t>(std::max<off_t>(status.st_size, 0)) + 4'097 : 0,
                         '\0');
    if (file.IsOpen() && ReadAll(file.Get(), strBytes)) return strBytes;
    Fail();
    return std::nullopt;
}

bool ReplaceFile(TextView strPath, std::string_view strBytes) {
    const std::string strFile = ToPath(strPath);
    const std::string strFolder = GetFolderOf(strFile);
    std::string strTemporary;
    const CDescriptor file(CreateTemporary(strFolder, strTemporary));
    if (!file.IsOpen()) return Fail();
    // Open until the rename, or a sweep would take it for a stale one. After the flush, closing it can't fail any more.
    if (!WriteAll(file.Get(), strBytes) || !Flush(file.Get()) || rename(strTemporary.c_str(), strFile.c_str()) != 0) {
        Fail();
        unlink(strTemporary.c_str());
        return false;
    }
    return FlushFolder(strFolder) || Fail();
}

std::optional<Text> CreateTempFile(TextView strFolder, TextView strPrefix) {
    constexpr int MOST_TRIES = 1'000;
    std::string strStart = ToPath(strFolder);
    if (!strStart.empty() && strStart.back() != '/') strStart.push_back('/');
    strStart += ToPath(strPrefix);
    for (int nTry = 0; nTry < MOST_TRIES; ++nTry) {
        const std::string strFile = strStart + RandomDigits() + ".tmp";
        if (CDescriptor(Open(strFile, O_WRONLY | O_CREAT | O_EXCL, USER_FILE)).IsOpen()) return Widen(strFile);
        if (errno != EEXIST) break;
    }
    Fail();
    return std::nullopt;
}

bool WriteNewFile(TextView strPath, std::string_view strBytes, bool* pCreated) {
    const std::string strFile = ToPath(strPath);
    CDescriptor file(Open(strFile, O_WRONLY | O_CREAT | O_EXCL, USER_FILE));
    if (pCreated) *pCreated = file.IsOpen();
    if (!file.IsOpen()) return Fail();
    if (WriteAndClose(file, strBytes)) return true;
    Fail();
    unlink(strFile.c_str());
    return false;
}

void DeleteFile(TextView strPath) {
    if (unlink(ToPath(strPath).c_str()) != 0) Fail();
}

std::vector<Text> ListFiles(TextView strFolder) {
    const std::string strPath = ToPath(strFolder);
    const std::unique_ptr<DIR, int (*)(DIR*)> pFolder(opendir(strPath.c_str()), closedir);
    std::vector<Text> arNames;
    if (!pFolder) Fail();
    while (const dirent* const pEntry = pFolder ? readdir(pFolder.get()) : nullptr) {
        const std::string_view strName = pEntry->d_name;
        if (!IsFolder(std::string(strPath).append("/").append(strName))) arNames.push_back(Widen(strName));
    }
    std::sort(arNames.begin(), arNames.end());
    return arNames;
}

int GetLastFileError() { return t_nLastError; }

}  // namespace qvant::platform

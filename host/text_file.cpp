#include "text_file.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "failure.h"
#include "text.h"

namespace qvant::host {

namespace {

[[noreturn]] void Fail(const char* pszWhat, const std::filesystem::path& path, const std::string& strWhy) {
    throw CFailure(pszWhat + Quote(Widen(path.string())) + ": " + strWhy);
}

std::string LastError() { return std::generic_category().message(errno); }

class CFile {
public:
    explicit CFile(int nFile) : m_nFile(nFile) {}
    CFile(const CFile&) = delete;
    CFile& operator=(const CFile&) = delete;
    ~CFile() {
        if (m_nFile >= 0) close(m_nFile);
    }

    int Get() const { return m_nFile; }

private:
    const int m_nFile;
};

/// @return false when it can't all be read
bool ReadBytes(int nFile, std::string& strBytes) {
    std::size_t nDone = 0;
    while (nDone < strBytes.size()) {
        const ssize_t nRead = read(nFile, strBytes.data() + nDone, strBytes.size() - nDone);
        if (nRead < 0 && errno == EINTR) continue;
        if (nRead < 0) return false;
        if (nRead == 0) break;
        nDone += static_cast<std::size_t>(nRead);
    }
    strBytes.resize(nDone);
    return true;
}

/// @return false when they can't all be brought to the disk
bool WriteBytes(int nFile, std::string_view strBytes) {
    while (!strBytes.empty()) {
        const ssize_t nWritten = write(nFile, strBytes.data(), strBytes.size());
        if (nWritten < 0 && errno != EINTR) return false;
        strBytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(nWritten, 0)));
    }
    return fsync(nFile) == 0;
}

}  // namespace

std::optional<FileContent> ReadWholeFile(const std::filesystem::path& path) {
    constexpr const char* WHAT = "can't read ";
    // A pipe in the file's place isn't waited for.
    const CFile file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (file.Get() < 0 && (errno == ENOENT || errno == ENOTDIR)) return std::nullopt;
    struct stat info {};
    if (file.Get() < 0 || fstat(file.Get(), &info) != 0) Fail(WHAT, path, LastError());
    if (!S_ISREG(info.st_mode)) Fail(WHAT, path, "it isn't a file");
    if (info.st_size > static_cast<off_t>(FILE_LIMIT)) Fail(WHAT, path, "it is too large");
    FileContent content{std::string(static_cast<std::size_t>(info.st_size), '\0'),
                        std::chrono::sys_seconds(std::chrono::seconds(info.st_mtim.tv_sec))};
    if (!ReadBytes(file.Get(), content.strBytes)) Fail(WHAT, path, LastError());
    return content;
}

void WriteWholeFile(const std::filesystem::path& path, std::string_view strBytes) {
    constexpr const char* WHAT = "can't write ";
    const std::string strTemporary = path.string() + '.' + std::to_string(getpid()) + ".tmp";
    const CFile file(open(strTemporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0666));
    if (file.Get() < 0) Fail(WHAT, path, LastError());
    if (WriteBytes(file.Get(), strBytes) && rename(strTemporary.c_str(), path.c_str()) == 0) return;
    const std::string strWhy = LastError();
    unlink(strTemporary.c_str());
    Fail(WHAT, path, strWhy);
}

std::string_view TakeLine(std::string_view& strText) {
    const std::size_t nEnd = std::min(strText.find('\n'), strText.size());
    std::string_view strLine = strText.substr(0, nEnd);
    strText.remove_prefix(std::min(nEnd + 1, strText.size()));
    if (strLine.ends_with('\r')) strLine.remove_suffix(1);
    return strLine;
}

}  // namespace qvant::host

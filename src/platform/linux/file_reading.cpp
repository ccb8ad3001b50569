#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

#include "platform/files.h"
#include "platform/large_pages.h"
#include "platform/linux/file_calls.h"

namespace qvant::platform {

namespace {

constexpr std::string_view UTF16_MARK = "\xFF\xFE";

/// @return the number of bytes, less than there is room for at the end of the file alone; below 0 on failure
ssize_t ReadBytes(int nDescriptor, char* pBytes, std::size_t nRoom) {
    std::size_t nSize = 0;
    while (nSize < nRoom) {
        const ssize_t nRead = read(nDescriptor, pBytes + nSize, nRoom - nSize);
        if (nRead < 0 && errno == EINTR) continue;
        if (nRead < 0) return nRead;
        if (nRead == 0) break;
        nSize += static_cast<std::size_t>(nRead);
    }
    return static_cast<ssize_t>(nSize);
}

/// Appends the rest of the file; of a unit that the file's end cuts nothing. A string can't grow without being filled:
/// that is done a piece at a time, so that the bytes of the file meet it in the cache.
/// @param nExpected  in bytes; the file may have grown meanwhile
template <class String>
bool AppendRest(int nDescriptor, String& str, std::size_t nExpected) {
    constexpr std::size_t LEAST_PIECE = 4'096;
    constexpr std::size_t MOST_PIECE = 65'536;
    constexpr std::size_t UNIT = sizeof(typename String::value_type);
    // A unit more than the file has shows its end; a small file takes no more room than that.
    const std::size_t nPiece = std::clamp(nExpected / UNIT + 1, LEAST_PIECE, MOST_PIECE);
    ReserveLarge(str, str.size() + std::min(nExpected / UNIT + nPiece, str.max_size() - str.size()));
    for (;;) {
        const std::size_t nBefore = str.size();
        str.resize(nBefore + nPiece);
        const ssize_t nRead = ReadBytes(nDescriptor, reinterpret_cast<char*>(str.data() + nBefore), nPiece * UNIT);
        if (nRead < 0) return false;
        const std::size_t nUnits = static_cast<std::size_t>(nRead) / UNIT;
        if (nUnits == nPiece) continue;
        str.resize(nBefore + nUnits);
        return true;
    }
}

/// A file that is open, and what it begins with.
class CReading {
public:
    explicit CReading(TextView strPath) : m_file(OpenToRead(ToPath(strPath), m_status)) {}

    bool ReadStart() {
        const ssize_t nRead = m_file.IsOpen() ? ReadBytes(m_file.Get(), m_arStart.data(), m_arStart.size()) : -1;
        m_nStart = static_cast<std::size_t>(std::max<ssize_t>(nRead, 0));
        return nRead >= 0;
    }
    std::string_view GetStart() const { return {m_arStart.data(), m_nStart}; }

    template <class String>
    bool ReadRest(String& str) {
        return AppendRest(m_file.Get(), str, static_cast<std::size_t>(std::max<off_t>(m_status.st_size, 0)));
    }

private:
    struct stat m_status {};
    const CDescriptor m_file;
    std::array<char, UTF16_MARK.size()> m_arStart{};
    std::size_t m_nStart = 0;
};

std::optional<std::string> ReadBehindStart(CReading& file) {
    std::string strBytes(file.GetStart());
    return file.ReadRest(strBytes) ? std::optional(std::move(strBytes)) : std::nullopt;
}

/// Wide text, which the large files hold, is read to where it stays.
std::optional<Text> ReadText(CReading& file) {
    static_assert(std::endian::native == std::endian::little);
    if (file.GetStart() == UTF16_MARK) {
        Text strText;
        return file.ReadRest(strText) ? std::optional(std::move(strText)) : std::nullopt;
    }
    const auto strBytes = ReadBehindStart(file);
    return strBytes ? std::optional(WidenMarked(*strBytes)) : std::nullopt;
}

}  // namespace

std::optional<std::string> ReadWholeFile(TextView strPath) {
    CReading file(strPath);
    auto strBytes = file.ReadStart() ? ReadBehindStart(file) : std::nullopt;
    if (!strBytes) NoteFileError(errno);
    return strBytes;
}

std::optional<Text> ReadWholeText(TextView strPath) {
    CReading file(strPath);
    auto strText = file.ReadStart() ? ReadText(file) : std::nullopt;
    if (!strText) NoteFileError(errno);
    return strText;
}

}  // namespace qvant::platform

#include "net/gzip_file.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include <zlib.h>

#include "platform/files.h"
#include "platform/internet_limits.h"
#include "platform/stop.h"

namespace qvant {

namespace {

constexpr std::size_t NAME_BUFFER = 1024;
constexpr std::size_t BLOCK = std::size_t{1} << 20;  ///< read between two looks at the stop
constexpr std::size_t LEAST_ROOM = 16384;

struct GzClose {
    void operator()(gzFile_s* file) const { gzclose(file); }
};
using GzFile = std::unique_ptr<gzFile_s, GzClose>;

/// How long a file says that its content is, in its last four bytes. Whoever wrote them may have lied, and files that
/// are no gzip say anything: no more than its bytes could hold.
std::size_t ReadPromisedLength(const std::string& strPath) {
    constexpr std::streamoff NOTE = 4;
    constexpr std::size_t MOST_RATIO = 1032;  // of deflate, RFC 1951: 258 bytes for two bits
    std::ifstream file(strPath, std::ios::binary | std::ios::ate);
    const std::streamoff nSize = file.tellg();
    std::array<unsigned char, NOTE> arNote{};
    if (nSize < NOTE || !file.seekg(-NOTE, std::ios::end).read(reinterpret_cast<char*>(arNote.data()), NOTE)) return 0;
    std::size_t nPromised = 0;
    for (std::size_t i = NOTE; i-- > 0;) nPromised = nPromised << 8u | arNote[i];
    return std::min({nPromised, static_cast<std::size_t>(nSize) * MOST_RATIO, GUNZIP_MOST});
}

/// A stream's content in the memory that the caller gets, with room for a NUL behind it.
class CContent {
public:
    /// One place more than expected and the NUL need shows the end of the stream without more room.
    explicit CContent(std::size_t nExpected)
        : m_nRoom(std::max(nExpected + 2, LEAST_ROOM)), m_pBytes(new (std::nothrow) std::uint8_t[m_nRoom]) {
        if (m_pBytes) return;
        m_nRoom = LEAST_ROOM;
        m_pBytes = std::make_unique_for_overwrite<std::uint8_t[]>(m_nRoom);
    }

    /// @return false when the stream is broken or too long, or when the thread is told to stop
    /// @param bTooLong  out: whether it is too long
    bool Read(gzFile file, bool& bTooLong) {
        const std::size_t nMost = std::min(GUNZIP_MOST, platform::GetInternetLimits().nMostBody);
        while (MakeRoom()) {
            const std::size_t nBlock = std::min(m_nRoom - 1 - m_nLength, BLOCK);
            const int nRead = gzread(file, m_pBytes.get() + m_nLength, static_cast<unsigned>(nBlock));
            if (nRead < 0 || platform::StopRequested()) return false;
            m_nLength += static_cast<std::size_t>(nRead);
            bTooLong = m_nLength > nMost;
            if (bTooLong) return false;
            if (nRead == 0) break;
        }
        return true;
    }
    std::size_t GetLength() const { return m_nLength; }
    std::unique_ptr<std::uint8_t[]> TakeWithNul() {
        m_pBytes[m_nLength] = 0;
        return std::move(m_pBytes);
    }

private:
    /// A failed allocation ends the content where it stands; the caller goes on with what there is.
    bool MakeRoom() {
        if (m_nLength + 1 < m_nRoom) return true;
        std::unique_ptr<std::uint8_t[]> pLarger(new (std::nothrow) std::uint8_t[m_nRoom * 2]);
        if (!pLarger) return false;
        std::memcpy(pLarger.get(), m_pBytes.get(), m_nLength);
        m_pBytes = std::move(pLarger);
        m_nRoom *= 2;
        return true;
    }

    std::size_t m_nRoom;
    std::unique_ptr<std::uint8_t[]> m_pBytes;
    std::size_t m_nLength = 0;
};

/// A temporary file whose name with ".gz" is free as well: broken streams of before lie under such names.
std::optional<Text> CreateFreeName() {
    constexpr int MOST_TRIES = 100;
    std::optional<Text> temporary;
    for (int i = 0; i < MOST_TRIES; ++i) {
        temporary = platform::CreateTempFile(platform::GetTempFolder(), u"TQD");
        if (!temporary || !platform::FileExists(*temporary + u".gz")) break;
        platform::DeleteFile(*temporary);
    }
    return temporary;
}

}  // namespace

std::unique_ptr<std::uint8_t[]> ReadGzipFile(const Text& strPath, std::uint32_t& nLength, bool* pTooLong) {
    bool bIgnored = false;
    bool& bTooLong = pTooLong ? *pTooLong : bIgnored;
    bTooLong = false;
    const bool bNamed = strPath.size() > 3 && strPath.ends_with(u".gz");
    const Text strFile = bNamed ? strPath : strPath + u".gz";
    const std::string strNarrow = Narrow(strFile);
    if (strNarrow.size() >= NAME_BUFFER) return nullptr;
    GzFile file(gzopen(strNarrow.c_str(), "rb"));
    if (!file) return nullptr;
    CContent content(ReadPromisedLength(strNarrow));
    if (!content.Read(file.get(), bTooLong)) return nullptr;
    // A stream cut short shows only here.
    if (gzclose(file.release()) != Z_OK) return nullptr;
    platform::DeleteFile(strFile);
    nLength = static_cast<std::uint32_t>(content.GetLength() + 1);
    return content.GetLength() == 0 ? nullptr : content.TakeWithNul();
}

std::uint32_t GunzipBuffer(std::unique_ptr<std::uint8_t[]>& pDecoded, std::string_view strReceived,
                           std::chrono::milliseconds pause, bool* pTooLong) {
    if (pTooLong) *pTooLong = false;
    const std::optional<Text> temporary = CreateFreeName();
    if (!temporary) return 0;
    const Text strZipped = *temporary + u".gz";
    bool bCreated = false;
    if (!platform::WriteNewFile(strZipped, strReceived, &bCreated)) {
        // Only a second file that can't even be created leaves the first one where it is.
        if (bCreated) platform::DeleteFile(*temporary);
        return 0;
    }
    platform::SleepFor(pause);
    std::uint32_t nLength = 0;
    auto pContent = ReadGzipFile(strZipped, nLength, pTooLong);
    platform::DeleteFile(*temporary);
    if (!pContent) {
        // Broken ones are kept to be looked at, not those that nobody had the time to read.
        if (platform::StopRequested()) platform::DeleteFile(strZipped);
        return 0;
    }
    if (nLength > 1) pContent[nLength - 1] = 0;
    pDecoded = std::move(pContent);
    platform::DeleteFile(strZipped);
    return nLength;
}

}  // namespace qvant

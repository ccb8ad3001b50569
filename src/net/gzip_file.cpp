#include "net/gzip_file.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <optional>
#include <string>

#include <zlib.h>

#include "platform/files.h"
#include "platform/internet_limits.h"
#include "platform/stop.h"

namespace qvant {

namespace {

constexpr std::size_t NAME_BUFFER = 1024;
constexpr unsigned BLOCK = 16384;

struct GzClose {
    void operator()(gzFile_s* file) const { gzclose(file); }
};
using GzFile = std::unique_ptr<gzFile_s, GzClose>;

std::unique_ptr<std::uint8_t[]> CopyWithNul(std::string_view strContent) {
    auto pCopy = std::make_unique_for_overwrite<std::uint8_t[]>(strContent.size() + 1);
    std::memcpy(pCopy.get(), strContent.data(), strContent.size());
    pCopy[strContent.size()] = 0;
    return pCopy;
}

// A failed allocation ends the content where it stands; the caller goes on with what there is.
bool TryAppend(std::string& strContent, const char* pBlock, std::size_t nBlock) {
    try {
        strContent.append(pBlock, nBlock);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

// @return nothing when the stream is broken or too long, or when the thread is told to stop
std::optional<std::string> ReadStream(gzFile file, bool& bTooLong) {
    const std::size_t nMost = std::min(GUNZIP_MOST, platform::GetInternetLimits().nMostBody);
    std::string strContent;
    char block[BLOCK];
    for (;;) {
        const int nRead = gzread(file, block, BLOCK);
        if (nRead < 0 || platform::StopRequested()) return std::nullopt;
        const auto nBlock = static_cast<std::size_t>(nRead);
        bTooLong = nBlock > nMost - strContent.size();
        if (bTooLong) return std::nullopt;
        if (nBlock == 0 || !TryAppend(strContent, block, nBlock)) return strContent;
    }
}

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
    const std::optional<std::string> content = ReadStream(file.get(), bTooLong);
    if (!content) return nullptr;
    // A stream cut short shows only here.
    if (gzclose(file.release()) != Z_OK) return nullptr;
    platform::DeleteFile(strFile);
    nLength = static_cast<std::uint32_t>(content->size() + 1);
    return content->empty() ? nullptr : CopyWithNul(*content);
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

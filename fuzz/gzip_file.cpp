/// Replies that begin as a gzip does.

#include "net/gzip_file.h"

#include <cstdlib>

#include "platform/files.h"
#include "require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    using namespace qvant;
    using fuzz::Require;
    static const Text strPath = platform::CreateTempFile(platform::GetTempFolder(), u"FUZ").value() + u".gz";
    platform::DeleteFile(strPath);
    Require(platform::WriteNewFile(strPath, fuzz::AsBytes(pData, nSize)), "the file takes the bytes");
    std::uint32_t nLength = 0;
    if (const auto pContent = ReadGzipFile(strPath, nLength)) {
        Require(nLength > 1 && pContent[nLength - 1] == 0, "a content ends in a NUL");
        Require(!platform::FileExists(strPath), "a file that was read is removed");
    }
    return 0;
}

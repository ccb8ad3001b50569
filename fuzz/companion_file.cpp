/// Companions of definition files.

#include "rolls/companion_file.h"

#include "memory_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    using namespace qvant;
    static const fuzz::CMemoryFile file;
    file.Replace(fuzz::AsBytes(pData, nSize));
    const Text strPath = file.GetPath();
    const bool bLater = IsCompanionStale(strPath, 20261120120000, 20261231000000);
    const bool bEarlier = IsCompanionStale(strPath, 20261120120000, 20260101000000);
    fuzz::Require(bLater || !bEarlier, "a companion doesn't become fresh by the passing of time");
    const bool bWritten = IsCompanionStale(strPath, 20261120120001, 20260101000000);
    fuzz::Require(bEarlier || bWritten, "a companion is that of one definition");
    return 0;
}

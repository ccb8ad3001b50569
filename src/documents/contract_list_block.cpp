#include "documents/contract_list_block.h"

#include <random>

#include "base/format.h"
#include "platform/stop.h"

namespace qvant {

ContractListBlock MakeContractListBlock(IHost& host, const platform::IClock& clock, const void* pOwner,
                                        std::size_t nSize, const std::function<void(char*)>& fill) {
    using platform::CSharedMemory;
    std::minstd_rand random(static_cast<std::uint32_t>(clock.NowMilliseconds() / 1000));
    const auto nOwner = reinterpret_cast<std::uintptr_t>(pOwner);
    auto MakeName = [&] { return Format(u"ContractListName_%d_%x", random() % 10000, nOwner); };
    ContractListBlock block{MakeName(), nullptr};
    int nError = 0;
    while (!(block.pMemory = CSharedMemory::Create(block.strName, nSize, nError))) {
        if (nError != CSharedMemory::ALREADY_EXISTS) return block;
        host.LogMessage(u"CreateFileMapping ERROR_ALREADY_EXISTS : " + block.strName);
        block.strName = MakeName();  // also for a stop: somebody else's block is never published
        if (platform::StopRequested()) return block;
    }
    nError = block.pMemory->Fill(fill);
    if (nError != 0) host.LogMessage(Format(u"MapViewOfFileEx pMapViewBuf=NULL, ErrorCode:%d", nError));
    return block;
}

}  // namespace qvant

/// The shared block that carries the pickers' name tree to the other modules.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>

#include "platform/clock.h"
#include "platform/shared_memory.h"
#include "store/host.h"

namespace qvant {

/// What the names of all blocks begin with.
inline constexpr const char16_t* CONTRACT_LIST_BLOCK_NAME = u"ContractListName_";

/// A block, not yet published.
struct ContractListBlock {
    Text strName;
    std::unique_ptr<platform::CSharedMemory> pMemory;  ///< null when the system refused; the name stands all the same
};

/// Makes a block of exactly the size of its content, under a name that isn't taken. Tries names until one is free or
/// the calling thread is told to stop.
/// @param pOwner  stands in the name, so that two services in one session differ
/// @param nSize   of the content in bytes
/// @param fill    writes the content to where it is to lie
ContractListBlock MakeContractListBlock(IHost& host, const platform::IClock& clock, const void* pOwner,
                                        std::size_t nSize, const std::function<void(char*)>& fill);

}  // namespace qvant

#include "bulk_memory.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace qvant::store {
namespace {

constexpr std::size_t BLOCK_SIZE = 64 * 1024;
constexpr std::size_t LARGEST_IN_BLOCK = BLOCK_SIZE / 8;
constexpr std::size_t FIRST_BULK_ENTRY = 64;  ///< of a transaction; those before it stay single
constexpr std::size_t ALIGNMENT = alignof(std::max_align_t);

/// A block, counted by its entries and by the thread that fills it.
struct Block {
    std::atomic<std::size_t> nReferences{1};
    std::size_t nUsed = 0;

    void Release() {
        if (nReferences.fetch_sub(1, std::memory_order_acq_rel) == 1) std::free(this);
    }
};

/// What stands before each entry: the block that it lies in, null for a single piece.
struct alignas(ALIGNMENT) Head {
    Block* pBlock;
};

constexpr std::size_t Align(std::size_t nSize) { return (nSize + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT; }

constexpr std::size_t FIRST_OFFSET = Align(sizeof(Block));

/// The block that a thread fills at the moment.
struct Filling {
    Block* pBlock = nullptr;
    std::size_t nEntries = 0;

    ~Filling() { Drop(); }
    void Drop() {
        if (pBlock) pBlock->Release();
        pBlock = nullptr;
    }
};

thread_local Filling t_filling;

bool StartBlock() {
    t_filling.Drop();
    void* const pMemory = std::malloc(BLOCK_SIZE);
    if (!pMemory) return false;
    t_filling.pBlock = new (pMemory) Block;
    t_filling.pBlock->nUsed = FIRST_OFFSET;
    return true;
}

void* PlaceHead(void* pMemory, Block* pBlock) { return new (pMemory) Head{pBlock} + 1; }

}  // namespace

void* AllocateEntry(std::size_t nSize) {
    const std::size_t nWhole = Align(sizeof(Head) + nSize);
    if (++t_filling.nEntries < FIRST_BULK_ENTRY || nWhole > LARGEST_IN_BLOCK) return AllocateSingleEntry(nSize);
    const bool bFits = t_filling.pBlock && t_filling.pBlock->nUsed + nWhole <= BLOCK_SIZE;
    if (!bFits && !StartBlock()) return nullptr;
    Block* const pBlock = t_filling.pBlock;
    char* const pMemory = reinterpret_cast<char*>(pBlock) + pBlock->nUsed;
    pBlock->nUsed += nWhole;
    pBlock->nReferences.fetch_add(1, std::memory_order_relaxed);
    return PlaceHead(pMemory, pBlock);
}

void* AllocateSingleEntry(std::size_t nSize) {
    void* const pMemory = std::malloc(Align(sizeof(Head) + nSize));
    return pMemory ? PlaceHead(pMemory, nullptr) : nullptr;
}

void FreeEntry(void* pMemory) {
    Head* const pHead = static_cast<Head*>(pMemory) - 1;
    if (pHead->pBlock)
        pHead->pBlock->Release();
    else
        std::free(pHead);
}

void EndBulk() {
    t_filling.Drop();
    t_filling.nEntries = 0;
}

}  // namespace qvant::store

/// Memory for the entries of large transactions: many of them side by side in one block.
///
/// A pass over a document writes tens of thousands of entries and frees as many of the pass before. Single pieces of
/// their size cost more to ask for and to give back than to fill. Entries of small transactions stay single pieces:
/// one that lives long would hold a whole block of others that came and went.
#pragma once

#include <cstddef>

namespace qvant::store {

/// Memory for one entry that the calling thread writes; null when there is none left.
void* AllocateEntry(std::size_t nSize);

/// Memory for one entry that shares no block with others, however many the thread writes.
void* AllocateSingleEntry(std::size_t nSize);

/// Gives an entry's memory back, from any thread.
void FreeEntry(void* pMemory);

/// The calling thread's transaction has ended; its next entries count from the first again.
void EndBulk();

}  // namespace qvant::store

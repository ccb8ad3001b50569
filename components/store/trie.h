/// A section of a table: entries by hash and key, in a tree whose versions share what they have in common.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "entry.h"

namespace qvant::store {

/// One version. Copying it is one counter; writing to a copy leaves the other versions as they are: the nodes on the
/// way to the entry are copied first, unless the same edit made them.
///
/// Any thread may read a version that nobody writes to. A version is always walked in the same order.
class CTrie {
public:
    CTrie() = default;
    CTrie(const CTrie& other);
    CTrie(CTrie&& other) noexcept;
    CTrie& operator=(CTrie other) noexcept;
    ~CTrie();

    /// The entry of a key, borrowed; null when there is none.
    const CEntry* Find(std::uint64_t nHash, TextView strKey) const;

    /// Enters the entry, in place of one with the same key. Takes over a reference of it in any case.
    /// @param nEdit  number of the edit, never used before for another one; nodes made under it are changed in place,
    ///               so no version that holds them may be shown to anybody before the edit is over
    void Put(CEntryRef entry, std::uint64_t nEdit);

    /// Enters many entries, as `Put` would one after the other. They are entered in about the order in which the tree
    /// keeps them, so that in a large tree each one finds the nodes of the one before still in the machine's cache.
    /// When most of them stand in the tree already, as after a pass over a document that changed little, only the
    /// others are entered, and the versions go on sharing the rest.
    /// @param arEntries  their references are taken over; empty afterwards
    void PutAll(std::vector<CEntryRef>& arEntries, std::uint64_t nEdit);

    std::size_t GetCount() const { return m_nCount; }
    bool IsEmpty() const { return m_nCount == 0; }

    /// Calls `visit(CEntry&)` for every entry.
    template <class Visit>
    void ForEach(const Visit& visit) const {
        if (m_pRoot) Walk(*m_pRoot, visit);
    }

private:
    struct Node;
    /// A child: a node or, with the lowest bit set, an entry.
    using Slot = std::uintptr_t;

    static constexpr unsigned BITS = 6;
    static constexpr unsigned HASH_BITS = 64;

    static bool IsEntry(Slot slot) { return (slot & 1) != 0; }
    static CEntry* ToEntry(Slot slot) { return reinterpret_cast<CEntry*>(slot & ~Slot{1}); }
    static Node* ToNode(Slot slot) { return reinterpret_cast<Node*>(slot); }
    static Slot FromEntry(CEntry* pEntry) { return reinterpret_cast<Slot>(pEntry) | 1; }
    static Slot FromNode(Node* pNode) { return reinterpret_cast<Slot>(pNode); }
    static void ReleaseNode(Node* pNode);
    static void PrefetchEntries(const Node& node);

    class CEditor;
    void FindMany(const CEntryRef* pEntries, std::size_t nCount, const CEntry** arFound) const;
    bool PutChanges(const std::vector<CEntryRef>& arEntries, std::uint64_t nEdit);

    template <class Visit>
    static void Walk(const Node& node, const Visit& visit);

    Node* m_pRoot = nullptr;
    std::size_t m_nCount = 0;
};

/// Children stand in the order of their hash bits and carry one bit each in the bitmap. Below the last hash bit there
/// are only entries with the same hash; they stand in the order of their arrival and carry no bits.
///
/// The references are counted behind the slots: a commit that copies a node touches the counts of all its children, and
/// a reader who goes through those children must not find their heads gone from its cache each time.
struct CTrie::Node {
    using References = std::atomic<std::uint32_t>;

    std::uint64_t nBitmap = 0;
    std::uint64_t nEdit = 0;
    std::uint32_t nCount = 0;
    std::uint32_t nCapacity = 0;

    Slot* GetSlots() { return reinterpret_cast<Slot*>(this + 1); }
    const Slot* GetSlots() const { return reinterpret_cast<const Slot*>(this + 1); }
    References& GetReferences() {
        return *reinterpret_cast<References*>(reinterpret_cast<std::byte*>(this) + GetReferencesOffset(nCapacity));
    }
    void AddRef() { GetReferences().fetch_add(1, std::memory_order_relaxed); }

    /// The large nodes are the ones that every look-up goes through; their count keeps a cache line's distance.
    static constexpr std::size_t GetDistance(std::uint32_t nCapacity) { return nCapacity > 32 ? 64 : 0; }
    static constexpr std::size_t GetReferencesOffset(std::uint32_t nCapacity) {
        return sizeof(Node) + nCapacity * sizeof(Slot) + GetDistance(nCapacity);
    }
    static constexpr std::size_t GetSize(std::uint32_t nCapacity) {
        return GetReferencesOffset(nCapacity) + sizeof(References) + GetDistance(nCapacity);
    }
};

template <class Visit>
void CTrie::Walk(const Node& node, const Visit& visit) {
    for (std::uint32_t i = 0; i < node.nCount; ++i) {
        const Slot slot = node.GetSlots()[i];
        if (IsEntry(slot)) {
            visit(*ToEntry(slot));
        } else {
            Walk(*ToNode(slot), visit);
        }
    }
}

/// Hash of a key, for `Find` and `Put`.
std::uint64_t HashKey(TextView strKey);

}  // namespace qvant::store

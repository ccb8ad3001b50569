#include "trie.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <new>
#include <unordered_set>

namespace qvant::store {

std::uint64_t HashKey(TextView strKey) { return std::hash<TextView>{}(strKey); }

namespace {

/// Entries ahead of the one at hand whose memory is asked for.
constexpr std::size_t AHEAD = 8;
/// Entries that are looked up at once.
constexpr std::size_t SIDE_BY_SIDE = 16;
/// One in so many entries of a commit may be a change for the others to stay.
constexpr std::size_t LEAST_KNOWN = 8;
/// Groups of entries that share the way through the two upper levels of a tree.
constexpr std::size_t GROUPS = 64 * 64;

constexpr std::size_t GroupOf(std::uint64_t nHash) { return (nHash & 63) << 6 | ((nHash >> 6) & 63); }

/// Brings the entries of each group together; those of one group, and so those of one key, keep their order.
std::vector<CEntryRef> Group(std::vector<CEntryRef>& arEntries) {
    std::vector<std::size_t> arNext(GROUPS + 1);
    for (const CEntryRef& entry : arEntries) ++arNext[GroupOf(entry->GetHash()) + 1];
    for (std::size_t i = 1; i < GROUPS; ++i) arNext[i] += arNext[i - 1];
    std::vector<CEntryRef> arGrouped(arEntries.size());
    for (CEntryRef& entry : arEntries) {
        CEntryRef& place = arGrouped[arNext[GroupOf(entry->GetHash())]++];
        place = std::move(entry);
    }
    arEntries.clear();
    return arGrouped;
}

constexpr std::uint64_t BitOf(std::uint64_t nHash, unsigned nShift) {
    return std::uint64_t{1} << ((nHash >> nShift) & 63);
}

std::uint32_t RankOf(std::uint64_t nBitmap, std::uint64_t nBit) {
    return static_cast<std::uint32_t>(std::popcount(nBitmap & (nBit - 1)));
}

}  // namespace

/// Writes of one edit. A node that it made is its own; any other is copied before it is changed.
class CTrie::CEditor {
public:
    explicit CEditor(std::uint64_t nEdit) : m_nEdit(nEdit) {}

    Node* NewNode(std::uint32_t nCapacity) const {
        void* const pMemory = std::malloc(Node::GetSize(nCapacity));
        if (!pMemory) throw std::bad_alloc();
        Node* const pNode = new (pMemory) Node;
        pNode->nCapacity = nCapacity;
        new (&pNode->GetReferences()) Node::References(1);
        pNode->nEdit = m_nEdit;
        return pNode;
    }

    /// Puts the entry below the node behind `pNode`, which may be exchanged for another one.
    /// @return whether the entry's key is new
    bool Put(Node*& pNode, unsigned nShift, CEntryRef& entry) const {
        Own(pNode);
        if (nShift >= HASH_BITS) return PutInList(pNode, entry);
        const std::uint64_t nBit = BitOf(entry->GetHash(), nShift);
        const std::uint32_t nIndex = RankOf(pNode->nBitmap, nBit);
        if ((pNode->nBitmap & nBit) == 0) {
            Insert(pNode, nIndex, entry);
            pNode->nBitmap |= nBit;
            return true;
        }
        return PutInSlot(pNode->GetSlots()[nIndex], nShift, entry);
    }

private:
    bool PutInSlot(Slot& slot, unsigned nShift, CEntryRef& entry) const {
        if (!IsEntry(slot)) {
            Node* pChild = ToNode(slot);
            // The slot must not show a node that the copy below has let go.
            struct Keeper {
                Slot& slot;
                Node*& pChild;
                ~Keeper() { slot = FromNode(pChild); }
            } keeper{slot, pChild};
            return Put(pChild, nShift + BITS, entry);
        }
        CEntry* const pOld = ToEntry(slot);
        if (pOld->IsFor(entry->GetHash(), entry->GetKey())) {
            slot = FromEntry(entry.Detach());
            pOld->Release();
            return false;
        }
        slot = FromNode(Split(pOld, nShift + BITS, entry));
        return true;
    }

    /// A new branch with both entries; it takes over the references of both. Nothing is changed when memory is out.
    Node* Split(CEntry* pOld, unsigned nShift, CEntryRef& entry) const {
        Node* const pNode = NewNode(2);
        Slot* const pSlots = pNode->GetSlots();
        if (nShift >= HASH_BITS) {
            pSlots[0] = FromEntry(pOld);
            pSlots[1] = FromEntry(entry.Detach());
            pNode->nCount = 2;
            return pNode;
        }
        const std::uint64_t nOldBit = BitOf(pOld->GetHash(), nShift);
        const std::uint64_t nNewBit = BitOf(entry->GetHash(), nShift);
        pNode->nBitmap = nOldBit | nNewBit;
        if (nOldBit == nNewBit) {
            try {
                pSlots[0] = FromNode(Split(pOld, nShift + BITS, entry));
            } catch (...) {
                std::free(pNode);
                throw;
            }
            pNode->nCount = 1;
            return pNode;
        }
        const bool bOldFirst = nOldBit < nNewBit;
        pSlots[bOldFirst ? 0 : 1] = FromEntry(pOld);
        pSlots[bOldFirst ? 1 : 0] = FromEntry(entry.Detach());
        pNode->nCount = 2;
        return pNode;
    }

    bool PutInList(Node*& pNode, CEntryRef& entry) const {
        Slot* const pSlots = pNode->GetSlots();
        for (std::uint32_t i = 0; i < pNode->nCount; ++i) {
            CEntry* const pOld = ToEntry(pSlots[i]);
            if (!pOld->IsFor(entry->GetHash(), entry->GetKey())) continue;
            pSlots[i] = FromEntry(entry.Detach());
            pOld->Release();
            return false;
        }
        Insert(pNode, pNode->nCount, entry);
        return true;
    }

    void Insert(Node*& pNode, std::uint32_t nIndex, CEntryRef& entry) const {
        if (pNode->nCount == pNode->nCapacity) Grow(pNode);
        Slot* const pSlots = pNode->GetSlots();
        std::memmove(pSlots + nIndex + 1, pSlots + nIndex, (pNode->nCount - nIndex) * sizeof(Slot));
        pSlots[nIndex] = FromEntry(entry.Detach());
        ++pNode->nCount;
    }

    /// The node is the edit's own, so its children simply move.
    void Grow(Node*& pNode) const {
        Node* const pLarger = NewNode(pNode->nCapacity * 2);
        MoveHead(*pLarger, *pNode);
        std::memcpy(pLarger->GetSlots(), pNode->GetSlots(), pNode->nCount * sizeof(Slot));
        std::free(pNode);
        pNode = pLarger;
    }

    void Own(Node*& pNode) const {
        if (pNode->nEdit == m_nEdit) return;
        Node* const pCopy = NewNode(pNode->nCount + 1);
        MoveHead(*pCopy, *pNode);
        PrefetchEntries(*pNode);
        for (std::uint32_t i = 0; i < pNode->nCount; ++i) {
            const Slot slot = pNode->GetSlots()[i];
            if (IsEntry(slot)) {
                ToEntry(slot)->AddRef();
            } else {
                ToNode(slot)->AddRef();
            }
            pCopy->GetSlots()[i] = slot;
        }
        ReleaseNode(pNode);
        pNode = pCopy;
    }

    static void MoveHead(Node& target, const Node& source) {
        target.nBitmap = source.nBitmap;
        target.nCount = source.nCount;
    }

    std::uint64_t m_nEdit;
};

CTrie::CTrie(const CTrie& other) : m_pRoot(other.m_pRoot), m_nCount(other.m_nCount) {
    if (m_pRoot) m_pRoot->AddRef();
}

CTrie::CTrie(CTrie&& other) noexcept
    : m_pRoot(std::exchange(other.m_pRoot, nullptr)), m_nCount(std::exchange(other.m_nCount, 0)) {}

CTrie& CTrie::operator=(CTrie other) noexcept {
    std::swap(m_pRoot, other.m_pRoot);
    std::swap(m_nCount, other.m_nCount);
    return *this;
}

CTrie::~CTrie() {
    if (m_pRoot) ReleaseNode(m_pRoot);
}

/// Entries lie where they were made, each far from the next one in the tree.
void CTrie::PrefetchEntries(const Node& node) {
    for (std::uint32_t i = 0; i < node.nCount; ++i) {
        if (IsEntry(node.GetSlots()[i])) __builtin_prefetch(ToEntry(node.GetSlots()[i]), 1);
    }
}

void CTrie::ReleaseNode(Node* pNode) {
    if (pNode->GetReferences().fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    PrefetchEntries(*pNode);
    for (std::uint32_t i = 0; i < pNode->nCount; ++i) {
        const Slot slot = pNode->GetSlots()[i];
        if (IsEntry(slot)) {
            ToEntry(slot)->Release();
        } else {
            ReleaseNode(ToNode(slot));
        }
    }
    pNode->~Node();
    std::free(pNode);
}

const CEntry* CTrie::Find(std::uint64_t nHash, TextView strKey) const {
    const Node* pNode = m_pRoot;
    for (unsigned nShift = 0; pNode && nShift < HASH_BITS; nShift += BITS) {
        const std::uint64_t nBit = BitOf(nHash, nShift);
        if ((pNode->nBitmap & nBit) == 0) return nullptr;
        const Slot slot = pNode->GetSlots()[RankOf(pNode->nBitmap, nBit)];
        if (IsEntry(slot)) return ToEntry(slot)->IsFor(nHash, strKey) ? ToEntry(slot) : nullptr;
        pNode = ToNode(slot);
    }
    for (std::uint32_t i = 0; pNode && i < pNode->nCount; ++i) {
        const CEntry* const pEntry = ToEntry(pNode->GetSlots()[i]);
        if (pEntry->IsFor(nHash, strKey)) return pEntry;
    }
    return nullptr;
}

void CTrie::Put(CEntryRef entry, std::uint64_t nEdit) {
    const CEditor editor(nEdit);
    if (!m_pRoot) m_pRoot = editor.NewNode(4);
    if (editor.Put(m_pRoot, 0, entry)) ++m_nCount;
}

/// Goes down the tree for several entries at once, so that the waits for their nodes run side by side.
/// @param arFound  out: for each the entry where its key would stand, which may be another key's; null for none
void CTrie::FindMany(const CEntryRef* pEntries, std::size_t nCount, const CEntry** arFound) const {
    const Node* arNodes[SIDE_BY_SIDE];
    const Slot* arSlots[SIDE_BY_SIDE] = {};
    std::fill_n(arNodes, nCount, m_pRoot);
    std::fill_n(arFound, nCount, nullptr);
    std::size_t nOpen = nCount;
    for (unsigned nShift = 0; nOpen > 0 && nShift < HASH_BITS; nShift += BITS) {
        for (std::size_t i = 0; i < nCount; ++i) {
            if (!arNodes[i]) continue;
            const std::uint64_t nBit = BitOf(pEntries[i]->GetHash(), nShift);
            arSlots[i] = arNodes[i]->GetSlots() + RankOf(arNodes[i]->nBitmap, nBit);
            if ((arNodes[i]->nBitmap & nBit) == 0) arNodes[i] = nullptr;
            __builtin_prefetch(arSlots[i]);
        }
        nOpen = 0;
        for (std::size_t i = 0; i < nCount; ++i) {
            if (!arNodes[i]) continue;
            const bool bEntry = IsEntry(*arSlots[i]);
            if (bEntry) arFound[i] = ToEntry(*arSlots[i]);
            arNodes[i] = bEntry ? nullptr : ToNode(*arSlots[i]);
            nOpen += bEntry ? 0 : 1;
            __builtin_prefetch(bEntry ? static_cast<const void*>(arFound[i]) : arNodes[i]);
        }
    }
    for (std::size_t i = 0; i < nCount; ++i) {
        if (arNodes[i]) arFound[i] = Find(pEntries[i]->GetHash(), pEntries[i]->GetKey());
    }
}

/// Enters what is new or other than it was, if that is little. It gets memory of its own: many entries were written
/// side by side, and a few that live on would keep the memory of all.
///
/// Looks at the entries in the order of their writing: those of the pass before lie in the same order in memory.
/// @return false for much; nothing is entered then
bool CTrie::PutChanges(const std::vector<CEntryRef>& arEntries, std::uint64_t nEdit) {
    const std::size_t nMost = arEntries.size() / LEAST_KNOWN;
    std::unordered_set<std::uint64_t> changed;
    std::size_t nFirst = arEntries.size();
    for (std::size_t nFrom = 0; nFrom < arEntries.size(); nFrom += SIDE_BY_SIDE) {
        const std::size_t nCount = std::min(SIDE_BY_SIDE, arEntries.size() - nFrom);
        const CEntry* arKnown[SIDE_BY_SIDE];
        FindMany(&arEntries[nFrom], nCount, arKnown);
        for (std::size_t i = nFrom; i < nFrom + nCount; ++i) {
            const CEntry* const pKnown = arKnown[i - nFrom];
            if (pKnown && pKnown->IsSameValue(*arEntries[i])) continue;
            if (changed.size() == nMost) return false;
            changed.insert(arEntries[i]->GetHash());
            nFirst = std::min(nFirst, i);
        }
    }
    // What a key is given after a change counts, even if it is what it had before.
    for (std::size_t i = nFirst; i < arEntries.size(); ++i) {
        if (changed.contains(arEntries[i]->GetHash())) Put(CEntryRef(arEntries[i]->CopySingle()), nEdit);
    }
    return true;
}

void CTrie::PutAll(std::vector<CEntryRef>& arEntries, std::uint64_t nEdit) {
    if (!IsEmpty() && PutChanges(arEntries, nEdit)) return arEntries.clear();
    std::vector<CEntryRef> arGrouped = Group(arEntries);
    for (std::size_t i = 0; i < arGrouped.size(); ++i) {
        if (i + AHEAD < arGrouped.size()) __builtin_prefetch(arGrouped[i + AHEAD].Get(), 1);
        Put(std::move(arGrouped[i]), nEdit);
    }
}

}  // namespace qvant::store

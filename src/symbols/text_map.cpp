#include "symbols/text_map.h"

#include <algorithm>
#include <stdexcept>

#include "base/same_text.h"

namespace qvant {

/// The slot of the key, or the free one where it belongs. There are slots.
std::size_t CTextMap::FindSlot(TextView strKey, std::uint32_t nHash) const {
    const std::size_t nMask = m_arSlots.size() - 1;
    std::size_t nSlot = nHash & nMask;
    for (; m_arSlots[nSlot].nEntry != 0; nSlot = (nSlot + 1) & nMask) {
        const Slot& slot = m_arSlots[nSlot];
        if (slot.nHash == nHash && IsSame(m_arEntries[slot.nEntry - 1].first, strKey)) break;
    }
    return nSlot;
}

CTextMap::const_iterator CTextMap::find(TextView strKey) const {
    if (m_nSize == 0) return end();
    const std::uint32_t nFound = m_arSlots[FindSlot(strKey, Hash(strKey))].nEntry;
    return nFound == 0 ? end() : begin() + (nFound - 1);
}

const Text& CTextMap::at(TextView strKey) const {
    const const_iterator pFound = find(strKey);
    if (pFound == end()) throw std::out_of_range("no such key");
    return pFound->second;
}

Text& CTextMap::operator[](TextView strKey) {
    // A pass comes by its keys in the order of the last one.
    if (m_nNext < m_nSize && IsSame(m_arEntries[m_nNext].first, strKey)) return m_arEntries[m_nNext++].second;
    if (2 * (m_nSize + 1) > m_arSlots.size()) Grow();
    const std::uint32_t nHash = Hash(strKey);
    Slot& slot = m_arSlots[FindSlot(strKey, nHash)];
    if (slot.nEntry != 0) {
        m_nNext = slot.nEntry;
        return m_arEntries[slot.nEntry - 1].second;
    }
    if (m_nSize == m_arEntries.size()) m_arEntries.emplace_back();
    auto& [strOwnKey, strValue] = m_arEntries[m_nSize];
    strOwnKey = strKey;
    strValue.clear();
    slot = {.nEntry = static_cast<std::uint32_t>(++m_nSize), .nHash = nHash};
    return strValue;
}

void CTextMap::Grow() {
    constexpr std::size_t LEAST_SLOTS = 16;
    std::vector<Slot> arSlots(std::max(LEAST_SLOTS, m_arSlots.size() * 2));
    const std::size_t nMask = arSlots.size() - 1;
    for (const Slot& slot : m_arSlots) {
        if (slot.nEntry == 0) continue;
        std::size_t nSlot = slot.nHash & nMask;
        while (arSlots[nSlot].nEntry != 0) nSlot = (nSlot + 1) & nMask;
        arSlots[nSlot] = slot;
    }
    m_arSlots = std::move(arSlots);
}

void CTextMap::clear() {
    std::fill(m_arSlots.begin(), m_arSlots.end(), Slot());
    m_nSize = 0;
    m_nNext = 0;
}

bool CTextMap::operator==(const CTextMap& other) const {
    return m_nSize == other.m_nSize && std::all_of(begin(), end(), [&other](const value_type& entry) {
               const const_iterator pFound = other.find(entry.first);
               return pFound != other.end() && pFound->second == entry.second;
           });
}

}  // namespace qvant

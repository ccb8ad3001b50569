#include "symbols/text_map.h"

#include <algorithm>
#include <bit>
#include <stdexcept>

#include "base/same_text.h"

namespace qvant {

namespace {

constexpr std::size_t LEAST_SLOTS = 16;

}  // namespace

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
    Text* const pValue = FindNext(strKey);
    return pValue ? *pValue : Enter(HashedKey(strKey));
}

Text& CTextMap::operator[](const HashedKey& key) {
    Text* const pValue = FindNext(key.strText);
    return pValue ? *pValue : Enter(key);
}

/// A pass comes by its keys in the order of the last one, and then needs no hash.
Text* CTextMap::FindNext(TextView strKey) {
    if (m_nNext >= m_nSize || !IsSame(m_arEntries[m_nNext].first, strKey)) return nullptr;
    return &m_arEntries[m_nNext++].second;
}

Text& CTextMap::Enter(const HashedKey& key) {
    if (2 * (m_nSize + 1) > m_arSlots.size()) Rehash(std::max(LEAST_SLOTS, m_arSlots.size() * 2));
    Slot& slot = m_arSlots[FindSlot(key.strText, key.nHash)];
    if (slot.nEntry != 0) {
        m_nNext = slot.nEntry;
        return m_arEntries[slot.nEntry - 1].second;
    }
    if (m_nSize == m_arEntries.size()) m_arEntries.emplace_back();
    auto& [strOwnKey, strValue] = m_arEntries[m_nSize];
    strOwnKey = key.strText;
    strValue.clear();
    slot = {.nEntry = static_cast<std::uint32_t>(++m_nSize), .nHash = key.nHash};
    return strValue;
}

std::size_t CTextMap::erase(TextView strKey) {
    if (m_nSize == 0) return 0;
    const std::size_t nSlot = FindSlot(strKey, Hash(strKey));
    if (m_arSlots[nSlot].nEntry == 0) return 0;
    const std::size_t nEntry = m_arSlots[nSlot].nEntry - 1;
    const std::size_t nLast = m_nSize - 1;
    const TextView strLast = m_arEntries[nLast].first;
    m_arSlots[FindSlot(strLast, Hash(strLast))].nEntry = m_arSlots[nSlot].nEntry;
    FreeSlot(nSlot);
    std::swap(m_arEntries[nEntry], m_arEntries[nLast]);
    m_nSize = nLast;
    m_nNext = 0;
    return 1;
}

/// Closes the gap with the entries behind it that would no longer be found across it.
void CTextMap::FreeSlot(std::size_t nSlot) {
    const std::size_t nMask = m_arSlots.size() - 1;
    for (std::size_t nNext = (nSlot + 1) & nMask; m_arSlots[nNext].nEntry != 0; nNext = (nNext + 1) & nMask) {
        const std::size_t nWay = (nNext - m_arSlots[nNext].nHash) & nMask;  // from where it belongs
        if (nWay < ((nNext - nSlot) & nMask)) continue;
        m_arSlots[nSlot] = m_arSlots[nNext];
        nSlot = nNext;
    }
    m_arSlots[nSlot] = Slot();
}

void CTextMap::reserve(std::size_t nEntries) {
    // At least twice what there was: whoever makes room little by little doesn't move everything each time.
    if (nEntries > m_arEntries.capacity()) m_arEntries.reserve(std::max(nEntries, 2 * m_arEntries.capacity()));
    if (2 * nEntries > m_arSlots.size()) Rehash(std::bit_ceil(2 * nEntries));
}

/// @param nSlots  a power of two
void CTextMap::Rehash(std::size_t nSlots) {
    Slots arSlots(nSlots);
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

#include "symbols/text_map.h"

#include <algorithm>
#include <stdexcept>

namespace qvant {

/// The slot of the key, or the free one where it belongs. There are slots.
std::size_t CTextMap::FindSlot(TextView strKey, std::size_t nHash) const {
    const std::size_t nMask = m_arSlots.size() - 1;
    std::size_t nSlot = nHash & nMask;
    for (; m_arSlots[nSlot] != 0; nSlot = (nSlot + 1) & nMask) {
        const std::size_t nEntry = m_arSlots[nSlot] - 1;
        if (m_arHashes[nEntry] == nHash && m_arEntries[nEntry].first == strKey) break;
    }
    return nSlot;
}

CTextMap::const_iterator CTextMap::find(TextView strKey) const {
    if (m_nSize == 0) return end();
    const std::uint32_t nFound = m_arSlots[FindSlot(strKey, TextHash()(strKey))];
    return nFound == 0 ? end() : begin() + (nFound - 1);
}

const Text& CTextMap::at(TextView strKey) const {
    const const_iterator pFound = find(strKey);
    if (pFound == end()) throw std::out_of_range("no such key");
    return pFound->second;
}

Text& CTextMap::operator[](TextView strKey) {
    if (2 * (m_nSize + 1) > m_arSlots.size()) Grow();
    const std::size_t nHash = TextHash()(strKey);
    const std::size_t nSlot = FindSlot(strKey, nHash);
    if (m_arSlots[nSlot] != 0) return m_arEntries[m_arSlots[nSlot] - 1].second;
    if (m_nSize == m_arEntries.size()) m_arEntries.emplace_back();
    if (m_nSize == m_arHashes.size()) m_arHashes.emplace_back();
    auto& [strOwnKey, strValue] = m_arEntries[m_nSize];
    strOwnKey = strKey;
    strValue.clear();
    m_arHashes[m_nSize] = nHash;
    m_arSlots[nSlot] = static_cast<std::uint32_t>(++m_nSize);
    return strValue;
}

void CTextMap::Grow() {
    constexpr std::size_t LEAST_SLOTS = 16;
    std::vector<std::uint32_t> arSlots(std::max(LEAST_SLOTS, m_arSlots.size() * 2));
    const std::size_t nMask = arSlots.size() - 1;
    for (std::size_t i = 0; i < m_nSize; ++i) {
        std::size_t nSlot = m_arHashes[i] & nMask;
        while (arSlots[nSlot] != 0) nSlot = (nSlot + 1) & nMask;
        arSlots[nSlot] = static_cast<std::uint32_t>(i + 1);
    }
    m_arSlots = std::move(arSlots);
}

void CTextMap::clear() {
    std::fill(m_arSlots.begin(), m_arSlots.end(), 0);
    m_nSize = 0;
}

bool CTextMap::operator==(const CTextMap& other) const {
    return m_nSize == other.m_nSize && std::all_of(begin(), end(), [&other](const value_type& entry) {
               const const_iterator pFound = other.find(entry.first);
               return pFound != other.end() && pFound->second == entry.second;
           });
}

}  // namespace qvant

/// The map from text to text that the passes over documents fill anew, tens of thousands of entries at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <utility>
#include <vector>

#include "base/text.h"
#include "platform/large_memory.h"

namespace qvant {

/// A key with its hash, made once for all the maps that it goes to.
struct HashedKey {
    explicit HashedKey(TextView strKey) : strText(strKey), nHash(static_cast<std::uint32_t>(TextHash()(strKey))) {}

    TextView strText;
    std::uint32_t nHash;
};

/// Speaks as the standard maps do, as far as it goes, and differs in this: entries lie side by side in the order of
/// their first insertion; an insertion moves them, so that iterators and references end with it; and `clear` keeps
/// the memory of the entries and of their texts, so that the next pass fills it without asking for any.
///
/// Any thread may read a map that nobody changes.
class CTextMap {
public:
    using value_type = std::pair<Text, Text>;
    using iterator = const value_type*;
    using const_iterator = const value_type*;

    CTextMap() = default;
    CTextMap(std::initializer_list<std::pair<TextView, TextView>> arEntries) {
        for (const auto& [strKey, strValue] : arEntries) insert_or_assign(strKey, strValue);
    }

    const_iterator begin() const { return m_arEntries.data(); }
    const_iterator end() const { return m_arEntries.data() + m_nSize; }
    std::size_t size() const { return m_nSize; }
    bool empty() const { return m_nSize == 0; }

    const_iterator find(TextView strKey) const;
    bool contains(TextView strKey) const { return find(strKey) != end(); }
    std::size_t count(TextView strKey) const { return contains(strKey) ? 1 : 0; }
    /// @throw std::out_of_range  for a key that isn't there
    const Text& at(TextView strKey) const;

    /// The value of a key, entered as an empty text when it isn't there.
    Text& operator[](TextView strKey);
    Text& operator[](const HashedKey& key);
    /// @param strKey  not borrowed from this map, nor is `strValue`
    void insert_or_assign(TextView strKey, TextView strValue) { (*this)[strKey] = strValue; }
    void insert_or_assign(const HashedKey& key, TextView strValue) { (*this)[key] = strValue; }
    /// Asks the machine for the memory where the key belongs, some time before an insertion.
    void Prefetch(const HashedKey& key) const {
        if (!m_arSlots.empty()) __builtin_prefetch(&m_arSlots[key.nHash & (m_arSlots.size() - 1)]);
    }
    /// The last entry takes the place of the one that goes. @return the number of entries removed
    std::size_t erase(TextView strKey);

    void clear();
    /// Makes room for so many entries.
    void reserve(std::size_t nEntries);

    /// Whether both hold the same entries, in any order.
    bool operator==(const CTextMap& other) const;

private:
    /// An entry's index and 1, 0 where it is free; with the hash, so that other entries needn't be looked at.
    struct Slot {
        std::uint32_t nEntry = 0;
        std::uint32_t nHash = 0;
    };

    using Slots = std::vector<Slot, platform::CLargeArrayAllocator<Slot>>;

    static std::uint32_t Hash(TextView strKey) { return static_cast<std::uint32_t>(TextHash()(strKey)); }
    std::size_t FindSlot(TextView strKey, std::uint32_t nHash) const;
    Text* FindNext(TextView strKey);
    Text& Enter(const HashedKey& key);
    void FreeSlot(std::size_t nSlot);
    void Rehash(std::size_t nSlots);

    /// Beyond `m_nSize` lie entries that were cleared, kept for their memory.
    std::vector<value_type> m_arEntries;
    Slots m_arSlots;  ///< each entry stands at its hash or behind it; at most half of them is used
    std::size_t m_nSize = 0;
    std::size_t m_nNext = 0;  ///< the entry behind the one that was last changed
};

}  // namespace qvant

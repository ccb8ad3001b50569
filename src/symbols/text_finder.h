/// Look-ups in the order in which a map was filled.
#pragma once

#include "base/same_text.h"
#include "symbols/text_map.h"

namespace qvant {

/// Finds the values of one map, for a walk over keys that mostly come in the order of the map's entries, or several
/// times in a row: then the entry is at hand, and neither a hash nor memory far away is needed. Other keys are found
/// as well.
///
/// Belongs to one thread; the map doesn't change under it.
class CTextFinder {
public:
    explicit CTextFinder(const CTextMap& map) : m_map(map), m_pNext(map.begin()) {}

    /// @return the value, null when the key isn't there
    const Text* Find(TextView strKey) {
        if (m_pNext != m_map.end() && IsSame(m_pNext->first, strKey)) return &(m_pNext++)->second;
        if (m_pNext != m_map.begin() && IsSame((m_pNext - 1)->first, strKey)) return &(m_pNext - 1)->second;
        const auto pFound = m_map.find(strKey);
        if (pFound == m_map.end()) return nullptr;
        m_pNext = pFound + 1;
        return &pFound->second;
    }

    /// @return the value, empty when the key isn't there
    TextView GetText(TextView strKey) {
        const Text* const pText = Find(strKey);
        return pText ? TextView(*pText) : TextView();
    }

private:
    const CTextMap& m_map;
    CTextMap::const_iterator m_pNext;  ///< behind the entry that was found last
};

}  // namespace qvant

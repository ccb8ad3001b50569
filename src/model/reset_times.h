/// When each product's trading day begins anew.
#pragma once

#include <cstddef>

#include "base/mutex.h"
#include "base/text.h"
#include "symbols/text_map.h"

namespace qvant {

/// Four-part key to HHMM00 in UTC. Any thread: a pass over the securities fills it while rolls and factors ask. Entries
/// are replaced, never removed.
class CResetTimes {
public:
    void Set(TextView strKey, TextView strTime) {
        const CLock lock(m_mutex);
        m_mapTimes.insert_or_assign(strKey, strTime);
    }

    /// Empty when the product has none.
    Text Get(TextView strKey) const {
        const CLock lock(m_mutex);
        const auto it = m_mapTimes.find(strKey);
        return it == m_mapTimes.end() ? Text() : it->second;
    }

    std::size_t GetCount() const {
        const CLock lock(m_mutex);
        return m_mapTimes.size();
    }

private:
    mutable CMutex m_mutex;
    CTextMap m_mapTimes QV_GUARDED_BY(m_mutex);
};

}  // namespace qvant

/// String maps behind a lock, for a caller that may also hold the lock over a whole walk.
#pragma once

#include <atomic>
#include <cstdint>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/mutex.h"
#include "base/text.h"

namespace qvant {

/// A map from text to values. Any thread; each operation locks by itself, unless the calling thread has the lock from
/// `Lock`. Entries stand in the order in which their keys were first stored, until one is removed.
template <class Value>
class QV_CAPABILITY("map") CLumMap {
public:
    /// A place in a walk; 0 is the start.
    using Position = std::size_t;

    CLumMap() = default;
    CLumMap(const CLumMap&) = delete;
    CLumMap& operator=(const CLumMap&) = delete;

    void SetAt(TextView strKey, Value value) {
        const CHeld held(*this);
        const auto found = m_mapIndex.find(strKey);
        if (found != m_mapIndex.end()) {
            m_arEntries[found->second].second = std::move(value);
            return;
        }
        m_arEntries.emplace_back(Text(strKey), std::move(value));
        m_mapIndex.emplace(Text(strKey), m_arEntries.size() - 1);
    }

    /// @return false, with `value` untouched, when there is no such key
    bool Lookup(TextView strKey, Value& value) const {
        const CHeld held(*this);
        const auto found = m_mapIndex.find(strKey);
        if (found == m_mapIndex.end()) return false;
        value = m_arEntries[found->second].second;
        return true;
    }

    /// One step of a walk: gives the entry at `position` and moves on.
    /// @return false at the end, with everything untouched
    bool GetNextAssoc(Position& position, Text& strKey, Value& value) const {
        const CHeld held(*this);
        if (position >= m_arEntries.size()) return false;
        strKey = m_arEntries[position].first;
        value = m_arEntries[position].second;
        ++position;
        return true;
    }

    /// The last entry takes the place of the one that goes; nothing for a key that isn't there.
    void RemoveKey(TextView strKey) {
        const CHeld held(*this);
        const auto found = m_mapIndex.find(strKey);
        if (found == m_mapIndex.end()) return;
        const std::size_t nEntry = found->second;
        m_mapIndex.erase(found);
        if (nEntry + 1 < m_arEntries.size()) {
            m_arEntries[nEntry] = std::move(m_arEntries.back());
            m_mapIndex.find(m_arEntries[nEntry].first)->second = nEntry;
        }
        m_arEntries.pop_back();
    }

    void RemoveAll() {
        const CHeld held(*this);
        m_arEntries.clear();
        m_mapIndex.clear();
    }

    std::size_t GetCount() const {
        const CHeld held(*this);
        return m_arEntries.size();
    }

    /// Takes the lock for a whole walk; the calling thread's operations take none until `Unlock`. Not to be nested.
    void Lock() QV_ACQUIRE() {
        m_mutex.lock();
        m_owner = std::this_thread::get_id();
    }
    void Unlock() QV_RELEASE() {
        m_owner = std::thread::id();
        m_mutex.unlock();
    }

private:
    // Has the lock for one operation, be it by the walk. The flag names its owner, so that only the walking thread goes
    // without.
    class QV_SCOPED_CAPABILITY CHeld {
    public:
        explicit CHeld(const CLumMap& map) QV_ACQUIRE(map)
            : m_map(map), m_bWalk(map.m_owner.load() == std::this_thread::get_id()) {
            if (!m_bWalk) map.m_mutex.lock();
        }
        ~CHeld() QV_RELEASE() {
            if (!m_bWalk) m_map.m_mutex.unlock();
        }
        CHeld(const CHeld&) = delete;
        CHeld& operator=(const CHeld&) = delete;

    private:
        const CLumMap& m_map;
        const bool m_bWalk;
    };

    mutable CMutex m_mutex;
    std::atomic<std::thread::id> m_owner{};
    std::vector<std::pair<Text, Value>> m_arEntries QV_GUARDED_BY(this);
    std::unordered_map<Text, std::size_t, TextHash, std::equal_to<>> m_mapIndex QV_GUARDED_BY(this);
};

using CLumMapStringToString = CLumMap<Text>;
using CLumMapStringToVal = CLumMap<std::int32_t>;

}  // namespace qvant

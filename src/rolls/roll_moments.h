/// Which definition files have a roll at a moment.
#pragma once

#include <cstdint>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "base/mutex.h"
#include "base/text.h"

namespace qvant {

/// From a moment to the titles of the files that roll then. Any thread; entries are never removed.
///
/// Series roll on the same few days, so moments share their lists of titles: however many files and rolls there are,
/// a list's text is searched once for each title that meets it.
class CRollMoments {
public:
    CRollMoments() : m_arLists(1) {}

    /// Appends the title to those of the moment, unless their text, joined by ",", holds it: as one of them, or
    /// within one of them.
    void Add(std::int64_t nMoment, TextView strTitle);

    /// The titles of a moment in the order of their coming, joined by ","; empty when nothing rolls then.
    Text Get(std::int64_t nMoment) const;

private:
    using Number = std::uint32_t;

    /// A list with one title more than the list before it. Number 0 is the empty list.
    struct List {
        Number nBefore = 0;
        const Text* pTitle = nullptr;
    };

    struct Meeting {
        Number nList;
        const Text* pTitle;
        bool operator==(const Meeting&) const = default;
    };
    struct MeetingHash {
        std::size_t operator()(const Meeting& meeting) const {
            return std::hash<const Text*>()(meeting.pTitle) * 31 + meeting.nList;
        }
    };

    const Text* Keep(TextView strTitle) QV_REQUIRES(m_mutex);
    Text JoinTitles(Number nList) const QV_REQUIRES(m_mutex);
    Number Enlarge(Number nList, const Text* pTitle) QV_REQUIRES(m_mutex);

    mutable CMutex m_mutex;
    /// A title's text stays where it is.
    std::unordered_set<Text, TextHash, std::equal_to<>> m_setTitles QV_GUARDED_BY(m_mutex);
    std::vector<List> m_arLists QV_GUARDED_BY(m_mutex);
    /// The list that a title makes of a list.
    std::unordered_map<Meeting, Number, MeetingHash> m_mapMeetings QV_GUARDED_BY(m_mutex);
    std::unordered_map<std::int64_t, Number> m_mapMoments QV_GUARDED_BY(m_mutex);
};

}  // namespace qvant

#include "rolls/roll_moments.h"

#include "base/split.h"

namespace qvant {

void CRollMoments::Add(std::int64_t nMoment, TextView strTitle) {
    const CLock lock(m_mutex);
    Number& nList = m_mapMoments[nMoment];
    const Meeting meeting{nList, Keep(strTitle)};
    auto found = m_mapMeetings.find(meeting);
    if (found == m_mapMeetings.end()) {
        found = m_mapMeetings.emplace(meeting, Enlarge(nList, meeting.pTitle)).first;
    }
    nList = found->second;
}

Text CRollMoments::Get(std::int64_t nMoment) const {
    const CLock lock(m_mutex);
    const auto found = m_mapMoments.find(nMoment);
    return found == m_mapMoments.end() ? Text() : JoinTitles(found->second);
}

const Text* CRollMoments::Keep(TextView strTitle) {
    auto found = m_setTitles.find(strTitle);
    if (found == m_setTitles.end()) found = m_setTitles.emplace(strTitle).first;
    return &*found;
}

Text CRollMoments::JoinTitles(Number nList) const {
    std::vector<Text> arTitles;
    for (; nList != 0; nList = m_arLists[nList].nBefore) arTitles.push_back(*m_arLists[nList].pTitle);
    return Join({arTitles.rbegin(), arTitles.rend()}, u",");
}

/// A title that is part of another one counts as entered: such a file isn't read at that moment, unless it is asked
/// for by name.
CRollMoments::Number CRollMoments::Enlarge(Number nList, const Text* pTitle) {
    if (Contains(JoinTitles(nList), *pTitle)) return nList;
    m_arLists.push_back({nList, pTitle});
    return static_cast<Number>(m_arLists.size() - 1);
}

}  // namespace qvant

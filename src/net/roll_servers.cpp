#include "net/roll_servers.h"

#include <utility>

#include "base/split.h"

namespace qvant {

void CRollServers::Append(List list, TextView strUrls) {
    const CLock lock(m_mutex);
    std::vector<Text>& arList = m_arLists[static_cast<std::size_t>(list)];
    for (Text& strUrl : SplitTokens(strUrls, u"|")) arList.push_back(std::move(strUrl));
}

std::vector<Text> CRollServers::Get(List list) const {
    const CLock lock(m_mutex);
    return m_arLists[static_cast<std::size_t>(list)];
}

}  // namespace qvant

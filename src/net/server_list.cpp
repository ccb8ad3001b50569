#include "net/server_list.h"

#include <algorithm>
#include <utility>

#include "base/failure.h"
#include "base/format.h"
#include "base/split.h"

namespace qvant {

void CServerList::Assign(TextView strUrls, const std::function<unsigned()>& random) {
    std::vector<Text> arServers = SplitTokens(strUrls, u"|");
    if (arServers.size() > 1) {
        const auto nSteps = static_cast<std::ptrdiff_t>(random() % arServers.size());
        std::rotate(arServers.begin(), arServers.begin() + nSteps, arServers.end());
    }
    const CLock lock(m_mutex);
    m_arServers = std::move(arServers);
    m_nServerIndex = 0;
    m_result = {};
    ++m_nGeneration;
    if (m_arServers.empty()) throw CFailure(CFailure::INVALID_ARGUMENT);
    m_strServer = m_arServers.front();
}

void CServerList::StartLatencyTest(CLatencyTest& test, IHost& host) {
    std::vector<Text> arServers;
    std::uint64_t nGeneration = 0;
    {
        const CLock lock(m_mutex);
        arServers = m_arServers;
        nGeneration = m_nGeneration;
        if (m_arServers.size() == 1) m_strServer = m_arServers.front();
    }
    if (arServers.size() < 2) {
        test.Skip();
        return;
    }
    auto result = test.Run(arServers);
    if (!result) return;
    const auto strFastest = TakeResult(std::move(*result), nGeneration);
    if (strFastest) host.LogMessage(Format(u"The fastest server:%s", *strFastest));
}

/// Servers that failed are ranked as well: with all of them down the list is rewritten in the order that equal ones
/// have, and the random start is gone.
/// @return the head of the list; nothing for a list that was replaced meanwhile
std::optional<Text> CServerList::TakeResult(LatencyResult result, std::uint64_t nGeneration) {
    std::vector<Text> arRanked = RankServers(result.m_mapLatency);
    const CLock lock(m_mutex);
    if (nGeneration != m_nGeneration) return std::nullopt;
    m_result = std::move(result);
    if (arRanked.size() == m_arServers.size()) {
        m_arServers = std::move(arRanked);
        // A walk that is under way counts in the old order.
        ++m_nGeneration;
    }
    m_strServer = m_arServers.front();
    return m_strServer;
}

bool CServerList::Walk(const std::function<bool(const Text& strServer)>& ask) {
    std::vector<Text> arServers;
    std::size_t nStart = 0;
    std::uint64_t nGeneration = 0;
    {
        const CLock lock(m_mutex);
        arServers = m_arServers;
        nStart = m_nServerIndex;
        nGeneration = m_nGeneration;
    }
    for (std::size_t a = 0; a < arServers.size(); ++a) {
        const std::size_t nPosition = (a + nStart) % arServers.size();
        SetServer(arServers[nPosition], nGeneration);
        if (!ask(arServers[nPosition])) continue;
        MoveTo(nPosition, nGeneration);
        return true;
    }
    return false;
}

// A walk over a list that was replaced meanwhile leaves no trace in the new one.
void CServerList::SetServer(const Text& strServer, std::uint64_t nGeneration) {
    const CLock lock(m_mutex);
    if (nGeneration == m_nGeneration) m_strServer = strServer;
}

void CServerList::MoveTo(std::size_t nPosition, std::uint64_t nGeneration) {
    const CLock lock(m_mutex);
    if (nGeneration == m_nGeneration) m_nServerIndex = nPosition;
}

std::size_t CServerList::GetCount() const {
    const CLock lock(m_mutex);
    return m_arServers.size();
}

std::size_t CServerList::GetIndex() const {
    const CLock lock(m_mutex);
    return m_nServerIndex;
}

Text CServerList::GetServer() const {
    const CLock lock(m_mutex);
    return m_strServer;
}

ServerListing CServerList::GetListing() const {
    const CLock lock(m_mutex);
    ServerListing listing{.arServers = {}, .nIndex = m_nServerIndex};
    bool bFound = false;  // a list may name a server twice
    for (const Text& strServer : m_arServers) {
        ServerRow row{.strServer = strServer, .measured = {}, .bInUse = !bFound && strServer == m_strServer};
        bFound = bFound || row.bInUse;
        if (const auto it = m_result.m_mapLatency.find(strServer); it != m_result.m_mapLatency.end()) {
            row.measured = {it->second, m_result.m_mapInterval.at(strServer)};
        }
        listing.arServers.push_back(std::move(row));
    }
    return listing;
}

}  // namespace qvant

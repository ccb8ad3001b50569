#include "net/latency_test.h"

#include <algorithm>
#include <chrono>
#include <string_view>
#include <utility>

#include "base/format.h"
#include "net/http_query.h"
#include "platform/stop.h"

namespace qvant {

namespace {

constexpr std::chrono::milliseconds TEST_LIMIT{10000};
constexpr std::chrono::milliseconds SWEEP_LIMIT{50};
constexpr std::size_t ENOUGH_GOOD = 4;

struct CEnding {
    platform::CEvent& event;
    ~CEnding() { event.Set(); }
};

/// The settings may name any handicap: a sum beyond the range goes round.
std::int32_t Add(std::int32_t nLeft, std::int32_t nRight) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(nLeft) + static_cast<std::uint32_t>(nRight));
}

/// No parsing: a server that is up says its version, in whatever form.
bool HasVersion(const ReplyBuffer& pReply, std::uint32_t nLength) {
    if (!pReply) return false;
    const std::string_view reply(reinterpret_cast<const char*>(pReply.get()), nLength);
    return reply.find("LastVersion") != std::string_view::npos;
}

}  // namespace

std::vector<Text> RankServers(const std::map<Text, std::int32_t>& mapLatency) {
    std::vector<std::pair<std::int32_t, const Text*>> arRanked;
    arRanked.reserve(mapLatency.size());
    for (const auto& [strServer, nLatency] : mapLatency) {
        arRanked.emplace_back(std::min(nLatency, LATENCY_FAILED), &strServer);
    }
    std::stable_sort(arRanked.begin(), arRanked.end(),
                     [](const auto& left, const auto& right) { return left.first < right.first; });
    std::vector<Text> arServers;
    arServers.reserve(arRanked.size());
    for (const auto& [nLatency, pServer] : arRanked) arServers.push_back(*pServer);
    return arServers;
}

void CLatencyTest::SetResponseInterval(std::int32_t nInterval) {
    const CLock lock(m_mutex);
    m_nResponseInterval = nInterval;
}

std::optional<LatencyResult> CLatencyTest::Run(const std::vector<Text>& arServers) {
    const CLock run(m_mutexRun);
    m_hEventLatencyEnd.Clear();
    // Whatever ends the test: whoever leaves the service waits for it.
    const CEnding ending{m_hEventLatencyEnd};
    SweepWorkers();
    if (Open(arServers) && StartWorkers(arServers)) m_hEventLatencyDone.WaitFor(TEST_LIMIT);
    return Close();
}

/// The workers of the test before have a last moment to end by themselves, all the same one; then they are told to.
/// They go before the next test opens, so that none of them is taken for one of its own.
void CLatencyTest::SweepWorkers() {
    std::list<platform::CThread> arOld = TakeWorkers();
    const auto end = std::chrono::steady_clock::now() + SWEEP_LIMIT;
    for (platform::CThread& thread : arOld) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        thread.WaitFor(std::max(left, std::chrono::milliseconds(0)));
    }
    for (platform::CThread& thread : arOld) thread.RequestStop();
}

/// @return false when a stop came first
bool CLatencyTest::Open(const std::vector<Text>& arServers) {
    m_hEventLatencyDone.Clear();
    const CLock lock(m_mutex);
    // After the event: a stop that it forgot is seen here.
    if (IsCut()) return false;
    m_result = {};
    std::int32_t nInterval = 0;
    for (const Text& strServer : arServers) {
        m_result.m_mapLatency[strServer] = LATENCY_UNREPORTED;
        m_result.m_mapInterval[strServer] = nInterval;
        nInterval = Add(nInterval, m_nResponseInterval);
    }
    m_nServers = arServers.size();
    m_nQueryCount = 0;
    m_nGoodCount = 0;
    m_bLatencyRunning = true;
    return true;
}

/// A thread that the system hasn't to give never reports, and the test ends by its limit or by four good answers.
/// @return false when a stop came first
bool CLatencyTest::StartWorkers(const std::vector<Text>& arServers) {
    for (const Text& strServer : arServers) {
        const CLock lock(m_mutex);
        if (IsCut()) return false;
        m_arLatencyThreads.emplace_back().Start("LatencyWorker", [this, strServer] { LatencyWorker(strServer); });
    }
    return true;
}

std::optional<LatencyResult> CLatencyTest::Close() {
    const CLock lock(m_mutex);
    m_bLatencyRunning = false;
    if (!IsCut()) return m_result;
    for (platform::CThread& thread : m_arLatencyThreads) thread.RequestStop();
    return std::nullopt;
}

bool CLatencyTest::IsCut() const { return m_nStopsPending > 0 || platform::StopRequested(); }

void CLatencyTest::StopWorkers() {
    {
        const CLock lock(m_mutex);
        ++m_nStopsPending;
        m_bLatencyRunning = false;
        for (platform::CThread& thread : m_arLatencyThreads) thread.RequestStop();
    }
    m_hEventLatencyDone.Set();
    const CLock run(m_mutexRun);
    TakeWorkers().clear();
    const CLock lock(m_mutex);
    --m_nStopsPending;
}

std::list<platform::CThread> CLatencyTest::TakeWorkers() {
    const CLock lock(m_mutex);
    return std::exchange(m_arLatencyThreads, {});
}

void CLatencyTest::LatencyWorker(const Text& strServer) {
    const std::int32_t nStart = ReadTime();
    m_host.LogMessage(Format(u"Before Query Time:%d", nStart));
    const Text strUrl = Format(u"%sOutsideData_getMainLastVer.do", strServer);
    // No cookie is meant: the second field has always been the server.
    m_host.LogMessage(Format(u"URL:%s(cookie:%s)", strUrl, strServer));
    std::uint32_t nLength = 0;
    Text strError;
    const ReplyBuffer pReply = DoGetHttpQuery(strUrl, &nLength, m_session.GetProxy(), strError, true, 0);
    if (!IsRunning()) return;
    const bool bGood = HasVersion(pReply, nLength);
    // The clock has no day in it: an answer over midnight has a latency below 0 and is ranked first. Keep it so; the
    // next test puts it right.
    const std::int32_t nLatency = bGood ? ReadTime() - nStart : LATENCY_FAILED;
    m_host.LogMessage(Format(u"Latency:%d", nLatency));
    const auto report = TakeReport(strServer, nLatency, bGood);
    if (!report) return;
    m_host.LogMessage(Format(u"CountsOfGetQuery:%d, Interval=%d", report->nQueryCount, report->nInterval));
    if (report->bDone) m_hEventLatencyDone.Set();
}

/// Milliseconds since midnight of the local day.
std::int32_t CLatencyTest::ReadTime() const {
    const platform::SystemTime now = platform::ToLocal(m_clock.NowMilliseconds());
    return ((now.nHour * 60 + now.nMinute) * 60 + now.nSecond) * 1000 + now.nMilliseconds;
}

bool CLatencyTest::IsRunning() const {
    const CLock lock(m_mutex);
    return m_bLatencyRunning;
}

/// @return nothing when the test ended meanwhile
std::optional<CLatencyTest::Report> CLatencyTest::TakeReport(const Text& strServer, std::int32_t nLatency, bool bGood) {
    const CLock lock(m_mutex);
    if (!m_bLatencyRunning) return std::nullopt;
    if (bGood) ++m_nGoodCount;
    std::int32_t nInterval = 0;
    if (nLatency < LATENCY_FAILED) nInterval = m_result.m_mapInterval[strServer];
    m_result.m_mapLatency[strServer] = Add(nLatency, nInterval);
    ++m_nQueryCount;
    return Report{m_nQueryCount, nInterval, m_nQueryCount == m_nServers || m_nGoodCount >= ENOUGH_GOOD};
}

}  // namespace qvant

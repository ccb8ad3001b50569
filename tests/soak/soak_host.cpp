#include "soak/soak_host.h"

#include <chrono>
#include <utility>

namespace qvant::test {

namespace {

constexpr std::chrono::seconds PATIENCE{30};

/// In the order of `Line`.
constexpr std::array<TextView, static_cast<std::size_t>(Line::End)> BEGINNINGS{
    u"OnLumTimer ID:100",
    u"OnLumTimer ID:101",
    u"OnLumTimer ID:102",
    u"OnLumTimer ID:999",
    u"TimerQueryAll m_hEventSymbolLookUp Done",
    u"LoadSecuritiesInfo-End",
    u"LoadContractList-Start",
    u"LoadContractList-End",
    u"MakeSymbolLookupList End.",
    u"GetHoliday Begin",
    u"GetHoliday End",
    u"GetHoliday Update:",
    u"QueryHardwareInformation HD_SerialNumber:",
    u"GeneralService Change Language:",
    u"LonginOk InitContractList return = 0 ",
    u"WM_QUERY_BA. msg.wParam=ALL.",
};

}  // namespace

int CSoakHost::Count(Line line) const {
    const std::lock_guard lock(m_mutex);
    return m_arCounts[static_cast<std::size_t>(line)];
}

bool CSoakHost::WaitFor(Line line, int nCount) {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, PATIENCE, [&] { return m_arCounts[static_cast<std::size_t>(line)] >= nCount; });
}

int CSoakHost::CountErrors() const {
    const std::lock_guard lock(m_mutex);
    return m_nErrors;
}

void CSoakHost::CountRollsBy(const platform::IClock& clock) {
    const std::lock_guard lock(m_mutex);
    m_pClock = &clock;
}

int CSoakHost::CountRolls() const {
    const std::lock_guard lock(m_mutex);
    return m_nRolls;
}

bool CSoakHost::SetClock(std::int32_t nDate, std::int32_t nTime) {
    const std::uint64_t nBefore = CountEvents();
    const auto pTable = CTestHost::OpenTable(u"QvantSystemTime", nullptr);
    CTransaction transaction(*pTable);
    transaction.SetNumber(u"SystemDate", nDate);
    transaction.SetNumber(u"SystemTime", nTime);
    transaction.Commit();
    return WaitForEvents(nBefore + 2);
}

bool CSoakHost::SetLanguage(const Text& strWord, const Text& strCulture) {
    const std::uint64_t nBefore = CountEvents();
    Set(u"GeneralService", {{u"AppsLanguage", strWord}, {u"AppManager_Culture", strCulture}});
    return WaitForEvents(nBefore + 2);
}

void CSoakHost::LogMessage(TextView strText) {
    const std::lock_guard lock(m_mutex);
    for (std::size_t n = 0; n < BEGINNINGS.size(); ++n) {
        if (!strText.starts_with(BEGINNINGS[n])) continue;
        ++m_arCounts[n];
        const auto line = static_cast<Line>(n);
        if (m_pClock && (line == Line::LoadEnded || line == Line::ShortWayTaken)) {
            const std::int64_t nTick = m_pClock->TickMilliseconds();
            // Two at the same moment share one timer.
            if (std::exchange(m_nLastRoll, nTick) != nTick) ++m_nRolls;
        }
        m_changed.notify_all();
        return;
    }
}

void CSoakHost::ReportError(std::int32_t, std::int32_t, TextView) {
    const std::lock_guard lock(m_mutex);
    ++m_nErrors;
}

std::unique_ptr<CBaseData> CSoakHost::OpenTable(TextView strName, CBaseDataEventReceiver* pSink) {
    if (!pSink) return CTestHost::OpenTable(strName, nullptr);
    CForwarder* pForwarder = nullptr;
    {
        const std::lock_guard lock(m_mutex);
        pForwarder = &m_listForwarders.emplace_back(*this, *pSink);
    }
    return CTestHost::OpenTable(strName, pForwarder);
}

void CSoakHost::CForwarder::OnUpdate(CBaseData* pTable, std::int32_t nTransaction, const Text& strKey) {
    m_sink.OnUpdate(pTable, nTransaction, strKey);
    const std::lock_guard lock(m_host.m_mutex);
    ++m_host.m_nEvents;
    m_host.m_changed.notify_all();
}

bool CSoakHost::WaitForEvents(std::uint64_t nCount) {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, PATIENCE, [&] { return m_nEvents >= nCount; });
}

std::uint64_t CSoakHost::CountEvents() const {
    const std::lock_guard lock(m_mutex);
    return m_nEvents;
}

}  // namespace qvant::test

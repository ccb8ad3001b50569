#include "service/refresh.h"

#include "base/format.h"
#include "platform/stop.h"
#include "platform/thread.h"
#include "service/failure_code.h"

namespace qvant {

namespace {

constexpr std::uint32_t PERIODIC_INTERVAL = 2'220'000;
constexpr std::uint32_t BURST_INTERVAL = 50;
constexpr std::uint32_t COUNTED_INTERVAL = 60'000;
constexpr std::uint32_t EXPIRY_INTERVAL = 960'000;
constexpr std::uint32_t REQUERY_INTERVAL = 50;

/// Unsignalled for the life of the object. There is no count: of two callbacks at a time the first to end signals it.
class CBusy {
public:
    explicit CBusy(platform::CEvent& eventIdle) : m_eventIdle(eventIdle) { eventIdle.Clear(); }
    ~CBusy() { m_eventIdle.Set(); }
    CBusy(const CBusy&) = delete;
    CBusy& operator=(const CBusy&) = delete;

private:
    platform::CEvent& m_eventIdle;
};

bool IsBetween(int nHour, int nAbove, int nBelow) { return nHour > nAbove && nHour < nBelow; }

}  // namespace

class CRefresh::CShown {
public:
    explicit CShown(CRefresh& refresh) : m_refresh(refresh), m_nStart(refresh.m_parts.clock.TickMilliseconds()) {
        const CLock lock(m_refresh.m_mutexState);
        m_refresh.m_stateShown.bRunning = true;
    }
    CShown(const CShown&) = delete;
    CShown& operator=(const CShown&) = delete;
    ~CShown() {
        const CLock lock(m_refresh.m_mutexState);
        RefreshState& state = m_refresh.m_stateShown;
        ++state.nPasses;
        state.nLastDuration = m_refresh.m_parts.clock.TickMilliseconds() - m_nStart;
        state.bRunning = false;
    }

private:
    CRefresh& m_refresh;
    const std::int64_t m_nStart;
};

void CRefresh::Start() { Arm(TIMER_PERIODIC, PERIODIC_INTERVAL); }

void CRefresh::StartBurst(std::int32_t nPasses) {
    m_nRefreshCount = nPasses;
    Arm(TIMER_BURST, BURST_INTERVAL);
}

void CRefresh::Stop() {
    m_nRefreshCount = 0;
    for (const std::uint32_t nId : {TIMER_PERIODIC, TIMER_BURST, TIMER_COUNTED, TIMER_REQUERY}) {
        m_parts.timer.KillTimer(nId);
    }
}

void CRefresh::ArmRequery() { Arm(TIMER_REQUERY, REQUERY_INTERVAL); }

void CRefresh::ArmExpiry() { Arm(TIMER_EXPIRY, EXPIRY_INTERVAL); }

void CRefresh::Arm(std::uint32_t nId, std::uint32_t nInterval) {
    m_parts.timer.SetTimer(nId, nInterval, [this](std::uint32_t nTimer) { OnLumTimer(nTimer); });
}

void CRefresh::OnLumTimer(std::uint32_t nId) {
    const CBusy busy(m_parts.eventTimerIdle);
    m_parts.host.LogMessage(Format(u"OnLumTimer ID:%d", nId));
    const bool bOnce = nId == TIMER_BURST || nId == TIMER_COUNTED || nId == TIMER_REQUERY;
    if (!bOnce && nId != TIMER_EXPIRY && (nId != TIMER_PERIODIC || IsBurst())) return;
    if (bOnce) m_parts.timer.KillTimer(nId);
    platform::SetThreadPriority(platform::Priority::Lowest);
    if (nId == TIMER_EXPIRY) {
        m_calls.checkExpireCQYZ(nId);
    } else if (nId == TIMER_REQUERY) {
        m_calls.processRequeryData();
    } else {
        TimerQueryAll(nId != TIMER_PERIODIC, Format(u"Timer%d", nId));
    }
}

void CRefresh::TimerQueryAll(bool bCounted, TextView strWord) {
    RunPass(strWord);
    // Who stops the service ends the burst as well.
    if (bCounted && !platform::StopRequested()) CountPass();
}

/// The pass lock is taken before the wait for the symbols: a sign-in that has it may set a build going when it ends.
void CRefresh::RunPass(TextView strWord) {
    platform::CStoppableHold data(DataLock);
    if (!data) return;
    const platform::CStoppableHold pass(m_parts.lockPass);
    if (!pass) return;
    const CShown shown(*this);
    try {
        Query(strWord);
    } catch (...) {
        // A burst goes on to its end, or its count would hold up all later passes.
        m_parts.host.LogMessage(Format(u"TimerQueryAll Fail, Error : %x", CodeOfCurrentFailure()));
    }
    data.Release();
    JudgeCurrency();
}

void CRefresh::Query(TextView strWord) {
    m_parts.host.LogMessage(u"TimerQueryAll WaitForSingleObject : m_hEventSymbolLookUp");
    if (m_parts.eventSymbolLookUp.Wait() == platform::WaitResult::Stopped) return;
    m_parts.host.LogMessage(u"TimerQueryAll m_hEventSymbolLookUp Done");
    m_parts.session.SetRequestId(m_parts.session.BuildRequestId(strWord));
    const bool bSecurities = m_parts.securities.QuerySecuritiesInfo();
    if (bSecurities && platform::StopRequested()) {
        // What was received and isn't loaded is loaded by the next sign-in, which must not take the short way.
        m_parts.state.m_strLumivaleURL.clear();
        return;
    }
    if (bSecurities) m_parts.securities.LoadSecuritiesInfo(m_parts.tables.pSecurityInfo.get());
    const bool bLists = m_parts.contracts.QueryContractList();
    if (bLists) m_parts.contracts.LoadContractList(m_parts.tables.GetContractListTables());
    // A load that a stop cut short has left nothing that the next start should take for applied.
    if ((bSecurities || bLists) && !platform::StopRequested()) SaveSettings();
}

void CRefresh::SaveSettings() {
    const RunState& state = m_parts.state;
    m_parts.settings.SaveSettings(state, m_parts.session.GetProxy(), m_parts.storage.GetLumivale(),
                                  state.m_strClassification, state.AppsLanguage, state.m_strCurrencyRate);
}

RefreshState CRefresh::GetState() const {
    RefreshState state;
    {
        const CLock lock(m_mutexState);
        state = m_stateShown;
    }
    const std::int32_t nLeft = m_nRefreshCount;
    if (nLeft > 0) state.nLeft = nLeft;
    return state;
}

/// Once a day the rates are judged, at nine or later; the day after, their date tells that the judgement is old.
///
/// No whole hour lies between 8 and 9, so no timer ever fetches the rates, and that must stay: they are those of the
/// first load or of the sign-in, and don't change under the user's hands.
void CRefresh::JudgeCurrency() {
    const platform::SystemTime now = platform::ToLocal(m_parts.clock.NowMilliseconds());
    const Text strToday = Format(u"%d", now.nYear * 10'000 + now.nMonth * 100 + now.nDay);
    const bool bToday = m_parts.state.m_strCurrencyVersion == strToday;
    if (m_bCurrencyChecked) {
        if (!bToday) m_bCurrencyChecked = false;
    } else if (IsBetween(now.nHour, 8, 9)) {
        if (!bToday) m_calls.queryCurrency();
    } else if (now.nHour >= 9) {
        m_bCurrencyChecked = true;
    }
}

void CRefresh::CountPass() {
    if (--m_nRefreshCount > 0) Arm(TIMER_COUNTED, COUNTED_INTERVAL);
}

}  // namespace qvant

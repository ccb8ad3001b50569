#include "service/store_events.h"

#include <limits>
#include <optional>

#include "base/failure.h"
#include "base/format.h"
#include "platform/stop.h"

namespace qvant {

namespace {

constexpr std::int32_t NO_NUMBER = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t BURST_PASSES = 10;  ///< and the minutes that a reset time is looked back for
constexpr std::int64_t SECONDS_REMEMBERED = 300;
constexpr std::size_t LANGUAGE_WORD = 3;

/// The second of an hour and a minute in the machine's zone. Its day is fixed and means nothing: from there on only
/// minutes are counted, over midnight too.
std::int64_t BuildSecond(std::int32_t nTime) {
    const std::int32_t nHour = nTime / 10'000;
    const std::int32_t nMinute = nTime % 10'000 / 100;
    if (nHour > 23 || nMinute > 59) throw CFailure(CFailure::UNSPECIFIED);
    const auto nSecond =
        platform::FromLocal({.nYear = 2017, .nMonth = 1, .nDay = 1, .nHour = nHour, .nMinute = nMinute});
    if (!nSecond) throw CFailure(CFailure::INVALID_ARGUMENT);
    return *nSecond;
}

/// "HH:MM".
Text FormatMinute(std::int64_t nSecond) {
    const platform::SystemTime time = platform::ToLocal(nSecond * 1'000);
    return Format(u"%02d:%02d", time.nHour, time.nMinute);
}

/// The last three units, so that "zh-CN" gives "-CN" with its hyphen: that word names the keys of the settings files
/// that are out there.
Text GetLanguageWord(const Text& strCulture) {
    if (strCulture.find(u"zh-") == Text::npos) return u"ENG";
    return strCulture.substr(strCulture.size() - LANGUAGE_WORD);
}

}  // namespace

CStoreEvents::CStoreEvents(const StoreEventParts& parts, StoreEventCalls calls)
    : m_parts(parts), m_calls(std::move(calls)) {
    const platform::SystemTime now = platform::ToUtc(parts.clock.NowMilliseconds());
    m_nSystemTime = now.nHour * 10'000 + now.nMinute * 100 + now.nSecond;
    m_nSystemDate = now.nYear * 10'000 + now.nMonth * 100 + now.nDay;
}

void CStoreEvents::CSink::OnUpdate(CBaseData* pTable, std::int32_t, const Text&) {
    const platform::CStopScope scope(m_owner.m_calls.getStop());
    (m_owner.*m_pReaction)(*pTable);
}

/// The host's clock may skip minutes or begin late: a reset time is seen for ten minutes, and the burst ends when they
/// are over, whenever it began.
void CStoreEvents::OnClock(const CBaseData& table) {
    m_nSystemTime = table.GetNumber(u"SystemTime", NO_NUMBER);
    m_nSystemDate = table.GetNumber(u"SystemDate", NO_NUMBER);
    const std::int64_t nSecond = BuildSecond(m_nSystemTime);
    if (!m_parts.refresh.IsBurst()) StartBurstAt(nSecond);
    m_mapResetFired.erase(FormatMinute(nSecond - SECONDS_REMEMBERED));
    m_calls.clockMoved();
}

void CStoreEvents::StartBurstAt(std::int64_t nSecond) {
    const Text strNow = FormatMinute(nSecond);
    if (m_mapResetFired.contains(strNow)) return;
    for (std::int32_t i = 0; i < BURST_PASSES; ++i) {
        Text strResetTime;
        if (!m_parts.mapResetTime.Lookup(FormatMinute(nSecond - i * 60), strResetTime)) continue;
        if (strResetTime.empty()) return;
        m_mapResetFired.insert_or_assign(strNow, strResetTime);
        m_parts.refresh.StartBurst(BURST_PASSES - i);
        return;
    }
}

void CStoreEvents::OnLanguage(const CBaseData& table) {
    platform::CStoppableHold data(m_parts.refresh.DataLock);
    if (!data) return;
    const platform::CStoppableHold pass(m_parts.lockPass);
    // Nothing is begun any more that a stop would break off; the next sign-in reads culture and language itself.
    if (!pass || platform::StopRequested()) return;
    // Read only here: a sign-in that was waited for has taken over what the table held, and an older value mustn't
    // stand over that.
    const Text strCulture = table.GetString(u"AppManager_Culture");
    if (!TakeLanguage(strCulture, GetLanguageWord(strCulture))) return;
    data.Release();
    m_calls.loadSymbolWords();
}

/// The contracts are built with the words of the old language: only after that are those of the new one read.
/// @return whether there is another language
bool CStoreEvents::TakeLanguage(const Text& strCulture, const Text& strLanguage) {
    RunState& state = m_parts.state;
    if (strCulture == state.Culture) return false;
    if (strLanguage == state.AppsLanguage) {
        state.Culture = strCulture;
        return false;
    }
    m_parts.host.LogMessage(u"GeneralService WaitForSingleObject : m_hEventSymbolLookUp");
    if (m_parts.eventSymbolLookUp.Wait() == platform::WaitResult::Stopped) return false;
    state.Culture = strCulture;
    state.AppsLanguage = strLanguage;
    m_parts.host.LogMessage(u"GeneralService Change Language:" + strLanguage);
    m_parts.contracts.LoadContractList(m_parts.tables.GetContractListTables());
    m_parts.settings.SaveLanguage(strLanguage);
    return true;
}

}  // namespace qvant

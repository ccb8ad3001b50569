#include "model/exchange_times.h"

#include "base/failure.h"
#include "base/numbers.h"
#include "base/same_text.h"
#include "base/token_view.h"

namespace qvant {

namespace {

void AppendMinuteOfDay(Text& strResult, int nMinuteOfDay) {
    const auto Digit = [](int nValue) { return static_cast<char16_t>(u'0' + nValue); };
    const int nHour = nMinuteOfDay / 60;
    const int nMinute = nMinuteOfDay % 60;
    const char16_t arTime[] = {Digit(nHour / 10), Digit(nHour % 10), u':', Digit(nMinute / 10), Digit(nMinute % 10)};
    strResult.append(arTime, std::size(arTime));
}

void TrimRight(Text& strText, char16_t ch) {
    while (!strText.empty() && strText.back() == ch) strText.pop_back();
}

/// The number of a time written with or without its ":".
int ReadTimeNumber(TextView strTime) {
    Text strDigits(strTime);
    RemoveAll(strDigits, u':');
    return ToInt(strDigits);
}

struct HourAndMinute {
    int nHour;
    int nMinute;
};

HourAndMinute SplitTime(TextView strTime) {
    const auto IsDigit = [strTime](std::size_t i) { return strTime[i] >= u'0' && strTime[i] <= u'9'; };
    // Nearly every time is written HH:MM.
    if (strTime.size() == 5 && strTime[2] == u':' && IsDigit(0) && IsDigit(1) && IsDigit(3) && IsDigit(4)) {
        return {(strTime[0] - u'0') * 10 + (strTime[1] - u'0'), (strTime[3] - u'0') * 10 + (strTime[4] - u'0')};
    }
    int nPosition = 0;
    const int nHour = ToInt(NextTokenView(strTime, u":", nPosition));
    return {nHour, ToInt(NextTokenView(strTime, u":", nPosition))};
}

std::int64_t PackDate(const platform::SystemTime& time) {
    return std::int64_t{time.nYear} * 10000 + time.nMonth * 100 + time.nDay;
}

/// A time of the machine's zone in minutes of day in UTC. The date is 1 January 2000, whatever the season is now: the
/// offset of that day is part of the format.
int ConvertFromMachine(int nHour, int nMinute) {
    const auto nSeconds =
        platform::FromLocal({.nYear = 2000, .nMonth = 1, .nDay = 1, .nHour = nHour, .nMinute = nMinute});
    if (!nSeconds) throw CFailure(CFailure::INVALID_ARGUMENT);
    const platform::SystemTime utc = platform::ToUtc(*nSeconds * 1000);
    return utc.nHour * 60 + utc.nMinute;
}

}  // namespace

void CExchangeTimes::AppendMachineTime(Text& strResult, TextView strTime) {
    const int nNumber = ReadTimeNumber(strTime);
    const int nHour = nNumber / 100;
    const int nMinute = nNumber % 100;
    if (nHour > 23 || nMinute > 59) throw CFailure(CFailure::UNSPECIFIED);
    if (nHour < 0 || nMinute < 0) return AppendMinuteOfDay(strResult, ConvertFromMachine(nHour, nMinute));
    Converted& converted = m_machineTable[static_cast<std::size_t>(nHour * 60 + nMinute)];
    if (converted.nMinuteOfDay < 0) {
        converted.nMinuteOfDay = static_cast<std::int16_t>(ConvertFromMachine(nHour, nMinute));
    }
    AppendMinuteOfDay(strResult, converted.nMinuteOfDay);
}

Text CExchangeTimes::FormatTradeSession(TextView strText) {
    if (strText.data() == nullptr) return {};
    // The machine's zone may be changed while the service runs.
    const std::int64_t nSecond = m_clock.NowMilliseconds() / 1000;
    if (nSecond != m_nMachineSecond) m_machineTable.fill({});
    m_nMachineSecond = nSecond;

    Text strResult;
    strResult.reserve(strText.size() + 8);
    for (bool bMore = true; bMore;) {
        TextView strEnd = CutPiece(strText, u';', &bMore);
        const TextView strStart = CutPiece(strEnd, u'~');
        AppendMachineTime(strResult, strStart);
        Text strConvertedEnd;
        AppendMachineTime(strConvertedEnd, strEnd);
        // A single time has no end. A last session until midnight loses its end with it, which must stay.
        if (bMore || ReadTimeNumber(strEnd) != 0) strResult.append(u"~").append(strConvertedEnd);
        if (bMore) strResult.push_back(u';');
    }
    return strResult;
}

CExchangeTimes::ZoneTimes* CExchangeTimes::FindZone(TextView strZone) {
    if (m_zones.GetGeneration() != m_nGeneration) ForgetZones();
    // A security has several times, and its neighbours mostly share its zone.
    if (!m_pLastZone || !IsSame(m_pLastZone->first, strZone)) {
        auto pFound = m_mapZoneTimes.find(strZone);
        if (pFound == m_mapZoneTimes.end()) {
            const platform::ZoneRecord* pRecord = m_zones.FindCity(strZone);
            if (!pRecord) return nullptr;
            pFound = m_mapZoneTimes.emplace(strZone, std::make_unique<ZoneTimes>()).first;
            pFound->second->pRecord = pRecord;
        }
        m_pLastZone = &*pFound;
    }
    UpdateDate(*m_pLastZone->second);
    return m_pLastZone->second.get();
}

/// The zones were read anew, as a further start of the service does: the records that the map points to are gone.
void CExchangeTimes::ForgetZones() {
    m_pLastZone = nullptr;
    m_mapZoneTimes.clear();
    m_nGeneration = m_zones.GetGeneration();
}

void CExchangeTimes::UpdateDate(ZoneTimes& times) const {
    const std::int64_t nNow = m_clock.NowMilliseconds();
    if (nNow / 1000 == times.nSecond) return;
    const std::int64_t nOldDate = PackDate(times.localNow);
    times.nSecond = nNow / 1000;
    times.localNow = platform::UtcToZone(*times.pRecord, platform::ToUtc(nNow));
    if (PackDate(times.localNow) != nOldDate) times.table.fill({});
}

CExchangeTimes::Converted CExchangeTimes::ConvertInZone(const ZoneTimes& times, int nHour, int nMinute) {
    platform::SystemTime local = times.localNow;
    local.nHour = nHour;
    local.nMinute = nMinute;
    const platform::SystemTime utc = platform::ZoneToUtc(*times.pRecord, local);
    Converted converted{.nMinuteOfDay = static_cast<std::int16_t>(utc.nHour * 60 + utc.nMinute)};
    if (utc.nDayOfWeek != local.nDayOfWeek) converted.nDayShift = PackDate(local) > PackDate(utc) ? -1 : 1;
    return converted;
}

CExchangeTimes::Converted CExchangeTimes::ConvertCached(ZoneTimes& times, int nHour, int nMinute) {
    if (nHour < 0 || nHour > 23 || nMinute < 0 || nMinute > 59) return ConvertInZone(times, nHour, nMinute);
    Converted& converted = times.table[static_cast<std::size_t>(nHour * 60 + nMinute)];
    if (converted.nMinuteOfDay < 0) converted = ConvertInZone(times, nHour, nMinute);
    return converted;
}

/// @param pTimes  the zone; null when it isn't known: the time passes as if it were UTC, and the shift stays
void CExchangeTimes::AppendZoneTime(Text& strResult, TextView strTime, ZoneTimes* pTimes) {
    if (!pTimes) {
        strResult.append(strTime);
        return;
    }
    const auto [nHour, nMinute] = SplitTime(strTime);
    const Converted converted = ConvertCached(*pTimes, nHour, nMinute);
    m_nDayShift = converted.nDayShift;
    AppendMinuteOfDay(strResult, converted.nMinuteOfDay);
}

Text CExchangeTimes::ConvertTimeToUtc(TextView strText, TextView strZone) {
    Text strResult;
    AppendZoneTime(strResult, strText, FindZone(strZone));
    return strResult;
}

Text CExchangeTimes::ConvertSessionToUtc(TextView strText, TextView strZone) {
    ZoneTimes* pTimes = FindZone(strZone);
    Text strResult;
    strResult.reserve(strText.size() + 8);
    for (int nPiece = 0;;) {
        const TextView strPiece = NextTokenView(strText, u";", nPiece);
        if (nPiece == -1) break;
        for (int nTime = 0;;) {
            const TextView strTime = NextTokenView(strPiece, u"~", nTime);
            if (nTime == -1) break;
            AppendZoneTime(strResult, strTime, pTimes);
            strResult.push_back(u'~');
        }
        TrimRight(strResult, u'~');
        strResult.push_back(u';');
    }
    TrimRight(strResult, u';');
    return strResult;
}

Text CExchangeTimes::ConvertSession(TextView strText, TextView strZone) {
    return strZone.empty() ? FormatTradeSession(strText) : ConvertSessionToUtc(strText, strZone);
}

Text CExchangeTimes::ConvertSingle(TextView strText, TextView strZone) {
    return strZone.empty() ? FormatTradeSession(strText) : ConvertTimeToUtc(strText, strZone);
}

}  // namespace qvant

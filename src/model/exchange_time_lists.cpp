#include "base/failure.h"
#include "base/format.h"
#include "base/numbers.h"
#include "base/token_view.h"
#include "model/exchange_times.h"

namespace qvant {

namespace {

TextView Left(TextView strText, std::size_t nCount) { return strText.substr(0, nCount); }

TextView Right(TextView strText, std::size_t nCount) {
    return strText.size() > nCount ? strText.substr(strText.size() - nCount) : strText;
}

/// HHMM-HHMM to HH:MM~HH:MM: the ":" stand behind the first two units and before the last two.
Text SpellSession(TextView strItem) {
    Text strResult(Left(strItem, 2));
    strResult.push_back(u':');
    if (strItem.size() > 4) strResult.append(strItem.substr(2, strItem.size() - 4));
    strResult.append(u":").append(Right(strItem, 2));
    ReplaceAll(strResult, u"-", u"~");
    return strResult;
}

/// HHMM to HH:MM.
Text SpellTime(TextView strItem) {
    Text strResult(Left(strItem, 2));
    strResult.append(u":").append(Right(strItem, 2));
    return strResult;
}

/// Weekdays run from 1 to 7 and wrap.
Text ShiftWeekday(TextView strWeekday, std::int32_t nDayShift) {
    if (nDayShift == 0) return Text(strWeekday);
    std::int64_t nWeekday = std::int64_t{ToInt(strWeekday)} + nDayShift;
    if (nWeekday == 0) nWeekday = 7;
    if (nWeekday == 8) nWeekday = 1;
    return Format(u"%d", nWeekday);
}

Text MoveToDayBefore(TextView strDate) {
    constexpr std::int64_t SECONDS_A_DAY = 86400;
    const int nDate = ToInt(strDate);
    const platform::SystemTime date{.nYear = nDate / 10000, .nMonth = nDate % 10000 / 100, .nDay = nDate % 100};
    const bool bInRange =
        date.nYear >= 1900 && date.nMonth >= 1 && date.nMonth <= 12 && date.nDay >= 1 && date.nDay <= 31;
    if (!bInRange) throw CFailure(CFailure::UNSPECIFIED);
    const auto nSeconds = platform::FromLocal(date);
    // The calendar of these lists begins with 1970, whatever the machine's own can hold.
    if (!nSeconds || *nSeconds < 0) throw CFailure(CFailure::INVALID_ARGUMENT);
    const platform::SystemTime before = platform::ToLocal((*nSeconds - SECONDS_A_DAY) * 1000);
    return Format(u"%04d%02d%02d", before.nYear, before.nMonth, before.nDay);
}

}  // namespace

Text CExchangeTimes::ConvertNewFormatOCT(TextView strText, TextView strZone) {
    return ConvertWeekly(strText, strZone, true);
}

Text CExchangeTimes::ConvertNewFormatReset(TextView strText, TextView strZone) {
    return ConvertWeekly(strText, strZone, false);
}

Text CExchangeTimes::ConvertSpecificOCT(TextView strText, TextView strZone) {
    return ConvertDated(strText, strZone, true);
}

Text CExchangeTimes::ConvertSpecificReset(TextView strText, TextView strZone) {
    return ConvertDated(strText, strZone, false);
}

/// One item of a weekly list; sessions keep the "~" between their times.
Text CExchangeTimes::ConvertItem(TextView strItem, TextView strZone, bool bSessions) {
    Text strResult =
        bSessions ? ConvertSession(SpellSession(strItem), strZone) : ConvertSingle(SpellTime(strItem), strZone);
    RemoveAll(strResult, u':');
    return strResult;
}

Text CExchangeTimes::ConvertWeekly(TextView strText, TextView strZone, bool bSessions) {
    if (!Contains(strText, u":")) return Text(strText);
    int nPosition = 0;
    const TextView strList = NextTokenView(strText, u":", nPosition);
    const TextView strWeekday = NextTokenView(strText, u":", nPosition);
    Text strResult;
    for (int nItem = 0;;) {
        const TextView strItem = NextTokenView(strList, u"|", nItem);
        if (nItem == -1) break;
        if (!strResult.empty()) strResult.push_back(u'|');
        strResult.append(ConvertItem(strItem, strZone, bSessions));
    }
    strResult.push_back(u':');
    return strResult.append(ShiftWeekday(strWeekday, m_nDayShift));
}

/// One date's items, each of which counts, empty ones too. Sessions go back to "-" between their times here, which is
/// where the dated and the weekly lists differ for their readers.
Text CExchangeTimes::ConvertDatedList(TextView strList, TextView strZone, bool bSessions) {
    Text strResult;
    for (bool bMore = true, bFirst = true; bMore; bFirst = false) {
        Text strItem(CutPiece(strList, u',', &bMore));
        strItem = ConvertSession(bSessions ? SpellSession(strItem) : SpellTime(strItem), strZone);
        RemoveAll(strItem, u':');
        if (bSessions) ReplaceAll(strItem, u"~", u"-");
        if (!bFirst) strResult.push_back(u',');
        strResult.append(strItem);
    }
    return strResult;
}

Text CExchangeTimes::ConvertDated(TextView strText, TextView strZone, bool bSessions) {
    Text strResult;
    for (int nItem = 0;;) {
        TextView strList = NextTokenView(strText, u"|", nItem);
        if (nItem == -1) break;
        bool bDated = false;
        const TextView strDate = CutPiece(strList, u':', &bDated);
        if (!bDated) continue;
        const int nHourBefore = ToInt(Left(strList, 2));
        // A reset list such as "-1" says that the date has none.
        const bool bTakenOver = !bSessions && nHourBefore < 0;
        const Text strConverted = bTakenOver ? Text(strList) : ConvertDatedList(strList, strZone, bSessions);
        // The two first hours alone decide: a later one counts as moved back across midnight, and nothing else does.
        const bool bMovedBack = !bTakenOver && ToInt(Left(strConverted, 2)) > nHourBefore;
        if (!strResult.empty()) strResult.push_back(u'|');
        strResult.append(bMovedBack ? MoveToDayBefore(strDate) : Text(strDate)).append(u":").append(strConverted);
    }
    return strResult;
}

}  // namespace qvant

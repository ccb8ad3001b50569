#include "documents/holiday_calendar.h"

#include <optional>

#include "base/format.h"
#include "base/split.h"
#include "net/http_query.h"
#include "net/url_list.h"
#include "platform/digest.h"
#include "platform/stop.h"

namespace qvant {

namespace {

constexpr std::int64_t PAUSE = 6'000'000;  // milliseconds between the end of a fetch and the next one

/// Yyyymmdd in UTC.
Text FormatDate(const platform::IClock& clock) {
    const platform::SystemTime now = platform::ToUtc(clock.NowMilliseconds());
    return Format(u"%ld", (now.nYear * 100 + now.nMonth) * 100 + now.nDay);
}

/// A text ends at its first NUL, whichever of the two forms it has.
Text ReadReply(const ReplyBuffer& pReply, std::uint32_t nLength) {
    Text strText = WidenMarked({reinterpret_cast<const char*>(pReply.get()), nLength - 1});
    const std::size_t nEnd = strText.find(u'\0');
    if (nEnd != Text::npos) strText.resize(nEnd);
    return strText;
}

}  // namespace

void CHolidayCalendar::Run(CBaseData* pHoliday) {
    do {
        GetHoliday(pHoliday);
    } while (m_parts.clock.SleepUntilTick(m_parts.clock.TickMilliseconds() + PAUSE));
}

/// Whatever happens, each of the steps behind the fetch is tried: the end of the service waits for the event.
void CHolidayCalendar::GetHoliday(CBaseData* pHoliday) {
    Text strError;
    Try([&] {
        m_parts.host.LogMessage(u"GetHoliday Begin");
        m_parts.eventHolidayReady.Clear();
        Fetch(pHoliday, strError);
    });
    Try([&] { m_parts.host.LogMessage(u"GetHoliday End"); });
    m_parts.eventHolidayReady.Set();
    // A fetch that was cut short by a stop is no failure to tell the user of.
    if (!strError.empty() && !platform::StopRequested()) Try([&] { m_parts.errors.PostErrorMsg(strError); });
}

/// Runs a step that may fail in any way; the log tells of it, if it still can.
void CHolidayCalendar::Try(const std::function<void()>& step) {
    try {
        step();
    } catch (const std::exception& failure) {
        try {
            m_parts.host.LogMessage(u"GetHoliday fail:" + Widen(failure.what()));
        } catch (const std::exception&) {
            return;  // there is nobody left to tell
        }
    }
}

void CHolidayCalendar::Fetch(CBaseData* pHoliday, Text& strError) {
    if (m_strTradingDayURL.empty() && !m_strDefaultHost.empty()) {
        m_strTradingDayURL =
            Format(u"http://%s/hx-bin/File.cgi?ARG=/Velmora/Hexquote/bin/OBHoliday.txt", m_strDefaultHost);
    }
    Text strText;
    const auto ask = [&](const Text& strUrl) { return AskUrl(strUrl, strText, strError); };
    if (!AskInTurn(SplitTokens(m_strTradingDayURL, u"|"), ask)) return;
    if (platform::StopRequested() || !m_database.IsOpen()) return;
    Take(strText, pHoliday);
}

bool CHolidayCalendar::AskUrl(const Text& strUrl, Text& strText, Text& strError) {
    strError.clear();
    m_parts.host.LogMessage(strUrl);
    std::uint32_t nLength = 0;
    const ReplyBuffer pReply = DoGetHttpQuery(strUrl, &nLength, m_parts.session.GetProxy(), strError, false, 0);
    if (!pReply) {
        m_parts.host.LogMessage(u"GetHoliday fail:");
        return false;
    }
    strText = ReadReply(pReply, nLength);
    return true;
}

/// The hash of the last text is the only memory of what was loaded.
void CHolidayCalendar::Take(const Text& strText, CBaseData* pHoliday) {
    const HolidayStamp stamp = m_database.ReadStamp();
    if (stamp.state == HolidayStamp::State::QueryFailed) return;
    const Text strHash = Widen(platform::Md5Hex(Narrow(strText)));
    if (!m_bUnpublished && stamp.state == HolidayStamp::State::Read && stamp.strVersion == HOLIDAY_LAYOUT_VERSION &&
        stamp.strHash == strHash) {
        return;
    }
    Update(strText, Format(u"Main,%s,%s,%s", HOLIDAY_LAYOUT_VERSION, FormatDate(m_parts.clock), strHash), pHoliday);
}

/// The working table gets the text whether or not the database takes it: who trades today needs the days of today. The
/// next fetch tries the database again then, as the hash is the old one. A stop leaves both as they were.
void CHolidayCalendar::Update(const Text& strText, const Text& strStamp, CBaseData* pHoliday) {
    m_parts.host.LogMessage(u"GetHoliday Update:" + strStamp);
    std::optional<CTransaction> transaction;
    if (pHoliday) transaction.emplace(*pHoliday);
    if (transaction && !Fill(strText, *transaction)) return;
    const auto write = [&](const CHolidayDatabase::WriteRow& writeRow) {
        return ForEachHoliday(strText,
                              [&](const HolidayRow& row) { return !platform::StopRequested() && writeRow(row); });
    };
    const bool bStored = m_database.Replace(strStamp, write);
    if (!bStored && platform::StopRequested()) return;
    m_bUnpublished = bStored;
    if (transaction) m_parts.storage.PublishHolidays(*pHoliday, *transaction);
    m_bUnpublished = false;
}

/// @return false when a stop came first
bool CHolidayCalendar::Fill(const Text& strText, CTransaction& transaction) {
    transaction.Clear(store::MASK_VALUES);
    Text strValue;
    return ForEachHoliday(strText, [&](const HolidayRow& row) {
        strValue.assign(row.strType).append(u",").append(row.strExchanges);
        transaction.SetValue(row.strDate, strValue);
        return !platform::StopRequested();
    });
}

void CHolidayCalendar::FillFromDatabase(CBaseData& table) {
    std::optional<CTransaction> transaction;
    m_database.ForEachRow([&](const HolidayRow& row) {
        if (!transaction) transaction.emplace(table);
        transaction->SetValue(row.strDate, Format(u"%s,%s", row.strType, row.strExchanges));
    });
    if (transaction) transaction->Commit();
}

}  // namespace qvant

/// The holiday calendar: a text of a file server, kept in the record database and in the store.
#pragma once

#include <cstdint>
#include <functional>

#include "documents/holiday_database.h"
#include "model/storage_tables.h"
#include "net/error_report.h"
#include "net/session.h"
#include "platform/clock.h"
#include "platform/event.h"
#include "store/base_data.h"
#include "store/host.h"

namespace qvant {

/// What the calendar works with; all outlive it.
struct HolidayParts {
    IHost& host;
    CDataBaseEventReceiver& sink;  ///< receives the log of the database
    const CSession& session;
    CErrorReport& errors;
    CStorageTables& storage;
    const platform::IClock& clock;
    platform::CEvent& eventHolidayReady;  ///< unsignalled while a fetch runs
};

/// The thread that runs `Run` is the only writer of the calendar. What another thread sets, it sets while none runs.
class CHolidayCalendar {
public:
    explicit CHolidayCalendar(const HolidayParts& parts) : m_parts(parts), m_database(parts.host, parts.sink) {}

    /// Opens the record database of the calendar. @return 1; 0 when it can't be had
    std::int32_t OpenHolidayDb(const Text& strHomeDir, const Text& strSystemName) {
        return m_database.Open(strHomeDir, strSystemName);
    }
    void ReleaseDatabase() { m_database.Release(); }

    /// @param strHost  "host" or "host:port" of the default source; empty: there is none
    void SetDefaultHost(const Text& strHost) { m_strDefaultHost = strHost; }
    /// @param strURLs  joined by "|"; empty: the default source counts
    void SetTradingDayURL(const Text& strURLs) { m_strTradingDayURL = strURLs; }

    /// Fetches the text and, if it is another one than the last, replaces the calendar. Nothing is thrown; a stop
    /// leaves both copies as they were.
    /// @param pHoliday  the table "Holiday", or null
    void GetHoliday(CBaseData* pHoliday);

    /// Fetches every 100 minutes until the calling thread is told to stop.
    void Run(CBaseData* pHoliday);

    /// Writes the rows of the record database into a table, if there are any.
    void FillFromDatabase(CBaseData& table);

private:
    void Try(const std::function<void()>& step);
    void Fetch(CBaseData* pHoliday, Text& strError);
    bool AskUrl(const Text& strUrl, Text& strText, Text& strError);
    void Take(const Text& strText, CBaseData* pHoliday);
    void Update(const Text& strText, const Text& strStamp, CBaseData* pHoliday);
    static bool Fill(const Text& strText, CTransaction& transaction);

    const HolidayParts m_parts;
    CHolidayDatabase m_database;
    Text m_strDefaultHost;
    Text m_strTradingDayURL;
    bool m_bUnpublished = false;  ///< the database is ahead of the tables
};

}  // namespace qvant

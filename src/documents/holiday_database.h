/// The holiday calendar in its record database: the rows, and which text they are from.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "base/mutex.h"
#include "base/text.h"
#include "documents/holiday_text.h"
#include "store/db_api_obj.h"
#include "store/host.h"
#include "store/record_results.h"

namespace qvant {

/// Version of the layout of the two tables. It says nothing of the file on the server.
inline constexpr TextView HOLIDAY_LAYOUT_VERSION = u"1.0.1.26";

/// What the database says of its rows.
struct HolidayStamp {
    enum class State { QueryFailed, NoRow, Unreadable, Read };
    State state = State::QueryFailed;
    Text strVersion;  ///< of the layout
    Text strHash;     ///< of the text
};

/// Owned by the calendar, with a client and result objects of its own, so that its queries wait for no other database.
/// Any thread; one call at a time.
class CHolidayDatabase {
public:
    /// @param sink  receives the log of the database; outlives this
    CHolidayDatabase(IHost& host, CDataBaseEventReceiver& sink) : m_host(host), m_sink(sink) {}

    /// Opens it, drops the rows of another layout and makes what isn't there. A component that can't be had is told by
    /// a message box, and leaves nothing open.
    /// @return 1; 0 when there is no client or no result object to be had
    std::int32_t Open(const Text& strHomeDir, const Text& strSystemName);
    bool IsOpen();
    void Release();

    HolidayStamp ReadStamp();

    using WriteRow = std::function<bool(const HolidayRow& row)>;

    /// Replaces the stamp and all rows, in one batch.
    /// @param strStamp  the values of the row of "Version", joined by ","
    /// @param write     writes the rows: calls its argument with each, which returns false to end it
    /// @return whether the file took the batch. If not (a refused row, a stop, a refused file, a failure that is
    /// thrown)
    ///         it holds what it held
    bool Replace(TextView strStamp, const std::function<bool(const WriteRow& writeRow)>& write);

    /// Gives each row of the calendar that the database holds.
    /// @param visit  gets the exchanges as they are kept
    void ForEachRow(const std::function<void(const HolidayRow& row)>& visit);

private:
    class CBatch;

    void Connect() QV_REQUIRES(m_mutex);
    HolidayStamp QueryStamp() QV_REQUIRES(m_mutex);
    void CreateTables() QV_REQUIRES(m_mutex);
    bool MakeAnew(TextView strTable) QV_REQUIRES(m_mutex);
    bool TryReplace(TextView strStamp, const std::function<bool(const WriteRow& writeRow)>& write, bool& bEmptied)
        QV_REQUIRES(m_mutex);
    bool Insert(const HolidayRow& row) QV_REQUIRES(m_mutex);

    IHost& m_host;
    CDataBaseEventReceiver& m_sink;
    CMutex m_mutex;
    Text m_strHomeDir QV_GUARDED_BY(m_mutex);
    Text m_strSystemName QV_GUARDED_BY(m_mutex);
    Text m_strValues QV_GUARDED_BY(m_mutex);  ///< of one row after another; its memory serves all
    CRecordResults m_results QV_GUARDED_BY(m_mutex);
    std::unique_ptr<DbAPIObj> m_pDbHoliDay QV_GUARDED_BY(m_mutex);
};

}  // namespace qvant

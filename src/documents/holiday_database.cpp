#include "documents/holiday_database.h"

#include <new>

#include "platform/stop.h"
#include "qvant/message_box.h"

namespace qvant {

namespace {

constexpr TextView DATABASE = u"OBHoliday";
constexpr TextView VERSION_TABLE = u"Version";
constexpr TextView VERSION_FIELDS = u"Name,Version,Date,Hash";
constexpr TextView HOLIDAY_TABLE = u"Holiday";
constexpr TextView HOLIDAY_FIELDS = u"Date,Type,ExchangeList";

}  // namespace

/// A batch can't be taken back, but a client that goes away takes its open one with it.
class CHolidayDatabase::CBatch {
public:
    explicit CBatch(CHolidayDatabase& owner) : m_owner(owner) { owner.m_pDbHoliDay->BeginBatch(); }
    ~CBatch() {
        if (m_bEnded) return;
        try {
            m_owner.Connect();
        } catch (...) {
            m_owner.m_pDbHoliDay.reset();  // nothing is open then, until the next start
        }
    }
    CBatch(const CBatch&) = delete;
    CBatch& operator=(const CBatch&) = delete;
    /// From now on the batch is ended, or has failed to.
    void SetEnded() { m_bEnded = true; }

private:
    CHolidayDatabase& m_owner;
    bool m_bEnded = false;
};

/// Makes a client, in place of one that is there. Its tables are declared at once: "Version" is a name that another
/// database may have as well.
void CHolidayDatabase::Connect() {
    m_pDbHoliDay.reset();
    auto pClient = std::make_unique<DbAPIObj>();
    if (!pClient->Create(&m_sink, m_strHomeDir)) return;
    m_pDbHoliDay = std::move(pClient);
    m_pDbHoliDay->OpenSystem(u".", m_strSystemName);
    CreateTables();
}

std::int32_t CHolidayDatabase::Open(const Text& strHomeDir, const Text& strSystemName) {
    const CLock lock(m_mutex);
    m_strHomeDir = strHomeDir;
    m_strSystemName = strSystemName;
    m_pDbHoliDay.reset(new (std::nothrow) DbAPIObj);
    if (!m_pDbHoliDay) return 0;
    if (!m_pDbHoliDay->Create(&m_sink, strHomeDir)) {
        QvantShowMessageBox(u"Error", u"m_pDbHoliDay error");
        m_pDbHoliDay.reset();
    } else if (!m_results.Create()) {
        m_pDbHoliDay.reset();  // rows that can't be read mustn't be judged
        return 0;
    }
    if (m_pDbHoliDay) m_pDbHoliDay->OpenSystem(u".", m_strSystemName);
    const HolidayStamp stamp = QueryStamp();
    const char16_t* pszFault = nullptr;
    if (stamp.state == HolidayStamp::State::QueryFailed) pszFault = u"Holiday isDrop 3";
    if (stamp.state == HolidayStamp::State::NoRow) pszFault = u"Holiday isDrop 2";
    if (stamp.state == HolidayStamp::State::Read && stamp.strVersion != HOLIDAY_LAYOUT_VERSION) {
        pszFault = u"Holiday isDrop 1";
    }
    if (pszFault) m_host.LogMessage(pszFault);
    if (!m_pDbHoliDay) return 1;
    const bool bDropped = pszFault && m_pDbHoliDay->DropDatabase(DATABASE, HOLIDAY_TABLE) == 1;
    CreateTables();
    // The stamp of another layout stays, since it never matches. One that merely couldn't be read may be a good one, of
    // rows that are gone now.
    const bool bMayMatch = bDropped && stamp.state == HolidayStamp::State::QueryFailed;
    if (bMayMatch && m_pDbHoliDay->DeleteRecord(VERSION_TABLE) != 1) MakeAnew(VERSION_TABLE);
    return 1;
}

/// A table that can't be emptied is damaged, locked or not to be written. Of a damaged one the whole file goes with the
/// drop; in the other cases that fails as well, and nothing is lost.
bool CHolidayDatabase::MakeAnew(TextView strTable) {
    if (m_pDbHoliDay->DropDatabase(DATABASE, strTable) != 1) return false;
    CreateTables();
    return true;
}

/// Each time, whatever is there.
void CHolidayDatabase::CreateTables() {
    m_pDbHoliDay->CreateTable(DATABASE, HOLIDAY_TABLE, HOLIDAY_FIELDS);
    m_pDbHoliDay->CreateTable(DATABASE, VERSION_TABLE, VERSION_FIELDS);
}

bool CHolidayDatabase::IsOpen() {
    const CLock lock(m_mutex);
    return m_pDbHoliDay != nullptr;
}

void CHolidayDatabase::Release() {
    const CLock lock(m_mutex);
    m_pDbHoliDay.reset();
    m_results.Release();
}

HolidayStamp CHolidayDatabase::ReadStamp() {
    const CLock lock(m_mutex);
    return QueryStamp();
}

HolidayStamp CHolidayDatabase::QueryStamp() {
    HolidayStamp stamp;
    if (!m_pDbHoliDay) return stamp;
    CRecordQuery query(*m_pDbHoliDay, m_results, VERSION_TABLE, u"Name", u"Main");
    if (!query.Succeeded()) return stamp;
    stamp.state = HolidayStamp::State::NoRow;
    if (query.GetCount() < 1) return stamp;
    stamp.state = HolidayStamp::State::Unreadable;
    if (!query.Fetch(0)) return stamp;
    stamp.state = HolidayStamp::State::Read;
    stamp.strVersion = query.GetField(u"Version");
    stamp.strHash = query.GetField(u"Hash");
    return stamp;
}

bool CHolidayDatabase::Replace(TextView strStamp, const std::function<bool(const WriteRow& writeRow)>& write) {
    const CLock lock(m_mutex);
    bool bEmptied = true;
    if (m_pDbHoliDay && TryReplace(strStamp, write, bEmptied)) return true;
    if (bEmptied || !m_pDbHoliDay || platform::StopRequested()) return false;
    return MakeAnew(VERSION_TABLE) && MakeAnew(HOLIDAY_TABLE) && TryReplace(strStamp, write, bEmptied);
}

/// @param bEmptied  out: false when a table refused to give up its rows
bool CHolidayDatabase::TryReplace(TextView strStamp, const std::function<bool(const WriteRow& writeRow)>& write,
                                  bool& bEmptied) {
    CBatch batch(*this);
    bEmptied = m_pDbHoliDay->DeleteRecord(VERSION_TABLE) == 1;
    bEmptied = bEmptied && m_pDbHoliDay->InsertRecord(VERSION_TABLE, VERSION_FIELDS, strStamp) == 1;
    bEmptied = bEmptied && m_pDbHoliDay->DeleteRecord(HOLIDAY_TABLE) == 1;
    const bool bWritten = bEmptied && write([this](const HolidayRow& row) QV_REQUIRES(m_mutex) { return Insert(row); });
    if (!bWritten || platform::StopRequested()) return false;
    batch.SetEnded();
    return m_pDbHoliDay->EndBatch() == 1;
}

/// A comma in the date or the type moves what follows by a column: the row's values are one text, joined by commas. The
/// database drops what is too much, and the other rows don't suffer.
bool CHolidayDatabase::Insert(const HolidayRow& row) {
    m_strValues.clear();
    AppendAll(m_strValues, {row.strDate, u",", row.strType, u",", row.strExchanges});
    // A "||" with something behind it would be taken for the name of another separator; one more says which it is.
    if (Contains(m_strValues, u"||")) m_strValues.append(u"||,");
    return m_pDbHoliDay->InsertRecord(HOLIDAY_TABLE, HOLIDAY_FIELDS, m_strValues) == 1;
}

void CHolidayDatabase::ForEachRow(const std::function<void(const HolidayRow& row)>& visit) {
    const CLock lock(m_mutex);
    if (!m_pDbHoliDay) return;
    CRecordQuery query(*m_pDbHoliDay, m_results, HOLIDAY_TABLE);
    const std::int32_t nCount = query.GetCount();
    for (std::int32_t nRow = 0; nRow < nCount; ++nRow) {
        if (!query.Fetch(nRow)) continue;
        const Text strType = query.GetField(u"Type");
        const Text strDate = query.GetField(u"Date");
        const Text strExchanges = query.GetField(u"ExchangeList");
        visit({strDate, strType, strExchanges});
    }
}

}  // namespace qvant

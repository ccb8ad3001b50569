#include "model/symbol_lookup.h"

#include <algorithm>
#include <chrono>
#include <optional>

#include "base/format.h"
#include "base/token_view.h"
#include "model/search_row_writer.h"
#include "platform/stop.h"

namespace qvant {

namespace {

constexpr const char16_t* NOTHING_HELD = u"-1";
/// Rows beside those of the classifications: "Lumivale_Db", "Lang" and "Security".
constexpr std::size_t OWN_VERSION_ROWS = 3;
constexpr std::size_t SHORT_INSTRUMENT = 4;  ///< texts up to this length aren't searched back
constexpr std::chrono::milliseconds FIRST_PAUSE{100};
constexpr std::chrono::milliseconds LONGEST_PAUSE{10'000};

/// Unsignalled for the life of the object, however the build ends.
class CBuilding {
public:
    explicit CBuilding(platform::CEvent& event) : m_event(event) { m_event.Clear(); }
    ~CBuilding() { m_event.Set(); }
    CBuilding(const CBuilding&) = delete;
    CBuilding& operator=(const CBuilding&) = delete;

private:
    platform::CEvent& m_event;
};

/// Writes that become visible together, at `End`. A batch can't be taken back, but a database object that goes away
/// takes its open one with it.
class CBatch {
public:
    explicit CBatch(CRecordDatabases& databases) : m_databases(databases) { databases.GetSearch()->BeginBatch(); }
    ~CBatch() {
        if (!m_bEnded) m_databases.ReopenSearch();
    }
    CBatch(const CBatch&) = delete;
    CBatch& operator=(const CBatch&) = delete;
    void End() {
        m_bEnded = true;
        m_databases.GetSearch()->EndBatch();
    }

private:
    CRecordDatabases& m_databases;
    bool m_bEnded = false;
};

std::optional<CTransaction> BeginCleared(CBaseData* pTable) {
    std::optional<CTransaction> transaction;
    if (!pTable) return transaction;
    transaction.emplace(*pTable);
    transaction->Clear(store::MASK_VALUES);
    return transaction;
}

void SetBothWays(CTransaction* pNear, TextView strSymbol, TextView strNear) {
    if (!pNear || strNear.empty()) return;
    pNear->SetValue(strSymbol, strNear);
    pNear->SetValue(strNear, strSymbol);
}

bool HasMonth(TextView strSymbol) { return std::count(strSymbol.begin(), strSymbol.end(), u'.') >= 4; }

}  // namespace

void CSymbolLookup::MakeSymbolLookupList(const SymbolLookupTables& tables) {
    if (!m_isRunning()) return;
    m_parts.host.LogMessage(u"MakeSymbolLookupList Begin.");
    const CBuilding building(m_parts.eventSymbolLookUp);
    std::optional<CTransaction> names = BeginCleared(tables.pSymbolSearchName);
    if (!m_parts.databases.GetSearch()) {
        m_parts.host.LogMessage(u"MakeSymbolLookupList dbapi is null.");
    } else {
        const bool bFull = NeedsFullBuild();
        if (bFull && !BuildAll(tables.pNearMonthTable)) return;
        const bool bFirst = std::exchange(m_parts.state.m_bFirstSymbolBuild, false);
        // Only once after the start: a later run that finds the database current leaves the table as it stands.
        if (!bFull && bFirst) Refresh(tables.pNearMonthTable);
    }
    if (names) {
        PublishInstruments(*names);
        names->Commit();
    }
    m_parts.host.LogMessage(u"MakeSymbolLookupList End.");
    m_parts.contracts.m_arContractInsertData = {};
}

bool CSymbolLookup::NeedsFullBuild() {
    if (m_parts.databases.GetSearchVersion().empty()) return true;
    const auto arVersions = ReadVersions();
    if (arVersions.size() < m_parts.state.m_mapContractVersion.size() + OWN_VERSION_ROWS) return true;
    const auto IsOld = [this](const Version& row) { return !IsCurrent(row); };
    const auto IsLanguage = [](const Version& row) { return row.strName == u"Lang"; };
    return std::ranges::any_of(arVersions, IsOld) || std::ranges::none_of(arVersions, IsLanguage);
}

/// Empty as well when the query fails.
std::vector<CSymbolLookup::Version> CSymbolLookup::ReadVersions() {
    std::vector<Version> arVersions;
    CRecordQuery query(GetDatabase(), m_parts.databases.GetResults(), VERSION_TABLE);
    for (std::int32_t i = 0; i < query.GetCount(); ++i) {
        if (query.Fetch(i)) arVersions.push_back({query.GetField(u"Name"), query.GetField(u"Version")});
    }
    return arVersions;
}

bool CSymbolLookup::IsCurrent(const Version& row) const {
    const RunState& state = m_parts.state;
    if (row.strName == u"Lumivale_Db") return row.strVersion == SEARCH_DATABASE_VERSION;
    if (row.strName == u"Security") return row.strVersion == state.m_strVersion;
    if (row.strName == u"Lang") return row.strVersion == state.AppsLanguage;
    const auto pVersion = state.m_mapContractVersion.find(row.strName);
    return row.strVersion == (pVersion == state.m_mapContractVersion.end() ? TextView(NOTHING_HELD) : pVersion->second);
}

/// @return false when a stop cut the build short
bool CSymbolLookup::BuildAll(CBaseData* pNearMonthTable) {
    std::optional<CTransaction> near = BeginCleared(pNearMonthTable);
    if (!BuildUntilWritten(near ? &*near : nullptr)) return false;
    if (near) near->Commit();
    m_parts.databases.SetSearchVersion(SEARCH_DATABASE_VERSION);
    const CRecordQuery query(GetDatabase(), m_parts.databases.GetResults(), SEARCH_TABLE);
    if (query.Succeeded())
        m_parts.host.LogMessage(Format(u"Update MakeSymbolLookupList GetRecordCount:%ld", query.GetCount()));
    return true;
}

/// A database that can't be written holds the build here for good, until the service stops: that is the chosen
/// behaviour, since a search that shows half of the contracts is worse than one that isn't there. The growing pause
/// keeps it from taking a processor to itself.
/// @return false when a stop cut the build short; nothing of it is in the database then
bool CSymbolLookup::BuildUntilWritten(CTransaction* pNear) {
    Outcome outcome = UpdateSymbolLookupList(pNear);
    for (auto pause = std::chrono::milliseconds::zero(); outcome == Outcome::InsertFailed;
         pause = std::clamp(pause * 2, FIRST_PAUSE, LONGEST_PAUSE)) {
        if (!platform::SleepFor(pause) || !m_parts.databases.GetSearch()) return false;
        m_parts.databases.DeleteSearchFile();
        m_parts.host.LogMessage(u"MakeSymbolLookupList delete db file!");
        m_parts.databases.CreateSearchTables();
        outcome = UpdateSymbolLookupList(pNear);
    }
    return outcome == Outcome::Done;
}

/// Everything goes through one batch: it becomes visible at once, and a stop or a failure leaves nothing of it.
CSymbolLookup::Outcome CSymbolLookup::UpdateSymbolLookupList(CTransaction* pNear) {
    CBatch batch(m_parts.databases);
    InsertVersions();
    const Text strTimeStamp = Format(u"%I64d", m_parts.clock.NowMilliseconds() / 1000);
    m_parts.host.LogMessage(Format(u"Update MakeSymbolLookupList Time:%s, m_arContractInsertData:%d", strTimeStamp,
                                   m_parts.contracts.m_arContractInsertData.size()));
    InsertContractList(strTimeStamp);
    m_parts.host.LogMessage(
        Format(u"Update MakeSymbolLookupList m_arAllContract:%d", m_parts.contracts.m_arAllContract.size()));
    const std::int32_t nDeleted = GetDatabase().DeleteRecord(SEARCH_TABLE);
    if (nDeleted != 1) m_parts.host.LogMessage(Format(u"MakeSymbolLookupList DeleteDBRecord:%ld", nDeleted));
    const Outcome outcome = InsertSymbols(pNear, strTimeStamp);
    // A pass that failed goes as well: its versions are current and its symbols aren't all there, and a process that
    // ends before the file is deleted would leave it for the next start to trust.
    if (outcome == Outcome::Done) batch.End();
    return outcome;
}

void CSymbolLookup::InsertVersions() {
    DbAPIObj& database = GetDatabase();
    database.DeleteRecord(VERSION_TABLE);
    const auto Insert = [&database](TextView strName, TextView strVersion) {
        database.InsertRecord(VERSION_TABLE, VERSION_FIELDS, Format(u"%s,%s", strName, strVersion));
    };
    Insert(u"Lumivale_Db", SEARCH_DATABASE_VERSION);
    Insert(u"Lang", m_parts.state.AppsLanguage);
    Insert(u"Security", m_parts.state.m_strVersion);
    for (const auto& [strName, strVersion] : m_parts.state.m_mapContractVersion) Insert(strName, strVersion);
}

/// Names in this table may hold commas, so its fields are joined by "#@", and the ending says so.
void CSymbolLookup::InsertContractList(TextView strTimeStamp) {
    GetDatabase().DeleteRecord(CONTRACT_TABLE);
    Text strRow;
    for (const Text& strItem : m_parts.contracts.m_arContractInsertData) {
        if (platform::StopRequested()) return;
        strRow.assign(strItem).append(u"#@").append(strTimeStamp).append(u"||#@");
        GetDatabase().InsertRecord(CONTRACT_TABLE, CONTRACT_FIELDS, strRow);
    }
}

CSymbolLookup::Outcome CSymbolLookup::InsertSymbols(CTransaction* pNear, TextView strTimeStamp) {
    using Form = CSearchRowWriter::Form;
    const CContractBuilder& contracts = m_parts.contracts;
    CSymbolSearchRow row({contracts, m_parts.lists, m_parts.securities, m_parts.stocks}, Text(strTimeStamp));
    CSymbolFinder rows(contracts.m_symbols);
    CTextFinder symbolToNear(contracts.m_mapSymbolToNear);
    CSearchRowWriter writer(GetDatabase());
    bool bTaken = true;
    for (auto pSymbol = contracts.m_arAllContract.begin(); bTaken && pSymbol != contracts.m_arAllContract.end();
         ++pSymbol) {
        if (platform::StopRequested()) return Outcome::Stopped;
        const TextView strSymbol = *pSymbol;
        if (strSymbol.empty()) continue;
        const CSymbolTable::Row found = rows.Find(strSymbol);
        if (contracts.m_mapSymbolToName.HasValue(found)) {
            const Text strNear = FindNearSymbol(symbolToNear, strSymbol);
            bTaken = writer.Add(Form::Contract, row.MakeContract(found, strNear));
            SetBothWays(pNear, strSymbol, strNear);
        } else if (contracts.m_mapSynuSymbolToName.HasValue(found)) {
            bTaken = writer.Add(Form::Synthetic, row.MakeSynthetic(found));
        }
    }
    const auto refusal = writer.Finish();
    if (!refusal) return Outcome::Done;
    const TextView strLine = refusal->form == Form::Contract ? u"MakeSymbolLookupList InsertDBRecord(%ld):%s"
                                                             : u"MakeSymbolLookupList m_mapSynuSymbolToName(%ld):%s";
    m_parts.host.LogMessage(Format(strLine, refusal->nResult, refusal->strRow));
    // A wait for a lock that a stop cut short is no fault of the database.
    return platform::StopRequested() ? Outcome::Stopped : Outcome::InsertFailed;
}

/// "NEARMONTHTABLE" isn't kept from one start to the next, the database is.
void CSymbolLookup::Refresh(CBaseData* pNearMonthTable) {
    std::optional<CTransaction> near = BeginCleared(pNearMonthTable);
    if (!near) return;
    const CContractBuilder& contracts = m_parts.contracts;
    CSymbolFinder rows(contracts.m_symbols);
    CTextFinder symbolToNear(contracts.m_mapSymbolToNear);
    for (const TextView strSymbol : contracts.m_arAllContract) {
        if (HasMonth(strSymbol) && contracts.m_mapSymbolToName.HasValue(rows.Find(strSymbol))) {
            SetBothWays(&*near, strSymbol, FindNearSymbol(symbolToNear, strSymbol));
        }
    }
    near->Commit();
}

void CSymbolLookup::PublishInstruments(CTransaction& names) const {
    for (const auto& [strSymbol, strInstrument] : m_parts.contracts.m_mapSymbolToInstrument) {
        names.SetValue(strSymbol, strInstrument);
        if (strInstrument.size() > SHORT_INSTRUMENT) names.SetValue(strInstrument, strSymbol);
    }
}

}  // namespace qvant

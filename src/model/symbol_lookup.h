/// The search database, kept in step with the contract model.
#pragma once

#include <functional>

#include "model/contract_builder.h"
#include "model/run_state.h"
#include "model/securities_parser.h"
#include "model/stock_limits.h"
#include "model/symbol_search_row.h"
#include "model/underlying_lists.h"
#include "platform/clock.h"
#include "platform/event.h"
#include "store/host.h"
#include "store/record_databases.h"

namespace qvant {

/// What the lookup works with; all outlive it.
struct SymbolLookupParts {
    IHost& host;
    const platform::IClock& clock;
    RunState& state;
    CContractBuilder& contracts;
    const CUnderlyingLists& lists;
    const CSecuritiesParser& securities;
    const StockLimitMap& stocks;
    CRecordDatabases& databases;
    platform::CEvent& eventSymbolLookUp;  ///< unsignalled while a build runs
};

/// The tables that a build fills; owned by the service, null when the host has none.
struct SymbolLookupTables {
    CBaseData* pSymbolSearchName = nullptr;
    CBaseData* pNearMonthTable = nullptr;
};

/// The database outlives a session; versions inside it decide between a full build and a short refresh. A build runs on
/// one thread at a time. Whoever else touches the database or the contract model waits for the event.
class CSymbolLookup {
public:
    /// @param isRunning  whether the service takes clock events: before the start and after the stop nothing is built
    CSymbolLookup(const SymbolLookupParts& parts, std::function<bool()> isRunning)
        : m_parts(parts), m_isRunning(std::move(isRunning)) {}

    /// Brings the database, "NEARMONTHTABLE" and "Symbol.Search.Name" up to date. A build that a stop cuts short leaves
    /// all three as they were.
    void MakeSymbolLookupList(const SymbolLookupTables& tables);

private:
    enum class Outcome { Done, InsertFailed, Stopped };

    struct Version {
        Text strName;
        Text strVersion;
    };

    bool NeedsFullBuild();
    std::vector<Version> ReadVersions();
    bool IsCurrent(const Version& row) const;
    bool BuildAll(CBaseData* pNearMonthTable);
    bool BuildUntilWritten(CTransaction* pNear);
    Outcome UpdateSymbolLookupList(CTransaction* pNear);
    Outcome InsertSymbols(CTransaction* pNear, TextView strTimeStamp);
    void InsertVersions();
    void InsertContractList(TextView strTimeStamp);
    DbAPIObj& GetDatabase() { return *m_parts.databases.GetSearch(); }
    void Refresh(CBaseData* pNearMonthTable);
    void PublishInstruments(CTransaction& names) const;

    const SymbolLookupParts m_parts;
    const std::function<bool()> m_isRunning;
};

}  // namespace qvant

/// The database of the symbol search: its opening, its version and its tables.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "base/text.h"
#include "store/db_api_obj.h"
#include "store/host.h"

namespace qvant {

/// Owned by the service. The host's thread opens and releases it; in between it belongs to the thread that builds.
class CSearchDatabase {
public:
    /// Version of the tables' layout. A database with another one is thrown away.
    static constexpr const char16_t* LAYOUT_VERSION = u"1.0.2.51";

    /// A row of the table "Lumivale".
    struct Version {
        Text strName;
        Text strVersion;
    };

    /// Writes that become visible together, at `End`; without it they never do.
    class CBatch {
    public:
        explicit CBatch(CSearchDatabase& database);
        ~CBatch();
        CBatch(const CBatch&) = delete;
        CBatch& operator=(const CBatch&) = delete;
        void End();

    private:
        CSearchDatabase& m_database;
        bool m_bEnded = false;
    };

    /// @param results  the result objects that all queries of the service share
    CSearchDatabase(IHost& host, CRecordResults& results) : m_host(host), m_results(results) {}

    /// Opens "Lumivale_" and the system's name, and makes its tables anew unless its version is the present one. A
    /// component that can't be had is told in a message box, and the service goes on without a search.
    /// @param pSink       receives the component's log lines; outlives the database
    /// @param strHomeDir  folder of the terminal, with its trailing slash
    void Open(CDataBaseEventReceiver* pSink, TextView strHomeDir, TextView strSystemName);
    void Release();
    bool IsOpen() const { return m_pDatabase != nullptr; }

    /// `m_strDbVersion`: what the database's own version row says. Empty, it leads to a full build.
    const Text& GetVersion() const { return m_strDbVersion; }
    void SetVersion(TextView strVersion) { m_strDbVersion = strVersion; }

    /// All version rows; nothing when the query failed.
    std::optional<std::vector<Version>> ReadVersions();
    /// Nothing when the query failed.
    std::optional<std::int32_t> CountRecords(TextView strTable);

    void DeleteFile() const;
    void CreateTables();

    /// @return 1 when the row was taken
    std::int32_t InsertRecord(TextView strTable, TextView strFields, TextView strValues);
    /// Deletes every row. @return 1 when it was done
    std::int32_t DeleteRecords(TextView strTable);

private:
    bool Connect();
    void CreateTable(TextView strTable, TextView strFields);
    bool IsLayoutCurrent();

    IHost& m_host;
    CRecordResults& m_results;
    CDataBaseEventReceiver* m_pSink = nullptr;
    Text m_strHomeDir;
    Text m_strSystemName;
    Text m_strName;  ///< of the database
    Text m_strDbVersion;
    std::unique_ptr<DbAPIObj> m_pDatabase;
};

}  // namespace qvant

/// The record databases that the service opens at its start: the search database and the factors' one.
#pragma once

#include <memory>

#include "base/mutex.h"
#include "base/text.h"
#include "store/db_api_obj.h"
#include "store/host.h"
#include "store/record_results.h"

namespace qvant {

/// Version of the layout of the search database. A database with another one, or none, is made anew.
inline constexpr TextView SEARCH_DATABASE_VERSION = u"1.0.2.51";

/// The tables of the search database and their fields.
inline constexpr TextView SEARCH_TABLE = u"SymbolSearch";
inline constexpr TextView SEARCH_FIELDS =
    u"Symbol,Name,SearchID,SearchName,Exchange,Product,SetPRIADJ,Type,TypeNum,MainType,HotSymbol,NearSymbol,Spell,"
    u"Underlying,Instrument,ExpDate,LongMargin,ShortMargin,BULimit,SULimit,BUnit,SUnit,Status,TimeStamp";
inline constexpr TextView VERSION_TABLE = u"Lumivale";
inline constexpr TextView VERSION_FIELDS = u"Name,Version";
inline constexpr TextView CONTRACT_TABLE = u"ContractList";
inline constexpr TextView CONTRACT_FIELDS = u"Name,Symbol,Path,Lang,Status,TimeStamp";

/// Opened and released by the host's thread; the queries of all threads go one by one, through `CRecordQuery` with the
/// results here.
class CRecordDatabases {
public:
    /// @param sink  receives the log of the databases; outlives this
    CRecordDatabases(IHost& host, CDataBaseEventReceiver& sink) : m_host(host), m_sink(sink) {}
    ~CRecordDatabases() { Release(); }
    CRecordDatabases(const CRecordDatabases&) = delete;
    CRecordDatabases& operator=(const CRecordDatabases&) = delete;

    /// Opens the search database, and drops what another version of the layout left. A component that can't be had is
    /// told by a message box; the service goes on without it.
    /// @param strHomeDir      with a slash behind
    /// @param strSystemName  the setting `SystemName`, which may be empty
    void OpenSearch(const Text& strHomeDir, const Text& strSystemName);

    /// Declares the tables of "CQYZ.db", which other modules read and write.
    void OpenCqyz(const Text& strHomeDir);

    /// The search database; null when it couldn't be opened.
    DbAPIObj* GetSearch() { return BorrowSearch().get(); }
    CRecordResults& GetResults() { return m_results; }
    const Text& GetSystemName() const { return m_strSystemName; }

    /// Version of the layout that the opening found, empty for none; a full build sets it.
    const Text& GetSearchVersion() const { return m_strDbVersion; }
    void SetSearchVersion(TextView strVersion) { m_strDbVersion = strVersion; }

    /// Has the next build of the symbols write them all, be it one of the next start: a version is missing in the file
    /// then. That of the layout stays there, so that an opening keeps the file.
    void ForgetSearchBuild();

    /// Deletes all versions in the search database, so that the next opening finds none and makes it anew. Any thread.
    void ForgetVersions();

    /// Makes a new client of the search database. What an open batch of the old one held is gone.
    void ReopenSearch();

    /// Deletes the file of the search database. The tables have to be made again before they are written.
    void DeleteSearchFile();
    /// Makes "SymbolSearch", "Lumivale" and "ContractList" as far as they aren't there.
    void CreateSearchTables();

    /// Releases the search database, then the factors' one. The two result objects go after the other databases.
    void ReleaseSearch() { ReplaceSearch(nullptr); }
    void ReleaseCqyz() { m_pDbCQYZ.reset(); }
    void Release();

private:
    bool MustDropSearch();
    void ReplaceSearch(std::shared_ptr<DbAPIObj> pSearch);
    std::shared_ptr<DbAPIObj> BorrowSearch();

    IHost& m_host;
    CDataBaseEventReceiver& m_sink;
    Text m_strHomeDir;
    Text m_strSystemName;
    Text m_strDbName;  ///< "Lumivale_" and the system's name
    Text m_strDbVersion;
    CRecordResults m_results;
    CMutex m_mutexSearch;
    std::shared_ptr<DbAPIObj> m_pSearch QV_GUARDED_BY(m_mutexSearch);
    std::unique_ptr<DbAPIObj> m_pDbCQYZ;
};

}  // namespace qvant

#include "store/record_databases.h"

#include "base/format.h"
#include "platform/files.h"
#include "qvant/message_box.h"

namespace qvant {
namespace {

constexpr TextView CQYZ_DATABASE = u"*C:\\ProgramData\\Qvant\\API\\DataBase\\CQYZ.db";
constexpr TextView FACTOR_TABLE = u"CQYZ|0|0";
constexpr TextView FACTOR_FIELDS = u"Symbol,Date,V179,V180,V181,V182,V183";
constexpr TextView STAMP_TABLE = u"TimeStamp";
constexpr TextView STAMP_FIELDS = u"Symbol,DateTime";

/// A client with its database object; null, and a message box, when there is none to be had.
std::unique_ptr<DbAPIObj> CreateClient(CDataBaseEventReceiver& sink, const Text& strHomeDir, const char16_t* pszFault) {
    auto pClient = std::make_unique<DbAPIObj>();
    if (pClient->Create(&sink, strHomeDir)) return pClient;
    QvantShowMessageBox(u"Error", pszFault);
    return nullptr;
}

}  // namespace

void CRecordDatabases::OpenSearch(const Text& strHomeDir, const Text& strSystemName) {
    m_strHomeDir = strHomeDir;
    ReplaceSearch(CreateClient(m_sink, strHomeDir, u"DbApi error"));
    DbAPIObj* const pSearch = GetSearch();
    if (!pSearch) return;
    m_strSystemName = strSystemName;
    pSearch->OpenSystem(u".", m_strSystemName);
    m_strDbName = Format(u"Lumivale_%s", m_strSystemName);
    if (!m_results.Create()) return;
    pSearch->CreateTable(m_strDbName, VERSION_TABLE, VERSION_FIELDS);
    if (MustDropSearch()) {
        m_host.LogMessage(u"SymbolSearch Db isDrop");
        DeleteSearchFile();
    }
    CreateSearchTables();
}

void CRecordDatabases::ForgetSearchBuild() {
    SetSearchVersion(u"");
    if (DbAPIObj* const pSearch = GetSearch()) pSearch->DeleteRecord(VERSION_TABLE, u"Name", u"Security");
}

void CRecordDatabases::ForgetVersions() {
    const auto pSearch = BorrowSearch();
    if (pSearch) pSearch->DeleteRecord(VERSION_TABLE);
}

std::shared_ptr<DbAPIObj> CRecordDatabases::BorrowSearch() {
    const CLock lock(m_mutexSearch);
    return m_pSearch;
}

/// The old client goes behind the lock, with what its batch held.
void CRecordDatabases::ReplaceSearch(std::shared_ptr<DbAPIObj> pSearch) {
    const CLock lock(m_mutexSearch);
    m_pSearch.swap(pSearch);
}

void CRecordDatabases::ReopenSearch() {
    ReleaseSearch();
    auto pClient = std::make_shared<DbAPIObj>();
    if (!pClient->Create(&m_sink, m_strHomeDir)) return;
    ReplaceSearch(pClient);
    pClient->OpenSystem(u".", m_strSystemName);
}

/// A version that is there but can't be fetched keeps the file: only one that was seen and differs, or none at all,
/// costs what the last build made.
bool CRecordDatabases::MustDropSearch() {
    CRecordQuery query(*GetSearch(), m_results, VERSION_TABLE, u"Name", u"Lumivale_Db");
    if (query.GetCount() < 1) return true;
    if (!query.Fetch(0)) return false;
    m_strDbVersion = query.GetField(u"Version");
    return m_strDbVersion != SEARCH_DATABASE_VERSION;
}

void CRecordDatabases::DeleteSearchFile() {
    platform::DeleteFile(Format(u"%sData/API/%s.db", m_strHomeDir, m_strDbName));
}

void CRecordDatabases::CreateSearchTables() {
    DbAPIObj* const pSearch = GetSearch();
    if (!pSearch) return;
    pSearch->CreateTable(m_strDbName, SEARCH_TABLE, SEARCH_FIELDS);
    pSearch->CreateTable(m_strDbName, VERSION_TABLE, VERSION_FIELDS);
    pSearch->CreateTable(m_strDbName, CONTRACT_TABLE, CONTRACT_FIELDS);
}

void CRecordDatabases::OpenCqyz(const Text& strHomeDir) {
    m_pDbCQYZ = CreateClient(m_sink, strHomeDir, u"CQYZ error");
    if (!m_pDbCQYZ || !m_results.IsCreated()) return;
    m_pDbCQYZ->OpenSystem(u".", m_strSystemName);
    m_pDbCQYZ->CreateTable(CQYZ_DATABASE, FACTOR_TABLE, FACTOR_FIELDS);
    m_pDbCQYZ->CreateTable(CQYZ_DATABASE, STAMP_TABLE, STAMP_FIELDS);
}

void CRecordDatabases::Release() {
    ReleaseSearch();
    ReleaseCqyz();
    m_results.Release();
}

}  // namespace qvant

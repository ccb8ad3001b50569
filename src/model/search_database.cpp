#include "model/search_database.h"

#include "base/format.h"
#include "platform/files.h"
#include "qvant/message_box.h"

namespace qvant {

namespace {

constexpr const char16_t* VERSION_TABLE = u"Lumivale";
constexpr const char16_t* VERSION_FIELDS = u"Name,Version";
constexpr const char16_t* VERSION_NAME = u"Lumivale_Db";

}  // namespace

CSearchDatabase::CBatch::CBatch(CSearchDatabase& database) : m_database(database) {
    if (database.m_pDatabase) database.m_pDatabase->BeginBatch();
}

/// A batch can't be taken back, but a database object that goes away takes its open one with it.
CSearchDatabase::CBatch::~CBatch() {
    if (m_bEnded) return;
    m_database.m_pDatabase.reset();
    m_database.Connect();
}

void CSearchDatabase::CBatch::End() {
    m_bEnded = true;
    if (m_database.m_pDatabase) m_database.m_pDatabase->EndBatch();
}

void CSearchDatabase::Open(CDataBaseEventReceiver* pSink, TextView strHomeDir, TextView strSystemName) {
    m_pSink = pSink;
    m_strHomeDir = strHomeDir;
    m_strSystemName = strSystemName;
    m_strName = Format(u"Lumivale_%s", strSystemName);
    m_strDbVersion.clear();
    if (!Connect()) {
        QvantShowMessageBox(u"Error", u"DbApi error");
        return;
    }
    if (!m_results.IsCreated() && !m_results.Create()) return;
    CreateTable(VERSION_TABLE, VERSION_FIELDS);
    if (!IsLayoutCurrent()) {
        m_host.LogMessage(u"SymbolSearch Db isDrop");
        DeleteFile();
    }
    CreateTables();
}

bool CSearchDatabase::Connect() {
    auto pDatabase = std::make_unique<DbAPIObj>();
    if (!pDatabase->Create(m_pSink, m_strHomeDir)) return false;
    m_pDatabase = std::move(pDatabase);
    m_pDatabase->OpenSystem(u".", m_strSystemName);
    return true;
}

void CSearchDatabase::Release() { m_pDatabase.reset(); }

/// No version row, or another version, means another layout. A row that is there and can't be read keeps the file.
bool CSearchDatabase::IsLayoutCurrent() {
    CRecordQuery query(*m_pDatabase, m_results, VERSION_TABLE, u"Name", VERSION_NAME);
    if (query.GetCount() < 1) return false;
    if (!query.Fetch(0)) return true;
    m_strDbVersion = query.GetField(u"Version");
    return m_strDbVersion == LAYOUT_VERSION;
}

std::optional<std::vector<CSearchDatabase::Version>> CSearchDatabase::ReadVersions() {
    if (!m_pDatabase) return std::nullopt;
    CRecordQuery query(*m_pDatabase, m_results, VERSION_TABLE);
    if (!query.Succeeded()) return std::nullopt;
    std::vector<Version> arVersions;
    for (std::int32_t i = 0; i < query.GetCount(); ++i) {
        if (query.Fetch(i)) arVersions.push_back({query.GetField(u"Name"), query.GetField(u"Version")});
    }
    return arVersions;
}

std::optional<std::int32_t> CSearchDatabase::CountRecords(TextView strTable) {
    if (!m_pDatabase) return std::nullopt;
    const CRecordQuery query(*m_pDatabase, m_results, strTable);
    if (!query.Succeeded()) return std::nullopt;
    return query.GetCount();
}

void CSearchDatabase::DeleteFile() const {
    platform::DeleteFile(Format(u"%sData/API/%s.db", m_strHomeDir, m_strName));
}

void CSearchDatabase::CreateTables() {
    CreateTable(u"SymbolSearch",
                u"Symbol,Name,SearchID,SearchName,Exchange,Product,SetPRIADJ,Type,TypeNum,MainType,HotSymbol,NearSymbol,"
                u"Spell,Underlying,Instrument,ExpDate,LongMargin,ShortMargin,BULimit,SULimit,BUnit,SUnit,Status,"
                u"TimeStamp");
    CreateTable(VERSION_TABLE, VERSION_FIELDS);
    CreateTable(u"ContractList", u"Name,Symbol,Path,Lang,Status,TimeStamp");
}

void CSearchDatabase::CreateTable(TextView strTable, TextView strFields) {
    if (m_pDatabase) m_pDatabase->CreateTable(m_strName, strTable, strFields);
}

std::int32_t CSearchDatabase::InsertRecord(TextView strTable, TextView strFields, TextView strValues) {
    return m_pDatabase ? m_pDatabase->InsertRecord(strTable, strFields, strValues) : 0;
}

std::int32_t CSearchDatabase::DeleteRecords(TextView strTable) {
    return m_pDatabase ? m_pDatabase->DeleteRecord(strTable) : 0;
}

}  // namespace qvant

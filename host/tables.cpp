#include "tables.h"

#include <iostream>

#include "failure.h"

namespace qvant::host {

namespace {

constexpr TextView STORAGE_TABLE = u"STORAGE";

constexpr TextView START_TABLES[] = {u"QvantSystemTime", u"GeneralService", u"CQYZ", u"LUMIVALE.REQUEST",
                                     STORAGE_TABLE};

CStoreTable MakeBelow(const CStoreTable& parent, TextView strName) {
    if (auto child = parent.GetTable(strName)) return *child;
    CTransaction transaction(parent);
    transaction.SetTable(strName, CStoreTable::Create());
    transaction.Commit();
    auto child = parent.GetTable(strName);
    if (!child) throw CFailure("the store lost the sub-table " + Quote(strName));
    return *child;
}

}  // namespace

CTables::~CTables() {
    for (const auto& [strName, entry] : m_mapTables) CStoreTable::Revoke(entry.dwCookie);
}

void CTables::MakeStartTables() {
    for (const TextView strName : START_TABLES) Make(strName);
}

CStoreTable CTables::Make(TextView strName) {
    const CLock lock(m_mutex);
    if (const auto it = m_mapTables.find(strName); it != m_mapTables.end()) return it->second.table;
    CStoreTable table = CStoreTable::Create();
    if (strName == STORAGE_TABLE) Persist(table);
    m_mapTables.emplace(strName, Entry{table, table.Register()});
    return table;
}

DWORD CTables::GetCookie(TextView strName) const {
    const CLock lock(m_mutex);
    const auto it = m_mapTables.find(strName);
    return it == m_mapTables.end() ? 0 : it->second.dwCookie;
}

bool CTables::Drop(TextView strName) {
    const CLock lock(m_mutex);
    const auto it = m_mapTables.find(strName);
    if (it == m_mapTables.end()) return false;
    CStoreTable::Revoke(it->second.dwCookie);
    m_mapTables.erase(it);
    return true;
}

std::vector<Text> CTables::GetNames() const {
    const CLock lock(m_mutex);
    std::vector<Text> arNames;
    arNames.reserve(m_mapTables.size());
    for (const auto& [strName, entry] : m_mapTables) arNames.push_back(strName);
    return arNames;
}

std::optional<CStoreTable> CTables::Find(TextView strName) const {
    const CLock lock(m_mutex);
    const auto it = m_mapTables.find(strName);
    return it == m_mapTables.end() ? std::nullopt : std::optional(it->second.table);
}

CStoreTable CTables::Open(const TablePath& path) const {
    auto table = Find(path.strTable);
    if (!table) throw CFailure("unknown table " + Quote(path.strTable));
    for (const Text& strName : path.arPath) {
        table = table->GetTable(strName);
        if (!table) throw CFailure("unknown sub-table " + Quote(strName) + " of " + Quote(path.strTable));
    }
    return *table;
}

CStoreTable CTables::OpenOrMake(const TablePath& path) {
    CStoreTable table = Make(path.strTable);
    for (const Text& strName : path.arPath) table = MakeBelow(table, strName);
    return table;
}

void CTables::Persist(const CStoreTable& table) const {
    // The store makes the folder, for the user alone. It falls back on memory: a session without its past is worth more
    // than none.
    if (FAILED(table.Owner()->Persist(m_pathStorage.u16string().c_str())))
        std::cerr << "lumivale-host: can't use " << m_pathStorage.string() << "; STORAGE lives in memory only\n";
}

}  // namespace qvant::host

#include "stored_tree.h"

#include "table.h"

namespace qvant::store {
namespace {

using Counts = std::map<std::int64_t, std::size_t>;

/// How many links lead to each table that can be reached from the root.
Counts CountLinks(const StoredTables& tables) {
    Counts counts{{CDatabase::ROOT_ID, 0}};
    std::vector<std::int64_t> arPending{CDatabase::ROOT_ID};
    while (!arPending.empty()) {
        const std::int64_t nId = arPending.back();
        arPending.pop_back();
        for (const SStoredTable::SLink& link : tables.at(nId).arLinks) {
            if (++counts[link.nChild] == 1 && link.nChild != CDatabase::ROOT_ID) arPending.push_back(link.nChild);
        }
    }
    return counts;
}

/// Whether no table is below itself: taking away those without a link, one after another, leaves nothing.
bool IsTree(const StoredTables& tables, Counts counts) {
    if (counts.at(CDatabase::ROOT_ID) != 0) return false;
    std::vector<std::int64_t> arPending{CDatabase::ROOT_ID};
    std::size_t nTaken = 0;
    while (!arPending.empty()) {
        const std::int64_t nId = arPending.back();
        arPending.pop_back();
        ++nTaken;
        for (const SStoredTable::SLink& link : tables.at(nId).arLinks) {
            if (--counts.at(link.nChild) == 0) arPending.push_back(link.nChild);
        }
    }
    return nTaken == counts.size();
}

void AppendLinks(SStoredTable& stored, const std::map<std::int64_t, CRef<CTable>>& mapTables) {
    for (const SStoredTable::SLink& link : stored.arLinks) {
        SOperation operation;
        operation.kind = SOperation::Kind::Table;
        operation.entry = CEntryRef(CEntry::MakeTable(HashKey(link.strName), link.strName, *mapTables.at(link.nChild)));
        stored.log.Append(std::move(operation));
    }
}

}  // namespace

bool BuildStoredTree(StoredTables& tables, const std::shared_ptr<CDatabase>& pDatabase, CTransactionLog& root) {
    const Counts counts = CountLinks(tables);
    if (!IsTree(tables, counts)) return false;
    std::map<std::int64_t, CRef<CTable>> mapTables;
    for (auto& [nId, stored] : tables) {
        if (counts.contains(nId)) {
            if (nId != CDatabase::ROOT_ID) mapTables.emplace(nId, CRef<CTable>(new CTable));
        } else {
            const CLock file(pDatabase->GetMutex());
            pDatabase->MarkBehind(nId);
        }
    }
    for (const auto& [nId, nLinks] : counts) AppendLinks(tables.at(nId), mapTables);
    for (const auto& [nId, table] : mapTables) {
        std::size_t nLinks = counts.at(nId);
        // The root's own links are counted when its version is made.
        for (const auto& link : tables.at(CDatabase::ROOT_ID).arLinks) nLinks -= link.nChild == nId ? 1 : 0;
        table->Adopt({pDatabase, nId, nLinks}, tables.at(nId).log);
    }
    root = std::move(tables.at(CDatabase::ROOT_ID).log);
    return true;
}

}  // namespace qvant::store

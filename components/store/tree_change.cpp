#include "tree_change.h"

#include <set>

#include "table.h"

namespace qvant::store {

HRESULT CTreeChange::Plan(const CTrie& old, const CTrie& next) {
    old.ForEach([this](const CEntry& entry) { --m_mapLinks[entry.GetTable()]; });
    next.ForEach([this](const CEntry& entry) { ++m_mapLinks[entry.GetTable()]; });
    const HRESULT hr = PlanJoining();
    if (SUCCEEDED(hr)) PlanLeaving();
    return hr;
}

void CTreeChange::LockWriter(CTable& table) { m_arLocks.emplace_back(table.m_writer); }

HRESULT CTreeChange::PlanJoining() {
    std::vector<CTable*> arPending;
    for (const auto& [pTable, nChange] : m_mapLinks) {
        if (nChange > 0) arPending.push_back(pTable);
    }
    std::set<CTable*> seen;
    while (!arPending.empty()) {
        CTable& table = *arPending.back();
        arPending.pop_back();
        if (table.m_binding.pDatabase == m_pDatabase || !seen.insert(&table).second) continue;
        if (table.m_binding.pDatabase) return E_INVALIDARG;
        LockWriter(table);
        m_arJoining.push_back(&table);
        table.PeekVersion().tables.ForEach([&](const CEntry& entry) {
            ++m_mapLinks[entry.GetTable()];
            arPending.push_back(entry.GetTable());
        });
    }
    return S_OK;
}

bool CTreeChange::IsLeaving(CTable& table, std::int64_t nChange) const {
    const CTable::SBinding& binding = table.m_binding;
    return nChange < 0 && binding.pDatabase == m_pDatabase && static_cast<std::int64_t>(binding.nLinks) + nChange == 0;
}

void CTreeChange::PlanLeaving() {
    std::vector<CTable*> arPending;
    for (const auto& [pTable, nChange] : m_mapLinks) {
        if (IsLeaving(*pTable, nChange)) arPending.push_back(pTable);
    }
    while (!arPending.empty()) {
        CTable& table = *arPending.back();
        arPending.pop_back();
        LockWriter(table);
        m_arLeaving.push_back(&table);
        table.PeekVersion().tables.ForEach([&](const CEntry& entry) {
            if (IsLeaving(*entry.GetTable(), --m_mapLinks[entry.GetTable()])) arPending.push_back(entry.GetTable());
        });
    }
}

void CTreeChange::CarryOut(CDatabase& database) {
    for (CTable* const pTable : m_arJoining) {
        const std::int64_t nId = database.NewId();
        database.Add(nId, *pTable);
        database.MarkBehind(nId);
        pTable->m_binding = {m_pDatabase, nId, 0};
    }
    for (const auto& [pTable, nChange] : m_mapLinks) {
        CTable::SBinding& binding = pTable->m_binding;
        if (binding.pDatabase == m_pDatabase) binding.nLinks += static_cast<std::size_t>(nChange);
    }
    for (CTable* const pTable : m_arLeaving) {
        database.Remove(pTable->m_binding.nId);
        pTable->m_binding = {};
    }
}

}  // namespace qvant::store

/// Who joins a file and who leaves it when the sub-tables of one of its tables change.
#pragma once

#include <map>
#include <memory>
#include <vector>

#include "base/mutex.h"
#include "database.h"

namespace qvant::store {

class CTable;

/// Made and carried out under the lock of the tree. From the plan to its own end it holds the writer's locks of the
/// tables concerned, so that none of their commits falls between what the file gets of them now and what they write
/// themselves later.
class CTreeChange {
public:
    explicit CTreeChange(std::shared_ptr<CDatabase> pDatabase) : m_pDatabase(std::move(pDatabase)) {}

    /// @param old   the sub-tables before
    /// @param next  the sub-tables afterwards
    /// @return E_INVALIDARG when one of them is kept in another file
    HRESULT Plan(const CTrie& old, const CTrie& next);

    /// Binds those who join and lets go of those who leave; before the write.
    /// @param database  the one that the change was made for
    void CarryOut(CDatabase& database) QV_REQUIRES(database.GetMutex());

private:
    HRESULT PlanJoining();
    void PlanLeaving();
    void LockWriter(CTable& table);
    bool IsLeaving(CTable& table, std::int64_t nChange) const;

    std::shared_ptr<CDatabase> m_pDatabase;
    std::map<CTable*, std::int64_t> m_mapLinks;  ///< by how much the number of a table's links changes
    std::vector<CTable*> m_arJoining;
    std::vector<CTable*> m_arLeaving;
    /// Not checked, as their number isn't known before.
    std::vector<std::unique_lock<CMutex>> m_arLocks;
};

}  // namespace qvant::store

#include <utility>

#include "base/failure.h"
#include "store/base_data.h"

namespace qvant {

CTransaction::~CTransaction() {
    if (!m_pTable) return;
    try {
        m_pTable->Cancel(m_nTransaction);
    } catch (const CFailure&) {
        // What isn't there any more is cancelled as well.
    }
}

CTransaction::CTransaction(CTransaction&& other) noexcept
    : m_pTable(std::exchange(other.m_pTable, nullptr)), m_nTransaction(other.m_nTransaction) {}

/// The store ends a transaction whose commit fails, so there is nothing left to cancel.
void CTransaction::Commit() { std::exchange(m_pTable, nullptr)->Commit(m_nTransaction); }

void CopyValues(const CBaseData& source, CBaseData& target) {
    const CVariant blob = source.GetBlob();
    CTransaction transaction(target);
    transaction.Clear(store::MASK_VALUES);
    transaction.LoadBlob(blob);
    transaction.Commit();
}

std::unique_ptr<CBaseData> OpenChild(CBaseData& parent, TextView strName, bool* bExisted) {
    auto pChild = parent.GetSubTable(strName, nullptr);
    if (bExisted) *bExisted = pChild != nullptr;
    if (pChild) return pChild;
    pChild = CBaseData::CreateNew();
    if (!pChild) return nullptr;
    CTransaction transaction(parent);
    transaction.SetTable(strName, *pChild);
    transaction.Commit();
    return pChild;
}

}  // namespace qvant

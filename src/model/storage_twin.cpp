#include "model/storage_twin.h"

#include <utility>

namespace qvant {

bool CStorageTwin::Bind(std::unique_ptr<CBaseData> pChild) {
    const CLock lock(m_mutex);
    m_pChild = std::move(pChild);
    return m_bUnsaved;
}

void CStorageTwin::Level(CBaseData& working, bool bTakeKept) {
    const CLock lock(m_mutex);
    if (!m_pChild) return;
    if (m_bUnsaved) {
        CopyValues(working, *m_pChild);
        m_bUnsaved = false;
    } else if (bTakeKept) {
        CopyValues(*m_pChild, working);
    }
}

void CStorageTwin::Publish(const CBaseData& working, CTransaction& transaction) {
    const CLock lock(m_mutex);
    transaction.Commit();
    m_bUnsaved = true;
    if (!m_pChild) return;
    CopyValues(working, *m_pChild);
    m_bUnsaved = false;
}

void CStorageTwin::Release() {
    const CLock lock(m_mutex);
    m_pChild.reset();
}

}  // namespace qvant

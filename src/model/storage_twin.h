/// A child of "STORAGE" that outlives the session, and the table that other modules read.
#pragma once

#include <memory>

#include "base/mutex.h"
#include "store/base_data.h"

namespace qvant {

/// Copies are always whole, in one direction or the other. Newer values may come on a thread of their own, at any time,
/// also while sign-in binds the child; whichever way the copy goes, none of them is lost. Any thread.
class CStorageTwin {
public:
    /// Keeps the child of this sign-in; null when there is none.
    /// @return whether the working table is newer than any child
    bool Bind(std::unique_ptr<CBaseData> pChild);

    /// Makes the child and the working table the same: by the table's values if they are newer, else by the child's.
    /// @param bTakeKept  false: the child's values aren't taken
    void Level(CBaseData& working, bool bTakeKept);

    /// Commits newer values to the working table and copies the whole of it to the child; without a child yet, when it
    /// is bound.
    /// @param transaction  on the working table
    void Publish(const CBaseData& working, CTransaction& transaction);

    void Release();

private:
    CMutex m_mutex;  ///< keeps the two ways of copying apart as well
    std::unique_ptr<CBaseData> m_pChild QV_GUARDED_BY(m_mutex);
    bool m_bUnsaved QV_GUARDED_BY(m_mutex) = false;  ///< the working table is newer than the child
};

}  // namespace qvant

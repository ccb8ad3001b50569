/// The events of one commit.
#pragma once

#include <memory>
#include <vector>

#include "operations.h"

namespace qvant::store {

/// Shared by the sinks that it goes to.
struct SEventBatch {
    struct SItem {
        CEntryRef entry;
        bool bRow;
    };

    std::int32_t nTransaction = 0;
    bool bReplace = false;       ///< `OnReplace` comes before the updates
    std::vector<SItem> arItems;  ///< what was written, each item once, in the order of first writing
};

/// Collects what a transaction wrote. The log must still hold its entries.
std::shared_ptr<const SEventBatch> MakeEventBatch(std::int32_t nTransaction, const CTransactionLog& log, bool bReplace);

/// The key of an update, owned by the caller: a row's is its index. Null when memory is out.
BSTR MakeEventKey(const SEventBatch::SItem& item);

}  // namespace qvant::store

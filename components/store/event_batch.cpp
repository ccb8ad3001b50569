#include "event_batch.h"

#include <string>
#include <unordered_set>

namespace qvant::store {
namespace {

struct ItemHash {
    std::size_t operator()(const CEntry* pEntry) const noexcept { return pEntry->GetHash(); }
};
struct ItemEqual {
    bool operator()(const CEntry* pA, const CEntry* pB) const noexcept {
        return pA->IsFor(pB->GetHash(), pB->GetKey());
    }
};

/// Keeps the first of the items with the same key; each section counts for itself.
class CCollector {
public:
    explicit CCollector(std::vector<SEventBatch::SItem>& arItems) : m_arItems(arItems) {}

    void Add(SOperation::Kind kind, const CEntryRef& entry) {
        const bool bRow = kind == SOperation::Kind::Row;
        auto& seen = bRow ? m_rows : kind == SOperation::Kind::Table ? m_tables : m_values;
        if (seen.insert(entry.Get()).second) m_arItems.push_back({entry, bRow});
    }

    void AddAll(const CTrie& values) {
        values.ForEach([this](CEntry& entry) { Add(SOperation::Kind::Value, CEntryRef::Share(&entry)); });
    }

private:
    using Seen = std::unordered_set<const CEntry*, ItemHash, ItemEqual>;

    std::vector<SEventBatch::SItem>& m_arItems;
    Seen m_rows;
    Seen m_values;
    Seen m_tables;
};

}  // namespace

std::shared_ptr<const SEventBatch> MakeEventBatch(std::int32_t nTransaction, const CTransactionLog& log,
                                                  bool bReplace) {
    auto pBatch = std::make_shared<SEventBatch>();
    pBatch->nTransaction = nTransaction;
    pBatch->bReplace = bReplace;
    CCollector collector(pBatch->arItems);
    for (const SOperation& operation : log.GetOperations()) {
        if (operation.entry) collector.Add(operation.kind, operation.entry);
        if (operation.blob) collector.AddAll(operation.blob->GetValues());
    }
    return pBatch;
}

BSTR MakeEventKey(const SEventBatch::SItem& item) {
    if (!item.bRow) {
        const TextView strKey = item.entry->GetKey();
        return SysAllocStringLen(strKey.data(), static_cast<UINT>(strKey.size()));
    }
    const std::string strIndex = std::to_string(item.entry->GetHash());
    return SysAllocString(Text(strIndex.begin(), strIndex.end()).c_str());
}

}  // namespace qvant::store

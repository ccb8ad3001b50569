/// The record set and the record item: where queries of the record database put their results.
#pragma once

#include <cstdint>
#include <memory>

#include "base/mutex.h"
#include "base/text.h"
#include "qvant/component.h"

namespace qvant {

class DbAPIObj;

/// Takes one row of a record set. One thread at a time.
class CRecordItem {
public:
    /// @return null when the component can't make one
    static std::unique_ptr<CRecordItem> Create();
    ~CRecordItem();
    CRecordItem(const CRecordItem&) = delete;
    CRecordItem& operator=(const CRecordItem&) = delete;

    /// The text of a field of the row fetched last; empty when there is no such field or no row.
    Text GetField(TextView strField) const;
    IDispatch& GetObject() const { return *m_pItem; }

private:
    explicit CRecordItem(IDispatch* pItem) : m_pItem(pItem) {}
    IDispatch* const m_pItem;
};

/// Takes the result of one query after another. One thread at a time.
class CRecordSet {
public:
    /// @return null when the component can't make one
    static std::unique_ptr<CRecordSet> Create();
    ~CRecordSet();
    CRecordSet(const CRecordSet&) = delete;
    CRecordSet& operator=(const CRecordSet&) = delete;

    std::int32_t GetCount() const;
    /// Puts a row into the item. @return false when it can't be had; the item is left as it was
    bool Fetch(std::int32_t nIndex, CRecordItem& item) const;
    IDispatch& GetObject() const { return *m_pSet; }

private:
    explicit CRecordSet(IDispatch* pSet) : m_pSet(pSet) {}
    IDispatch* const m_pSet;
};

/// The record set and the record item that all queries of the service share. They hold the last result only.
class CRecordResults {
public:
    /// Makes the set, then the item. @return false when either can't be made
    bool Create();
    bool IsCreated() const;
    void Release();

private:
    bool HasBoth() const QV_REQUIRES(m_mutex) { return m_pSet && m_pItem; }

    friend class CRecordQuery;
    mutable CMutex m_mutex;  ///< held from a query until its rows have been read
    std::unique_ptr<CRecordSet> m_pSet QV_GUARDED_BY(m_mutex);
    std::unique_ptr<CRecordItem> m_pItem QV_GUARDED_BY(m_mutex);
};

/// One query and the reading of its rows. Queries of other threads wait until it ends; not to be nested.
class CRecordQuery {
public:
    /// With the result objects missing the query fails.
    CRecordQuery(DbAPIObj& database, CRecordResults& results, TextView strTable, TextView strField = {},
                 TextView strValue = {});

    /// False: the query failed, and there is nothing to read.
    bool Succeeded() const { return m_bSucceeded; }
    std::int32_t GetCount() const { return m_bSucceeded ? m_pSet->GetCount() : 0; }
    /// Takes a row. @return false when it can't be had
    bool Fetch(std::int32_t nIndex) { return m_bSucceeded && m_pSet->Fetch(nIndex, *m_pItem); }
    /// A field of the row taken last.
    Text GetField(TextView strField) const { return m_bSucceeded ? m_pItem->GetField(strField) : Text(); }

private:
    const CLock<CMutex> m_lock;  ///< of the results, so that these two are the query's own
    CRecordSet* const m_pSet;
    CRecordItem* const m_pItem;
    const bool m_bSucceeded;
};

}  // namespace qvant

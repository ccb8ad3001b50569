/// Client wrapper of one store table.
///
/// Any thread may read. A transaction runs on one wrapper and one thread at a time: `Begin`, any number of `Operate`,
/// `Commit`; `CTransaction` gives that shape and cancels what isn't committed. Operations do nothing, and reads are
/// empty, on a wrapper without a store object. A failed call of the store is raised as `CFailure` with its code.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "base/mutex.h"
#include "base/text.h"
#include "qvant/store.h"
#include "store/variant.h"

namespace qvant {

class CBaseData;
class CBaseDataSink;

/// Receives the events of one wrapper, on the store's delivery thread.
class CBaseDataEventReceiver {
public:
    virtual ~CBaseDataEventReceiver() = default;
    virtual void OnUpdate(CBaseData* pTable, std::int32_t nTransaction, const Text& strKey);
    virtual void OnReplace(CBaseData* pTable, std::int32_t nTransaction);
};

class CBaseData {
public:
    static constexpr std::int32_t NO_TRANSACTION = -1;  ///< `Begin` without a store object: all ones

    CBaseData();
    virtual ~CBaseData();
    CBaseData(const CBaseData&) = delete;
    CBaseData& operator=(const CBaseData&) = delete;

    /// Takes a store object, or makes a new one, and connects the sink to its events. A sink that can't be connected
    /// leaves a working, silent wrapper after ten tries.
    /// @param pSink      receiver of the events, which outlives the wrapper; null for none
    /// @param pDispatch  an existing table, to which a reference is added; null makes a new one
    /// @return false when no store object could be made
    bool Create(CBaseDataEventReceiver* pSink, IDispatch* pDispatch);

    /// Opens a wrapper on the table behind a global cookie. @return null when the cookie is unknown
    static std::unique_ptr<CBaseData> WrapCookie(std::uint32_t nCookie, CBaseDataEventReceiver* pSink);

    /// A new table of its own, with no sink; null when the store can't make one.
    static std::unique_ptr<CBaseData> CreateNew();

    std::int32_t Begin();
    void Cancel(std::int32_t nTransaction);
    void Commit(std::int32_t nTransaction);
    void Operate(std::int32_t nTransaction, std::int32_t nOperation, const VARIANT& a, const VARIANT& b);
    CVariant Get(std::int32_t nOperation, const VARIANT& a) const;

    /// The writes of `Operate`, by name.
    void SetRow(std::int32_t nTransaction, std::int32_t nIndex, TextView strValue);
    void SetValue(std::int32_t nTransaction, TextView strKey, TextView strValue);
    void SetNumber(std::int32_t nTransaction, TextView strKey, std::int32_t nValue);
    void SetTable(std::int32_t nTransaction, TextView strName, CBaseData& child);
    void LoadBlob(std::int32_t nTransaction, const VARIANT& blob);
    void Clear(std::int32_t nTransaction, std::int32_t nMask);

    /// Number of rows; 0 if the store gives no number.
    std::int32_t GetCount() const;
    /// The row at an index; empty unless it is a string.
    Text GetKeyAt(std::int32_t nIndex) const;
    CVariant GetVariant(TextView strKey) const;
    /// A keyed value as text; a number in decimal; empty when there is none.
    Text GetString(TextView strKey) const;
    /// A keyed value as a number. A text goes through decimal conversion, so that "abc" is 0 and not the default.
    std::int32_t GetNumber(TextView strKey, std::int32_t nDefault) const;
    /// @return null when there is no such sub-table
    std::unique_ptr<CBaseData> GetSubTable(TextView strKey, CBaseDataEventReceiver* pSink) const;
    /// A string member of a keyed value that is a JSON object; empty when there is none.
    Text GetJsonField(TextView strKey, TextView strField) const;
    /// Several members at once, in the order of the names; the value is read and parsed only once.
    std::vector<Text> GetJsonFields(TextView strKey, std::span<const TextView> arFields) const;
    /// The same, into texts whose memory is used again.
    void GetJsonFields(TextView strKey, std::span<const TextView> arFields, std::vector<Text>& arTexts) const;
    /// The same from a keyed value that was read before; its text is gone afterwards.
    static void PickJsonFields(CVariant& value, std::span<const TextView> arFields, std::vector<Text>& arTexts);
    /// The keys of the keyed values as the store lists them: "T:key", joined by ";". Nothing when it gives no string.
    std::optional<Text> GetKeys() const;
    /// The keyed section as an opaque blob, for `LoadBlob` of another table.
    CVariant GetBlob() const;

    /// Cookie of this table in the process's interface table, made on the first call; 0 when there is none. Any thread.
    std::uint32_t GlobalCookie();

private:
    friend class CBaseDataSink;

    bool LoadComponent();
    bool CreateFromProgId();
    void Connect();
    bool TryConnect();
    void Disconnect();
    void Invoke(DISPID nMethod, VARIANT* pArguments, UINT nCount, VARIANT* pResult) const;
    void Write(std::int32_t nTransaction, std::int32_t nOperation, const VARIANT& a, const VARIANT& b);
    void Read(TextView strKey, VARIANT& result) const;

    std::atomic<CBaseDataEventReceiver*> m_pSink{nullptr};
    IDispatch* m_pTable = nullptr;
    CBaseDataSink* m_pConnection = nullptr;  ///< what the table's events reach; holds the event lock
    std::atomic<std::uint32_t> m_nAdviseCookie{0};
    CMutex m_cookieMutex;
    std::uint32_t m_nGlobalCookie QV_GUARDED_BY(m_cookieMutex) = 0;
    IGlobalInterfaceTable* m_pInterfaceTable QV_GUARDED_BY(m_cookieMutex) = nullptr;
    const bool m_bReportOwnChanges = false;  ///< nothing sets it: a wrapper doesn't hear its own last transaction
    /// On a cache line of its own: readers on other threads use the rest of the wrapper all the time.
    alignas(64) std::atomic<std::int32_t> m_nLastTransaction{-999};
};

/// One transaction on a wrapper; cancelled at the end of its scope unless it was committed.
class CTransaction {
public:
    explicit CTransaction(CBaseData& table) : m_pTable(&table), m_nTransaction(table.Begin()) {}
    ~CTransaction();
    CTransaction(CTransaction&& other) noexcept;
    CTransaction& operator=(CTransaction&&) = delete;

    void SetRow(std::int32_t nIndex, TextView strValue) { m_pTable->SetRow(m_nTransaction, nIndex, strValue); }
    void SetValue(TextView strKey, TextView strValue) { m_pTable->SetValue(m_nTransaction, strKey, strValue); }
    void SetNumber(TextView strKey, std::int32_t nValue) { m_pTable->SetNumber(m_nTransaction, strKey, nValue); }
    void SetTable(TextView strName, CBaseData& child) { m_pTable->SetTable(m_nTransaction, strName, child); }
    void LoadBlob(const VARIANT& blob) { m_pTable->LoadBlob(m_nTransaction, blob); }
    void Clear(std::int32_t nMask) { m_pTable->Clear(m_nTransaction, nMask); }
    void Commit();

private:
    CBaseData* m_pTable;
    std::int32_t m_nTransaction;
};

/// Copies the keyed section of `source` onto `target`, in one transaction.
void CopyValues(const CBaseData& source, CBaseData& target);

/// A child of a table: the one that is there, or a new one, attached in a transaction of its own.
/// @param bExisted  out: whether it was there before; may be null
/// @return null when it can't be created
std::unique_ptr<CBaseData> OpenChild(CBaseData& parent, TextView strName, bool* bExisted = nullptr);

}  // namespace qvant

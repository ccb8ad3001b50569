/// One item of a section of a table: a key with its value, a row or a sub-table.
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

#include "base/text.h"
#include "qvant/component.h"

namespace qvant::store {

class CTable;

/// Immutable and counted; key and text lie behind the record, in one piece of memory with it. A row has no key, its
/// hash is its index.
class CEntry {
public:
    enum class Kind : std::uint32_t { Empty, Number, String, Table };

    /// @return a new entry, with one reference; throws std::bad_alloc
    static CEntry* MakeEmpty(std::uint64_t nHash, TextView strKey);
    static CEntry* MakeNumber(std::uint64_t nHash, TextView strKey, std::int32_t nValue);
    static CEntry* MakeString(std::uint64_t nHash, TextView strKey, TextView strValue);
    /// Adds a reference to the table.
    static CEntry* MakeTable(std::uint64_t nHash, TextView strKey, CTable& table);

    /// The same value in memory that it shares with no other entry.
    /// @return a new entry, with one reference; throws std::bad_alloc
    CEntry* CopySingle() const;

    void AddRef() { m_nReferences.fetch_add(1, std::memory_order_relaxed); }
    void Release() {
        if (m_nReferences.fetch_sub(1, std::memory_order_acq_rel) == 1) Destroy();
    }

    Kind GetKind() const { return m_kind; }
    std::uint64_t GetHash() const { return m_nHash; }
    TextView GetKey() const { return {GetUnits(), m_nKeyUnits}; }
    TextView GetText() const { return {GetUnits() + m_nKeyUnits, m_nTextUnits}; }
    std::int32_t GetNumber() const { return m_content.nNumber; }
    CTable* GetTable() const { return m_kind == Kind::Table ? m_content.pTable : nullptr; }

    bool IsFor(std::uint64_t nHash, TextView strKey) const { return m_nHash == nHash && GetKey() == strKey; }

    /// Whether a reader would take the one for the other. Never so for tables.
    bool IsSameValue(const CEntry& other) const;

    /// The value as the caller's own; the target holds nothing before. A table gives nothing.
    HRESULT CopyValue(VARIANT& target) const;

private:
    CEntry(Kind kind, std::uint64_t nHash, TextView strKey, TextView strText);
    static CEntry* Make(Kind kind, std::uint64_t nHash, TextView strKey, TextView strText);
    void Destroy();

    char16_t* GetUnits() { return reinterpret_cast<char16_t*>(this + 1); }
    const char16_t* GetUnits() const { return reinterpret_cast<const char16_t*>(this + 1); }

    union Content {
        std::int32_t nNumber;
        CTable* pTable;
    };

    std::uint64_t m_nHash;
    std::atomic<std::uint32_t> m_nReferences{1};
    Kind m_kind;
    std::uint32_t m_nKeyUnits;
    std::uint32_t m_nTextUnits;
    Content m_content{};
};

/// Owns one reference to a counted object.
template <class T>
class CRef {
public:
    CRef() = default;
    /// Takes over the caller's reference.
    explicit CRef(T* p) : m_p(p) {}
    CRef(const CRef& other) : m_p(other.m_p) {
        if (m_p) m_p->AddRef();
    }
    CRef(CRef&& other) noexcept : m_p(std::exchange(other.m_p, nullptr)) {}
    CRef& operator=(CRef other) noexcept {
        std::swap(m_p, other.m_p);
        return *this;
    }
    ~CRef() {
        if (m_p) m_p->Release();
    }

    /// Adds a reference of its own.
    static CRef Share(T* p) {
        if (p) p->AddRef();
        return CRef(p);
    }

    T* Get() const { return m_p; }
    T* operator->() const { return m_p; }
    T& operator*() const { return *m_p; }
    explicit operator bool() const { return m_p != nullptr; }
    /// Gives the reference away.
    T* Detach() { return std::exchange(m_p, nullptr); }

private:
    T* m_p = nullptr;
};

using CEntryRef = CRef<CEntry>;

}  // namespace qvant::store

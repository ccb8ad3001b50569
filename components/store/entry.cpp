#include "entry.h"

#include <cstring>
#include <new>

#include "bulk_memory.h"
#include "table.h"

namespace qvant::store {

CEntry::CEntry(Kind kind, std::uint64_t nHash, TextView strKey, TextView strText)
    : m_nHash(nHash),
      m_kind(kind),
      m_nKeyUnits(static_cast<std::uint32_t>(strKey.size())),
      m_nTextUnits(static_cast<std::uint32_t>(strText.size())) {
    strKey.copy(GetUnits(), strKey.size());
    strText.copy(GetUnits() + strKey.size(), strText.size());
}

CEntry* CEntry::Make(Kind kind, std::uint64_t nHash, TextView strKey, TextView strText) {
    void* const pMemory = AllocateEntry(sizeof(CEntry) + (strKey.size() + strText.size()) * sizeof(char16_t));
    if (!pMemory) throw std::bad_alloc();
    return new (pMemory) CEntry(kind, nHash, strKey, strText);
}

CEntry* CEntry::MakeEmpty(std::uint64_t nHash, TextView strKey) { return Make(Kind::Empty, nHash, strKey, {}); }

CEntry* CEntry::MakeNumber(std::uint64_t nHash, TextView strKey, std::int32_t nValue) {
    CEntry* const pEntry = Make(Kind::Number, nHash, strKey, {});
    pEntry->m_content.nNumber = nValue;
    return pEntry;
}

CEntry* CEntry::MakeString(std::uint64_t nHash, TextView strKey, TextView strValue) {
    return Make(Kind::String, nHash, strKey, strValue);
}

CEntry* CEntry::MakeTable(std::uint64_t nHash, TextView strKey, CTable& table) {
    CEntry* const pEntry = Make(Kind::Table, nHash, strKey, {});
    pEntry->m_content.pTable = &table;
    table.AddRef();
    return pEntry;
}

void CEntry::Destroy() {
    if (m_kind == Kind::Table) m_content.pTable->Release();
    this->~CEntry();
    FreeEntry(this);
}

CEntry* CEntry::CopySingle() const {
    void* const pMemory = AllocateSingleEntry(sizeof(CEntry) + (m_nKeyUnits + m_nTextUnits) * sizeof(char16_t));
    if (!pMemory) throw std::bad_alloc();
    auto* const pEntry = new (pMemory) CEntry(m_kind, m_nHash, GetKey(), GetText());
    pEntry->m_content = m_content;
    if (m_kind == Kind::Table) m_content.pTable->AddRef();
    return pEntry;
}

bool CEntry::IsSameValue(const CEntry& other) const {
    if (m_kind != other.m_kind || m_nHash != other.m_nHash || m_nKeyUnits != other.m_nKeyUnits) return false;
    if (m_kind == Kind::Table || m_nTextUnits != other.m_nTextUnits) return false;
    // Key and text lie side by side.
    const std::size_t nUnits = std::size_t{m_nKeyUnits} + m_nTextUnits;
    return (m_kind != Kind::Number || GetNumber() == other.GetNumber()) &&
           std::memcmp(GetUnits(), other.GetUnits(), nUnits * sizeof(char16_t)) == 0;
}

HRESULT CEntry::CopyValue(VARIANT& target) const {
    if (m_kind == Kind::Number) {
        target.vt = VT_I4;
        target.lVal = m_content.nNumber;
    } else if (m_kind == Kind::String) {
        const TextView strText = GetText();
        target.bstrVal = SysAllocStringLen(strText.data(), static_cast<UINT>(strText.size()));
        if (!target.bstrVal) return E_OUTOFMEMORY;
        target.vt = VT_BSTR;
    }
    return S_OK;
}

}  // namespace qvant::store

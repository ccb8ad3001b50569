/// Reading a table: each read takes one version and lets it go.
#include "table.h"

namespace qvant::store {
namespace {

TextView ToView(BSTR bstr) { return bstr ? TextView(bstr, SysStringLen(bstr)) : TextView(); }

void SetNumber(VARIANT& result, std::int32_t nValue) {
    result.vt = VT_I4;
    result.lVal = nValue;
}

const CEntry* FindByKey(const CTrie& section, BSTR bstrKey) {
    const TextView strKey = ToView(bstrKey);
    return section.Find(HashKey(strKey), strKey);
}

}  // namespace

HRESULT CTable::Get(std::int32_t nOperation, const VARIANT& a, VARIANT& result) {
    switch (nOperation) {
        case OPERATION_VALUE:
            return GetValue(a, result);
        case OPERATION_ROW:
            return GetRow(a, result);
        case OPERATION_TABLE:
            return GetTable(a, result);
        case OPERATION_KEYS:
            return GetKeys(result);
        case OPERATION_BLOB:
            return GetBlob(a, result);
        default:
            return E_INVALIDARG;
    }
}

HRESULT CTable::GetRow(const VARIANT& index, VARIANT& result) const {
    if (index.vt != VT_I4) return DISP_E_TYPEMISMATCH;
    const CSnapshot version(m_current);
    if (index.lVal == -1) {
        SetNumber(result, version->nRowCount);
        return S_OK;
    }
    if (index.lVal < 0) return S_OK;
    const CEntry* const pEntry = version->rows.Find(static_cast<std::uint64_t>(index.lVal), {});
    return pEntry ? pEntry->CopyValue(result) : S_OK;
}

HRESULT CTable::GetValue(const VARIANT& key, VARIANT& result) const {
    if (key.vt != VT_BSTR) return DISP_E_TYPEMISMATCH;
    const CSnapshot version(m_current);
    const CEntry* const pEntry = FindByKey(version->values, key.bstrVal);
    return pEntry ? pEntry->CopyValue(result) : S_OK;
}

HRESULT CTable::GetTable(const VARIANT& name, VARIANT& result) const {
    if (name.vt != VT_BSTR) return DISP_E_TYPEMISMATCH;
    const CSnapshot version(m_current);
    const CEntry* const pEntry = FindByKey(version->tables, name.bstrVal);
    const DWORD nCookie = pEntry ? pEntry->GetTable()->m_cookie.Get() : 0;
    if (nCookie != 0) SetNumber(result, static_cast<std::int32_t>(nCookie));
    return S_OK;
}

HRESULT CTable::GetKeys(VARIANT& result) const {
    constexpr TextView strMark = u"T:";
    const CSnapshot version(m_current);
    std::size_t nUnits = 0;
    version->values.ForEach([&](const CEntry& entry) { nUnits += strMark.size() + entry.GetKey().size() + 1; });
    Text strKeys;
    strKeys.reserve(nUnits);
    version->values.ForEach([&](const CEntry& entry) {
        if (!strKeys.empty()) strKeys += u';';
        strKeys.append(strMark).append(entry.GetKey());
    });
    result.bstrVal = SysAllocStringLen(strKeys.data(), static_cast<UINT>(strKeys.size()));
    if (!result.bstrVal) return E_OUTOFMEMORY;
    result.vt = VT_BSTR;
    return S_OK;
}

HRESULT CTable::GetBlob(const VARIANT& mask, VARIANT& result) const {
    if (mask.vt != VT_I4) return DISP_E_TYPEMISMATCH;
    if (mask.lVal != MASK_VALUES) return E_INVALIDARG;
    const CSnapshot version(m_current);
    result.punkVal = new CBlob(version->values);
    result.vt = VT_UNKNOWN;
    return S_OK;
}

HRESULT CTable::Visit(IQvantTableVisitor* pVisitor) {
    if (!pVisitor) return E_POINTER;
    try {
        const CSnapshot version(m_current);
        const auto show = [](const CEntry* pEntry, const auto& call) {
            VARIANT value{};
            if (pEntry && FAILED(pEntry->CopyValue(value))) throw std::bad_alloc();
            call(&value);
            VariantClear(&value);
        };
        for (std::int32_t i = 0; i < version->nRowCount; ++i) {
            show(version->rows.Find(static_cast<std::uint64_t>(i), {}),
                 [&](const VARIANT* pValue) { pVisitor->OnRow(i, pValue); });
        }
        version->values.ForEach([&](const CEntry& entry) {
            const Text strKey(entry.GetKey());
            show(&entry, [&](const VARIANT* pValue) {
                pVisitor->OnValue(strKey.c_str(), static_cast<UINT>(strKey.size()), pValue);
            });
        });
        version->tables.ForEach([&](const CEntry& entry) {
            const Text strName(entry.GetKey());
            pVisitor->OnTable(strName.c_str(), static_cast<UINT>(strName.size()), entry.GetTable());
        });
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

}  // namespace qvant::store

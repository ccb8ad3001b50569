#include "store_table.h"

#include <cstdio>

#include "failure.h"

namespace qvant::host {

namespace {

[[noreturn]] void Fail(const char* pszWhat, HRESULT hr) {
    char szText[96];
    std::snprintf(szText, sizeof szText, "%s, result 0x%08X", pszWhat, static_cast<unsigned>(hr));
    throw CFailure(szText);
}

ComPtr<IGlobalInterfaceTable> InterfaceTable() {
    void* p = nullptr;
    const HRESULT hr =
        CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_INPROC_SERVER, IID_IGlobalInterfaceTable, &p);
    if (FAILED(hr)) Fail("no global interface table", hr);
    return ComPtr<IGlobalInterfaceTable>::Attach(static_cast<IGlobalInterfaceTable*>(p));
}

VARIANT Integer(std::int32_t nValue) {
    VARIANT variant{};
    variant.vt = VT_I4;
    variant.lVal = nValue;
    return variant;
}

}  // namespace

CStoreTable CStoreTable::Create() {
    void* p = nullptr;
    const HRESULT hr = CoCreateInstance(CLSID_BaseData, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseData, &p);
    if (FAILED(hr)) Fail("the store can't make a table", hr);
    return CStoreTable(ComPtr<IDispatch>::Attach(static_cast<IDispatch*>(p)));
}

std::optional<CStoreTable> CStoreTable::FromCookie(DWORD dwCookie) {
    void* p = nullptr;
    if (FAILED(InterfaceTable()->GetInterfaceFromGlobal(dwCookie, IID_IBaseData, &p))) return std::nullopt;
    return CStoreTable(ComPtr<IDispatch>::Attach(static_cast<IDispatch*>(p)));
}

DWORD CStoreTable::Register() const {
    DWORD dwCookie = 0;
    const HRESULT hr = InterfaceTable()->RegisterInterfaceInGlobal(m_pTable.Get(), IID_IBaseData, &dwCookie);
    if (FAILED(hr)) Fail("the table gets no cookie", hr);
    return dwCookie;
}

void CStoreTable::Revoke(DWORD dwCookie) { InterfaceTable()->RevokeInterfaceFromGlobal(dwCookie); }

Value CStoreTable::GetValue(TextView strKey) const { return Read(store::OPERATION_VALUE, CVariant(strKey)); }

Value CStoreTable::GetKeys() const { return Read(store::OPERATION_KEYS, CVariant(std::int32_t{store::KEYS_ARGUMENT})); }

std::optional<CStoreTable> CStoreTable::GetTable(TextView strName) const {
    const Value cookie = Read(store::OPERATION_TABLE, CVariant(strName));
    const auto* pCookie = std::get_if<std::int64_t>(&cookie);
    return pCookie ? FromCookie(static_cast<DWORD>(*pCookie)) : std::nullopt;
}

ComPtr<IQvantTable> CStoreTable::Owner() const {
    auto pOwner = m_pTable.As<IQvantTable>(IID_IQvantTable);
    if (!pOwner) throw CFailure("the table has no owner's interface");
    return pOwner;
}

Value CStoreTable::Read(store::Operation nOperation, const CVariant& argument) const {
    // The arguments stand in reverse. They are lent for the call, so that plain copies do.
    VARIANT arReversed[] = {*argument, Integer(nOperation)};
    CVariant result;
    Invoke(store::METHOD_GET, arReversed, 2, &result);
    return FromVariant(*result);
}

void CStoreTable::Invoke(store::Method nMethod, VARIANT* pReversed, UINT nCount, VARIANT* pResult) const {
    DISPPARAMS params{pReversed, nullptr, nCount, 0};
    const HRESULT hr = m_pTable->Invoke(nMethod, IID_NULL, 0, DISPATCH_METHOD, &params, pResult, nullptr, nullptr);
    if (FAILED(hr)) Fail("the store refused the call", hr);
}

CTransaction::CTransaction(CStoreTable table) : m_table(std::move(table)) {
    CVariant result;
    m_table.Invoke(store::METHOD_BEGIN, nullptr, 0, &result);
    m_nTransaction = result->lVal;
}

CTransaction::~CTransaction() {
    if (m_nTransaction == 0) return;
    try {
        End(store::METHOD_CANCEL);
    } catch (const CFailure&) {
        // The failure that led here is the one worth telling.
    }
}

void CTransaction::SetValue(TextView strKey, const Value& value) {
    Operate(store::OPERATION_VALUE, CVariant(strKey), CVariant(value));
}

void CTransaction::SetRow(std::int32_t nIndex, const Value& value) {
    Operate(store::OPERATION_ROW, CVariant(nIndex), CVariant(value));
}

void CTransaction::SetTable(TextView strName, const CStoreTable& table) {
    const DWORD dwCookie = table.Register();
    Operate(store::OPERATION_TABLE, CVariant(strName), CVariant(static_cast<std::int32_t>(dwCookie)));
    CStoreTable::Revoke(dwCookie);
}

void CTransaction::Clear(std::int32_t nMask) { Operate(store::OPERATION_CLEAR, CVariant(nMask), CVariant()); }

void CTransaction::Commit() { End(store::METHOD_COMMIT); }

void CTransaction::Operate(store::Operation nOperation, const CVariant& a, const CVariant& b) {
    VARIANT arReversed[] = {*b, *a, Integer(nOperation), Integer(m_nTransaction)};
    m_table.Invoke(store::METHOD_OPERATE, arReversed, 4, nullptr);
}

void CTransaction::End(store::Method nMethod) {
    VARIANT transaction = Integer(std::exchange(m_nTransaction, 0));
    m_table.Invoke(nMethod, &transaction, 1, nullptr);
}

}  // namespace qvant::host

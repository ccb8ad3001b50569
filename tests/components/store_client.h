/// Short words for the tests of the store.
#pragma once

#include <initializer_list>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "base/failure.h"
#include "store/base_data.h"
#include "store/string_argument.h"

namespace qvant::test {

using TablePtr = std::unique_ptr<CBaseData>;

inline TablePtr NewTable() {
    auto pTable = CBaseData::CreateNew();
    if (!pTable) throw std::runtime_error("no store");
    return pTable;
}

/// A wrapper of its own on the same table.
inline TablePtr OpenAgain(CBaseData& table, CBaseDataEventReceiver* pSink = nullptr) {
    return CBaseData::WrapCookie(table.GlobalCookie(), pSink);
}

inline void Write(CBaseData& table, std::initializer_list<std::pair<TextView, TextView>> values) {
    CTransaction transaction(table);
    for (const auto& [strKey, strValue] : values) transaction.SetValue(strKey, strValue);
    transaction.Commit();
}

inline void Attach(CBaseData& parent, TextView strName, CBaseData& child) {
    CTransaction transaction(parent);
    transaction.SetTable(strName, child);
    transaction.Commit();
}

inline void Clear(CBaseData& table, std::int32_t nMask) {
    CTransaction transaction(table);
    transaction.Clear(nMask);
    transaction.Commit();
}

/// The code that a call raises; S_OK when it raises none.
template <class Call>
HRESULT CodeOf(const Call& call) {
    try {
        call();
        return S_OK;
    } catch (const CFailure& failure) {
        return failure.GetCode();
    }
}

/// The object behind a wrapper, under an interface of the store; the caller releases it.
template <class Interface>
Interface* GetObject(CBaseData& table, const IID& iid) {
    IGlobalInterfaceTable* pInterfaces = nullptr;
    Interface* pObject = nullptr;
    if (FAILED(CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_INPROC_SERVER, IID_IGlobalInterfaceTable,
                                reinterpret_cast<void**>(&pInterfaces))) ||
        FAILED(pInterfaces->GetInterfaceFromGlobal(table.GlobalCookie(), iid, reinterpret_cast<void**>(&pObject)))) {
        return nullptr;
    }
    pInterfaces->Release();
    return pObject;
}

/// The content of a table, as `Visit` shows it.
struct Content final : IQvantTableVisitor {
    std::vector<Text> arRows;
    std::map<Text, Text> mapValues;
    std::map<Text, std::shared_ptr<Content>> mapTables;

    static std::shared_ptr<Content> Of(IDispatch& table) {
        auto pContent = std::make_shared<Content>();
        IQvantTable* pTable = nullptr;
        if (FAILED(table.QueryInterface(IID_IQvantTable, reinterpret_cast<void**>(&pTable)))) return nullptr;
        pTable->Visit(pContent.get());
        pTable->Release();
        return pContent;
    }
    static std::shared_ptr<Content> Of(CBaseData& table) {
        auto* const pDispatch = GetObject<IDispatch>(table, IID_IBaseData);
        auto pContent = Of(*pDispatch);
        pDispatch->Release();
        return pContent;
    }

    void STDMETHODCALLTYPE OnRow(LONG nIndex, const VARIANT* pValue) override {
        if (nIndex == static_cast<LONG>(arRows.size())) arRows.push_back(ToWords(*pValue));
    }
    void STDMETHODCALLTYPE OnValue(const OLECHAR* pszKey, UINT nLength, const VARIANT* pValue) override {
        mapValues.emplace(Text(pszKey, nLength), ToWords(*pValue));
    }
    void STDMETHODCALLTYPE OnTable(const OLECHAR* pszName, UINT nLength, IDispatch* pTable) override {
        mapTables.emplace(Text(pszName, nLength), Of(*pTable));
    }

private:
    static Text ToWords(const VARIANT& value) {
        if (value.vt == VT_EMPTY) return u"<empty>";
        if (value.vt == VT_I4) return u"<number>" + Widen(std::to_string(value.lVal));
        return ToText(value.bstrVal);
    }
};

inline HRESULT Persist(CBaseData& table, const Text& strFile) {
    auto* const pTable = GetObject<IQvantTable>(table, IID_IQvantTable);
    const HRESULT hr = pTable->Persist(strFile.c_str());
    pTable->Release();
    return hr;
}

}  // namespace qvant::test

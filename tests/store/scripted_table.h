/// A store object that answers what a test tells it to.
#pragma once

#include <atomic>
#include <functional>

#include "qvant/store.h"

namespace qvant::test {

/// Lives on the test's stack: its references are counted and that is all.
class CScriptedTable final : public IDispatch {
public:
    /// Called for every method; the arguments stand in reverse.
    std::function<HRESULT(DISPID nMethod, const DISPPARAMS& parameters, VARIANT* pResult)> answer =
        [](DISPID, const DISPPARAMS&, VARIANT*) { return S_OK; };
    std::atomic<int> nConnectionTries{0};

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) override {
        if (riid == IID_IConnectionPointContainer) ++nConnectionTries;
        const bool bKnown = riid == IID_IUnknown || riid == IID_IDispatch || riid == IID_IBaseData;
        *ppvObject = bKnown ? this : nullptr;
        if (bKnown) AddRef();
        return bKnown ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_nReferences; }
    ULONG STDMETHODCALLTYPE Release() override { return --m_nReferences; }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID nMethod, REFIID, LCID, WORD, DISPPARAMS* pParameters, VARIANT* pResult,
                                     EXCEPINFO*, UINT*) override {
        return answer(nMethod, *pParameters, pResult);
    }
    ULONG Count() const { return m_nReferences; }

private:
    std::atomic<ULONG> m_nReferences{1};
};

}  // namespace qvant::test

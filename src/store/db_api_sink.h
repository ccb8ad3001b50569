/// What a database object's events reach: the automation sink of one client.
#pragma once

#include <atomic>

#include "qvant/database.h"
#include "store/db_api_obj.h"

namespace qvant {

/// Shared by the client and the database object that it is connected to.
class CDataBaseSink final : public IDispatch {
public:
    explicit CDataBaseSink(CDataBaseEventReceiver& receiver) : m_pReceiver(&receiver) {}

    /// From now on no event reaches the receiver.
    void Close() { m_pReceiver = nullptr; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_nReferences; }
    ULONG STDMETHODCALLTYPE Release() override;
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* pctinfo) override;
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return DISP_E_BADINDEX; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return DISP_E_UNKNOWNNAME;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID dispIdMember, REFIID riid, LCID lcid, WORD wFlags, DISPPARAMS* pDispParams,
                                     VARIANT* pVarResult, EXCEPINFO* pExcepInfo, UINT* puArgErr) override;

private:
    HRESULT Deliver(DISPID nEvent, const DISPPARAMS& parameters);

    std::atomic<ULONG> m_nReferences{1};
    std::atomic<CDataBaseEventReceiver*> m_pReceiver;
};

}  // namespace qvant

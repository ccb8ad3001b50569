/// What a table's events reach: the automation sink of one wrapper.
#pragma once

#include <atomic>
#include <stop_token>

#include "platform/event.h"
#include "qvant/store.h"
#include "store/base_data.h"

namespace qvant {

/// Shared by the wrapper and the table that it is connected to. It holds the event lock, so that a delivery that
/// destroys its own wrapper still has a lock to give back.
class CBaseDataSink final : public IDispatch {
public:
    explicit CBaseDataSink(CBaseData& owner) : m_pOwner(&owner) {}

    /// Waits for the event lock, at most as long as a delivery is given, and goes on after the time-out too.
    void Lock();
    void Unlock() { m_eventLock.Set(); }
    /// From now on no delivery reaches the wrapper, and one that waits for the lock gives up.
    void Close();

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
    HRESULT OnUpdate(const DISPPARAMS& parameters);
    HRESULT OnReplace(const DISPPARAMS& parameters);
    void Deliver(std::int32_t nTransaction, const Text& strKey);

    std::atomic<ULONG> m_nReferences{1};
    std::atomic<CBaseData*> m_pOwner;
    platform::CEvent m_eventLock{platform::CEvent::Reset::Automatic, true};
    std::stop_source m_closing;
};

}  // namespace qvant

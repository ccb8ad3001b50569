#include "store/base_data_sink.h"

#include <chrono>

#include "base/failure.h"
#include "platform/stop.h"

namespace qvant {
namespace {

constexpr std::chrono::milliseconds EVENT_LOCK_LIMIT{3000};

/// Gives the event lock back on every way out of a delivery.
class CUnlock {
public:
    explicit CUnlock(platform::CEvent& lock) : m_lock(lock) {}
    ~CUnlock() { m_lock.Set(); }
    CUnlock(const CUnlock&) = delete;
    CUnlock& operator=(const CUnlock&) = delete;

private:
    platform::CEvent& m_lock;
};

/// A receiver's failure ends its own handler and becomes the result of the call; the store goes on.
template <class Call>
HRESULT Guarded(const Call& call) {
    try {
        call();
        return S_OK;
    } catch (const CFailure& failure) {
        return failure.GetCode();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return DISP_E_EXCEPTION;
    }
}

}  // namespace

void CBaseDataSink::Lock() { m_eventLock.WaitFor(EVENT_LOCK_LIMIT); }

void CBaseDataSink::Close() {
    m_pOwner = nullptr;
    m_closing.request_stop();
}

HRESULT CBaseDataSink::QueryInterface(REFIID riid, void** ppvObject) {
    if (!ppvObject) return E_POINTER;
    const bool bKnown = riid == IID_IUnknown || riid == IID_IDispatch || riid == IID__IBaseDataEvents;
    *ppvObject = bKnown ? static_cast<IDispatch*>(this) : nullptr;
    if (!bKnown) return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

ULONG CBaseDataSink::Release() {
    const ULONG nLeft = --m_nReferences;
    if (nLeft == 0) delete this;
    return nLeft;
}

HRESULT CBaseDataSink::GetTypeInfoCount(UINT* pctinfo) {
    if (!pctinfo) return E_POINTER;
    *pctinfo = 0;
    return S_OK;
}

HRESULT CBaseDataSink::Invoke(DISPID dispIdMember, REFIID, LCID, WORD, DISPPARAMS* pDispParams, VARIANT*, EXCEPINFO*,
                              UINT*) {
    if (!pDispParams) return E_POINTER;
    if (dispIdMember == store::EVENT_UPDATE) return OnUpdate(*pDispParams);
    if (dispIdMember == store::EVENT_REPLACE) return OnReplace(*pDispParams);
    return DISP_E_MEMBERNOTFOUND;
}

HRESULT CBaseDataSink::OnUpdate(const DISPPARAMS& parameters) {
    if (parameters.cArgs != 2) return DISP_E_BADPARAMCOUNT;
    const VARIANT& key = parameters.rgvarg[0];
    const VARIANT& transaction = parameters.rgvarg[1];
    if (transaction.vt != VT_I4 || key.vt != VT_BSTR) return DISP_E_TYPEMISMATCH;
    // The store sends a sink that it disconnects the rest of its events: a wrapper that ends lets them run through.
    if (!m_pOwner.load()) return S_OK;
    return Guarded([&] { Deliver(transaction.lVal, ToText(key.bstrVal)); });
}

void CBaseDataSink::Deliver(std::int32_t nTransaction, const Text& strKey) {
    {
        const platform::CStopScope scope(m_closing.get_token());
        if (m_eventLock.WaitFor(EVENT_LOCK_LIMIT) == platform::WaitResult::Stopped) return;
    }
    const CUnlock unlock(m_eventLock);
    CBaseData* const pOwner = m_pOwner;
    if (!pOwner || pOwner->m_nAdviseCookie == 0) return;
    CBaseDataEventReceiver* const pReceiver = pOwner->m_pSink;
    const bool bOwnChange = pOwner->m_nLastTransaction == nTransaction;
    if (pReceiver && (pOwner->m_bReportOwnChanges || !bOwnChange)) pReceiver->OnUpdate(pOwner, nTransaction, strKey);
}

/// Takes no lock, and a wrapper's own replacement comes back to it: receivers rely on hearing of every one.
HRESULT CBaseDataSink::OnReplace(const DISPPARAMS& parameters) {
    if (parameters.cArgs != 1) return DISP_E_BADPARAMCOUNT;
    const VARIANT& transaction = parameters.rgvarg[0];
    if (transaction.vt != VT_I4) return DISP_E_TYPEMISMATCH;
    return Guarded([&] {
        CBaseData* const pOwner = m_pOwner;
        CBaseDataEventReceiver* const pReceiver = pOwner ? pOwner->m_pSink.load() : nullptr;
        if (pReceiver) pReceiver->OnReplace(pOwner, transaction.lVal);
    });
}

}  // namespace qvant

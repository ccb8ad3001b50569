/// The common part of the host's event sinks: a dispatch object that answers to one event interface.
#pragma once

#include <atomic>

#include "base/mutex.h"
#include "com_ptr.h"

namespace qvant::host {

/// Counts its references and takes method calls by number. Made with `new`, which counts as the first reference.
class CDispatchSink : public IDispatch {
public:
    explicit CDispatchSink(REFIID iidEvents) : m_iidEvents(iidEvents) {}
    CDispatchSink(const CDispatchSink&) = delete;
    CDispatchSink& operator=(const CDispatchSink&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) final;
    ULONG STDMETHODCALLTYPE AddRef() final { return ++m_nReferences; }
    ULONG STDMETHODCALLTYPE Release() final;
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* pctinfo) final;
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) final { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) final { return DISP_E_UNKNOWNNAME; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID dispIdMember, REFIID riid, LCID lcid, WORD wFlags, DISPPARAMS* pDispParams,
                                     VARIANT* pVarResult, EXCEPINFO* pExcepInfo, UINT* puArgErr) final;

    /// Cuts the sink off from the host: returns when no call is under way any more, and later ones do nothing. A
    /// source may hold the sink, and be about to call it, for longer than the host lives.
    void Detach();

protected:
    virtual ~CDispatchSink() = default;

    /// The arguments of a call in the order of the call. One that the caller left out is an empty variant.
    class CArguments {
    public:
        explicit CArguments(const DISPPARAMS* pParams) : m_pParams(pParams) {}
        const VARIANT& operator[](UINT nIndex) const;

    private:
        const DISPPARAMS* m_pParams;
    };

    /// Carries out one call. What it throws is turned into a result code.
    /// @param pResult  empty when it is called; may be null
    virtual HRESULT OnCall(DISPID nMember, const CArguments& arguments, VARIANT* pResult) = 0;

private:
    const IID m_iidEvents;
    std::atomic<ULONG> m_nReferences{1};
    CSharedMutex m_mutex;
    bool m_bDetached QV_GUARDED_BY(m_mutex) = false;
};

/// A sink connected to a source of events; disconnected and detached with the object.
class CConnection {
public:
    /// Connects the sink. @throws CFailure when the source doesn't take it
    CConnection(IUnknown* pSource, REFIID iidEvents, ComPtr<CDispatchSink> pSink);
    CConnection(const CConnection&) = delete;
    CConnection& operator=(const CConnection&) = delete;
    ~CConnection();

private:
    const ComPtr<CDispatchSink> m_pSink;
    ComPtr<IConnectionPoint> m_pPoint;
    DWORD m_dwCookie = 0;
};

}  // namespace qvant::host

/// The service as a component: identity, aggregation, the interfaces and the two connection points.
#pragma once

#include <atomic>

#include "base/mutex.h"
#include "platform/clock.h"
#include "qvant/lumivale.h"
#include "service/hosting/connection_point.h"
#include "service/hosting/host_events.h"
#include "service/lumivale.h"

namespace qvant {

/// Free-threaded; any thread may call. Made by the class factory, destroyed by its last reference.
class CLumivaleObject final : private IConnectionPointContainer,
                              private ILumivale,
                              private IQvantManager,
                              private IQvantInspect {
public:
    /// @param pOuter  the aggregating object, whose identity the interfaces then share; null for none
    /// @return the object's own IUnknown, with one reference
    static IUnknown* Create(IUnknown* pOuter);

    /// Objects that are alive in this process.
    static ULONG CountObjects() { return s_nObjects; }

private:
    /// The identity that an aggregating object holds: it counts the references and never delegates.
    class CInner final : public IUnknown {
    public:
        explicit CInner(CLumivaleObject& object) : m_object(object) {}
        HRESULT QueryInterface(REFIID riid, void** ppv) override;
        ULONG AddRef() override { return ++m_nReferences; }
        ULONG Release() override;

    private:
        CLumivaleObject& m_object;
        std::atomic<ULONG> m_nReferences{1};
    };
    friend class CInner;

    explicit CLumivaleObject(IUnknown* pOuter);
    ~CLumivaleObject();

    HRESULT QueryInterface(REFIID riid, void** ppv) override { return m_pOuter->QueryInterface(riid, ppv); }
    ULONG AddRef() override { return m_pOuter->AddRef(); }
    ULONG Release() override { return m_pOuter->Release(); }

    HRESULT EnumConnectionPoints(IEnumConnectionPoints** ppEnum) override;
    HRESULT FindConnectionPoint(REFIID riid, IConnectionPoint** ppPoint) override;

    HRESULT GetTypeInfoCount(UINT* pnCount) override;
    HRESULT GetTypeInfo(UINT nIndex, LCID nLocale, ITypeInfo** ppInfo) override;
    HRESULT GetIDsOfNames(REFIID riid, LPOLESTR* pNames, UINT nCount, LCID nLocale, DISPID* pIds) override;
    HRESULT Invoke(DISPID nMember, REFIID riid, LCID nLocale, WORD nFlags, DISPPARAMS* pParameters, VARIANT* pResult,
                   EXCEPINFO* pException, UINT* pnArgument) override;

    HRESULT OnSystemStatus(LONG nStatus, LONG nSubStatus) override;
    HRESULT OnTopicCommand(BSTR strTopic, LONG nType, LONG nParameter, BSTR strText, VARIANT* pData) override;
    HRESULT GetState(BSTR strWhat, BSTR* pstrState) override;

    static std::atomic<ULONG> s_nObjects;

    CInner m_inner;
    IUnknown* const m_pOuter;  ///< the aggregating object, else `m_inner`; not counted, as it outlives this object
    CMutex m_mutex;            ///< the object's critical section; the connections name it as what guards them
    CConnectionPoint m_lumivaleEvents;
    CConnectionPoint m_managerEvents;
    CHostEvents m_host;
    CLumivale m_service;
};

}  // namespace qvant

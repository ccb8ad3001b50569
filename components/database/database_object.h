/// The database object: the numbered methods and the events.
#pragma once

#include <memory>

#include "dispatch_object.h"
#include "log_point.h"
#include "qvant/database.h"
#include "record_database.h"

namespace qvant::database {

class CDatabaseObject final : public CDispatchObject<CDatabaseObject, IConnectionPointContainer, IQvantDataBase> {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return CDispatchObject::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return CDispatchObject::Release(); }
    HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** ppEnum) override;
    HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID riid, IConnectionPoint** ppCP) override;
    HRESULT STDMETHODCALLTYPE AllowWaits(BOOL bAllow) override;

    static int CountArguments(DISPID nMethod);
    HRESULT Call(DISPID nMethod, const CArguments& arguments, VARIANT* pResult);

private:
    HRESULT CallWithTexts(DISPID nMethod, const CArguments& arguments, VARIANT* pResult);
    HRESULT Query(const TextView* pTexts, const CArguments& arguments, VARIANT* pResult);

    const std::shared_ptr<CRecordDatabase> m_pDatabase = std::make_shared<CRecordDatabase>();
    CLogPoint m_log{*this};
};

}  // namespace qvant::database

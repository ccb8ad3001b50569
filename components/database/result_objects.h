/// The two objects that queries put their results into.
#pragma once

#include "base/mutex.h"
#include "dispatch_object.h"
#include "qvant/database.h"
#include "record_rows.h"

namespace qvant::database {

/// Holds what a lock guards: one counted object, replaced and taken by any thread.
template <class Interface>
class CHeld {
public:
    ~CHeld() { Set(nullptr); }

    void Set(Interface* pNew) {
        if (pNew) pNew->AddRef();
        {
            const CLock lock(m_mutex);
            std::swap(m_p, pNew);
        }
        if (pNew) pNew->Release();
    }
    /// @return with a reference for the caller; null when there is none
    Interface* Get() {
        const CLock lock(m_mutex);
        if (m_p) m_p->AddRef();
        return m_p;
    }

private:
    CMutex m_mutex;
    Interface* m_p QV_GUARDED_BY(m_mutex) = nullptr;
};

class CRecordSet final : public CDispatchObject<CRecordSet, IRecordSource> {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return CDispatchObject::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return CDispatchObject::Release(); }
    void STDMETHODCALLTYPE SetRecords(IRecords* pRecords) override { m_records.Set(pRecords); }

    static int CountArguments(DISPID nMethod);
    HRESULT Call(DISPID nMethod, const CArguments& arguments, VARIANT* pResult);

private:
    HRESULT Fetch(const CArguments& arguments, VARIANT* pResult);

    CHeld<IRecords> m_records;
};

class CRecordItem final : public CDispatchObject<CRecordItem, IRecordTarget> {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return CDispatchObject::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return CDispatchObject::Release(); }
    void STDMETHODCALLTYPE SetRecord(IRecord* pRecord) override { m_record.Set(pRecord); }

    static int CountArguments(DISPID nMethod) { return nMethod == METHOD_GET_FIELD ? 1 : -1; }
    HRESULT Call(DISPID nMethod, const CArguments& arguments, VARIANT* pResult);

private:
    CHeld<IRecord> m_record;
};

}  // namespace qvant::database

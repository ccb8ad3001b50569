/// What the component objects of this library have in common.
#pragma once

#include <atomic>
#include <new>

#include "base/text.h"
#include "module.h"
#include "qvant/component.h"

namespace qvant::database {

/// The arguments of a dispatch call by their places; the record has them in reverse.
class CArguments {
public:
    explicit CArguments(const DISPPARAMS& parameters) : m_parameters(parameters) {}

    /// @return false when the argument isn't a string; a null string is empty
    bool GetText(UINT nPlace, TextView& strText) const;
    bool GetNumber(UINT nPlace, LONG& nNumber) const;
    /// An interface of an object that was passed, with a reference for the caller; null when it has none.
    void* GetObject(UINT nPlace, const IID& iid) const;

private:
    const VARIANT& At(UINT nPlace) const;

    const DISPPARAMS& m_parameters;
};

/// Results of a call; nothing when the caller takes none.
void SetNumber(VARIANT* pResult, LONG nNumber);
void SetFlag(VARIANT* pResult, bool bFlag);

/// Counting, and the slots of a dispatch interface without type information. The object adds `QueryInterface` and
///
///     static int CountArguments(DISPID nMethod);     // -1: no such method
///     HRESULT Call(DISPID nMethod, const CArguments& arguments, VARIANT* pResult);
template <class Object, class... Interfaces>
class CDispatchObject : public IDispatch, public Interfaces... {
public:
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_nReferences; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG nLeft = --m_nReferences;
        if (nLeft == 0) delete static_cast<Object*>(this);
        return nLeft;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* pctinfo) override {
        if (!pctinfo) return E_POINTER;
        *pctinfo = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return DISP_E_BADINDEX; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return DISP_E_UNKNOWNNAME;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID nMethod, REFIID riid, LCID, WORD wFlags, DISPPARAMS* pDispParams,
                                     VARIANT* pVarResult, EXCEPINFO*, UINT*) override {
        if (riid != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
        const int nArguments = Object::CountArguments(nMethod);
        if (nArguments < 0 || (wFlags & DISPATCH_METHOD) == 0) return DISP_E_MEMBERNOTFOUND;
        if (!pDispParams) return E_POINTER;
        if (pDispParams->cArgs != static_cast<UINT>(nArguments)) return DISP_E_BADPARAMCOUNT;
        if (pVarResult) VariantInit(pVarResult);
        try {
            return static_cast<Object*>(this)->Call(nMethod, CArguments(*pDispParams), pVarResult);
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        } catch (...) {
            return DISP_E_EXCEPTION;
        }
    }

protected:
    CDispatchObject() { GetModule().AddObject(); }
    ~CDispatchObject() { GetModule().RemoveObject(); }

    /// Gives the interface out with a reference.
    HRESULT Give(void* pInterface, void** ppvObject) {
        *ppvObject = pInterface;
        AddRef();
        return S_OK;
    }

private:
    std::atomic<ULONG> m_nReferences{1};
};

}  // namespace qvant::database

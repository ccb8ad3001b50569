#include "store/create_object.h"

namespace qvant {

IDispatch* AsDispatch(IUnknown* pObject) {
    IDispatch* pDispatch = nullptr;
    if (FAILED(pObject->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&pDispatch)))) pDispatch = nullptr;
    pObject->Release();
    return pDispatch;
}

IDispatch* CreateObject(const OLECHAR* pszProgId, REFIID iid) {
    CLSID clsid;
    IUnknown* pObject = nullptr;
    if (FAILED(CLSIDFromProgID(pszProgId, &clsid)) ||
        FAILED(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, iid, reinterpret_cast<void**>(&pObject)))) {
        return nullptr;
    }
    return AsDispatch(pObject);
}

}  // namespace qvant

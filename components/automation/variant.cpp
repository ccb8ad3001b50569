/// Life of variants: what they own is freed and copied here.
#include "qvant/component.h"

namespace {

HRESULT CopyOwned(VARIANT& target) {
    switch (target.vt) {
        case VT_BSTR:
            if (target.bstrVal) {
                target.bstrVal = SysAllocStringLen(target.bstrVal, SysStringLen(target.bstrVal));
                if (!target.bstrVal) return E_OUTOFMEMORY;
            }
            return S_OK;
        case VT_UNKNOWN:
        case VT_DISPATCH:
            if (target.punkVal) target.punkVal->AddRef();
            return S_OK;
        default:
            return S_OK;
    }
}

}  // namespace

void VariantInit(VARIANTARG* pvarg) {
    if (pvarg) *pvarg = VARIANT{};
}

HRESULT VariantClear(VARIANTARG* pvarg) {
    if (!pvarg) return E_INVALIDARG;
    if (pvarg->vt == VT_BSTR) {
        SysFreeString(pvarg->bstrVal);
    } else if ((pvarg->vt == VT_UNKNOWN || pvarg->vt == VT_DISPATCH) && pvarg->punkVal) {
        pvarg->punkVal->Release();
    }
    *pvarg = VARIANT{};
    return S_OK;
}

HRESULT VariantCopy(VARIANTARG* pvargDest, const VARIANTARG* pvargSrc) {
    if (!pvargDest || !pvargSrc) return E_INVALIDARG;
    if (pvargDest == pvargSrc) return S_OK;
    VARIANT copy = *pvargSrc;
    const HRESULT hr = CopyOwned(copy);
    if (FAILED(hr)) return hr;
    VariantClear(pvargDest);
    *pvargDest = copy;
    return S_OK;
}

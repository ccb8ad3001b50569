#include "dispatch_object.h"

namespace qvant::database {

const VARIANT& CArguments::At(UINT nPlace) const {
    const VARIANT& argument = m_parameters.rgvarg[m_parameters.cArgs - 1 - nPlace];
    return argument.vt == (VT_VARIANT | VT_BYREF) && argument.pvarVal ? *argument.pvarVal : argument;
}

bool CArguments::GetText(UINT nPlace, TextView& strText) const {
    const VARIANT& argument = At(nPlace);
    const bool bByReference = argument.vt == (VT_BSTR | VT_BYREF) && argument.pbstrVal;
    if (argument.vt != VT_BSTR && !bByReference) return false;
    const BSTR bstr = bByReference ? *argument.pbstrVal : argument.bstrVal;
    strText = bstr ? TextView(bstr, SysStringLen(bstr)) : TextView();
    return true;
}

bool CArguments::GetNumber(UINT nPlace, LONG& nNumber) const {
    const VARIANT& argument = At(nPlace);
    if (argument.vt != VT_I4) return false;
    nNumber = argument.lVal;
    return true;
}

void* CArguments::GetObject(UINT nPlace, const IID& iid) const {
    const VARIANT& argument = At(nPlace);
    void* pInterface = nullptr;
    if ((argument.vt != VT_DISPATCH && argument.vt != VT_UNKNOWN) || !argument.punkVal) return nullptr;
    return SUCCEEDED(argument.punkVal->QueryInterface(iid, &pInterface)) ? pInterface : nullptr;
}

void SetNumber(VARIANT* pResult, LONG nNumber) {
    if (!pResult) return;
    pResult->vt = VT_I4;
    pResult->lVal = nNumber;
}

void SetFlag(VARIANT* pResult, bool bFlag) {
    if (!pResult) return;
    pResult->vt = VT_BOOL;
    pResult->boolVal = bFlag ? VARIANT_TRUE : VARIANT_FALSE;
}

}  // namespace qvant::database

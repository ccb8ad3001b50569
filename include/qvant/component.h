/// The component types of the terminal: identifiers, result codes, strings, variants and the interfaces under them.
///
/// On the platform that has these types this header brings in the platform's own. Everywhere else it declares the
/// same names with the same layout and the same slots, and `libqvautomation` carries the functions. Code that keeps
/// to this header compiles unchanged on both.
///
/// Text is UTF-16. A `BSTR` is owned by whoever holds it and is freed with `SysFreeString`; the caller of an
/// operation keeps the strings that it passes in and owns those that it gets back.
#pragma once

#if defined(_WIN32)

#include <oaidl.h>
#include <ocidl.h>
#include <olectl.h>
#include <unknwn.h>
#define QVANT_EXPORT __declspec(dllexport)

#else

#include <cstddef>
#include <cstdint>
#include <cstring>

#define QVANT_EXPORT __attribute__((visibility("default")))
#define STDMETHODCALLTYPE
#define STDAPICALLTYPE

// ---------------------------------------------------------------------------------------------------------------
// Scalars
// ---------------------------------------------------------------------------------------------------------------

using HRESULT = std::int32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using DWORD = std::uint32_t;
using SHORT = std::int16_t;
using USHORT = std::uint16_t;
using WORD = std::uint16_t;
using UINT = unsigned int;
using INT = int;
using BOOL = int;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using LCID = DWORD;
using DISPID = LONG;
using MEMBERID = DISPID;
using OLECHAR = char16_t;
using LPOLESTR = OLECHAR*;
using LPCOLESTR = const OLECHAR*;
using BSTR = OLECHAR*;
using VARTYPE = USHORT;
using VARIANT_BOOL = SHORT;
using SCODE = LONG;
using DATE = double;

inline constexpr VARIANT_BOOL VARIANT_TRUE = -1;
inline constexpr VARIANT_BOOL VARIANT_FALSE = 0;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

// ---------------------------------------------------------------------------------------------------------------
// Result codes (the platform's numbers)
// ---------------------------------------------------------------------------------------------------------------

constexpr bool SUCCEEDED(HRESULT hr) { return hr >= 0; }
constexpr bool FAILED(HRESULT hr) { return hr < 0; }

namespace qvant_detail {
constexpr HRESULT ResultCode(std::uint32_t nCode) { return static_cast<HRESULT>(nCode); }
}  // namespace qvant_detail

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOTIMPL = qvant_detail::ResultCode(0x80004001u);
inline constexpr HRESULT E_NOINTERFACE = qvant_detail::ResultCode(0x80004002u);
inline constexpr HRESULT E_POINTER = qvant_detail::ResultCode(0x80004003u);
inline constexpr HRESULT E_FAIL = qvant_detail::ResultCode(0x80004005u);
inline constexpr HRESULT E_UNEXPECTED = qvant_detail::ResultCode(0x8000FFFFu);
inline constexpr HRESULT E_ACCESSDENIED = qvant_detail::ResultCode(0x80070005u);
inline constexpr HRESULT E_OUTOFMEMORY = qvant_detail::ResultCode(0x8007000Eu);
inline constexpr HRESULT E_INVALIDARG = qvant_detail::ResultCode(0x80070057u);
inline constexpr HRESULT DISP_E_UNKNOWNINTERFACE = qvant_detail::ResultCode(0x80020001u);
inline constexpr HRESULT DISP_E_MEMBERNOTFOUND = qvant_detail::ResultCode(0x80020003u);
inline constexpr HRESULT DISP_E_TYPEMISMATCH = qvant_detail::ResultCode(0x80020005u);
inline constexpr HRESULT DISP_E_UNKNOWNNAME = qvant_detail::ResultCode(0x80020006u);
inline constexpr HRESULT DISP_E_BADVARTYPE = qvant_detail::ResultCode(0x80020008u);
inline constexpr HRESULT DISP_E_EXCEPTION = qvant_detail::ResultCode(0x80020009u);
inline constexpr HRESULT DISP_E_OVERFLOW = qvant_detail::ResultCode(0x8002000Au);
inline constexpr HRESULT DISP_E_BADINDEX = qvant_detail::ResultCode(0x8002000Bu);
inline constexpr HRESULT DISP_E_BADPARAMCOUNT = qvant_detail::ResultCode(0x8002000Eu);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = qvant_detail::ResultCode(0x80040110u);
inline constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = qvant_detail::ResultCode(0x80040111u);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = qvant_detail::ResultCode(0x80040154u);
inline constexpr HRESULT CO_E_CLASSSTRING = qvant_detail::ResultCode(0x800401F3u);
inline constexpr HRESULT CONNECT_E_NOCONNECTION = qvant_detail::ResultCode(0x80040200u);
inline constexpr HRESULT CONNECT_E_ADVISELIMIT = qvant_detail::ResultCode(0x80040201u);
inline constexpr HRESULT CONNECT_E_CANNOTCONNECT = qvant_detail::ResultCode(0x80040202u);
inline constexpr HRESULT SELFREG_E_CLASS = qvant_detail::ResultCode(0x80040201u);

// ---------------------------------------------------------------------------------------------------------------
// Identifiers
// ---------------------------------------------------------------------------------------------------------------

struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];
};
static_assert(sizeof(GUID) == 16);

inline bool operator==(const GUID& a, const GUID& b) { return std::memcmp(&a, &b, sizeof(GUID)) == 0; }
inline bool operator!=(const GUID& a, const GUID& b) { return !(a == b); }

using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

inline constexpr GUID GUID_NULL{0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};
inline constexpr IID IID_NULL = GUID_NULL;
inline constexpr IID IID_IUnknown{0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IClassFactory{0x00000001, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IGlobalInterfaceTable{0x00000146, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr CLSID CLSID_StdGlobalInterfaceTable{0x00000323, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IDispatch{0x00020400, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IConnectionPointContainer{
    0xB196B284, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};
inline constexpr IID IID_IEnumConnectionPoints{
    0xB196B285, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};
inline constexpr IID IID_IConnectionPoint{0xB196B286, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};
inline constexpr IID IID_IEnumConnections{0xB196B287, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};

// ---------------------------------------------------------------------------------------------------------------
// Interfaces
// ---------------------------------------------------------------------------------------------------------------

struct VARIANT;
struct ITypeInfo;

struct IUnknown {
    virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) = 0;
    virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE Release() = 0;

protected:
    ~IUnknown() = default;
};

struct IClassFactory : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* pUnkOuter, REFIID riid, void** ppvObject) = 0;
    virtual HRESULT STDMETHODCALLTYPE LockServer(BOOL fLock) = 0;

protected:
    ~IClassFactory() = default;
};

/// Arguments of a dispatch call. They stand in reverse: `rgvarg[cArgs - 1]` is the first one.
struct DISPPARAMS {
    VARIANT* rgvarg;
    DISPID* rgdispidNamedArgs;
    UINT cArgs;
    UINT cNamedArgs;
};

struct EXCEPINFO {
    WORD wCode;
    WORD wReserved;
    BSTR bstrSource;
    BSTR bstrDescription;
    BSTR bstrHelpFile;
    DWORD dwHelpContext;
    void* pvReserved;
    HRESULT(STDAPICALLTYPE* pfnDeferredFillIn)(EXCEPINFO*);
    SCODE scode;
};

inline constexpr WORD DISPATCH_METHOD = 0x1;
inline constexpr WORD DISPATCH_PROPERTYGET = 0x2;

struct IDispatch : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* pctinfo) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT iTInfo, LCID lcid, ITypeInfo** ppTInfo) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID riid, LPOLESTR* rgszNames, UINT cNames, LCID lcid,
                                                    DISPID* rgDispId) = 0;
    virtual HRESULT STDMETHODCALLTYPE Invoke(DISPID dispIdMember, REFIID riid, LCID lcid, WORD wFlags,
                                             DISPPARAMS* pDispParams, VARIANT* pVarResult, EXCEPINFO* pExcepInfo,
                                             UINT* puArgErr) = 0;

protected:
    ~IDispatch() = default;
};

struct CONNECTDATA {
    IUnknown* pUnk;
    DWORD dwCookie;
};

struct IConnectionPointContainer;

struct IEnumConnections : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Next(ULONG cConnections, CONNECTDATA* rgcd, ULONG* pcFetched) = 0;
    virtual HRESULT STDMETHODCALLTYPE Skip(ULONG cConnections) = 0;
    virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
    virtual HRESULT STDMETHODCALLTYPE Clone(IEnumConnections** ppEnum) = 0;

protected:
    ~IEnumConnections() = default;
};

struct IConnectionPoint : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* pIID) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer** ppCPC) = 0;
    virtual HRESULT STDMETHODCALLTYPE Advise(IUnknown* pUnkSink, DWORD* pdwCookie) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unadvise(DWORD dwCookie) = 0;
    virtual HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections** ppEnum) = 0;

protected:
    ~IConnectionPoint() = default;
};

struct IEnumConnectionPoints : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Next(ULONG cConnections, IConnectionPoint** ppCP, ULONG* pcFetched) = 0;
    virtual HRESULT STDMETHODCALLTYPE Skip(ULONG cConnections) = 0;
    virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
    virtual HRESULT STDMETHODCALLTYPE Clone(IEnumConnectionPoints** ppEnum) = 0;

protected:
    ~IEnumConnectionPoints() = default;
};

struct IConnectionPointContainer : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** ppEnum) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID riid, IConnectionPoint** ppCP) = 0;

protected:
    ~IConnectionPointContainer() = default;
};

/// Passes interface pointers between threads and modules as 32-bit cookies; a cookie is never 0.
struct IGlobalInterfaceTable : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE RegisterInterfaceInGlobal(IUnknown* pUnk, REFIID riid, DWORD* pdwCookie) = 0;
    virtual HRESULT STDMETHODCALLTYPE RevokeInterfaceFromGlobal(DWORD dwCookie) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetInterfaceFromGlobal(DWORD dwCookie, REFIID riid, void** ppv) = 0;

protected:
    ~IGlobalInterfaceTable() = default;
};

// ---------------------------------------------------------------------------------------------------------------
// Variants
// ---------------------------------------------------------------------------------------------------------------

enum VARENUM : VARTYPE {
    VT_EMPTY = 0,
    VT_NULL = 1,
    VT_I2 = 2,
    VT_I4 = 3,
    VT_R8 = 5,
    VT_BSTR = 8,
    VT_DISPATCH = 9,
    VT_ERROR = 10,
    VT_BOOL = 11,
    VT_VARIANT = 12,
    VT_UNKNOWN = 13,
    VT_UI4 = 19,
    VT_I8 = 20,
    VT_BYREF = 0x4000
};

struct VARIANT {
    struct RECORD {
        void* pvRecord;
        void* pRecInfo;
    };

    VARTYPE vt;
    WORD wReserved1;
    WORD wReserved2;
    WORD wReserved3;
    union {
        LONGLONG llVal;
        LONG lVal;
        ULONG ulVal;
        SHORT iVal;
        double dblVal;
        VARIANT_BOOL boolVal;
        SCODE scode;
        BSTR bstrVal;
        IUnknown* punkVal;
        IDispatch* pdispVal;
        LONG* plVal;
        BSTR* pbstrVal;
        VARIANT* pvarVal;
        void* byref;
        RECORD brecVal;
    };
};
static_assert(sizeof(VARIANT) == 8 + 2 * sizeof(void*));
static_assert(offsetof(VARIANT, lVal) == 8);

using VARIANTARG = VARIANT;

// ---------------------------------------------------------------------------------------------------------------
// Functions of libqvautomation
// ---------------------------------------------------------------------------------------------------------------

inline constexpr DWORD CLSCTX_INPROC_SERVER = 0x1;

extern "C" {

/// Copies `psz` up to its NUL; null for null or when memory is out.
QVANT_EXPORT BSTR SysAllocString(const OLECHAR* psz);
/// A string of `ui` units, copied from `pch` (left unset when that is null), with a NUL behind it.
QVANT_EXPORT BSTR SysAllocStringLen(const OLECHAR* pch, UINT ui);
QVANT_EXPORT void SysFreeString(BSTR bstr);
/// Length in units; 0 for null.
QVANT_EXPORT UINT SysStringLen(BSTR bstr);

QVANT_EXPORT void VariantInit(VARIANTARG* pvarg);
/// Frees what the variant owns and leaves it empty.
QVANT_EXPORT HRESULT VariantClear(VARIANTARG* pvarg);
/// Deep copy; the target is cleared first.
QVANT_EXPORT HRESULT VariantCopy(VARIANTARG* pvargDest, const VARIANTARG* pvargSrc);
/// Converts between empty, booleans, integers, doubles and strings; anything else gives DISP_E_TYPEMISMATCH.
QVANT_EXPORT HRESULT VariantChangeType(VARIANTARG* pvargDest, const VARIANTARG* pvarSrc, USHORT wFlags, VARTYPE vt);

/// An identifier from its text in braces; CO_E_CLASSSTRING for anything else.
QVANT_EXPORT HRESULT CLSIDFromString(LPCOLESTR lpsz, CLSID* pclsid);
/// The text of an identifier: 38 units in braces and a NUL.
/// @return the units written, 39; 0 when `cchMax` is less
QVANT_EXPORT int StringFromGUID2(REFGUID rguid, LPOLESTR lpsz, int cchMax);

/// Class of a name such as "QV_Data.BaseData.1": from the registration, else from the components of this project.
QVANT_EXPORT HRESULT CLSIDFromProgID(LPCOLESTR lpszProgID, CLSID* lpclsid);
/// Makes an object of a registered class, of a component of this project, or the process's interface table.
QVANT_EXPORT HRESULT CoCreateInstance(REFCLSID rclsid, IUnknown* pUnkOuter, DWORD dwClsContext, REFIID riid,
                                      void** ppv);
}

#endif

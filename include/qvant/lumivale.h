/// The market reference-data service: its identifiers, the two calls that drive it and the six events it fires.
///
/// A host loads the service's library, asks `DllGetClassObject` for the factory of `CLSID_Lumivale`, makes one object,
/// connects a sink to the `IID__IQvantManagerEvents` connection point and then calls `IQvantManager`.
#pragma once

#include "qvant/component.h"

inline constexpr CLSID CLSID_Lumivale{0xE7E0DDCC, 0x7EC0, 0x46AA, {0x8B, 0x47, 0xC1, 0x0D, 0xF0, 0x54, 0x70, 0xBA}};
inline constexpr GUID LIBID_Lumivale{0xA8CA09EF, 0x3118, 0x4E34, {0xA1, 0x2C, 0xFF, 0x1E, 0x40, 0x8C, 0x1B, 0xA6}};
inline constexpr GUID APPID_Lumivale{0x4200C444, 0x06C6, 0x40E0, {0x8C, 0xAB, 0xE7, 0x22, 0xD5, 0xA5, 0x91, 0x9E}};
inline constexpr IID IID_ILumivale{0x219C0BE0, 0x9C17, 0x4FEE, {0xBF, 0x78, 0x33, 0x8F, 0xD1, 0x12, 0x15, 0x58}};
inline constexpr IID IID__ILumivaleEvents{0x35AD66D0, 0x3D26, 0x4EF3, {0xB9, 0x6E, 0x7D, 0xA0, 0x51, 0x2B, 0xB7, 0x8B}};
inline constexpr IID IID_IQvantManager{0xAEC43E4B, 0x1D0F, 0x444A, {0x9E, 0xB2, 0x70, 0x85, 0x09, 0x0A, 0xAA, 0xFB}};
inline constexpr IID IID__IQvantManagerEvents{
    0x943D030E, 0xF13E, 0x44C6, {0x9C, 0xC9, 0x36, 0xB1, 0x45, 0x5A, 0xC9, 0x3F}};

inline constexpr IID IID_IQvantInspect{0x45242153, 0x8387, 0x4F7F, {0x91, 0xC0, 0x0A, 0xC2, 0x1B, 0x7E, 0x45, 0xED}};

/// The service's own interface: the seven slots of a dispatch interface and nothing more.
struct ILumivale : IDispatch {
protected:
    ~ILumivale() = default;
};

/// The host's way to the service. Bind it by slot: the dispatch table doesn't describe the two calls.
struct IQvantManager : IDispatch {
    /// Tells the service where the system stands. Runs to its end on the caller's thread.
    /// @param nStatus     1; any other status is ignored
    /// @param nSubStatus  one of `qvant::SubStatus`; any other is ignored
    /// @return 0; the code of a failure that ended the step early
    virtual HRESULT STDMETHODCALLTYPE OnSystemStatus(LONG nStatus, LONG nSubStatus) = 0;

    /// Hands a request of another module to the service.
    /// @param strTopic  the topic that the service registered
    /// @param pData     request and reply data; may be null
    /// @return 0
    virtual HRESULT STDMETHODCALLTYPE OnTopicCommand(BSTR strTopic, LONG lMsgTYPE, LONG lParam, BSTR strParam,
                                                     VARIANT* pData) = 0;

protected:
    ~IQvantManager() = default;
};

/// A look at what the service does in the background, for people and tests. The service object answers to it by
/// QueryInterface; who never asks for it notices nothing of it.
struct IQvantInspect : IUnknown {
    /// Gives a state as JSON text. Any thread may call, at any time, from inside an event too: it changes nothing and
    /// waits for nothing that runs.
    ///
    /// "timers": those that are armed, and killed ones whose callback still runs; times in milliseconds, `due` from
    /// now on, null once it was killed:
    ///
    ///     {"timers":[{"id":100,"interval":2220000,"due":2219000,"running":false},...]}
    ///
    /// "servers": the list in trial order. `state` is what the last test of their speed found, "untested", "answered",
    /// "failed" or "late"; `latency` and `handicap` are milliseconds, null where there is nothing to tell. The rank
    /// goes by their sum.
    ///
    ///     {"servers":[{"url":"http://...","state":"answered","latency":31,"handicap":50,"inUse":true},...]}
    ///
    /// "refresh": passes that have ended since the object was made, passes that are left of a burst or null,
    /// milliseconds that the last pass took or null, whether one runs:
    ///
    ///     {"passes":3,"left":7,"last":24,"running":false}
    ///
    /// @param bstrWhat    which of them
    /// @param pbstrState  gets the text; null on failure
    /// @return S_OK; E_POINTER for a null `pbstrState`; E_INVALIDARG for another state; E_OUTOFMEMORY
    virtual HRESULT STDMETHODCALLTYPE GetState(BSTR bstrWhat, BSTR* pbstrState) = 0;

protected:
    ~IQvantInspect() = default;
};

namespace qvant {

inline constexpr LONG SYSTEM_STATUS = 1;

enum SubStatus : LONG {
    SYSTEM_STATUS_INIT = 1,   ///< the store is up
    SYSTEM_STATUS_START = 2,  ///< the system has started
    SYSTEM_STATUS_STOP = 4,   ///< stop the background work
    SYSTEM_STATUS_EXIT = 5,   ///< last call: release everything
    SYSTEM_STATUS_LOGIN = 9   ///< the user is signed in and the permission tables are filled
};

/// Events of `IID__IQvantManagerEvents`, all dispatch methods; may be fired on any thread. 3 isn't used.
enum ManagerEvent : DISPID {
    EVENT_REGISTER_TABLE = 1,    ///< (string table, I4 flag, always 1) -> I4, ignored
    EVENT_REGISTER_TOPIC = 2,    ///< (string topic) -> I4, ignored
    EVENT_GET_TABLE_COOKIE = 4,  ///< (string table) -> I4 global interface cookie of a store table; 0: no such table
    EVENT_SEND_TOPIC = 5,        ///< (string topic, I4 type, I4 parameter, string text, VARIANT by ref) -> VARIANT
    EVENT_REPORT_ERROR = 6,      ///< (I4 code, I4 parameter, string text, VARIANT by ref) -> VARIANT
    EVENT_WRITE_LOG = 7          ///< (string line)
};

}  // namespace qvant

extern "C" {
/// Factory of a class of this library; E_POINTER for a null `ppv`, CLASS_E_CLASSNOTAVAILABLE for a foreign class.
QVANT_EXPORT HRESULT DllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv);
/// S_OK when no object and no lock of the library is left, else S_FALSE.
QVANT_EXPORT HRESULT DllCanUnloadNow();
/// Writes the registration of the library's class into the registry file.
QVANT_EXPORT HRESULT DllRegisterServer();
QVANT_EXPORT HRESULT DllUnregisterServer();
/// Registers (`bInstall` non-zero) or unregisters; a command line of "user", in any case, does so for the user alone.
QVANT_EXPORT HRESULT DllInstall(BOOL bInstall, LPCOLESTR pszCmdLine);
}

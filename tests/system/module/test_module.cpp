/// A small module in the service's place: it answers to the host's two calls, and fires what a topic asks it for.
///
/// | topic | does |
/// |---|---|
/// | "log" | writes the text to the log, `lParam` times, at least once |
/// | "threads" | writes the text to the log a hundred times from each of `lParam` threads at once |
/// | "register" | registers the text as a table and as a topic |
/// | "cookie" | gives the cookie of the table named by the text |
/// | "read" | gives the value of the key "key" of the table named by the text, as a module reads it |
/// | "send" | sends a topic: with the data behind a reference if `lMsgTYPE` is 1, else with a null reference |
/// | "error" | reports an error |
/// | "box" | shows a message box |
/// | "signal" | signals the named event of the text, `lParam` times, at least once, and holds it no longer than that |
/// | "await" | gives how a look at the named event of the text ended; -1 when nobody holds it |
/// | "result" | gives `lParam` as the result of the call |
/// | "environment" | gives the value of the environment variable named by the text |
/// | "state" | shows the data, a text, as the state that the text names; without data it shows that state no more |
/// | "answer" | keeps the data as what it does when the topic named by the text comes, once only if `lMsgTYPE` is 1 |
/// | "hang" | writes "hanging" to the log and never comes back |
#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "qvant/lumivale.h"
#include "qvant/message_box.h"
#include "qvant/named_event.h"
#include "qvant/store.h"
#include "system/module/answers.h"

namespace qvant::test {

namespace {

constexpr LONG SUB_STATUS_THAT_FAILS = 77;
constexpr LONG SUB_STATUS_UNTIL_STOP = 78;  ///< comes back when STOP has been said
constexpr LONG SUB_STATUS_THAT_HANGS = 79;
constexpr HRESULT RESULT_OF_FAILURE = 42;
constexpr int LINES_OF_A_THREAD = 100;

VARIANT Integer(LONG nValue) {
    VARIANT variant{};
    variant.vt = VT_I4;
    variant.lVal = nValue;
    return variant;
}

/// Borrows the text; for the length of one call.
VARIANT Borrowed(BSTR bstr) {
    VARIANT variant{};
    variant.vt = VT_BSTR;
    variant.bstrVal = bstr;
    return variant;
}

class CText {
public:
    explicit CText(const std::u16string& str) : m_bstr(SysAllocStringLen(str.data(), static_cast<UINT>(str.size()))) {}
    CText(const CText&) = delete;
    CText& operator=(const CText&) = delete;
    ~CText() { SysFreeString(m_bstr); }
    operator BSTR() const { return m_bstr; }

private:
    BSTR m_bstr;
};

class CModule final : public IQvantManager,
                      public IQvantInspect,
                      public IConnectionPointContainer,
                      public IConnectionPoint {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        *ppv = nullptr;
        if (riid == IID_IUnknown || riid == IID_IDispatch || riid == IID_IQvantManager)
            *ppv = static_cast<IQvantManager*>(this);
        if (riid == IID_IQvantInspect) *ppv = static_cast<IQvantInspect*>(this);
        if (riid == IID_IConnectionPointContainer) *ppv = static_cast<IConnectionPointContainer*>(this);
        if (*ppv) AddRef();
        return *ppv ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_nReferences; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG nLeft = --m_nReferences;
        if (nLeft == 0) delete this;
        return nLeft;
    }

    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        return E_NOTIMPL;
    }

    HRESULT STDMETHODCALLTYPE OnSystemStatus(LONG nStatus, LONG nSubStatus) override;
    HRESULT STDMETHODCALLTYPE OnTopicCommand(BSTR strTopic, LONG lMsgTYPE, LONG lParam, BSTR strParam,
                                             VARIANT* pData) override;

    HRESULT STDMETHODCALLTYPE GetState(BSTR bstrWhat, BSTR* pbstrState) override {
        const std::lock_guard lock(m_mutexStates);
        const auto it = m_mapStates.find(std::u16string(bstrWhat, SysStringLen(bstrWhat)));
        *pbstrState = nullptr;
        if (it == m_mapStates.end()) return E_INVALIDARG;
        *pbstrState = SysAllocStringLen(it->second.data(), static_cast<UINT>(it->second.size()));
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID riid, IConnectionPoint** ppPoint) override {
        *ppPoint = riid == IID__IQvantManagerEvents ? this : nullptr;
        if (*ppPoint) AddRef();
        return *ppPoint ? S_OK : CONNECT_E_NOCONNECTION;
    }
    HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Advise(IUnknown* pSink, DWORD* pdwCookie) override {
        *pdwCookie = 1;
        return pSink->QueryInterface(IID__IQvantManagerEvents, reinterpret_cast<void**>(&m_pSink));
    }
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD) override {
        m_answers.Finish();
        std::exchange(m_pSink, nullptr)->Release();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections**) override { return E_NOTIMPL; }

private:
    ~CModule() = default;

    /// @param arReversed  the arguments, the last one first
    HRESULT Fire(ManagerEvent nEvent, std::vector<VARIANT> arReversed, VARIANT* pResult = nullptr) {
        DISPPARAMS params{arReversed.data(), nullptr, static_cast<UINT>(arReversed.size()), 0};
        return m_pSink->Invoke(nEvent, IID_NULL, 0, DISPATCH_METHOD, &params, pResult, nullptr, nullptr);
    }
    void Log(BSTR bstrLine) { Fire(EVENT_WRITE_LOG, {Borrowed(bstrLine)}); }
    void LogOnThreads(LONG nThreads, BSTR bstrLine);
    DWORD GetCookie(BSTR bstrTable);
    void Read(BSTR bstrTable, VARIANT* pData);
    void Send(LONG nType, LONG nParameter, BSTR bstrText, VARIANT* pData);
    void GiveVariable(BSTR bstrName, VARIANT* pData);
    void KeepState(BSTR bstrName, const VARIANT& data);
    static void Signal(BSTR bstrName, LONG nTimes);
    static LONG Await(BSTR bstrName);
    void CarryOut(const AnswerStep& step, const std::u16string& strText);
    [[noreturn]] void Hang();

    std::atomic<ULONG> m_nReferences{1};
    std::atomic<bool> m_bStopped{false};
    IDispatch* m_pSink = nullptr;
    std::mutex m_mutexStates;
    std::map<std::u16string, std::u16string> m_mapStates;
    CAnswers m_answers{[this](const AnswerStep& step, const std::u16string& strText) { CarryOut(step, strText); }};
};

HRESULT CModule::OnSystemStatus(LONG nStatus, LONG nSubStatus) {
    const std::string strLine = "status " + std::to_string(nStatus) + " " + std::to_string(nSubStatus);
    Log(CText(std::u16string(strLine.begin(), strLine.end())));
    if (nSubStatus == SYSTEM_STATUS_STOP) {
        m_bStopped = true;
        m_bStopped.notify_all();
    }
    if (nSubStatus == SUB_STATUS_UNTIL_STOP) m_bStopped.wait(false);
    if (nSubStatus == SUB_STATUS_THAT_HANGS) Hang();
    return nSubStatus == SUB_STATUS_THAT_FAILS ? RESULT_OF_FAILURE : S_OK;
}

HRESULT CModule::OnTopicCommand(BSTR strTopic, LONG lMsgTYPE, LONG lParam, BSTR strParam, VARIANT* pData) {
    const std::u16string strName(strTopic, SysStringLen(strTopic));
    const std::u16string strText(strParam, SysStringLen(strParam));
    if (strName == u"answer") m_answers.Keep(strText, {pData->bstrVal, SysStringLen(pData->bstrVal)}, lMsgTYPE == 1);
    m_answers.Give(strName, lMsgTYPE, lParam, strText);
    if (strName == u"log")
        for (LONG i = 0; i < (lParam > 0 ? lParam : 1); ++i) Log(strParam);
    if (strName == u"threads") LogOnThreads(lParam, strParam);
    if (strName == u"register") {
        Fire(EVENT_REGISTER_TABLE, {Integer(1), Borrowed(strParam)});
        Fire(EVENT_REGISTER_TOPIC, {Borrowed(strParam)});
    }
    if (strName == u"cookie") *pData = Integer(static_cast<LONG>(GetCookie(strParam)));
    if (strName == u"read") Read(strParam, pData);
    if (strName == u"send") Send(lMsgTYPE, lParam, strParam, pData);
    if (strName == u"error")
        Fire(EVENT_REPORT_ERROR, {VARIANT{}, Borrowed(strParam), Integer(lParam), Integer(lMsgTYPE)});
    if (strName == u"box") QvantShowMessageBox(u"Title", strParam);
    if (strName == u"signal") Signal(strParam, lParam);
    if (strName == u"await") *pData = Integer(Await(strParam));
    if (strName == u"environment") GiveVariable(strParam, pData);
    if (strName == u"state") KeepState(strParam, *pData);
    if (strName == u"hang") Hang();
    return strName == u"result" ? lParam : S_OK;
}

void CModule::LogOnThreads(LONG nThreads, BSTR bstrLine) {
    std::vector<std::thread> arThreads;
    for (LONG i = 0; i < nThreads; ++i) {
        arThreads.emplace_back([this, bstrLine] {
            for (int nLine = 0; nLine < LINES_OF_A_THREAD; ++nLine) Log(bstrLine);
        });
    }
    for (std::thread& thread : arThreads) thread.join();
}

DWORD CModule::GetCookie(BSTR bstrTable) {
    VARIANT cookie{};
    Fire(EVENT_GET_TABLE_COOKIE, {Borrowed(bstrTable)}, &cookie);
    return static_cast<DWORD>(cookie.lVal);
}

void CModule::Read(BSTR bstrTable, VARIANT* pData) {
    void* p = nullptr;
    CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_INPROC_SERVER, IID_IGlobalInterfaceTable, &p);
    auto* pInterfaces = static_cast<IGlobalInterfaceTable*>(p);
    if (SUCCEEDED(pInterfaces->GetInterfaceFromGlobal(GetCookie(bstrTable), IID_IBaseData, &p))) {
        auto* pTable = static_cast<IDispatch*>(p);
        const CText key(u"key");
        VARIANT arReversed[] = {Borrowed(key), Integer(store::OPERATION_VALUE)};
        DISPPARAMS params{arReversed, nullptr, 2, 0};
        pTable->Invoke(store::METHOD_GET, IID_NULL, 0, DISPATCH_METHOD, &params, pData, nullptr, nullptr);
        pTable->Release();
    }
    pInterfaces->Release();
}

void CModule::Send(LONG nType, LONG nParameter, BSTR bstrText, VARIANT* pData) {
    const CText topic(u"TEST.INFO");
    VARIANT data{};
    data.vt = VT_VARIANT | VT_BYREF;
    data.pvarVal = nType == 1 ? pData : nullptr;
    Fire(EVENT_SEND_TOPIC, {data, Borrowed(bstrText), Integer(nParameter), Integer(nType), Borrowed(topic)});
}

void CModule::Signal(BSTR bstrName, LONG nTimes) {
    for (LONG i = 0; i < (nTimes > 0 ? nTimes : 1); ++i) {
        const QvantNamedEvent hEvent = QvantCreateNamedEvent(bstrName, QVANT_RESET_MANUAL, FALSE, nullptr);
        QvantSetNamedEvent(hEvent);
        QvantCloseNamedEvent(hEvent);
    }
}

LONG CModule::Await(BSTR bstrName) {
    const QvantNamedEvent hEvent = QvantOpenNamedEvent(bstrName);
    if (hEvent == 0) return -1;
    const QvantEventWait nResult = QvantWaitNamedEvent(hEvent, 0);
    QvantCloseNamedEvent(hEvent);
    return static_cast<LONG>(nResult);
}

void CModule::GiveVariable(BSTR bstrName, VARIANT* pData) {
    const std::string strName(bstrName, bstrName + SysStringLen(bstrName));
    const std::string strValue = std::getenv(strName.c_str());
    const std::u16string strWide(strValue.begin(), strValue.end());
    pData->vt = VT_BSTR;
    pData->bstrVal = SysAllocStringLen(strWide.data(), static_cast<UINT>(strWide.size()));
}

void CModule::KeepState(BSTR bstrName, const VARIANT& data) {
    const std::lock_guard lock(m_mutexStates);
    const std::u16string strName(bstrName, SysStringLen(bstrName));
    if (data.vt == VT_BSTR) {
        m_mapStates[strName] = std::u16string(data.bstrVal, SysStringLen(data.bstrVal));
    } else {
        m_mapStates.erase(strName);
    }
}

void CModule::CarryOut(const AnswerStep& step, const std::u16string& strText) {
    if (step.strVerb == u"log") Log(CText(step.At(0)));
    if (step.strVerb != u"send") return;
    const CText topic(step.At(0));
    const CText text(strText);
    const CText answer(step.At(2));
    VARIANT data = Borrowed(answer);
    VARIANT reference{};
    reference.vt = VT_VARIANT | VT_BYREF;
    reference.pvarVal = &data;
    const auto nParameter = static_cast<LONG>(step.At(1).front() - u'0');
    Fire(EVENT_SEND_TOPIC, {reference, Borrowed(text), Integer(nParameter), Integer(1), Borrowed(topic)});
}

void CModule::Hang() {
    Log(CText(u"hanging"));
    std::mutex mutex;
    std::condition_variable never;
    std::unique_lock lock(mutex);
    while (true) never.wait(lock);
}

class CFactory final : public IClassFactory {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        *ppv = riid == IID_IUnknown || riid == IID_IClassFactory ? this : nullptr;
        return *ppv ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* pOuter, REFIID riid, void** ppv) override {
        if (pOuter) return CLASS_E_NOAGGREGATION;
        auto* pModule = new CModule;
        const HRESULT hr = pModule->QueryInterface(riid, ppv);
        pModule->Release();
        return hr;
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
};

}  // namespace

}  // namespace qvant::test

extern "C" HRESULT DllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv) {
    static qvant::test::CFactory s_factory;
    if (rclsid != CLSID_Lumivale) return CLASS_E_CLASSNOTAVAILABLE;
    return s_factory.QueryInterface(riid, ppv);
}

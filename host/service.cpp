#include "service.h"

#include <functional>

#include <dlfcn.h>
#include <pthread.h>

#include "base/mutex.h"
#include "failure.h"

namespace qvant::host {

namespace {

using GetClassObject = HRESULT (*)(REFCLSID, REFIID, void**);

/// The library stays for the rest of the process: threads of the service may still be on their way out of it.
GetClassObject LoadEntry(const std::filesystem::path& pathModule) {
    void* pModule = dlopen(pathModule.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!pModule) throw CFailure(dlerror());
    void* pEntry = dlsym(pModule, "DllGetClassObject");
    if (!pEntry) throw CFailure(pathModule.string() + " has no DllGetClassObject");
    return reinterpret_cast<GetClassObject>(pEntry);
}

ComPtr<IQvantManager> MakeManager(const std::filesystem::path& pathModule) {
    void* p = nullptr;
    if (FAILED(LoadEntry(pathModule)(CLSID_Lumivale, IID_IClassFactory, &p)))
        throw CFailure(pathModule.string() + " doesn't hold the service");
    const auto pFactory = ComPtr<IClassFactory>::Attach(static_cast<IClassFactory*>(p));
    if (FAILED(pFactory->CreateInstance(nullptr, IID_IQvantManager, &p))) throw CFailure("the service can't be made");
    return ComPtr<IQvantManager>::Attach(static_cast<IQvantManager*>(p));
}

/// Hears the six events on whatever thread they are fired.
class CManagerSink final : public CDispatchSink {
public:
    CManagerSink(CEventLog& log, CTables& tables)
        : CDispatchSink(IID__IQvantManagerEvents), m_log(log), m_tables(tables) {}

private:
    HRESULT OnCall(DISPID nMember, const CArguments& arguments, VARIANT* pResult) override;
    void GiveCookie(const VARIANT& table, VARIANT* pResult);

    CEventLog& m_log;
    CTables& m_tables;
};

void ReturnInteger(VARIANT* pResult, std::int32_t nValue) {
    if (!pResult) return;
    pResult->vt = VT_I4;
    pResult->lVal = nValue;
}

HRESULT CManagerSink::OnCall(DISPID nMember, const CArguments& arguments, VARIANT* pResult) {
    const auto Get = [&arguments](UINT nIndex) { return FromVariant(arguments[nIndex]); };
    switch (nMember) {
        case EVENT_REGISTER_TABLE:
            m_tables.Make(ToText(Get(0)));
            m_log.Add(kind::REGISTER_TABLE, {{"table", Get(0)}, {"flag", Get(1)}});
            ReturnInteger(pResult, 0);
            return S_OK;
        case EVENT_REGISTER_TOPIC:
            m_log.Add(kind::REGISTER_TOPIC, {{"topic", Get(0)}});
            ReturnInteger(pResult, 0);
            return S_OK;
        case EVENT_GET_TABLE_COOKIE:
            GiveCookie(arguments[0], pResult);
            return S_OK;
        case EVENT_SEND_TOPIC:
            m_log.Add(kind::SEND_TOPIC,
                      {{"topic", Get(0)}, {"type", Get(1)}, {"param", Get(2)}, {"text", Get(3)}, {"data", Get(4)}});
            return S_OK;
        case EVENT_REPORT_ERROR:
            m_log.Add(kind::REPORT_ERROR, {{"code", Get(0)}, {"param", Get(1)}, {"text", Get(2)}});
            return S_OK;
        case EVENT_WRITE_LOG:
            m_log.Add(kind::WRITE_LOG, {{"line", Get(0)}});
            return S_OK;
        default:
            return DISP_E_MEMBERNOTFOUND;
    }
}

void CManagerSink::GiveCookie(const VARIANT& table, VARIANT* pResult) {
    const Value name = FromVariant(table);
    const DWORD dwCookie = m_tables.GetCookie(ToText(name));
    m_log.Add(kind::GET_TABLE_COOKIE, {{"table", name}, {"cookie", std::int64_t{dwCookie}}});
    ReturnInteger(pResult, static_cast<std::int32_t>(dwCookie));
}

/// Calls `act` when the host is asked to end before the object does. On a thread of its own: whoever asks may be the
/// one that watches for a second signal, or the service itself in the middle of an event.
class COnStop {
public:
    COnStop(const CStop& stop, std::function<void()> act)
        : m_thread([this, token = stop.GetToken(), act = std::move(act)] {
              if (WaitFor(token)) act();
          }) {
        pthread_setname_np(m_thread.native_handle(), "stop");
    }
    COnStop(const COnStop&) = delete;
    COnStop& operator=(const COnStop&) = delete;
    /// Waits until `act` is done, if it has begun.
    ~COnStop() {
        {
            const CLock lock(m_mutex);
            m_bOver = true;
        }
        m_over.notify_all();
        m_thread.join();
    }

private:
    /// @return false when the object ended first
    bool WaitFor(const std::stop_token& stop) {
        CLock lock(m_mutex);
        return !m_over.wait(lock, stop, [this]() QV_REQUIRES(m_mutex) { return m_bOver; });
    }

    CMutex m_mutex;
    std::condition_variable_any m_over;
    bool m_bOver QV_GUARDED_BY(m_mutex) = false;
    std::thread m_thread;
};

}  // namespace

CService::CService(const std::filesystem::path& pathModule, CEventLog& log, CTables& tables, CStop& stop)
    : m_stop(stop),
      m_pManager(MakeManager(pathModule)),
      m_pInspect(m_pManager.As<IQvantInspect>(IID_IQvantInspect)),
      m_connection(m_pManager.Get(), IID__IQvantManagerEvents,
                   ComPtr<CDispatchSink>::Attach(new CManagerSink(log, tables))) {}

/// Before the call: a service that fails half-way through INIT has something to end all the same.
void CService::Note(std::int32_t nStatus, std::int32_t nSubStatus) {
    if (nStatus != SYSTEM_STATUS) return;
    if (nSubStatus == SYSTEM_STATUS_INIT) m_bStopDue = m_bExitDue = true;
    if (nSubStatus == SYSTEM_STATUS_STOP) m_bStopDue = false;
    if (nSubStatus == SYSTEM_STATUS_EXIT) m_bExitDue = false;
}

HRESULT CService::SendStatus(std::int32_t nStatus, std::int32_t nSubStatus) {
    Note(nStatus, nSubStatus);
    const bool bEnds = nSubStatus == SYSTEM_STATUS_STOP || nSubStatus == SYSTEM_STATUS_EXIT;
    if (nStatus == SYSTEM_STATUS && bEnds) return m_pManager->OnSystemStatus(nStatus, nSubStatus);
    const COnStop onStop(m_stop, [this] { SendStop(); });
    return m_pManager->OnSystemStatus(nStatus, nSubStatus);
}

void CService::SendStop() {
    if (m_bStopDue) SendStatus(SYSTEM_STATUS, SYSTEM_STATUS_STOP);
}

HRESULT CService::SendTopic(TextView strTopic, std::int32_t nType, std::int32_t nParameter, TextView strText,
                            CVariant& data) {
    const CBstr bstrTopic(strTopic);
    const CBstr bstrText(strText);
    return m_pManager->OnTopicCommand(bstrTopic.Get(), nType, nParameter, bstrText.Get(), &data);
}

JsonDocument CService::GetState(TextView strWhat) const {
    const CBstr bstrWhat(strWhat);
    BSTR bstrState = nullptr;
    if (!m_pInspect || FAILED(m_pInspect->GetState(bstrWhat.Get(), &bstrState)))
        throw CFailure("the service doesn't show its " + Narrow(strWhat));
    const std::string strState = Narrow(TextView(bstrState, SysStringLen(bstrState)));
    SysFreeString(bstrState);
    return ParseJsonLine(strState);
}

void CService::End() {
    SendStop();
    if (m_bExitDue) SendStatus(SYSTEM_STATUS, SYSTEM_STATUS_EXIT);
}

}  // namespace qvant::host

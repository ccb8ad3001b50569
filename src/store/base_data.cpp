#include "store/base_data.h"

#include <chrono>
#include <type_traits>

#include "base/failure.h"
#include "platform/stop.h"
#include "store/base_data_sink.h"
#include "store/store_component.h"
#include "store/string_argument.h"

namespace qvant {
namespace {

constexpr int CONNECTION_TRIES = 10;
constexpr std::chrono::milliseconds CONNECTION_PAUSE{100};

IGlobalInterfaceTable* CreateInterfaceTable() {
    IGlobalInterfaceTable* pTable = nullptr;
    const HRESULT hr = CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_INPROC_SERVER,
                                        IID_IGlobalInterfaceTable, reinterpret_cast<void**>(&pTable));
    return SUCCEEDED(hr) ? pTable : nullptr;
}

/// The connection point of a table's events; null when it has none.
IConnectionPoint* FindEvents(IDispatch& table) {
    IConnectionPointContainer* pContainer = nullptr;
    if (FAILED(table.QueryInterface(IID_IConnectionPointContainer, reinterpret_cast<void**>(&pContainer)))) {
        return nullptr;
    }
    IConnectionPoint* pPoint = nullptr;
    const HRESULT hr = pContainer->FindConnectionPoint(IID__IBaseDataEvents, &pPoint);
    pContainer->Release();
    return SUCCEEDED(hr) ? pPoint : nullptr;
}

}  // namespace

void CBaseDataEventReceiver::OnUpdate(CBaseData*, std::int32_t, const Text&) {}
void CBaseDataEventReceiver::OnReplace(CBaseData*, std::int32_t) {}

CBaseData::CBaseData() = default;

CBaseData::~CBaseData() {
    if (m_pConnection) m_pConnection->Lock();
    m_pSink = nullptr;
    if (m_pConnection) {
        m_pConnection->Close();
        Disconnect();
        m_pConnection->Unlock();
        m_nAdviseCookie = 0;
    }
    if (m_pTable) m_pTable->Release();
    if (m_pInterfaceTable) {
        if (m_nGlobalCookie != 0) m_pInterfaceTable->RevokeInterfaceFromGlobal(m_nGlobalCookie);
        m_pInterfaceTable->Release();
    }
    if (m_pConnection) {
        m_pConnection->Lock();
        m_pConnection->Unlock();
        m_pConnection->Release();
    }
}

bool CBaseData::Create(CBaseDataEventReceiver* pSink, IDispatch* pDispatch) {
    m_pSink = pSink;
    if (m_pTable) return true;
    if (pDispatch) {
        pDispatch->AddRef();
        m_pTable = pDispatch;
    } else if (!LoadComponent() && !CreateFromProgId()) {
        return false;
    }
    if (pSink) Connect();
    return true;
}

bool CBaseData::LoadComponent() {
    m_pTable = CreateStoreFromFile();
    return m_pTable != nullptr;
}

bool CBaseData::CreateFromProgId() {
    m_pTable = CreateStoreFromProgId();
    return m_pTable != nullptr;
}

/// A wrapper that can't be connected merely gets no events.
void CBaseData::Connect() {
    m_pConnection = new CBaseDataSink(*this);
    for (int i = 0; i < CONNECTION_TRIES; ++i) {
        if (TryConnect() || !platform::SleepFor(CONNECTION_PAUSE)) return;
    }
}

/// Holds the event lock, so that the first event finds the cookie in its place.
bool CBaseData::TryConnect() {
    IConnectionPoint* const pPoint = FindEvents(*m_pTable);
    if (!pPoint) return false;
    DWORD nCookie = 0;
    m_pConnection->Lock();
    const HRESULT hr = pPoint->Advise(m_pConnection, &nCookie);
    if (SUCCEEDED(hr)) m_nAdviseCookie = nCookie;
    m_pConnection->Unlock();
    pPoint->Release();
    return SUCCEEDED(hr);
}

void CBaseData::Disconnect() {
    if (m_nAdviseCookie == 0) return;
    IConnectionPoint* const pPoint = FindEvents(*m_pTable);
    if (!pPoint) return;
    pPoint->Unadvise(m_nAdviseCookie);
    pPoint->Release();
}

std::unique_ptr<CBaseData> CBaseData::WrapCookie(std::uint32_t nCookie, CBaseDataEventReceiver* pSink) {
    IGlobalInterfaceTable* const pInterfaces = CreateInterfaceTable();
    if (!pInterfaces) return nullptr;
    IDispatch* pDispatch = nullptr;
    const HRESULT hr =
        pInterfaces->GetInterfaceFromGlobal(nCookie, IID_IBaseData, reinterpret_cast<void**>(&pDispatch));
    pInterfaces->Release();
    if (FAILED(hr)) return nullptr;
    const auto release = [](IDispatch* p) { p->Release(); };
    const std::unique_ptr<IDispatch, decltype(release)> holder(pDispatch, release);
    auto pTable = std::make_unique<CBaseData>();
    return pTable->Create(pSink, pDispatch) ? std::move(pTable) : nullptr;
}

std::unique_ptr<CBaseData> CBaseData::CreateNew() {
    auto pTable = std::make_unique<CBaseData>();
    return pTable->Create(nullptr, nullptr) ? std::move(pTable) : nullptr;
}

std::uint32_t CBaseData::GlobalCookie() {
    const CLock lock(m_cookieMutex);
    if (m_nGlobalCookie != 0 || !m_pTable) return m_nGlobalCookie;
    if (!m_pInterfaceTable) m_pInterfaceTable = CreateInterfaceTable();
    DWORD nCookie = 0;
    if (m_pInterfaceTable &&
        SUCCEEDED(m_pInterfaceTable->RegisterInterfaceInGlobal(m_pTable, IID_IBaseData, &nCookie))) {
        m_nGlobalCookie = nCookie;
    }
    return m_nGlobalCookie;
}

/// @param pArguments  in reverse, the last one first
void CBaseData::Invoke(DISPID nMethod, VARIANT* pArguments, UINT nCount, VARIANT* pResult) const {
    DISPPARAMS parameters{pArguments, nullptr, nCount, 0};
    const HRESULT hr = m_pTable->Invoke(nMethod, IID_NULL, 0, DISPATCH_METHOD, &parameters, pResult, nullptr, nullptr);
    if (FAILED(hr)) throw CFailure(static_cast<std::uint32_t>(hr));
}

std::int32_t CBaseData::Begin() {
    if (!m_pTable) return NO_TRANSACTION;
    CVariant result;
    Invoke(store::METHOD_BEGIN, nullptr, 0, &result);
    m_nLastTransaction = result.lVal;
    return result.lVal;
}

void CBaseData::Cancel(std::int32_t nTransaction) {
    if (!m_pTable) return;
    VARIANT argument = NumberArgument(nTransaction);
    Invoke(store::METHOD_CANCEL, &argument, 1, nullptr);
}

void CBaseData::Commit(std::int32_t nTransaction) {
    if (!m_pTable) return;
    VARIANT argument = NumberArgument(nTransaction);
    Invoke(store::METHOD_COMMIT, &argument, 1, nullptr);
}

void CBaseData::Operate(std::int32_t nTransaction, std::int32_t nOperation, const VARIANT& a, const VARIANT& b) {
    if (m_pTable) Write(nTransaction, nOperation, a, b);
}

void CBaseData::Write(std::int32_t nTransaction, std::int32_t nOperation, const VARIANT& a, const VARIANT& b) {
    VARIANT arArguments[] = {b, a, NumberArgument(nOperation), NumberArgument(nTransaction)};
    Invoke(store::METHOD_OPERATE, arArguments, 4, nullptr);
}

CVariant CBaseData::Get(std::int32_t nOperation, const VARIANT& a) const {
    CVariant result;
    if (!m_pTable) return result;
    VARIANT arArguments[] = {a, NumberArgument(nOperation)};
    Invoke(store::METHOD_GET, arArguments, 2, &result);
    return result;
}

}  // namespace qvant

#include "store/db_api_obj.h"

#include <stop_token>

#include "base/failure.h"
#include "platform/files.h"
#include "platform/module.h"
#include "platform/stop.h"
#include "store/create_object.h"
#include "store/db_api_sink.h"
#include "store/record_results.h"
#include "store/string_argument.h"

namespace qvant {
namespace {

constexpr TextView COMPONENT_FILE = u"Components/x64/QVDataBaseAPI64.so";
constexpr const OLECHAR* PROG_ID = u"Qvant.DataBaseAPI.1";

using FactoryGetter = HRESULT (*)(REFCLSID, REFIID, void**);

/// The connection point of a database object's events; null when it has none.
IConnectionPoint* FindEvents(IDispatch& database) {
    IConnectionPointContainer* pContainer = nullptr;
    if (FAILED(database.QueryInterface(IID_IConnectionPointContainer, reinterpret_cast<void**>(&pContainer)))) {
        return nullptr;
    }
    IConnectionPoint* pPoint = nullptr;
    const HRESULT hr = pContainer->FindConnectionPoint(IID__IDataBaseAPIEvents, &pPoint);
    pContainer->Release();
    return SUCCEEDED(hr) ? pPoint : nullptr;
}

}  // namespace

void CDataBaseEventReceiver::OnCommandMsg(std::int32_t, std::int32_t, const Text&) {}
void CDataBaseEventReceiver::OnWriteLog(const Text&) {}

DbAPIObj::~DbAPIObj() {
    Disconnect();
    if (m_pWaits) m_pWaits->Release();
    if (m_pDatabase) m_pDatabase->Release();
    platform::FreeModule(m_hModule);
}

bool DbAPIObj::Create(CDataBaseEventReceiver* pSink, TextView strBaseDirectory) {
    if (m_pDatabase) return true;
    if (!LoadComponent(strBaseDirectory) && !CreateFromProgId()) return false;
    if (FAILED(m_pDatabase->QueryInterface(IID_IQvantDataBase, reinterpret_cast<void**>(&m_pWaits)))) {
        m_pWaits = nullptr;
    }
    if (pSink) Connect(*pSink);
    return true;
}

/// The class comes by its name; the interface of its instances has a number that is fixed.
bool DbAPIObj::LoadComponent(TextView strBaseDirectory) {
    Text strPath(strBaseDirectory);
    if (strPath.empty()) {
        const Text strProgram = platform::GetExecutablePath();
        strPath = strProgram.substr(0, strProgram.rfind(u'/') + 1);
    }
    m_hModule = platform::LoadModule(strPath.append(COMPONENT_FILE));
    const auto pGetter = reinterpret_cast<FactoryGetter>(platform::FindExport(m_hModule, "DllGetClassObject"));
    CLSID clsid;
    IClassFactory* pFactory = nullptr;
    if (!pGetter || FAILED(CLSIDFromProgID(PROG_ID, &clsid)) ||
        FAILED(pGetter(clsid, IID_IClassFactory, reinterpret_cast<void**>(&pFactory)))) {
        return false;
    }
    IUnknown* pObject = nullptr;
    const HRESULT hr = pFactory->CreateInstance(nullptr, IID_IDataBaseAPI, reinterpret_cast<void**>(&pObject));
    pFactory->Release();
    if (SUCCEEDED(hr)) m_pDatabase = AsDispatch(pObject);
    return m_pDatabase != nullptr;
}

bool DbAPIObj::CreateFromProgId() {
    m_pDatabase = CreateObject(PROG_ID, IID_IDataBaseAPI);
    return m_pDatabase != nullptr;
}

/// One try; a client that can't be connected merely gets no events.
void DbAPIObj::Connect(CDataBaseEventReceiver& sink) {
    IConnectionPoint* const pPoint = FindEvents(*m_pDatabase);
    if (!pPoint) return;
    m_pConnection = new CDataBaseSink(sink);
    DWORD nCookie = 0;
    if (SUCCEEDED(pPoint->Advise(m_pConnection, &nCookie))) m_nAdviseCookie = nCookie;
    pPoint->Release();
}

void DbAPIObj::Disconnect() {
    if (!m_pConnection) return;
    m_pConnection->Close();
    IConnectionPoint* const pPoint = m_nAdviseCookie != 0 ? FindEvents(*m_pDatabase) : nullptr;
    if (pPoint) {
        pPoint->Unadvise(m_nAdviseCookie);
        pPoint->Release();
    }
    m_pConnection->Release();
}

/// A stop of the calling thread ends the waits for locks in the call that runs, which fails then.
/// @param pArguments  in reverse, the last one first
void DbAPIObj::Invoke(DISPID nMethod, VARIANT* pArguments, UINT nCount, VARIANT& result) {
    const std::stop_token stop = platform::CurrentStop();
    DISPPARAMS parameters{pArguments, nullptr, nCount, 0};
    HRESULT hr = S_OK;
    {
        const std::stop_callback forbid(stop, [this] { AllowWaits(FALSE); });
        hr = m_pDatabase->Invoke(nMethod, IID_NULL, 0, DISPATCH_METHOD, &parameters, &result, nullptr, nullptr);
    }
    if (stop.stop_requested()) AllowWaits(TRUE);
    if (FAILED(hr)) throw CFailure(static_cast<std::uint32_t>(hr));
}

void DbAPIObj::AllowWaits(BOOL bAllow) const {
    if (m_pWaits) m_pWaits->AllowWaits(bAllow);
}

std::int32_t DbAPIObj::CallWithTexts(DISPID nMethod, TextView strA, TextView strB) {
    if (!m_pDatabase) return 0;
    const CKeyArgument a(strA);
    const CKeyArgument b(strB);
    VARIANT arArguments[] = {b.GetVariant(), a.GetVariant()};
    VARIANT result{};
    Invoke(nMethod, arArguments, 2, result);
    return result.vt == VT_I4 ? result.lVal : 0;
}

std::int32_t DbAPIObj::CallWithTexts(DISPID nMethod, TextView strA, TextView strB, TextView strC) {
    if (!m_pDatabase) return 0;
    const CKeyArgument a(strA);
    const CValueArgument b(strB);
    const CValueArgument c(strC);
    VARIANT arArguments[] = {c.GetVariant(), b.GetVariant(), a.GetVariant()};
    VARIANT result{};
    Invoke(nMethod, arArguments, 3, result);
    return result.vt == VT_I4 ? result.lVal : 0;
}

std::int32_t DbAPIObj::OpenSystem(TextView strDirectory, TextView strSystemName) {
    return CallWithTexts(database::METHOD_OPEN_SYSTEM, strDirectory, strSystemName);
}

std::int32_t DbAPIObj::CreateTable(TextView strDatabase, TextView strTable, TextView strFields) {
    return CallWithTexts(database::METHOD_CREATE_TABLE, strDatabase, strTable, strFields);
}

std::int32_t DbAPIObj::InsertRecord(TextView strTable, TextView strFields, TextView strValues) {
    return CallWithTexts(database::METHOD_INSERT_RECORD, strTable, strFields, strValues);
}

std::int32_t DbAPIObj::DeleteRecord(TextView strTable, TextView strField, TextView strValue) {
    return CallWithTexts(database::METHOD_DELETE_RECORD, strTable, strField, strValue);
}

bool DbAPIObj::QueryRecords(TextView strTable, TextView strField, TextView strValue, CRecordSet& records) {
    if (!m_pDatabase) return false;
    const CKeyArgument table(strTable);
    const CKeyArgument field(strField);
    const CKeyArgument value(strValue);
    VARIANT set{};
    set.vt = VT_DISPATCH;
    set.pdispVal = &records.GetObject();
    VARIANT arArguments[] = {set, value.GetVariant(), field.GetVariant(), table.GetVariant()};
    VARIANT result{};
    Invoke(database::METHOD_QUERY_RECORDS, arArguments, 4, result);
    return result.vt == VT_BOOL && result.boolVal != VARIANT_FALSE;
}

void DbAPIObj::BeginBatch() {
    VARIANT result{};
    if (m_pDatabase) Invoke(database::METHOD_BEGIN_BATCH, nullptr, 0, result);
}

std::int32_t DbAPIObj::EndBatch() {
    if (!m_pDatabase) return 0;
    VARIANT result{};
    Invoke(database::METHOD_END_BATCH, nullptr, 0, result);
    return result.vt == VT_I4 ? result.lVal : 0;
}

std::int32_t DbAPIObj::DropDatabase(TextView strDatabase, TextView strTable) {
    return CallWithTexts(database::METHOD_DROP_DATABASE, strDatabase, strTable);
}

}  // namespace qvant

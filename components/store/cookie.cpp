#include "cookie.h"

#include "entry.h"
#include "qvant/store.h"
#include "table.h"

namespace qvant::store {

void CTableStandIn::Forget() {
    const CLock lock(m_mutex);
    m_pTable = nullptr;
}

HRESULT CTableStandIn::QueryInterface(REFIID riid, void** ppvObject) {
    if (!ppvObject) return E_POINTER;
    *ppvObject = nullptr;
    CRef<CTable> table;
    {
        const CLock lock(m_mutex);
        if (!m_pTable || !m_pTable->TryAddRef()) return E_INVALIDARG;
        table = CRef<CTable>(m_pTable);
    }
    return table->QueryInterface(riid, ppvObject);
}

ULONG CTableStandIn::Release() {
    const ULONG nLeft = --m_nReferences;
    if (nLeft == 0) delete this;
    return nLeft;
}

CTableCookie::~CTableCookie() {
    if (!m_pStandIn) return;
    m_pStandIn->Forget();
    if (const CRef<IGlobalInterfaceTable> interfaces(OpenInterfaceTable()); interfaces && m_nCookie != 0) {
        interfaces->RevokeInterfaceFromGlobal(m_nCookie);
    }
    m_pStandIn->Release();
}

DWORD CTableCookie::Get() {
    const CLock lock(m_mutex);
    if (m_nCookie != 0) return m_nCookie;
    const CRef<IGlobalInterfaceTable> interfaces(OpenInterfaceTable());
    if (!interfaces) return 0;
    if (!m_pStandIn) m_pStandIn = new CTableStandIn(m_table);
    if (FAILED(interfaces->RegisterInterfaceInGlobal(m_pStandIn, IID_IBaseData, &m_nCookie))) m_nCookie = 0;
    return m_nCookie;
}

IGlobalInterfaceTable* OpenInterfaceTable() {
    IGlobalInterfaceTable* pTable = nullptr;
    const HRESULT hr = CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_INPROC_SERVER,
                                        IID_IGlobalInterfaceTable, reinterpret_cast<void**>(&pTable));
    return SUCCEEDED(hr) ? pTable : nullptr;
}

}  // namespace qvant::store

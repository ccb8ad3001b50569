#include "store/record_results.h"

#include "base/failure.h"
#include "qvant/database.h"
#include "store/create_object.h"
#include "store/db_api_obj.h"
#include "store/string_argument.h"
#include "store/variant.h"

namespace qvant {
namespace {

void Invoke(IDispatch& object, DISPID nMethod, VARIANT* pArguments, UINT nCount, VARIANT& result) {
    DISPPARAMS parameters{pArguments, nullptr, nCount, 0};
    const HRESULT hr = object.Invoke(nMethod, IID_NULL, 0, DISPATCH_METHOD, &parameters, &result, nullptr, nullptr);
    if (FAILED(hr)) throw CFailure(static_cast<std::uint32_t>(hr));
}

}  // namespace

std::unique_ptr<CRecordItem> CRecordItem::Create() {
    IDispatch* const pItem = CreateObject(u"Qvant.RecordItem.1", IID_IDispatch);
    return pItem ? std::unique_ptr<CRecordItem>(new CRecordItem(pItem)) : nullptr;
}

CRecordItem::~CRecordItem() { m_pItem->Release(); }

Text CRecordItem::GetField(TextView strField) const {
    const CKeyArgument field(strField);
    VARIANT argument = field.GetVariant();
    CVariant result;
    Invoke(*m_pItem, database::METHOD_GET_FIELD, &argument, 1, result);
    return Text(result.GetText());
}

std::unique_ptr<CRecordSet> CRecordSet::Create() {
    IDispatch* const pSet = CreateObject(u"Qvant.RecordSet.1", IID_IDispatch);
    return pSet ? std::unique_ptr<CRecordSet>(new CRecordSet(pSet)) : nullptr;
}

CRecordSet::~CRecordSet() { m_pSet->Release(); }

std::int32_t CRecordSet::GetCount() const {
    VARIANT result{};
    Invoke(*m_pSet, database::METHOD_GET_COUNT, nullptr, 0, result);
    return result.vt == VT_I4 ? result.lVal : 0;
}

bool CRecordSet::Fetch(std::int32_t nIndex, CRecordItem& item) const {
    VARIANT arArguments[] = {VARIANT{}, NumberArgument(nIndex)};
    arArguments[0].vt = VT_DISPATCH;
    arArguments[0].pdispVal = &item.GetObject();
    VARIANT result{};
    Invoke(*m_pSet, database::METHOD_FETCH, arArguments, 2, result);
    return result.vt == VT_BOOL && result.boolVal != VARIANT_FALSE;
}

bool CRecordResults::Create() {
    const CLock lock(m_mutex);
    if (!m_pSet) m_pSet = CRecordSet::Create();
    if (m_pSet && !m_pItem) m_pItem = CRecordItem::Create();
    return HasBoth();
}

bool CRecordResults::IsCreated() const {
    const CLock lock(m_mutex);
    return HasBoth();
}

void CRecordResults::Release() {
    const CLock lock(m_mutex);
    m_pSet.reset();
    m_pItem.reset();
}

CRecordQuery::CRecordQuery(DbAPIObj& database, CRecordResults& results, TextView strTable, TextView strField,
                           TextView strValue)
    : m_lock(results.m_mutex),
      m_pSet(results.m_pSet.get()),
      m_pItem(results.m_pItem.get()),
      m_bSucceeded(results.HasBoth() && database.QueryRecords(strTable, strField, strValue, *m_pSet)) {}

}  // namespace qvant

/// The reads and writes of a table by name.
#include "base/numbers.h"
#include "store/base_data.h"
#include "store/json_members.h"
#include "store/string_argument.h"

namespace qvant {

void CBaseData::SetRow(std::int32_t nTransaction, std::int32_t nIndex, TextView strValue) {
    if (!m_pTable) return;
    const CValueArgument value(strValue);
    Write(nTransaction, store::OPERATION_ROW, NumberArgument(nIndex), value.GetVariant());
}

void CBaseData::SetValue(std::int32_t nTransaction, TextView strKey, TextView strValue) {
    if (!m_pTable) return;
    const CKeyArgument key(strKey);
    const CValueArgument value(strValue);
    Write(nTransaction, store::OPERATION_VALUE, key.GetVariant(), value.GetVariant());
}

void CBaseData::SetNumber(std::int32_t nTransaction, TextView strKey, std::int32_t nValue) {
    if (!m_pTable) return;
    const CKeyArgument key(strKey);
    Write(nTransaction, store::OPERATION_VALUE, key.GetVariant(), NumberArgument(nValue));
}

void CBaseData::SetTable(std::int32_t nTransaction, TextView strName, CBaseData& child) {
    if (!m_pTable) return;
    const CKeyArgument name(strName);
    const auto nCookie = static_cast<std::int32_t>(child.GlobalCookie());
    Write(nTransaction, store::OPERATION_TABLE, name.GetVariant(), NumberArgument(nCookie));
}

void CBaseData::LoadBlob(std::int32_t nTransaction, const VARIANT& blob) {
    Operate(nTransaction, store::OPERATION_BLOB, VARIANT{}, blob);
}

void CBaseData::Clear(std::int32_t nTransaction, std::int32_t nMask) {
    Operate(nTransaction, store::OPERATION_CLEAR, NumberArgument(nMask), VARIANT{});
}

std::int32_t CBaseData::GetCount() const {
    const CVariant result = Get(store::OPERATION_ROW, NumberArgument(-1));
    return result.vt == VT_I4 ? result.lVal : 0;
}

Text CBaseData::GetKeyAt(std::int32_t nIndex) const {
    return Text(Get(store::OPERATION_ROW, NumberArgument(nIndex)).GetText());
}

void CBaseData::Read(TextView strKey, VARIANT& result) const {
    if (!m_pTable) return;
    const CKeyArgument key(strKey);
    VARIANT arArguments[] = {key.GetVariant(), NumberArgument(store::OPERATION_VALUE)};
    Invoke(store::METHOD_GET, arArguments, 2, &result);
}

CVariant CBaseData::GetVariant(TextView strKey) const {
    CVariant result;
    Read(strKey, result);
    return result;
}

Text CBaseData::GetString(TextView strKey) const {
    CVariant result;
    Read(strKey, result);
    if (result.vt == VT_EMPTY) return {};
    if (result.vt != VT_BSTR) VariantChangeType(&result, &result, 0, VT_BSTR);
    return Text(result.GetText());
}

std::int32_t CBaseData::GetNumber(TextView strKey, std::int32_t nDefault) const {
    CVariant result;
    Read(strKey, result);
    if (result.vt == VT_I4) return result.lVal;
    return result.vt == VT_BSTR ? ToInt(result.GetText()) : nDefault;
}

std::unique_ptr<CBaseData> CBaseData::GetSubTable(TextView strKey, CBaseDataEventReceiver* pSink) const {
    const CKeyArgument key(strKey);
    const CVariant result = Get(store::OPERATION_TABLE, key.GetVariant());
    return result.vt == VT_I4 ? WrapCookie(static_cast<std::uint32_t>(result.lVal), pSink) : nullptr;
}

Text CBaseData::GetJsonField(TextView strKey, TextView strField) const {
    return std::move(GetJsonFields(strKey, {&strField, 1}).front());
}

std::vector<Text> CBaseData::GetJsonFields(TextView strKey, std::span<const TextView> arFields) const {
    std::vector<Text> arTexts;
    GetJsonFields(strKey, arFields, arTexts);
    return arTexts;
}

void CBaseData::GetJsonFields(TextView strKey, std::span<const TextView> arFields, std::vector<Text>& arTexts) const {
    CVariant result;
    Read(strKey, result);
    PickJsonFields(result, arFields, arTexts);
}

void CBaseData::PickJsonFields(CVariant& value, std::span<const TextView> arFields, std::vector<Text>& arTexts) {
    if (value.vt != VT_EMPTY && value.vt != VT_BSTR) VariantChangeType(&value, &value, 0, VT_BSTR);
    if (value.vt == VT_BSTR && value.bstrVal) {
        return PickJsonMembers(value.bstrVal, SysStringLen(value.bstrVal), arFields, arTexts);
    }
    arTexts.assign(arFields.size(), Text());
}

std::optional<Text> CBaseData::GetKeys() const {
    const CVariant result = Get(store::OPERATION_KEYS, NumberArgument(store::KEYS_ARGUMENT));
    if (result.vt != VT_BSTR) return std::nullopt;
    return Text(result.GetText());
}

CVariant CBaseData::GetBlob() const { return Get(store::OPERATION_BLOB, NumberArgument(store::MASK_VALUES)); }

}  // namespace qvant

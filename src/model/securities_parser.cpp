#include "model/securities_parser.h"

#include <set>
#include <vector>

#include "base/split.h"
#include "model/securities_pass.h"

namespace qvant {

namespace {

const JsonValue EMPTY_OBJECT(rapidjson::kObjectType);

/// Anything but an object counts as one without members.
const JsonValue& AsObject(const JsonValue& value) { return value.IsObject() ? value : EMPTY_OBJECT; }

}  // namespace

void CSecuritiesParser::ParseJsonData(const JsonDocument& document, CBaseData* pSecurityInfo) {
    const JsonValue* pSecurities = FindMember(document, u"SecuritiesInfo");
    if (!pSecurities) return;
    m_host.LogMessage(u"ParseJsonData Start.");
    m_mapPinyin.clear();
    m_mapMainType.clear();
    CBaseData none;
    CSecuritiesPass pass(*this, m_times, pSecurityInfo ? *pSecurityInfo : none);
    const JsonValue& securities = AsObject(*pSecurities);
    for (auto pMember = securities.MemberBegin(); pMember != securities.MemberEnd(); ++pMember) {
        pass.AddSecurity(GetText(pMember->name), pMember->value);
    }
    pass.FinishTables();
    m_host.LogMessage(u"ParseJsonData loop End.");
    pass.Commit();
    m_host.LogMessage(u"ParseJsonData SecurityInfo End.");
    if (WriteOpenTimes(pass.GetOpenTimes())) WriteOrderExchange(pass.GetRoutes());
}

bool CSecuritiesParser::WriteOpenTimes(const OpenTimeMap& mapOpenTimes) {
    const auto pTable = m_host.OpenTable(u"OpenTimeExchange", nullptr);
    if (!pTable) {
        m_host.LogMessage(u"Init pOpenTimeExchangeeBaseData Base Data Fault!");
        return false;
    }
    // Not cleared: a group that has left the document keeps its row.
    CTransaction transaction(*pTable);
    for (const auto& [strGroup, setTimes] : mapOpenTimes) {
        transaction.SetValue(strGroup, Join({setTimes.begin(), setTimes.end()}, u","));
    }
    transaction.Commit();
    m_host.LogMessage(u"ParseJsonData OpenTimeExchange End.");
    return true;
}

void CSecuritiesParser::WriteOrderExchange(const TextMap& mapRoutes) {
    const auto pTable = m_host.OpenTable(u"orderExchange", nullptr);
    if (!pTable) {
        m_host.LogMessage(u"Init orderExchange Base Data Fault!");
        return;
    }
    CTransaction transaction(*pTable);
    transaction.Clear(store::MASK_VALUES);
    for (const auto& [strRoute, strExchanges] : mapRoutes) transaction.SetValue(strRoute, strExchanges);
    transaction.Commit();
    CopyToStorage(*pTable);
    m_host.LogMessage(u"ParseJsonData OrderExchange End.");
}

void CSecuritiesParser::CopyToStorage(const CBaseData& orderExchange) {
    const auto pStorage = m_host.OpenTable(u"STORAGE", nullptr);
    if (!pStorage) return;
    auto pChild = pStorage->GetSubTable(u"orderExchange", nullptr);
    if (!pChild) {
        m_host.LogMessage(u"No STORAGE-orderExchange");
        pChild = OpenChild(*pStorage, u"orderExchange");
    }
    if (pChild) CopyValues(orderExchange, *pChild);
}

}  // namespace qvant

#include "service/topics.h"

#include <array>

#include "base/format.h"
#include "store/base_data.h"

namespace qvant {

namespace {

constexpr const char16_t* REQUEST_TABLE = u"LUMIVALE.REQUEST";

enum class Action { UserHotMonths, Factors, Rolls };

struct TopicAction {
    TextView strTopic;
    Action action;
};

/// In the order in which they are tried.
constexpr std::array<TopicAction, 7> ACTIONS{{{u"API_UpdateUDHotMonth", Action::UserHotMonths},
                                              {u"UpdateUDHotMonth", Action::UserHotMonths},
                                              {u"API_CQYZ.REQUEST", Action::Factors},
                                              {u"API_DBHFQ.REQUEST", Action::Factors},
                                              {u"CQYZ.REQUEST", Action::Factors},
                                              {u"HOTCHANGE.REQUEST", Action::Rolls},
                                              {u"EXPIREDATE.REQUEST", Action::Rolls}}};

/// The text of a variant, which becomes a string whatever it was: the caller reads it back as one.
Text TakeString(VARIANT& data) {
    if (data.vt != VT_BSTR) {
        VariantClear(&data);
        data.vt = VT_BSTR;
        data.bstrVal = nullptr;
    }
    return ToText(data.bstrVal);
}

}  // namespace

void CTopics::OnTopicCommand(TextView strTopic, std::int32_t nType, std::int32_t nParameter, TextView strText,
                             VARIANT* pData) {
    if (strTopic == REQUEST_TABLE) return OnRequest(strText, pData);
    m_parts.host.LogMessage(
        Format(u"strTopic=%s, lMsgTYPE=%d, lParam=%d, strParam=%s.", strTopic, nType, nParameter, strText));
    for (const auto& [strName, action] : ACTIONS) {
        if (strTopic != strName) continue;
        if (action == Action::Factors) m_parts.history.HandOver(WM_QUERY_CQYZ, strText);
        if (action == Action::UserHotMonths && nParameter == 1) m_parts.history.HandOver(WM_QUERY_BA, strText);
        // The service's own answers carry 1, and may come back here.
        if (action == Action::Rolls && nParameter == 0) RequestRolls(strTopic, strText);
        return;
    }
}

void CTopics::BeginRun() {
    const CLock lock(m_mutex);
    m_setRequested.clear();
}

void CTopics::OnRequest(TextView strText, VARIANT* pData) {
    m_parts.host.LogMessage(strText);
    if (strText == u"RESET") Reset();
    if (strText == u"STKINFO") AnswerStockInfo(pData);
}

/// Has the next start fetch everything. What this run holds stays in use, and nothing is asked for.
void CTopics::Reset() {
    if (!m_parts.storage.IsOpen()) return;
    m_parts.settings.ResetVersions();
    m_parts.databases.ForgetVersions();
}

void CTopics::AnswerStockInfo(VARIANT* pData) {
    if (!pData) return;
    const Text strSymbol = TakeString(*pData);
    const auto limits = m_parts.stockInfo.FindLimits(strSymbol);
    if (!limits) return m_parts.host.LogMessage(u"STKINFO empty:" + strSymbol);
    const Text strLimits = Format(u"%d|%d|%d|%d", limits->BuyQtyUpperLimit, limits->BuyQtyUnit,
                                  limits->SellQtyUpperLimit, limits->SellQtyUnit);
    const auto pTable = m_parts.host.OpenTable(REQUEST_TABLE, nullptr);
    if (!pTable) return;
    CTransaction transaction(*pTable);
    transaction.SetValue(strSymbol, strLimits);
    transaction.Commit();
}

/// Stocks have no rolls.
void CTopics::RequestRolls(TextView strTopic, TextView strSymbol) {
    {
        const CLock lock(m_mutex);
        if (Contains(strSymbol, u"QV.S.") || !m_setRequested.emplace(strSymbol).second) return;
    }
    m_enqueue(strTopic, strSymbol);
}

}  // namespace qvant

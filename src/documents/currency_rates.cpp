#include "documents/currency_rates.h"

#include "base/format.h"
#include "documents/reply_text.h"
#include "net/http_query.h"
#include "platform/stop.h"

namespace qvant {

namespace {

/// A gateway that is overloaded answers with less than this many units, whatever status it gives.
constexpr std::size_t SHORTEST_DOCUMENT = 6;

constexpr const char16_t* QUOTE = u"\"";

/// A value of any kind as the table has it.
Text Render(const CJsonValue& value) { return Text(Trim(ValueToText(value), QUOTE)); }

/// The members of a value; none when it is no object.
const CJsonValue::Object& GetMembers(const CJsonValue* pValue) {
    static const CJsonValue::Object NONE;
    const auto* pMembers = pValue ? pValue->Get<CJsonValue::Object>() : nullptr;
    return pMembers ? *pMembers : NONE;
}

}  // namespace

void CCurrencyRates::QueryCurrency(CBaseData* pCurrencyExchangeRate) {
    m_parts.host.LogMessage(u"Do QueryCurrency.");
    if (!pCurrencyExchangeRate) return;
    CJsonValue document;
    Text strError;
    const auto ask = [&](const Text& strServer) { return AskServer(strServer, document, strError); };
    const bool bReceived = m_parts.servers.Walk(ask);
    if (platform::StopRequested()) return;
    if (bReceived) Publish(document, *pCurrencyExchangeRate);
    m_parts.errors.PostErrorMsg(strError);
}

/// @return true when the server's reply could be read: it ends the walk, whatever it holds
bool CCurrencyRates::AskServer(const Text& strServer, CJsonValue& document, Text& strError) const {
    IHost& host = m_parts.host;
    strError.clear();
    // The version isn't compared: the whole document is asked for each time.
    const Text strUrl = strServer + u"OutsideData_getDocument.do?doc=Currency&lastVersion=-1";
    std::uint32_t nLength = 0;
    ReplyBuffer pReply = DoGetHttpQuery(strUrl, &nLength, m_parts.session.GetProxy(), strError, true, 0);
    if (!pReply) {
        host.LogMessage(u"QueryCurrency URL:" + strUrl);
        return false;
    }
    const Text strReply = Widen(GetReplyText(pReply, nLength));
    pReply.reset();
    const TextView strDocument = TrimRight(strReply, QUOTE);
    if (strDocument.size() < SHORTEST_DOCUMENT) {
        host.LogMessage(u"503 Service Temporarily Unavailable and skip do parse json");
        return false;
    }
    if (ParseValue(document, strDocument.data(), static_cast<std::int32_t>(strDocument.size())) > 0) return true;
    host.LogMessage(u"QueryCurrency-URlError:" + strUrl);
    return false;
}

/// One transaction, so that readers see the old rates or the new ones. A document without any member that counts leaves
/// the table empty.
///
/// The order is that of the members' names: of two values for one name the later stands, a group's rate in another
/// group as well as the "1" of its own.
void CCurrencyRates::Publish(const CJsonValue& document, CBaseData& table) {
    CTransaction transaction(table);
    transaction.Clear(store::MASK_TABLES);
    transaction.Clear(store::MASK_ROWS | store::MASK_VALUES);
    for (const auto& [strGroup, pGroup] : GetMembers(document.Find(u"FX"))) WriteGroup(strGroup, *pGroup, transaction);
    Text strVersion = m_parts.state.m_strCurrencyVersion;
    if (const CJsonValue* pVersion = document.Find(u"LastVersion")) {
        strVersion = Render(*pVersion);
        transaction.SetRow(0, strVersion);
    }
    for (const auto& [strName, pRate] : GetMembers(document.Find(u"RF"))) {
        transaction.SetValue(u"RF_" + strName, Render(*pRate));
    }
    transaction.Commit();
    m_parts.state.m_strCurrencyVersion = std::move(strVersion);
}

/// A name that a currency pair ends with stands under the pair's beginning as well.
void CCurrencyRates::WriteGroup(const Text& strGroup, const CJsonValue& group, CTransaction& transaction) const {
    transaction.SetValue(strGroup, u"1");
    const auto& mapMapping = m_parts.state.m_mapCurrencyMapping;
    for (const auto& [strName, pRate] : GetMembers(&group)) {
        const Text strRate = Render(*pRate);
        transaction.SetValue(strName, strRate);
        const auto pMapped = mapMapping.find(strName);
        if (pMapped != mapMapping.end()) transaction.SetValue(pMapped->second, strRate);
    }
}

}  // namespace qvant

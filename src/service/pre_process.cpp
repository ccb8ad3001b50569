#include "service/pre_process.h"

#include "base/split.h"
#include "platform/stop.h"

namespace qvant {

void CPreProcess::PreProcessData() {
    const platform::CStoppableHold pass(m_parts.lockPass);
    if (!pass) return;
    ReadRunState();
    PublishCurrencyPairs();
    m_parts.session.SetRequestId(m_parts.session.BuildRequestId(u"PreProcessData"));
    m_parts.securities.QuerySecuritiesInfo();
    if (platform::StopRequested()) return;
    m_parts.securities.LoadSecuritiesInfo(m_parts.tables.pSecurityInfo.get());
    m_parts.contracts.QueryContractList();
    if (platform::StopRequested()) return;
    m_parts.settings.ReadExchangeList(m_parts.state);
    LoadContractList();
    if (platform::StopRequested()) return;
    m_parts.rates.QueryCurrency(m_parts.tables.pCurrencyExchangeRate.get());
}

/// The symbols wait for the sign-in, which knows what the user may see.
void CPreProcess::LoadContractList() {
    m_parts.state.m_bPreProcessing = true;
    m_parts.contracts.LoadContractList(m_parts.tables.GetContractListTables());
    m_parts.state.m_bPreProcessing = false;
}

void CPreProcess::ReadRunState() {
    m_parts.state.m_mapCurrencyMapping.clear();
    m_parts.state.m_arClassification.clear();
    m_parts.state.m_mapContractVersion.clear();
    ProxySettings proxy;
    m_parts.settings.ReadRunState(m_parts.state, proxy);
    m_parts.session.SetProxy(std::move(proxy));
    m_loadSymbolWords();
}

void CPreProcess::PublishCurrencyPairs() {
    CBaseData* const pCurrencyMapping = m_parts.tables.pCurrencyMapping.get();
    for (const Text& strPair : SplitTokens(m_parts.state.m_strCurrencyRate, u";")) {
        const std::size_t nColon = strPair.find(u':');
        if (nColon == Text::npos) continue;
        const Text strFirst = strPair.substr(0, nColon);
        const Text strSecond = strPair.substr(nColon + 1);
        m_parts.state.m_mapCurrencyMapping[strSecond] = strFirst;
        if (!pCurrencyMapping) continue;
        CTransaction transaction(*pCurrencyMapping);
        transaction.SetValue(strFirst, strSecond);
        transaction.Commit();
    }
}

}  // namespace qvant

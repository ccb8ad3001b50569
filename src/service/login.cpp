#include "service/login.h"

#include "base/format.h"
#include "base/numbers.h"
#include "base/split.h"
#include "platform/stop.h"

namespace qvant {

void CLogin::Run() {
    ReadProxy();
    if (!WaitForFirstLoad() || !TakeUser()) return;
    // The wrapper of the sign-in before this one goes first, so that the sink has one delivery thread at a time. That
    // waits for a change of language that runs in it, and so nothing may be held here that the change waits for.
    m_parts.tables.pGeneralService.reset();
    m_parts.tables.pGeneralService = m_parts.host.OpenTable(u"GeneralService", &m_parts.sink);
    m_steps.startHolidays(m_strTradingDayURL);
    m_steps.startRefresh();
    m_steps.requestUserHotMonths();
}

/// The steps that touch the reference data: they wait for a refresh pass or a change of the language to end.
/// @return false when the service was told to stop meanwhile
bool CLogin::TakeUser() {
    const platform::CStoppableHold pass(m_parts.lockPass);
    // Whom a stop wakes may find the lock free.
    if (!pass || platform::StopRequested()) return false;
    ReadUser();
    const Servers servers = ReadServers();
    TakeTradePermissions();
    TakeServers(servers);
    Refresh(servers, TakeExchanges());
    return !platform::StopRequested();
}

/// An empty address leaves the values of the last run.
void CLogin::ReadProxy() {
    const auto pGeneral = m_parts.host.OpenTable(u"GeneralService", nullptr);
    if (!pGeneral) return;
    ProxySettings proxy = m_parts.session.GetProxy();
    const Text strAddress = pGeneral->GetString(u"AppsProxyAddress");
    if (strAddress.empty()) return;
    proxy.strAddress = strAddress;
    proxy.nPort = static_cast<std::uint32_t>(ToInt(pGeneral->GetString(u"AppsProxyPort")));
    proxy.strAccount = pGeneral->GetString(u"AppsProxyAccount");
    if (!proxy.strAccount.empty()) proxy.strPassword = pGeneral->GetString(u"AppsProxyPassword");
    m_parts.session.SetProxy(std::move(proxy));
}

/// @return false when the service was told to stop meanwhile
bool CLogin::WaitForFirstLoad() {
    if (m_parts.threadPreProcess.IsStarted()) {
        m_parts.host.LogMessage(u"LonginOk WaitForSingleObject : m_hThreadPreProcessData");
        m_parts.threadPreProcess.Wait();
    }
    if (platform::StopRequested()) return false;
    m_parts.host.LogMessage(u"LonginOk m_hThreadPreProcessData Done");
    m_parts.host.LogMessage(u"LonginOk WaitForSingleObject : m_hEventSymbolLookUp");
    m_parts.eventSymbolLookUp.Wait();
    if (platform::StopRequested()) return false;
    m_parts.host.LogMessage(u"LonginOk m_hEventSymbolLookUp Done");
    return true;
}

void CLogin::ReadUser() {
    const auto pGeneral = m_parts.host.OpenTable(u"PERMISSIONS.General", nullptr);
    if (!pGeneral) return;
    const Text strUser = pGeneral->GetString(u"Username");
    const Text strKey = pGeneral->GetString(u"SessionKey");
    const Text strRegion = pGeneral->GetString(u"Region");
    const Text& strAppName = m_parts.options.strAppName;
    m_parts.host.LogMessage(
        Format(u"LoginID:%s, Region=%s, AppName=%s, SessionKey:%s", strUser, strRegion, strAppName, strKey));
    m_parts.session.SetRegion(strRegion);
    if (strUser.empty() || strKey.empty()) return;
    m_parts.session.SetSessionQuery(
        Format(u"&ACCOUNT=%s&REGION=%s&APP_NAME=%s&KEY=%s", strUser, strRegion, strAppName, strKey));
}

CLogin::Servers CLogin::ReadServers() {
    Servers servers;
    if (const auto pPermissions = m_parts.host.OpenTable(u"PERMISSIONS.LUMIVale", nullptr)) {
        servers.strLumivaleURL = pPermissions->GetString(u"LUMIValeURL");
        servers.strInfoListType = pPermissions->GetString(u"InfoListType");
        m_strAppsTradeURL = pPermissions->GetString(u"AppsTradePermission");
        m_strTradingDayURL = pPermissions->GetString(u"TradingDayURL");
        m_parts.state.m_strHotChangeURL = pPermissions->GetString(u"HotChangeURL");
        m_parts.state.m_strExpireURL = pPermissions->GetString(u"ExpireURL");
        m_strSS2Cmd = pPermissions->GetString(u"SS2Cmd");
    }
    m_parts.host.LogMessage(Format(u"HotChangeURL=%s.", m_parts.state.m_strHotChangeURL));
    m_parts.host.LogMessage(Format(u"ExpireURL=%s.", m_parts.state.m_strExpireURL));
    m_parts.host.LogMessage(Format(u"SS2Cmd=%s.", m_strSS2Cmd));
    m_parts.rollServers.Append(CRollServers::List::HotChange, m_parts.state.m_strHotChangeURL);
    m_parts.rollServers.Append(CRollServers::List::Expire, m_parts.state.m_strExpireURL);
    m_parts.rollServers.Append(CRollServers::List::History, m_strSS2Cmd);
    return servers;
}

void CLogin::TakeTradePermissions() {
    Text strAllAppsTrade;
    if (const auto pRights = m_parts.host.OpenTable(u"PERMISSIONS.AppsTradePermission", nullptr)) {
        strAllAppsTrade = pRights->GetString(u"AllAppsTrade");
    }
    if (strAllAppsTrade == u"1") {
        if (const auto pWorking = m_parts.host.OpenTable(u"AppsTradePermission", nullptr)) {
            CTransaction transaction(*pWorking);
            transaction.SetValue(u"AllAppsTrade", u"1");
            transaction.Commit();
        }
    } else if (!m_strAppsTradeURL.empty()) {
        m_steps.queryPermissions(m_strAppsTradeURL);
    }
    m_parts.host.LogMessage(u"Set AppsTradePermission:" + strAllAppsTrade);
}

/// An empty list type stays empty and so differs from a stored "ALL", which leads to a rebuild. It is not to be
/// replaced by "ALL" here.
void CLogin::TakeServers(const Servers& servers) {
    m_parts.host.LogMessage(u"Server strLUMIValeURL:" + servers.strLumivaleURL);
    if (servers.strLumivaleURL.empty() || servers.strLumivaleURL == m_parts.state.m_strLumivaleURL) return;
    m_steps.selectServers(servers.strLumivaleURL);
}

/// Contracts are filtered by the exchanges that the user may see, so other exchanges mean that everything is fetched
/// and built anew: the stored versions go, and so does the memory of the servers.
///
/// `m_strExgList` stays as it is: it is what the first load of this run was built with, and signing in again rebuilds
/// again.
/// @return whether they are others
bool CLogin::TakeExchanges() {
    m_parts.rights.LoadExchangePermissions();
    RunState& state = m_parts.state;
    if (state.m_strExgList == state.m_strExgListNew) return false;
    m_parts.host.LogMessage(Format(u"Exg chg:%s => %s", state.m_strExgList, state.m_strExgListNew));
    // Before the list is saved: once it is, the next start takes what the database has for what was built with it.
    m_parts.databases.ForgetSearchBuild();
    m_parts.settings.SaveExchangeList(state.m_strExgListNew);
    state.m_mapContractVersionUnsaved.clear();
    state.m_strLumivaleURL.clear();
    const auto pStorage = m_parts.host.OpenTable(u"STORAGE", nullptr);
    const auto pLumivale = pStorage ? pStorage->GetSubTable(u"Lumivale", nullptr) : nullptr;
    if (!pLumivale) return true;
    CTransaction transaction(*pLumivale);
    transaction.Clear(store::MASK_VALUES);
    transaction.Commit();
    return true;
}

/// Other exchanges lead to a rebuild whatever the servers are, none included.
void CLogin::Refresh(const Servers& servers, bool bOtherExchanges) {
    RunState& state = m_parts.state;
    if (!bOtherExchanges && servers.strLumivaleURL == state.m_strLumivaleURL &&
        servers.strInfoListType == state.m_strInfoListType) {
        RefreshChanged();
        return;
    }
    m_parts.host.LogMessage(Format(u"diff:%s, %s; %s, %s", servers.strLumivaleURL, state.m_strLumivaleURL,
                                   servers.strInfoListType, state.m_strInfoListType));
    state.m_strLumivaleURL = servers.strLumivaleURL;
    state.m_strInfoListType = servers.strInfoListType;
    m_parts.storage.InitContractList(m_parts.tables.pCurrencyMapping.get());
    RebuildAll();
    if (platform::StopRequested()) {
        // What wasn't built is built by the next sign-in, which must not take the short way.
        state.m_strLumivaleURL.clear();
        return;
    }
    SaveSettings();
}

/// The short way: the servers are those of the last run.
void CLogin::RefreshChanged() {
    RunState& state = m_parts.state;
    const std::uint32_t nRequery = m_parts.storage.InitContractList(m_parts.tables.pCurrencyMapping.get());
    if (nRequery & L_REQUERY_CLASSOFOCATION) {
        m_parts.host.LogMessage(u"LonginOk InitContractList return = L_REQUERY_CLASSOFOCATION ");
        m_parts.contracts.QueryContractList();
        LoadContractList();
    } else if (nRequery == 0) {
        m_parts.host.LogMessage(u"LonginOk InitContractList return = 0 ");
        m_parts.stockInfo.QueryStkInfo();
        m_parts.stockInfo.LoadStkInfo();
        if (!platform::StopRequested()) {
            m_steps.makeSymbolLookupList();
            m_steps.armRequery();
        }
    }
    if (platform::StopRequested()) {
        // The next sign-in finds another classification and other pairs, and loads what this one didn't.
        state.m_strClassification.clear();
        state.m_strCurrencyRate.clear();
        return;
    }
    SaveSettings();
    if (nRequery & L_REQUERY_CURRENCYRATE) {
        m_parts.host.LogMessage(u"LonginOk InitContractList return = L_REQUERY_CURRENCYRATE ");
        QueryCurrency();
        // The next sign-in finds other pairs and asks for the rates that this one didn't get.
        if (platform::StopRequested()) state.m_strCurrencyRate.clear();
    }
}

void CLogin::RebuildAll() {
    m_parts.session.SetRequestId(m_parts.session.BuildRequestId(u"MakeContractList"));
    m_parts.securities.QuerySecuritiesInfo();
    if (platform::StopRequested()) return;
    m_parts.securities.LoadSecuritiesInfo(m_parts.tables.pSecurityInfo.get());
    m_parts.host.LogMessage(u"MakeInitData-Start");
    m_parts.contracts.QueryContractList();
    LoadContractList();
    QueryCurrency();
}

void CLogin::LoadContractList() {
    if (platform::StopRequested()) return;
    m_parts.contracts.LoadContractList(m_parts.tables.GetContractListTables());
}

void CLogin::QueryCurrency() {
    if (platform::StopRequested()) return;
    m_parts.rates.QueryCurrency(m_parts.tables.pCurrencyExchangeRate.get());
}

void CLogin::SaveSettings() {
    const RunState& state = m_parts.state;
    m_parts.settings.SaveSettings(state, m_parts.session.GetProxy(), m_parts.storage.GetLumivale(),
                                  state.m_strClassification, state.AppsLanguage, state.m_strCurrencyRate);
}

}  // namespace qvant

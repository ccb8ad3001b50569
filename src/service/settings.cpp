#include "service/settings.h"

#include "base/format.h"
#include "base/numbers.h"
#include "base/split.h"
#include "platform/files.h"
#include "platform/profile.h"

namespace qvant {

namespace {

constexpr const char16_t* SECTION = u"LUMIVale";
constexpr std::size_t VALUE_SIZE = 256;
constexpr std::size_t EXCHANGE_LIST_SIZE = 2048;
constexpr std::int32_t DEFAULT_INTERVAL = 50;
constexpr std::int32_t MOST_REPLY_LIMIT = 4095;  ///< MiB; the length of a reply is a 32-bit number

/// "%s:%s|", repeated.
Text JoinPairs(const std::map<Text, Text>& mapPairs) {
    Text strPairs;
    for (const auto& [strCode, strVersion] : mapPairs) strPairs += Format(u"%s:%s|", strCode, strVersion);
    return strPairs;
}

std::map<Text, Text> SplitPairs(TextView strPairs) {
    std::map<Text, Text> mapPairs;
    for (const Text& strPair : SplitTokens(strPairs, u"|")) {
        const std::size_t nColon = strPair.find(u':');
        if (nColon != Text::npos) mapPairs[strPair.substr(0, nColon)] = strPair.substr(nColon + 1);
    }
    return mapPairs;
}

/// A new file is wide text with its mark, as the profile layer writes it.
void CreateSettingsFile(TextView strPath) {
    if (!platform::CanReadFile(strPath)) platform::ReplaceFile(strPath, ToUtf16Bytes(u"\uFEFF[LUMIVale]\r\n"));
}

}  // namespace

void CSettings::SetHomeDir(Text strHomeDir) {
    m_strHomeDir = std::move(strHomeDir);
    m_strIniPath = m_strHomeDir + u"Configs/LUMIVale.ini";
}

Text CSettings::ReadText(TextView strKey, TextView strDefault, std::size_t nSize) const {
    return platform::GetProfileText(SECTION, strKey, strDefault, nSize, m_strIniPath);
}

Options CSettings::ReadOptions() const {
    const Text strService = m_strHomeDir + u"ComShared/DrovaneService.ini";
    const Text strCustom = m_strHomeDir + u"ComShared/CustomSetting.ini";
    const auto readCustom = [&](TextView strKey, TextView strDefault) {
        return platform::GetProfileText(SECTION, strKey, strDefault, VALUE_SIZE, strCustom);
    };
    Options options;
    options.strAppName = platform::GetProfileText(u"SERVER_INFO", u"AppName", u"FREE", VALUE_SIZE, strService);
    options.nHideErrorMsg = ToInt(readCustom(u"HideErrorMsg", u""));
    options.nResponseInterval = ToInt(readCustom(u"ResponseInterval", u"-1"));
    if (options.nResponseInterval < 0) options.nResponseInterval = DEFAULT_INTERVAL;
    const std::int32_t nReplyLimit = ToInt(readCustom(u"ReplyLimit", u""));
    if (nReplyLimit >= 1 && nReplyLimit <= MOST_REPLY_LIMIT) options.nReplyLimit = nReplyLimit;
    options.bStkInfoCgi = readCustom(u"STKINFO", u"APP") == u"CGI";
    options.strHolidayHost = readCustom(u"HolidayHost", u"");
    return options;
}

Text CSettings::ReadServerList() const {
    Text strServers = ReadText(u"LUMIValeURL");
    if (!strServers.empty()) return strServers;
    platform::CreateFolders(GetConfigsPath());
    return platform::GetProfileText(SECTION, u"LUMIValeURL", u"", VALUE_SIZE, m_strHomeDir + u"../LUMIVale.ini");
}

void CSettings::ReadRollServers(RunState& state) const {
    state.m_strHotChangeURL = ReadText(u"HotChangeURL");
    state.m_strExpireURL = ReadText(u"ExpireURL");
}

void CSettings::ReadRunState(RunState& state, ProxySettings& proxy) const {
    state.m_strClassification = ReadText(u"Classification");
    state.m_strVersion = ReadText(u"Version");
    state.m_strInfoListType = ReadText(u"InfoListType", u"ALL");
    state.m_mapContractVersion = SplitPairs(ReadText(u"ContractVersion"));
    state.AppsLanguage = ReadText(u"AppsLanguage");
    proxy.strAddress = ReadText(u"ProxyAddress");
    proxy.nPort = static_cast<std::uint32_t>(platform::GetProfileInt(SECTION, u"AppsProxyPort", 0, m_strIniPath));
    proxy.strAccount = ReadText(u"AppsProxyAccount");
    proxy.strPassword = ReadText(u"AppsProxyPassword");
    state.m_mapStkInfoVersion = SplitPairs(ReadText(u"StkInofVersion"));
    state.m_strCurrencyRate = ReadText(u"CurrencyRate");
    state.m_arClassification = SplitTokens(state.m_strClassification, u"|");
}

void CSettings::ReadExchangeList(RunState& state) const {
    const Text strExchanges = ReadText(u"ExgList", u"", EXCHANGE_LIST_SIZE);
    if (strExchanges.empty()) return;
    state.m_strExgList = strExchanges;
    for (Text& strExchange : SplitTokens(strExchanges, u"|")) state.m_mapExchanges.insert(std::move(strExchange));
}

void CSettings::SaveText(TextView strKey, TextView strValue) const {
    CreateSettingsFile(m_strIniPath);
    const platform::ProfileValue arValues[] = {{strKey, strValue}};
    platform::WriteProfileTexts(SECTION, arValues, m_strIniPath);
}

void CSettings::SaveExchangeList(TextView strExchanges) const { SaveText(u"ExgList", strExchanges); }

void CSettings::SaveLanguage(TextView strLanguage) const { SaveText(u"AppsLanguage", strLanguage); }

void CSettings::ResetVersions() const {
    CreateSettingsFile(m_strIniPath);
    const platform::ProfileValue arValues[] = {{u"Version", u""}, {u"ContractVersion", u""}};
    platform::WriteProfileTexts(SECTION, arValues, m_strIniPath);
}

bool CSettings::SaveSettings(const RunState& state, const ProxySettings& proxy, const CBaseData* pLumivale,
                             TextView strClassification, TextView strLanguage, TextView strCurrencyRate) const {
    CreateSettingsFile(m_strIniPath);
    if (!pLumivale) return false;
    const Text strPort = Format(u"%d", static_cast<std::int32_t>(proxy.nPort));
    const Text strContractVersions = JoinPairs(state.m_mapContractVersion);
    const Text strStkInfoVersions = JoinPairs(state.m_mapStkInfoVersion);
    const Text strVersion = pLumivale->GetString(u"Version");
    const platform::ProfileValue arValues[] = {
        {u"LUMIValeURL", state.m_strLumivaleURL},
        {u"Version", strVersion},
        {u"InfoListType", state.m_strInfoListType},
        {u"Classification", strClassification},
        {u"ContractVersion", strContractVersions},
        {u"StkInofVersion", strStkInfoVersions},
        {u"AppsLanguage", strLanguage},
        {u"ProxyAddress", proxy.strAddress},
        {u"AppsProxyPort", strPort},
        {u"AppsProxyAccount", proxy.strAccount},
        {u"AppsProxyPassword", proxy.strPassword},
        {u"CurrencyRate", strCurrencyRate},
        {u"HotChangeURL", state.m_strHotChangeURL},
        {u"ExpireURL", state.m_strExpireURL},
    };
    return platform::WriteProfileTexts(SECTION, arValues, m_strIniPath);
}

Text CSettings::ReadSystemName() const {
    return platform::GetProfileText(u"SYSTEM", u"SystemName", u"", VALUE_SIZE,
                                    m_strHomeDir + u"ComShared/SystemSettings.ini");
}

SymbolWords CSettings::ReadSymbolWords(TextView strLanguage) const {
    return LoadSymbolWords(m_strHomeDir + u"ComShared/MsgString.ini", strLanguage);
}

}  // namespace qvant

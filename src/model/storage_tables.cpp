#include "model/storage_tables.h"

#include <algorithm>
#include <optional>

#include "base/format.h"
#include "base/split.h"
#include "platform/two_threads.h"

namespace qvant {

namespace {

/// From so many margins on a second thread pays for itself.
constexpr std::size_t MANY_MARGINS = 10'000;

/// One of the two tables of margins in the making; nothing where the host has no such table.
class CMarginUpdate {
public:
    CMarginUpdate(IHost& host, TextView strTable, const CSymbolColumn& mapMargins)
        : m_mapMargins(mapMargins), m_pTable(host.OpenTable(strTable, nullptr)) {
        if (m_pTable) m_transaction.emplace(*m_pTable);
    }

    void Fill() {
        if (!m_transaction) return;
        for (const auto& [strSymbol, strMargin] : m_mapMargins) m_transaction->SetValue(strSymbol, strMargin);
    }
    void Commit() {
        if (m_transaction) m_transaction->Commit();
    }

private:
    const CSymbolColumn& m_mapMargins;
    const std::unique_ptr<CBaseData> m_pTable;
    std::optional<CTransaction> m_transaction;
};

}  // namespace

std::uint32_t CStorageTables::InitContractList(CBaseData* pCurrencyMapping) {
    BindChildren();
    m_steps.startHardwareReport();
    m_state.m_mapCurrencyMapping.clear();
    m_state.m_arClassification.clear();
    m_state.m_mapContractVersion.clear();
    StoreUnsavedContractVersions();
    const Text strCurrencyRate = ReadPermissions(pCurrencyMapping);

    Text strLanguage;
    if (const auto pGeneral = m_host.OpenTable(u"GeneralService", nullptr)) {
        strLanguage = pGeneral->GetString(u"AppsLanguage");
        m_state.Culture = pGeneral->GetString(u"AppManager_Culture");
    }
    std::uint32_t nResult = CompareClassification(strLanguage);
    if (strCurrencyRate != m_state.m_strCurrencyRate) {
        m_state.m_strCurrencyRate = strCurrencyRate;
        nResult |= L_REQUERY_CURRENCYRATE;
    }
    if (m_state.m_bVersionUnsaved && StoreVersion(false)) m_state.m_bVersionUnsaved = false;
    return nResult;
}

bool CStorageTables::StoreVersion(bool bLogged) {
    if (!m_pLumivale) return false;
    CTransaction transaction(*m_pLumivale);
    m_state.m_strVersion = Text(Trim(m_state.m_strVersion, u"\""));
    transaction.SetValue(u"Version", m_state.m_strVersion);
    if (bLogged) m_host.LogMessage(u"QuerySecuritiesInfo-SaveVer:" + m_state.m_strVersion);
    transaction.Commit();
    return true;
}

void CStorageTables::StoreMarginRates(const CSymbolColumn& mapLong, const CSymbolColumn& mapShort) {
    CMarginUpdate updateLong(m_host, u"LongMarginRate", mapLong);
    if (std::min(mapLong.size(), mapShort.size()) < MANY_MARGINS) {
        updateLong.Fill();
        updateLong.Commit();
        CMarginUpdate updateShort(m_host, u"ShortMarginRate", mapShort);
        updateShort.Fill();
        return updateShort.Commit();
    }
    CMarginUpdate updateShort(m_host, u"ShortMarginRate", mapShort);
    platform::ShareWork(2, [&](std::size_t i) { (i == 0 ? updateLong : updateShort).Fill(); });
    updateLong.Commit();
    updateShort.Commit();
}

void CStorageTables::BindChildren() {
    m_bLumivaleExisted = false;
    const auto pStorage = m_host.OpenTable(u"STORAGE", nullptr);
    if (!pStorage) return;
    auto pLumivale = pStorage->GetSubTable(u"Lumivale", nullptr);
    m_bLumivaleExisted = pLumivale != nullptr;
    if (!m_bLumivaleExisted) {
        m_host.LogMessage(u"No STORAGE-Lumivale");
        pLumivale = OpenChild(*pStorage, u"Lumivale");
    }
    m_pLumivale = std::move(pLumivale);
    m_bLumivaleOpen = m_pLumivale != nullptr;
    BindTradePermissions(*pStorage);
    BindHolidays(*pStorage);
}

/// A user with the right to everything keeps the working table as it is; for any other the last permissions count
/// until the servers send newer ones. Those may have come already, as they are asked for on a thread of their own.
void CStorageTables::BindTradePermissions(CBaseData& storage) {
    bool bExisted = false;
    const bool bUnsaved = m_tradePermissions.Bind(OpenChild(storage, u"AppTradePermission", &bExisted));
    // From here on newer permissions reach both tables, whichever way the copy goes.
    const auto pWorking = bExisted || bUnsaved ? m_host.OpenTable(u"AppsTradePermission", nullptr) : nullptr;
    if (pWorking) m_tradePermissions.Level(*pWorking, pWorking->GetString(u"AllAppsTrade") != u"1");
}

/// The calendar of the last run counts until a fetch brings another one.
void CStorageTables::BindHolidays(CBaseData& storage) {
    auto pChild = storage.GetSubTable(u"Holiday", nullptr);
    m_holidays.Bind(pChild ? std::move(pChild) : MakeHolidays(storage));
    if (const auto pWorking = m_host.OpenTable(u"Holiday", nullptr)) m_holidays.Level(*pWorking, true);
}

/// The child is attached once it is filled, and also when there was nothing to fill it with: the next sign-in finds it
/// and doesn't ask the database again.
std::unique_ptr<CBaseData> CStorageTables::MakeHolidays(CBaseData& storage) const {
    auto pChild = CBaseData::CreateNew();
    if (!pChild) return nullptr;
    m_steps.fillHolidays(*pChild);
    CTransaction transaction(storage);
    transaction.SetTable(u"Holiday", *pChild);
    transaction.Commit();
    return pChild;
}

void CStorageTables::StoreUnsavedContractVersions() {
    if (m_state.m_mapContractVersionUnsaved.empty() || !m_pLumivale) return;
    CTransaction transaction(*m_pLumivale);
    for (const auto& [strName, strVersion] : m_state.m_mapContractVersionUnsaved) {
        transaction.SetValue(strName + u".Version", strVersion);
    }
    m_state.m_mapContractVersionUnsaved.clear();
    transaction.Commit();
}

/// Walks the key=value rows of the user's permissions.
/// @return the value of "CurrencyRate" as it came
Text CStorageTables::ReadPermissions(CBaseData* pCurrencyMapping) {
    Text strCurrencyRate;
    const auto pPermissions = m_host.OpenTable(u"PERMISSIONS.LUMIVale", nullptr);
    if (!pPermissions) return strCurrencyRate;
    const std::int32_t nCount = pPermissions->GetCount();
    for (std::int32_t nIndex = 0; nIndex < nCount; ++nIndex) {
        const Text strEntry = pPermissions->GetKeyAt(nIndex);
        const std::size_t nEqual = strEntry.find(u'=');
        if (nEqual == Text::npos) continue;
        const TextView strKey = TextView(strEntry).substr(0, nEqual);
        const TextView strValue = TextView(strEntry).substr(nEqual + 1);
        if (strKey == u"Classification") {
            TakeClassification(strValue);
        } else if (strKey == u"CurrencyRate") {
            strCurrencyRate = strValue;
            TakeCurrencyPairs(strValue, pCurrencyMapping);
        }
    }
    return strCurrencyRate;
}

void CStorageTables::TakeClassification(TextView strValue) {
    const Text strItem = ToUpper(strValue);
    auto& arItems = m_state.m_arClassification;
    if (std::find(arItems.begin(), arItems.end(), strItem) != arItems.end()) return;
    arItems.push_back(strItem);
    int nPosition = 0;
    const Text strName = NextToken(strItem, u":", nPosition);
    const Text strVersion = m_pLumivale ? m_pLumivale->GetString(strName + u".Version") : Text();
    if (!strVersion.empty()) m_state.m_mapContractVersion[strName] = strVersion;
}

void CStorageTables::TakeCurrencyPairs(TextView strValue, CBaseData* pCurrencyMapping) {
    for (const Text& strPair : SplitTokens(ToUpper(strValue), u";")) {
        const std::size_t nColon = strPair.find(u':');
        if (nColon == Text::npos) continue;
        const Text strFirst = strPair.substr(0, nColon);
        const Text strSecond = strPair.substr(nColon + 1);
        m_state.m_mapCurrencyMapping[strSecond] = strFirst;
        if (!pCurrencyMapping) continue;
        CTransaction transaction(*pCurrencyMapping);
        transaction.SetValue(strFirst, strSecond);
        transaction.Commit();
    }
}

std::uint32_t CStorageTables::CompareClassification(const Text& strLanguage) {
    if (m_bLumivaleExisted && m_pLumivale) {
        CTransaction transaction(*m_pLumivale);
        transaction.Clear(store::MASK_TABLES);
        transaction.Commit();
    }
    Text strClassification;
    for (const Text& strItem : m_state.m_arClassification) strClassification.append(strItem).append(u"|");
    if (strClassification == m_state.m_strClassification && strLanguage == m_state.AppsLanguage) return 0;
    m_state.m_strClassification = strClassification;
    m_state.AppsLanguage = strLanguage;
    m_steps.languageChanged();
    return L_REQUERY_CLASSOFOCATION;
}

}  // namespace qvant

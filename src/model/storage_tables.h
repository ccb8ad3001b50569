/// The children of "STORAGE" that the service keeps open, and the step of sign-in that binds them.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

#include "model/run_state.h"
#include "store/base_data.h"
#include "store/host.h"

namespace qvant {

/// Bits of `InitContractList`: what has changed and must be fetched again.
enum Requery : std::uint32_t {
    L_REQUERY_CLASSOFOCATION = 1,  ///< the classification or the language
    L_REQUERY_CURRENCYRATE = 16    ///< the currency pairs
};

/// Owned by the service; used by the thread of sign-in and by the passes after it, but for the trade permissions, which
/// a thread of their own may bring at any time.
class CStorageTables {
public:
    /// @param languageChanged  reads the symbol words and makes the underlying lists anew for `AppsLanguage`
    CStorageTables(IHost& host, RunState& state, std::function<void()> languageChanged)
        : m_host(host), m_state(state), m_languageChanged(std::move(languageChanged)) {}

    /// Binds the children, takes the user's classification, currency pairs and language over.
    /// @param pCurrencyMapping  the table "CurrencyMapping", or null
    /// @return bits of `Requery`; 0 when nothing changed since the last run
    std::uint32_t InitContractList(CBaseData* pCurrencyMapping);

    /// The record "Lumivale"; null before the first sign-in, and without "STORAGE".
    CBaseData* GetLumivale() const { return m_pLumivale.get(); }

    /// Writes `m_strVersion` into the record, without the double quotes around it, which go from the member too.
    /// @param bLogged  whether the log tells of it, before readers see it
    /// @return false while there is no record
    bool StoreVersion(bool bLogged);

    /// Adds margins to "LongMarginRate" and "ShortMarginRate"; a table that the host doesn't have is left out. Symbols
    /// that aren't in the maps keep their entries.
    /// @param mapLong, mapShort  symbol to margin text
    void StoreMarginRates(const TextMap& mapLong, const TextMap& mapShort);

    /// Commits newer trade permissions to their table and copies the whole of it to the record "AppTradePermission".
    /// Without the record yet, the copy is made when it is bound. Any thread.
    /// @param working      the table "AppsTradePermission"
    /// @param transaction  on that table
    void PublishTradePermissions(const CBaseData& working, CTransaction& transaction);

    void ReleaseAppTradePermission();
    void ReleaseLumivale() { m_pLumivale.reset(); }

private:
    void BindChildren();
    void BindTradePermissions(CBaseData& storage);
    void StoreUnsavedContractVersions();
    Text ReadPermissions(CBaseData* pCurrencyMapping);
    void TakeClassification(TextView strValue);
    void TakeCurrencyPairs(TextView strValue, CBaseData* pCurrencyMapping);
    std::uint32_t CompareClassification(const Text& strLanguage);

    IHost& m_host;
    RunState& m_state;
    const std::function<void()> m_languageChanged;
    std::unique_ptr<CBaseData> m_pLumivale;
    std::mutex m_mutexTradePermission;  ///< guards the next two, and keeps the two ways of copying apart
    std::unique_ptr<CBaseData> m_pAppTradePermission;
    bool m_bTradePermissionUnsaved = false;  ///< the working table is newer than the record
    bool m_bLumivaleExisted = false;
};

}  // namespace qvant

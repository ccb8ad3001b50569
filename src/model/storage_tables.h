/// The children of "STORAGE" that the service keeps open, and the step of sign-in that binds them.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "model/run_state.h"
#include "model/storage_twin.h"
#include "store/base_data.h"
#include "store/host.h"
#include "symbols/symbol_table.h"

namespace qvant {

/// Bits of `InitContractList`: what has changed and must be fetched again.
enum Requery : std::uint32_t {
    L_REQUERY_CLASSOFOCATION = 1,  ///< the classification or the language
    L_REQUERY_CURRENCYRATE = 16    ///< the currency pairs
};

/// Owned by the service; used by the thread of sign-in and by the passes after it, but for the trade permissions and
/// the holidays, which threads of their own may bring at any time.
class CStorageTables {
public:
    /// What it sets going; whoever tests it alone leaves out what he doesn't need.
    struct Steps {
        /// Reads the symbol words and makes the underlying lists anew for `AppsLanguage`.
        std::function<void()> languageChanged = [] {};
        /// Writes the holidays of the record database into a new child; leaves it when there are none.
        std::function<void(CBaseData& child)> fillHolidays = [](CBaseData&) {};
        /// Starts the machine report on a thread of its own; called once the children are bound.
        std::function<void()> startHardwareReport = [] {};
    };

    CStorageTables(IHost& host, RunState& state, Steps steps)
        : m_host(host), m_state(state), m_steps(std::move(steps)) {}

    /// Binds the children, takes the user's classification, currency pairs and language over.
    /// @param pCurrencyMapping  the table "CurrencyMapping", or null
    /// @return bits of `Requery`; 0 when nothing changed since the last run
    std::uint32_t InitContractList(CBaseData* pCurrencyMapping);

    /// The record "Lumivale"; null before the first sign-in, and without "STORAGE".
    CBaseData* GetLumivale() const { return m_pLumivale.get(); }

    /// Whether there is that record. Any thread.
    bool IsOpen() const { return m_bLumivaleOpen; }

    /// Writes `m_strVersion` into the record, without the double quotes around it, which go from the member too.
    /// @param bLogged  whether the log tells of it, before readers see it
    /// @return false while there is no record
    bool StoreVersion(bool bLogged);

    /// Adds margins to "LongMarginRate" and "ShortMarginRate"; a table that the host doesn't have is left out. Symbols
    /// that aren't in the maps keep their entries.
    /// @param mapLong, mapShort  symbol to margin text
    void StoreMarginRates(const CSymbolColumn& mapLong, const CSymbolColumn& mapShort);

    /// Commits newer trade permissions to their table and copies the whole of it to the record "AppTradePermission".
    /// Without the record yet, the copy is made when it is bound. Any thread.
    /// @param working      the table "AppsTradePermission"
    /// @param transaction  on that table
    void PublishTradePermissions(const CBaseData& working, CTransaction& transaction) {
        m_tradePermissions.Publish(working, transaction);
    }

    /// The same for the holidays and the record "Holiday".
    void PublishHolidays(const CBaseData& working, CTransaction& transaction) {
        m_holidays.Publish(working, transaction);
    }

    void ReleaseHoliday() { m_holidays.Release(); }
    void ReleaseLumivale() {
        m_bLumivaleOpen = false;
        m_pLumivale.reset();
    }
    void ReleaseAppTradePermission() { m_tradePermissions.Release(); }

private:
    void BindChildren();
    void BindTradePermissions(CBaseData& storage);
    void BindHolidays(CBaseData& storage);
    std::unique_ptr<CBaseData> MakeHolidays(CBaseData& storage) const;
    void StoreUnsavedContractVersions();
    Text ReadPermissions(CBaseData* pCurrencyMapping);
    void TakeClassification(TextView strValue);
    void TakeCurrencyPairs(TextView strValue, CBaseData* pCurrencyMapping);
    std::uint32_t CompareClassification(const Text& strLanguage);

    IHost& m_host;
    RunState& m_state;
    const Steps m_steps;
    std::unique_ptr<CBaseData> m_pLumivale;
    std::atomic<bool> m_bLumivaleOpen{false};
    CStorageTwin m_tradePermissions;
    CStorageTwin m_holidays;
    bool m_bLumivaleExisted = false;
};

}  // namespace qvant

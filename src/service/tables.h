/// The store tables that the service keeps open for its life.
#pragma once

#include <memory>

#include "documents/contract_list_document.h"
#include "model/symbol_lookup.h"
#include "store/base_data.h"
#include "store/host.h"

namespace qvant {

/// Opened at the start by the host's thread, released at the end. A table that the host doesn't have stays null.
struct KeptTables {
    std::unique_ptr<CBaseData> pSecurityInfo;
    std::unique_ptr<CBaseData> pHotMonth;
    std::unique_ptr<CBaseData> pCurrencyExchangeRate;
    std::unique_ptr<CBaseData> pCurrencyMapping;
    std::unique_ptr<CBaseData> pUnderlyingList;
    std::unique_ptr<CBaseData> pUnderlyingFList;
    std::unique_ptr<CBaseData> pOptionStyle;
    std::unique_ptr<CBaseData> pNearbyMonth;
    std::unique_ptr<CBaseData> pNearMonthTable;
    std::unique_ptr<CBaseData> pSymbolSearchName;
    std::unique_ptr<CBaseData> pHoliday;
    std::unique_ptr<CBaseData> pContractList;
    std::unique_ptr<CBaseData> pContractListName;
    std::unique_ptr<CBaseData> pCqyz;
    std::unique_ptr<CBaseData> pSystemTime;      ///< with the service's sink, until the stop
    std::unique_ptr<CBaseData> pGeneralService;  ///< with the service's sink, from sign-in

    KeptTables() = default;
    ~KeptTables();

    /// Registers and opens the tables from "Security.Info" to "Symbol.Search.Name".
    void RegisterAndOpen(IHost& host);
    void RegisterAndOpenHoliday(IHost& host);
    void RegisterAndOpenContractLists(IHost& host);

    ContractListTables GetContractListTables() const;
    SymbolLookupTables GetSymbolLookupTables() const;

    /// Releases the tables that the final clean-up names before the children of "STORAGE", in their order.
    void ReleasePublished();
};

}  // namespace qvant

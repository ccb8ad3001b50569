#include "service/tables.h"

#include <vector>

#include "base/mutex.h"

namespace qvant {

namespace {

/// A table by its name and the place of its wrapper.
struct TablePlace {
    const char16_t* pszName;
    std::unique_ptr<CBaseData> KeptTables::*pTable;
};

void RegisterAndOpenAll(IHost& host, KeptTables& tables, std::initializer_list<TablePlace> places) {
    for (const auto& [pszName, pTable] : places) {
        host.RegisterTable(pszName);
        tables.*pTable = host.OpenTable(pszName, nullptr);
    }
}

/// "Contract.List" and "Contract.List.Name" are never released: other modules hold what they published until the
/// process goes away, longer than the service lives.
void KeepUntilProcessEnds(std::unique_ptr<CBaseData> pTable) {
    static CMutex mutexKept;
    static auto* const pKept QV_PT_GUARDED_BY(mutexKept) = new std::vector<std::unique_ptr<CBaseData>>();
    const CLock lock(mutexKept);
    if (pTable) pKept->push_back(std::move(pTable));
}

}  // namespace

KeptTables::~KeptTables() {
    KeepUntilProcessEnds(std::move(pContractList));
    KeepUntilProcessEnds(std::move(pContractListName));
}

void KeptTables::RegisterAndOpen(IHost& host) {
    RegisterAndOpenAll(host, *this,
                       {{u"Security.Info", &KeptTables::pSecurityInfo},
                        {u"HOTMONTHTABLE", &KeptTables::pHotMonth},
                        {u"CurrencyExchangeRate", &KeptTables::pCurrencyExchangeRate},
                        {u"CurrencyMapping", &KeptTables::pCurrencyMapping},
                        {u"Underlying.List", &KeptTables::pUnderlyingList},
                        {u"Underlying.F.List", &KeptTables::pUnderlyingFList},
                        {u"OptionStyle", &KeptTables::pOptionStyle},
                        {u"NearbyMonth", &KeptTables::pNearbyMonth},
                        {u"NEARMONTHTABLE", &KeptTables::pNearMonthTable},
                        {u"Symbol.Search.Name", &KeptTables::pSymbolSearchName}});
}

void KeptTables::RegisterAndOpenHoliday(IHost& host) {
    RegisterAndOpenAll(host, *this, {{u"Holiday", &KeptTables::pHoliday}});
}

void KeptTables::RegisterAndOpenContractLists(IHost& host) {
    KeepUntilProcessEnds(std::move(pContractList));
    KeepUntilProcessEnds(std::move(pContractListName));
    RegisterAndOpenAll(
        host, *this,
        {{u"Contract.List", &KeptTables::pContractList}, {u"Contract.List.Name", &KeptTables::pContractListName}});
}

ContractListTables KeptTables::GetContractListTables() const {
    return {pContractListName.get(), pHotMonth.get(), pNearbyMonth.get(), pContractList.get()};
}

SymbolLookupTables KeptTables::GetSymbolLookupTables() const {
    return {pSymbolSearchName.get(), pNearMonthTable.get()};
}

void KeptTables::ReleasePublished() {
    for (auto* pTable : {&pSystemTime, &pGeneralService, &pSecurityInfo, &pHotMonth, &pNearMonthTable, &pNearbyMonth,
                         &pSymbolSearchName, &pUnderlyingList, &pUnderlyingFList, &pOptionStyle, &pCurrencyExchangeRate,
                         &pCurrencyMapping, &pHoliday}) {
        pTable->reset();
    }
}

}  // namespace qvant

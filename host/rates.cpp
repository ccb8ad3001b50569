#include "rates.h"

#include <map>

#include "table_content.h"

namespace qvant::host {

namespace {

constexpr TextView RISK_FREE = u"RF_";

/// Currency to the one whose rate it has.
std::map<Text, Text> ReadMapping(const CTables& tables) {
    std::map<Text, Text> mapNames;
    if (const auto table = tables.Find(u"CurrencyMapping")) {
        for (const auto& [strLeft, right] : ReadTable(*table).arValues) mapNames[strLeft] = ToText(right);
    }
    return mapNames;
}

}  // namespace

Rates ListRates(const CTables& tables, TextView strName) {
    const TableContent content = ReadTable(tables.Open({u"CurrencyExchangeRate", {}}));
    const auto mapNames = ReadMapping(tables);
    Rates rates{{"rate", {"currency", "rate", "same_as"}, {}, 0}, {"risk-free rate", {"currency", "rate"}, {}, 0}, {}};
    for (const auto& [strKey, value] : content.arValues) {
        const bool bRiskFree = strKey.starts_with(RISK_FREE);
        const Text strCurrency = bRiskFree ? strKey.substr(RISK_FREE.size()) : strKey;
        const auto itSame = mapNames.find(strCurrency);
        const Text strSame = itSame != mapNames.end() && !bRiskFree ? itSame->second : Text();
        if (!ContainsNoCase(strCurrency, strName) && !ContainsNoCase(strSame, strName)) continue;
        if (bRiskFree) {
            rates.riskFree.arRows.push_back({strCurrency, value});
        } else {
            rates.currencies.arRows.push_back({strCurrency, value, strSame.empty() ? Value() : Value(strSame)});
        }
    }
    for (Listing* pListing : {&rates.currencies, &rates.riskFree}) pListing->nTotal = pListing->arRows.size();
    if (!content.arRows.empty()) rates.version = content.arRows.front();
    return rates;
}

}  // namespace qvant::host

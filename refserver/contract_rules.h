/// Which contracts a product has: its months, when they expire, its strikes and margins.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <rapidjson/document.h>

#include "strikes.h"

namespace qvant::refserver {

/// One month of a product, with all the contracts in it.
struct ContractSeries {
    std::string strMonth;   // YYYYMM
    std::string strExpiry;  // YYYYMMDD
    CStrikes strikes;       // none for a future
};

struct ContractRule {
    std::string strKey;  // QV.F.CME.ES
    std::vector<ContractSeries> arSeries;
    std::string strLongMargin;
    std::string strShortMargin;
    std::string strHot;            // a month of the series, or empty
    std::string strHot2;           // likewise
    std::int64_t nInstrument = 0;  // identifier of the first contract, the others count on; 0: none

    bool IsOption() const { return strKey.starts_with("QV.O."); }
};

/// The rules of all products, in the order of their files and within each as a person wrote them down.
class CContractRules {
public:
    /// Adds one file of "contracts".
    /// @throw CWorldError  it can't be read, or says something that can't be
    void AddFile(const std::filesystem::path& file);

    const std::vector<ContractRule>& GetRules() const { return m_arRules; }

    /// The rule of a product; null when there is none.
    const ContractRule* Find(std::string_view key) const;

private:
    std::vector<ContractRule> m_arRules;
    std::unordered_map<std::string, std::size_t> m_mapRules;  // key to position
};

/// Calls `call(symbol behind the product's key and its dot)` for each contract of one series, calls before
/// puts at each strike.
template <typename Call>
void ForEachContract(const ContractRule& rule, const ContractSeries& series, const Call& call) {
    if (!rule.IsOption()) {
        call(series.strMonth);
        return;
    }
    for (const auto& strStrike : series.strikes.MakeTexts()) {
        call(series.strMonth + ".C." + strStrike);
        call(series.strMonth + ".P." + strStrike);
    }
}

inline std::size_t CountContracts(const ContractRule& rule, const ContractSeries& series) {
    return rule.IsOption() ? 2 * series.strikes.GetCount() : 1;
}

}  // namespace qvant::refserver

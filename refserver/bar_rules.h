/// The daily bars of all contracts, from a few words about each product.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "price.h"
#include "roll_book.h"
#include "trading_days.h"
#include "world_date.h"

namespace qvant::refserver {

/// What a product's bars follow from.
struct BarRule {
    Price close;  // for delivery on the last day
    Price tick;
    double dSwing = 0;       // of the price in a year
    double dCarry = 0;       // how much dearer a year's later delivery is
    std::uint64_t nWay = 0;  // products of the same way go up and down together
    Day first;               // days of the first and of the last bars
    Day last;
    std::chrono::minutes end{};  // of a bar, from the midnight in China that its day begins at
    std::map<unsigned, std::map<Day, Price>> mapWrittenCloses;  // month to day to a close written down by a person
};

/// A contract as its bars know it.
struct BarContract {
    std::string_view key;  // QV.F.CME.ES
    unsigned nMonth;
    Day expiry;
};

class CBarRules {
public:
    /// Adds one file of "bars".
    /// @throw CWorldError  it can't be read, or says something that can't be
    void AddFile(const std::filesystem::path& file);

    /// The rule of a product; null when there is none.
    const BarRule* Find(std::string_view key) const;

private:
    std::unordered_map<std::string, BarRule> m_mapRules;
};

/// The close of a contract's last bar that ended at or before a moment in China time.
/// @return none when there was no bar yet
std::optional<Price> FindClose(const BarRule& rule, const BarContract& contract, const CTradingDays& tradingDays,
                               std::chrono::sys_time<std::chrono::minutes> moment);

}  // namespace qvant::refserver

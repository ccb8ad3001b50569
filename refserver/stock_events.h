/// What stocks paid and how they were split, and the factors that follow from it.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "world_date.h"

namespace qvant::refserver {

/// A day on which a stock trades without what was paid for the day before.
struct StockEvent {
    Day day;
    double dClose = 0;   // of the day before
    double dCash = 0;    // for a share
    double dShares = 0;  // new ones for an old one

    /// By which the prices before the day are multiplied to go with those from the day on; six decimals.
    double GetFactor() const;
};

class CStockEvents {
public:
    /// Adds one file of "factors".
    /// @throw CWorldError  it can't be read, or says something that can't be
    void AddFile(const std::filesystem::path& file);

    /// The events of a stock, "QV.S.SSE.600000", the first one first; null for a stock that none are told of.
    const std::vector<StockEvent>* Find(std::string_view key) const;

private:
    std::unordered_map<std::string, std::vector<StockEvent>> m_mapEvents;
};

}  // namespace qvant::refserver

/// What the requests for rolls and for history are answered from.
#pragma once

#include <filesystem>
#include <string_view>
#include <vector>

#include "bar_rules.h"
#include "contract_rules.h"
#include "history_names.h"
#include "roll_book.h"
#include "securities_merger.h"
#include "stock_events.h"
#include "trading_days.h"

namespace qvant::refserver {

struct WorldHistory {
    CRollBook rolls;
    CBarRules bars;
    CStockEvents events;
    CHistoryNames names;
    CTradingDays tradingDays;
};

/// Reads the files of "rolls", "bars" and "factors".
/// @param arFiles   the files of the data folder
/// @param holidays  its holiday text
/// @throw CWorldError  one of them can't be read, or says something that can't be
WorldHistory ReadWorldHistory(const std::vector<std::filesystem::path>& arFiles, const std::filesystem::path& folder,
                              const CContractRules& rules, const CSecuritiesMerger& securities,
                              std::string_view holidays);

}  // namespace qvant::refserver

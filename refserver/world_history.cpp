#include "world_history.h"

namespace qvant::refserver {

WorldHistory ReadWorldHistory(const std::vector<std::filesystem::path>& arFiles, const std::filesystem::path& folder,
                              const CContractRules& rules, const CSecuritiesMerger& securities,
                              std::string_view holidays) {
    WorldHistory history;
    for (const auto& file : arFiles) {
        const auto parent = file.parent_path();
        if (parent == folder / "rolls") history.rolls.AddFile(file);
        if (parent == folder / "bars") history.bars.AddFile(file);
        if (parent == folder / "factors") history.events.AddFile(file);
    }
    history.rolls.AddListed(rules);
    history.names = CHistoryNames(securities);
    history.tradingDays = CTradingDays(holidays);
    return history;
}

}  // namespace qvant::refserver

/// What a terminal's folders hold, in the units that are replaced whole.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace qvant::proof {

/// Unit to what it holds. A unit is a file ("Configs/LumivaleInfo.dat"), a table of a record database
/// ("Data/API/OBHoliday.db:Version"), or a key of "STORAGE" ("Data/STORAGE.db|/Lumivale|Version").
using HomeContent = std::map<std::string, std::string>;

/// Reads what lies below a home folder's parent, which holds "terminal" and "common". Databases are read from a copy,
/// so that nothing is repaired that the next start is to repair. Temporary files of replacements aren't content.
/// @throw std::runtime_error  a database is broken
HomeContent ReadHome(const std::filesystem::path& folder);

/// Names the units that are as in none of the states, and the record databases whose tables are of different states.
/// A unit that isn't there counts as one that a state hasn't.
std::vector<std::string> FindHalves(const HomeContent& found, const std::vector<const HomeContent*>& arStates);

/// Names what differs.
std::vector<std::string> FindDifferences(const HomeContent& found, const HomeContent& expected);

/// Temporary files below the folder that replacements have left there.
std::vector<std::string> FindLeftovers(const std::filesystem::path& folder);

}  // namespace qvant::proof

/// What the prompt completes behind a word, where that depends on what the terminal has.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tables.h"
#include "words.h"

namespace qvant::host {

/// Names of tables, keys of the securities that the service published, titles of the user's own series.
/// @param pathHome  the service's home folder
std::vector<std::string> GetNames(Argument nArgument, const CTables& tables, const std::filesystem::path& pathHome);

}  // namespace qvant::host

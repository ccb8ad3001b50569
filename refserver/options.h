/// The command line.
#pragma once

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "faults.h"

namespace qvant::refserver {

struct ServeOptions {
    std::filesystem::path data;
    std::string strAddress = "127.0.0.1";
    std::uint16_t nPort = 0;
    std::vector<Fault> arFaults;
};

struct GenerateOptions {
    std::size_t nProducts = 0;
    std::size_t nContracts = 0;
    std::size_t nListed = 0;
    std::uint64_t nSeed = 1;
    std::filesystem::path out;
};

/// The documents that can be published.
enum class DocumentFamily { Securities, Contracts, Rates, Holidays, Stocks };

struct PublishOptions {
    std::filesystem::path data;
    DocumentFamily nFamily = DocumentFamily::Securities;
    std::string strName;     // of a classification
    std::string strVersion;  // empty: the one behind that of the document
};

struct HelpRequest {};
struct VersionRequest {};

using Options = std::variant<ServeOptions, GenerateOptions, PublishOptions, HelpRequest, VersionRequest>;

/// A command line that can't be followed; the text says why.
class COptionError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// @param arArguments  without the program's name
/// @throw COptionError
Options ParseOptions(const std::vector<std::string>& arArguments);

/// The text of `--help`.
std::string HelpText();

}  // namespace qvant::refserver

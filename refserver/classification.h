/// A classification of contracts: the tree as a person wrote it, its branches grown from the rules of the products.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <rapidjson/document.h>

#include "contract_rules.h"

namespace qvant::refserver {

/// What a classification takes from the securities.
struct ListedSecurities {
    std::vector<std::string> arKeys;                                                  // all of them, in order
    std::map<std::string, std::map<std::string, std::string>, std::less<>> mapNames;  // product to language to name
};

/// The `Classification` member of a reply with its name, as compact JSON. A node goes out as it stands but for these
/// members:
///  - "EachProduct": beginnings of product keys; becomes "Node" with a leaf for each product
///  - "Products": product keys, or beginnings of them that end in "."; becomes the arrays of a leaf with all their
///    contracts, or with "Series": "hot" or "hot2" those of one month
///  - "Securities": beginnings of security keys; becomes "Contracts"
/// @throw CWorldError  a member has another shape, or asks for what isn't there
std::string ExpandClassification(const std::filesystem::path& file, const CContractRules& rules,
                                 const ListedSecurities& securities);

}  // namespace qvant::refserver

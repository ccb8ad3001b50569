/// How the versions of a data folder's documents begin, as "world.json" has it.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

#include <rapidjson/document.h>

namespace qvant::refserver {

/// Names of the documents in "versions": the files or the folder that they come from.
inline constexpr std::string_view SecuritiesDocument = "securities";
inline constexpr std::string_view PermissionsDocument = "permissions";
std::string ClassificationDocument(std::string_view name);
std::string StockInfoDocument(std::string_view exchange);

/// "version" for all of them, "versions" for single ones, "fixedVersion" for the whole of every version.
class CDocumentVersions {
public:
    /// @throw CWorldError  a member has another shape
    CDocumentVersions(const rapidjson::Value& root, const std::filesystem::path& file);

    const std::string& GetBeginning(std::string_view document) const;

    /// JSON of the one version that stands for all documents, whatever they hold; empty: there is none.
    const std::string& GetFixed() const { return m_strFixed; }

private:
    std::string m_strBeginning;
    std::map<std::string, std::string, std::less<>> m_mapBeginnings;
    std::string m_strFixed;
};

}  // namespace qvant::refserver

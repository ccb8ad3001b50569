#include "world.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <utility>

#include <rapidjson/document.h>

#include "classification.h"
#include "contract_rules.h"
#include "document_versions.h"
#include "gzip.h"
#include "json_file.h"
#include "price_walk.h"
#include "securities_merger.h"

namespace qvant::refserver {

namespace {

namespace fs = std::filesystem;

constexpr const char* PermissionsFile = "permissions.json";
// The folders whose every file whose name ends in ".json" belongs to the world.
constexpr std::array<const char*, 7> Folders = {"securities", "contracts", "classifications", "stkinfo",
                                                "rolls",      "bars",      "factors"};

/// What "world.json" says.
struct WorldSettings {
    CDocumentVersions versions;
    std::string strBroker;
    std::map<std::string, std::vector<std::string>> mapListTypes;
};

std::vector<std::string> ReadPrefixes(const rapidjson::Value& list, const fs::path& file) {
    const std::string strFault = file.string() + ": a list type isn't an array of key prefixes";
    if (!list.IsArray()) throw CWorldError(strFault);
    std::vector<std::string> arPrefixes;
    for (const auto& item : list.GetArray()) {
        if (!item.IsString()) throw CWorldError(strFault);
        arPrefixes.emplace_back(item.GetString(), item.GetStringLength());
    }
    return arPrefixes;
}

void ReadListTypes(const rapidjson::Value& root, const fs::path& file, WorldSettings& settings) {
    const auto it = root.FindMember("listTypes");
    if (it == root.MemberEnd()) return;
    if (!it->value.IsObject()) throw CWorldError(file.string() + ": \"listTypes\" isn't an object");
    for (const auto& member : it->value.GetObject()) {
        settings.mapListTypes[member.name.GetString()] = ReadPrefixes(member.value, file);
    }
}

WorldSettings ReadSettings(const fs::path& file) {
    const auto root = ReadObject(file);
    WorldSettings settings{CDocumentVersions(root, file), ReadString(root, "broker", file), {}};
    ReadListTypes(root, file, settings);
    return settings;
}

/// @param document  its name in "versions"
/// @return JSON
std::string MakeVersion(const WorldSettings& settings, std::string_view document, std::string_view content) {
    if (!settings.versions.GetFixed().empty()) return settings.versions.GetFixed();
    char hash[17];
    std::snprintf(hash, sizeof hash, "%016llx",
                  static_cast<unsigned long long>(Hash(content) ^ Hash(settings.strBroker)));
    const std::string& strBeginning = settings.versions.GetBeginning(document);
    return ToJson(strBeginning.empty() ? std::string(hash) : strBeginning + "-" + hash);
}

ReadyBody MakeBody(std::string strText) {
    ReadyBody body;
    body.gzipped = std::make_shared<const std::string>(Gzip(strText));
    body.plain = std::make_shared<const std::string>(std::move(strText));
    return body;
}

std::string PlainVersion(const std::string& strJson) {
    rapidjson::Document value;
    value.Parse(strJson.data(), strJson.size());
    return value.IsString() ? std::string(value.GetString(), value.GetStringLength()) : strJson;
}

WorldDocument MakeDocument(const WorldSettings& settings, const std::string& strSecurities) {
    const std::string strVersion = MakeVersion(settings, SecuritiesDocument, strSecurities);
    const std::string strHead = "{\"LastVersion\":" + strVersion;
    std::string strWhole;
    strWhole.reserve(strSecurities.size() + 256);
    strWhole += strHead;
    strWhole += ",\"Broker\":" + ToJson(settings.strBroker) + ",\"SecuritiesInfo\":";
    strWhole += strSecurities;
    strWhole += '}';
    WorldDocument document;
    document.strVersion = PlainVersion(strVersion);
    document.whole = MakeBody(std::move(strWhole));
    document.noNews = MakeBody(strHead + ",\"Broker\":\"\"}");
    document.probe = MakeBody(strHead + "}");
    return document;
}

/// @param name        its name in "versions"
/// @param strMembers  compact JSON of the document's members, without the braces around them
VersionedDocument MakeVersioned(const WorldSettings& settings, std::string_view name, std::string strMembers) {
    const std::string strVersion = MakeVersion(settings, name, strMembers);
    const std::string strHead = "{\"LastVersion\":" + strVersion;
    VersionedDocument document;
    document.strVersion = PlainVersion(strVersion);
    document.noNews = MakeBody(strHead + "}");
    strMembers.insert(0, strMembers.empty() ? strHead : strHead + ",");
    strMembers += '}';
    document.whole = MakeBody(std::move(strMembers));
    return document;
}

/// A document that goes out as its file has it.
VersionedDocument ReadVersioned(const WorldSettings& settings, std::string_view name, const fs::path& file) {
    const auto root = ReadObject(file);
    // The server gives the version; two of them would leave the choice to the client.
    if (root.HasMember("LastVersion")) throw CWorldError(file.string() + ": has a \"LastVersion\" of its own");
    const std::string strText = ToJson(root);
    return MakeVersioned(settings, name, strText.substr(1, strText.size() - 2));
}

/// A text whose lines end in CR LF, whatever they end in where it is edited. Wide text goes out as it is.
Body ReadHolidays(const fs::path& file) {
    std::string strText = ReadText(file);
    if (strText.starts_with("\xFF\xFE")) return std::make_shared<const std::string>(std::move(strText));
    std::string strLines;
    strLines.reserve(strText.size() + strText.size() / 16);
    for (const char c : strText) {
        if (c == '\n' && !strLines.ends_with('\r')) strLines += '\r';
        strLines += c;
    }
    return std::make_shared<const std::string>(std::move(strLines));
}

ListedSecurities ListSecurities(const CSecuritiesMerger& merger, const CContractRules& rules) {
    ListedSecurities listed;
    merger.ForEach([&](const std::string& strKey, std::string_view security) {
        listed.arKeys.push_back(strKey);
        if (!rules.Find(strKey)) return;
        auto& mapNames = listed.mapNames[strKey];
        rapidjson::Document root;
        root.Parse<rapidjson::kParseIterativeFlag>(security.data(), security.size());
        for (const auto& member : std::as_const(root).GetObject()) {
            constexpr std::string_view NameOf = "Name.";
            const auto name = ToView(member.name);
            if (!name.starts_with(NameOf) || !member.value.IsString()) continue;
            mapNames[std::string(name.substr(NameOf.size()))] = ToView(member.value);
        }
    });
    for (const auto& rule : rules.GetRules()) {
        if (!listed.mapNames.contains(rule.strKey)) {
            throw CWorldError("contracts of \"" + rule.strKey + "\", which is no security of this world");
        }
    }
    return listed;
}

void ReadClassifications(const std::vector<fs::path>& arFiles, const fs::path& folder, const WorldSettings& settings,
                         const CSecuritiesMerger& merger, const CContractRules& rules, World& world) {
    const auto listed = ListSecurities(merger, rules);
    for (const auto& file : arFiles) {
        if (file.parent_path() != folder / "classifications") continue;
        const std::string strName = file.stem().string();
        world.mapClassifications[strName] =
            MakeVersioned(settings, ClassificationDocument(strName), ExpandClassification(file, rules, listed));
    }
}

}  // namespace

const WorldDocument& World::GetDocument(std::string_view strType) const {
    const auto it = mapDocuments.find(strType);
    return it != mapDocuments.end() ? it->second : mapDocuments.find(AllSecurities)->second;
}

std::vector<fs::path> ListWorldFiles(const fs::path& folder) {
    const fs::path settings = folder / "world.json";
    std::error_code error;
    if (!fs::is_regular_file(settings, error)) throw CWorldError(settings.string() + ": no such file");
    std::vector<fs::path> arFiles{settings};
    for (const char* pFolder : Folders) {
        for (const auto& entry : fs::directory_iterator(folder / pFolder, error)) {
            if (entry.path().extension() == ".json") arFiles.push_back(entry.path());
        }
    }
    for (const char* pFile : {CurrencyFile, HolidayFile, PermissionsFile}) {
        if (fs::exists(folder / pFile, error)) arFiles.push_back(folder / pFile);
    }
    std::sort(arFiles.begin() + 1, arFiles.end());
    return arFiles;
}

World ReadWorld(const fs::path& folder) {
    const auto arFiles = ListWorldFiles(folder);
    const auto settings = ReadSettings(arFiles.front());
    CSecuritiesMerger merger;
    CContractRules rules;
    World world;
    for (std::size_t n = 1; n < arFiles.size(); ++n) {
        const fs::path& file = arFiles[n];
        if (file.parent_path() == folder / "securities") merger.AddFile(file);
        if (file.parent_path() == folder / "contracts") rules.AddFile(file);
        if (file.parent_path() == folder / "stkinfo") {
            const std::string strExchange = file.stem().string();
            world.mapStockInfo[strExchange] = ReadVersioned(settings, StockInfoDocument(strExchange), file);
        }
        if (file == folder / HolidayFile) world.holidays = ReadHolidays(file);
        if (file == folder / PermissionsFile) world.permissions = ReadVersioned(settings, PermissionsDocument, file);
        if (file == folder / CurrencyFile) world.currency = MakeBody(ToJson(ReadObject(file)));
    }
    ReadClassifications(arFiles, folder, settings, merger, rules, world);
    const std::string_view holidays = world.holidays ? std::string_view(*world.holidays) : std::string_view();
    world.history = ReadWorldHistory(arFiles, folder, rules, merger, holidays);
    world.nFiles = arFiles.size();
    world.nSecurities = merger.GetCount();
    for (const auto& [strType, arPrefixes] : settings.mapListTypes) {
        world.mapDocuments[strType] = MakeDocument(settings, merger.Select(arPrefixes));
    }
    world.mapDocuments[std::string(AllSecurities)] = MakeDocument(settings, merger.TakeAll());
    return world;
}

}  // namespace qvant::refserver

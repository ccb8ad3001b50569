#include "world.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "gzip.h"
#include "securities_merger.h"

namespace qvant::refserver {

namespace {

namespace fs = std::filesystem;

/// What "world.json" says.
struct WorldSettings {
    std::string strVersion;
    std::string strFixedVersion;  // as JSON; empty: versions follow the content
    std::string strBroker;
    std::map<std::string, std::vector<std::string>> mapListTypes;
};

std::string ToJson(const rapidjson::Value& value) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    value.Accept(writer);
    return {buffer.GetString(), buffer.GetSize()};
}

std::string ToJson(std::string_view text) {
    return ToJson(rapidjson::Value(text.data(), static_cast<rapidjson::SizeType>(text.size())));
}

std::string ReadText(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    std::string strText{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    if (!stream) throw CWorldError(file.string() + ": can't be read");
    return strText;
}

std::string ReadString(const rapidjson::Value& root, const char* pName, const fs::path& file) {
    const auto it = root.FindMember(pName);
    if (it == root.MemberEnd()) return {};
    if (!it->value.IsString()) throw CWorldError(file.string() + ": \"" + pName + "\" isn't a string");
    return {it->value.GetString(), it->value.GetStringLength()};
}

std::string ReadFixedVersion(const rapidjson::Value& root, const fs::path& file) {
    const auto it = root.FindMember("fixedVersion");
    if (it == root.MemberEnd()) return {};
    if (!it->value.IsString() && !it->value.IsInt64()) {
        throw CWorldError(file.string() + ": \"fixedVersion\" is neither a string nor an integer");
    }
    return ToJson(it->value);
}

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
    const std::string strText = ReadText(file);
    rapidjson::Document root;
    root.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(strText.data(), strText.size());
    if (root.HasParseError()) {
        throw CWorldError(file.string() + ": " + rapidjson::GetParseError_En(root.GetParseError()) + " (byte " +
                          std::to_string(root.GetErrorOffset()) + ")");
    }
    if (!root.IsObject()) throw CWorldError(file.string() + ": isn't an object");
    WorldSettings settings;
    settings.strVersion = ReadString(root, "version", file);
    settings.strBroker = ReadString(root, "broker", file);
    settings.strFixedVersion = ReadFixedVersion(root, file);
    ReadListTypes(root, file, settings);
    return settings;
}

// FNV-1a in 64 bits: an edit must give another version, and nobody is out to forge one.
std::uint64_t Hash(std::string_view text) {
    std::uint64_t nHash = 0xcbf29ce484222325U;
    for (const char c : text) nHash = (nHash ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
    return nHash;
}

std::string MakeVersion(const WorldSettings& settings, std::string_view securities) {
    if (!settings.strFixedVersion.empty()) return settings.strFixedVersion;
    char hash[17];
    std::snprintf(hash, sizeof hash, "%016llx",
                  static_cast<unsigned long long>(Hash(securities) ^ Hash(settings.strBroker)));
    return ToJson(settings.strVersion.empty() ? std::string(hash) : settings.strVersion + "-" + hash);
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
    const std::string strVersion = MakeVersion(settings, strSecurities);
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
    for (const auto& entry : fs::directory_iterator(folder / "securities", error)) {
        if (entry.path().extension() == ".json") arFiles.push_back(entry.path());
    }
    std::sort(arFiles.begin() + 1, arFiles.end());
    return arFiles;
}

World ReadWorld(const fs::path& folder) {
    const auto arFiles = ListWorldFiles(folder);
    const auto settings = ReadSettings(arFiles.front());
    CSecuritiesMerger merger;
    for (std::size_t n = 1; n < arFiles.size(); ++n) merger.AddFile(arFiles[n]);
    World world;
    world.nFiles = arFiles.size();
    world.nSecurities = merger.GetCount();
    for (const auto& [strType, arPrefixes] : settings.mapListTypes) {
        world.mapDocuments[strType] = MakeDocument(settings, merger.Select(arPrefixes));
    }
    world.mapDocuments[std::string(AllSecurities)] = MakeDocument(settings, merger.TakeAll());
    return world;
}

}  // namespace qvant::refserver

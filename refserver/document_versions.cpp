#include "document_versions.h"

#include "json_file.h"

namespace qvant::refserver {

namespace {

namespace fs = std::filesystem;

std::string ReadFixedVersion(const rapidjson::Value& root, const fs::path& file) {
    const auto it = root.FindMember("fixedVersion");
    if (it == root.MemberEnd()) return {};
    if (!it->value.IsString() && !it->value.IsInt64()) {
        throw CWorldError(file.string() + ": \"fixedVersion\" is neither a string nor an integer");
    }
    return ToJson(it->value);
}

}  // namespace

std::string ClassificationDocument(std::string_view name) { return "classifications/" + std::string(name); }

std::string StockInfoDocument(std::string_view exchange) { return "stkinfo/" + std::string(exchange); }

CDocumentVersions::CDocumentVersions(const rapidjson::Value& root, const fs::path& file)
    : m_strBeginning(ReadString(root, "version", file)), m_strFixed(ReadFixedVersion(root, file)) {
    const auto it = root.FindMember("versions");
    if (it == root.MemberEnd()) return;
    if (!it->value.IsObject()) throw CWorldError(file.string() + ": \"versions\" isn't an object");
    for (const auto& member : it->value.GetObject()) {
        if (!member.value.IsString()) throw CWorldError(file.string() + ": a version in \"versions\" isn't a string");
        m_mapBeginnings[std::string(ToView(member.name))] = ToView(member.value);
    }
}

const std::string& CDocumentVersions::GetBeginning(std::string_view document) const {
    const auto it = m_mapBeginnings.find(document);
    return it != m_mapBeginnings.end() ? it->second : m_strBeginning;
}

}  // namespace qvant::refserver

#include "json_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

#include <fcntl.h>
#include <rapidjson/error/en.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qvant::refserver {

namespace {

// What walks a parsed text calls itself for each level, so a bad file must not choose how often.
constexpr std::size_t MostLevels = 100;

std::size_t CountLevels(std::string_view text) {
    std::size_t nLevels = 0;
    std::size_t nMost = 0;
    bool bString = false;
    for (std::size_t n = 0; n < text.size(); ++n) {
        const char c = text[n];
        if (bString) {
            if (c == '\\') ++n;
            bString = c != '"';
        } else if (c == '"') {
            bString = true;
        } else if (c == '[' || c == '{') {
            nMost = std::max(nMost, ++nLevels);
        } else if (c == ']' || c == '}') {
            nLevels -= std::min<std::size_t>(nLevels, 1);
        }
    }
    return nMost;
}

}  // namespace

std::string ReadText(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    std::string strText{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    if (!stream) throw CWorldError(file.string() + ": can't be read");
    return strText;
}

void ReplaceText(const std::filesystem::path& file, std::string_view text) {
    // No name that a data folder looks at.
    std::string strTemporary = file.string() + ".XXXXXX";
    const int hFile = mkostemp(strTemporary.data(), O_CLOEXEC);
    if (hFile < 0) throw CWorldError(file.string() + ": " + std::strerror(errno));
    struct stat old {};
    if (stat(file.c_str(), &old) == 0) fchmod(hFile, old.st_mode & 07777);
    bool bWritten = true;
    while (bWritten && !text.empty()) {
        const ssize_t nWritten = write(hFile, text.data(), text.size());
        bWritten = nWritten > 0 || (nWritten < 0 && errno == EINTR);
        text.remove_prefix(nWritten > 0 ? static_cast<std::size_t>(nWritten) : 0);
    }
    bWritten = bWritten && fsync(hFile) == 0;
    const int nError = errno;
    close(hFile);
    if (bWritten && rename(strTemporary.c_str(), file.c_str()) == 0) return;
    const std::string strWhy = std::strerror(bWritten ? errno : nError);
    unlink(strTemporary.c_str());
    throw CWorldError(file.string() + ": " + strWhy);
}

rapidjson::Document ReadObject(const std::filesystem::path& file) {
    const std::string strText = ReadText(file);
    if (CountLevels(strText) > MostLevels) {
        throw CWorldError(file.string() + ": is nested more than " + std::to_string(MostLevels) + " deep");
    }
    rapidjson::Document root;
    root.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(strText.data(), strText.size());
    if (root.HasParseError()) {
        throw CWorldError(file.string() + ": " + rapidjson::GetParseError_En(root.GetParseError()) + " (byte " +
                          std::to_string(root.GetErrorOffset()) + ")");
    }
    if (!root.IsObject()) throw CWorldError(file.string() + ": isn't an object");
    return root;
}

std::string ToPrettyJson(const rapidjson::Value& value) {
    rapidjson::StringBuffer buffer;
    rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(buffer);
    writer.SetIndent(' ', 2);
    value.Accept(writer);
    return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
}

std::string ToJson(const rapidjson::Value& value) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    value.Accept(writer);
    return {buffer.GetString(), buffer.GetSize()};
}

std::string ToJson(std::string_view text) {
    return ToJson(rapidjson::Value(text.data(), static_cast<rapidjson::SizeType>(text.size())));
}

std::string ReadString(const rapidjson::Value& object, const char* pName, const std::filesystem::path& file) {
    const auto it = object.FindMember(pName);
    if (it == object.MemberEnd()) return {};
    if (!it->value.IsString()) throw CWorldError(file.string() + ": \"" + pName + "\" isn't a string");
    return std::string(ToView(it->value));
}

}  // namespace qvant::refserver

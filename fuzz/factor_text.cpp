/// The JSON of adjustment factors, next to what RapidJSON makes of it.

#include "rolls/factor_text.h"

#include <cstring>
#include <optional>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "model/json_document.h"
#include "require.h"

namespace {

using namespace qvant;
using fuzz::Require;
using rapidjson::Document;

HistoryText Copy(std::string_view strJson) {
    HistoryText text{ReplyBuffer(new std::uint8_t[strJson.size() + 1]()), {}};
    if (!strJson.empty()) std::memcpy(text.pMemory.get(), strJson.data(), strJson.size());
    text.strUtf8 = fuzz::AsBytes(text.pMemory.get(), strJson.size());
    return text;
}

bool Parse(Document& document, std::string_view strJson) {
    constexpr unsigned FLAGS = rapidjson::kParseFullPrecisionFlag | rapidjson::kParseIterativeFlag;
    return !document.Parse<FLAGS>(strJson.data(), strJson.size()).HasParseError();
}

/// The elements that get a moment.
rapidjson::Value* FindData(Document& document) {
    if (!document.IsObject()) return nullptr;
    if (!document.HasMember("data")) return nullptr;
    auto& data = document["data"];
    return data.IsArray() ? &data : nullptr;
}

/// Gives the elements the moments of those that were published.
void TakeMoments(Document& document, Document& published) {
    auto* pData = FindData(document);
    auto* pPublished = FindData(published);
    Require((pData != nullptr) == (pPublished != nullptr), "the data stays");
    if (!pData) return;
    Require(pData->Size() == pPublished->Size(), "no element is lost");
    for (rapidjson::SizeType i = 0; i < pData->Size(); ++i) {
        auto& element = (*pData)[i];
        if (!element.IsObject()) continue;
        auto& other = (*pPublished)[i];
        Require(other.IsObject() && other.MemberCount() == element.MemberCount() + 1, "each element gets its moment");
        auto& last = *(other.MemberEnd() - 1);
        Require(last.name == "odt_utc" && last.value.IsInt64(), "the moment is the last member");
        element.AddMember("odt_utc", last.value, document.GetAllocator());
    }
}

/// @return nothing for a document with a number that is infinite
std::optional<Text> Write(const Document& document) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    if (!document.Accept(writer)) return std::nullopt;
    return Widen({buffer.GetString(), buffer.GetSize()});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    const std::string_view strJson = fuzz::AsReply(pData, nSize);
    const Text strPlain = EnrichFactors(Copy(strJson), false);
    const Text strRescaled = EnrichFactors(Copy(strJson), true);
    Require(strPlain.empty() == strRescaled.empty(), "both take the same texts");
    // RapidJSON's exact reading isn't made for zeros with an exponent.
    if (Contains(Widen(strJson), u"0e") || Contains(Widen(strJson), u"0E")) return 0;
    JsonDocument wide;
    const bool bJson = ParseUtf16(wide, ToUtf16Bytes(Widen(strJson)));
    Document document;
    if (strPlain.empty()) {
        Require(!bJson || !Parse(document, strJson) || !Write(document), "JSON is taken");
        return 0;
    }
    Require(bJson && Parse(document, strJson), "what is taken is JSON");
    Document published;
    Require(Parse(published, Narrow(strRescaled)), "what is published is JSON, rescaled");
    Require(Parse(published, Narrow(strPlain)), "what is published is JSON");
    TakeMoments(document, published);
    Require(Write(document) == strPlain, "all but the moments is as RapidJSON reads and writes it");
    return 0;
}

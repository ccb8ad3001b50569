/// JSON as replies and as files have it, and what is written of it.

#include "model/json_document.h"

#include <algorithm>

#include "require.h"

namespace {

using namespace qvant;
using fuzz::Require;

Text Render(const JsonDocument& document) {
    Text strJson;
    AppendJson(strJson, document);
    return strJson;
}

/// RapidJSON reads a number with a fraction, or one of too many digits, in its quick way, which may give a neighbour of
/// the nearest.
bool HasFraction(const JsonValue& value) {
    if (value.IsArray()) return std::any_of(value.Begin(), value.End(), HasFraction);
    if (!value.IsObject()) return value.IsDouble();
    return std::any_of(value.MemberBegin(), value.MemberEnd(),
                       [](const auto& member) { return HasFraction(member.value); });
}

void RequireRoundTrip(const JsonDocument& document) {
    const Text strJson = Render(document);
    JsonDocument again;
    Require(ParseUtf16(again, ToUtf16Bytes(strJson)), "what was written can be read");
    Require(HasFraction(document) || Render(again) == strJson, "what was written stays the same");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    const std::string_view strBytes = fuzz::AsBytes(pData, nSize);
    JsonDocument document;
    rapidjson::ParseErrorCode nError{};
    const bool bRead = ParseUtf8(document, strBytes, &nError);
    Require(bRead == (nError == rapidjson::kParseErrorNone), "a failure has its number");
    Require(bRead || document.IsNull(), "a broken document is null");
    if (bRead) RequireRoundTrip(document);
    JsonDocument file;
    if (ParseUtf16(file, strBytes)) RequireRoundTrip(file);
    return 0;
}

/// The JSON of adjustment factors.

#include "rolls/factor_text.h"

#include <cstring>

#include "model/json_document.h"
#include "require.h"

namespace {

using namespace qvant;
using fuzz::Require;

HistoryText Copy(std::string_view strJson) {
    HistoryText text{ReplyBuffer(new std::uint8_t[strJson.size() + 1]()), {}};
    if (!strJson.empty()) std::memcpy(text.pMemory.get(), strJson.data(), strJson.size());
    text.strUtf8 = fuzz::AsBytes(text.pMemory.get(), strJson.size());
    return text;
}

void RequireMoments(const JsonDocument& document) {
    const JsonValue* pData = FindMember(document, u"data");
    if (!pData || !pData->IsArray()) return;
    for (const JsonValue& element : pData->GetArray()) {
        if (!element.IsObject()) continue;
        Require(element.MemberCount() > 0, "each element has its moment");
        const auto& last = *(element.MemberEnd() - 1);
        Require(GetText(last.name) == u"odt_utc" && last.value.IsInt64(), "the moment is the last member");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    const std::string_view strJson = fuzz::AsReply(pData, nSize);
    const Text strPlain = EnrichFactors(Copy(strJson), false);
    const Text strRescaled = EnrichFactors(Copy(strJson), true);
    Require(strPlain.empty() == strRescaled.empty(), "both takes are of the same texts");
    for (const Text& strEnriched : {strPlain, strRescaled}) {
        if (strEnriched.empty()) continue;
        JsonDocument document;
        Require(ParseUtf16(document, ToUtf16Bytes(strEnriched)), "what is published is JSON");
        RequireMoments(document);
    }
    return 0;
}

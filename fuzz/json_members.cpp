/// String members of a JSON text, next to a look-up in the parsed document.

#include "store/json_members.h"

#include "model/json_document.h"
#include "require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    using namespace qvant;
    constexpr TextView FIELDS[] = {u"a", u"Name.ENG", u"Underlying", u"Underlying.F", u"OptionStyle", u"b", u"c",
                                   u"d", u""};
    const Text strText = WidenMarked(fuzz::AsReply(pData, nSize));
    for (const std::size_t nFields : {std::size_t{1}, std::size_t{5}, std::size(FIELDS)}) {
        Text strOverwritten = strText;
        std::vector<Text> arTexts;
        PickJsonMembers(strOverwritten.data(), strOverwritten.size(), std::span(FIELDS).first(nFields), arTexts);
        JsonDocument document;
        // Deep documents are for the picker alone.
        if (!ParseUtf16(document, ToUtf16Bytes(strText)) && nSize > JSON_DEEPEST) continue;
        for (std::size_t i = 0; i < nFields; ++i) {
            const JsonValue* pMember = FindMember(document, FIELDS[i]);
            const TextView strFound = pMember && pMember->IsString() ? GetText(*pMember) : TextView{};
            fuzz::Require(arTexts[i] == strFound, "the picker finds what the document holds");
        }
    }
    return 0;
}

/// Texts in the forgiving JSON, read into a tree and into a document.

#include "net/wide_json.h"

#include <algorithm>
#include <map>

#include "model/contract_file.h"
#include "require.h"

namespace {

using namespace qvant;
using fuzz::Require;

/// Deep ones needn't be compared to their ground.
constexpr int DEEPEST_COMPARED = 100;

bool IsSame(const CJsonValue& value, const JsonValue& other, int nDepth);

bool IsSameArray(const CJsonValue::Array& array, const JsonValue& other, int nDepth) {
    if (!other.IsArray() || other.Size() != array.size()) return false;
    for (rapidjson::SizeType i = 0; i < other.Size(); ++i) {
        if (!IsSame(*array[i], other[i], nDepth)) return false;
    }
    return true;
}

/// Of members of one name the tree has the last; the document has all of them.
bool IsSameObject(const CJsonValue::Object& object, const JsonValue& other, int nDepth) {
    if (!other.IsObject() || other.MemberCount() < object.size()) return false;
    std::map<TextView, const JsonValue*> mapLast;
    for (const auto& member : other.GetObject()) mapLast[GetText(member.name)] = &member.value;
    if (mapLast.size() != object.size()) return false;
    for (const auto& [strName, pValue] : object) {
        const auto pLast = mapLast.find(strName);
        if (pLast == mapLast.end() || !IsSame(*pValue, *pLast->second, nDepth)) return false;
    }
    return true;
}

bool IsSame(const CJsonValue& value, const JsonValue& other, int nDepth) {
    if (nDepth == DEEPEST_COMPARED) return true;
    if (const auto* pText = value.Get<Text>()) return other.IsString() && GetText(other) == *pText;
    if (const auto* pArray = value.Get<CJsonValue::Array>()) return IsSameArray(*pArray, other, nDepth + 1);
    if (const auto* pObject = value.Get<CJsonValue::Object>()) return IsSameObject(*pObject, other, nDepth + 1);
    return other.IsNull();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    const Text strText = WidenMarked(fuzz::AsBytes(pData, nSize));
    const auto nLength = static_cast<std::int32_t>(strText.size());
    CJsonValue value;
    const std::int32_t nConsumed = ParseValue(value, strText.data(), nLength);
    JsonDocument document;
    const bool bRead = ParseContractFile(document, strText);
    Require(bRead == (nConsumed > 0), "the tree and the document take the same texts");
    Require(nConsumed != 0 && nConsumed <= nLength && -nConsumed <= std::max(nLength, 1), "a position in the text");
    Require(IsSame(value, document, 0), "the tree and the document hold the same");
    if (bRead) Require(!ValueToText(value).empty(), "every value is written");
    return 0;
}

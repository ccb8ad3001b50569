#include "model/json_document.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <new>

#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace qvant {

namespace {

constexpr unsigned PARSE_FLAGS = rapidjson::kParseIterativeFlag | rapidjson::kParseInsituFlag;

/// Hands a parser's events on to the document until they go too deep, or a number is too big for its type. Most of
/// these the parser refuses by itself; those of many digits and a high exponent it gives as infinite.
class CLimits {
public:
    explicit CLimits(JsonDocument& document) : m_document(document) {}

    bool Null() { return m_document.Null(); }
    bool Bool(bool b) { return m_document.Bool(b); }
    bool Int(int n) { return m_document.Int(n); }
    bool Uint(unsigned n) { return m_document.Uint(n); }
    bool Int64(std::int64_t n) { return m_document.Int64(n); }
    bool Uint64(std::uint64_t n) { return m_document.Uint64(n); }
    bool Double(double d) {
        m_bTooBig = !std::isfinite(d);
        return !m_bTooBig && m_document.Double(d);
    }
    bool RawNumber(const char16_t* psz, rapidjson::SizeType nLength, bool bCopy) {
        return m_document.RawNumber(psz, nLength, bCopy);
    }
    bool String(const char16_t* psz, rapidjson::SizeType nLength, bool bCopy) {
        return m_document.String(psz, nLength, bCopy);
    }
    bool Key(const char16_t* psz, rapidjson::SizeType nLength, bool bCopy) {
        return m_document.Key(psz, nLength, bCopy);
    }
    bool StartObject() { return ++m_nDepth <= JSON_DEEPEST && m_document.StartObject(); }
    bool EndObject(rapidjson::SizeType nMembers) { return --m_nDepth >= 0 && m_document.EndObject(nMembers); }
    bool StartArray() { return ++m_nDepth <= JSON_DEEPEST && m_document.StartArray(); }
    bool EndArray(rapidjson::SizeType nElements) { return --m_nDepth >= 0 && m_document.EndArray(nElements); }

    bool HasMetTooBig() const { return m_bTooBig; }

private:
    JsonDocument& m_document;
    int m_nDepth = 0;
    bool m_bTooBig = false;
};

/// What isn't a string is written in ASCII.
void AppendPlain(Text& strJson, const JsonValue& value) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer, WideEncoding> writer(buffer);
    value.Accept(writer);
    strJson.append(buffer.GetString(), buffer.GetString() + buffer.GetSize());
}

void AppendObject(Text& strJson, const JsonValue& object) {
    strJson.push_back(u'{');
    for (auto pMember = object.MemberBegin(); pMember != object.MemberEnd(); ++pMember) {
        if (pMember != object.MemberBegin()) strJson.push_back(u',');
        AppendJsonString(strJson, GetText(pMember->name));
        strJson.push_back(u':');
        AppendJson(strJson, pMember->value);
    }
    strJson.push_back(u'}');
}

void AppendArray(Text& strJson, const JsonValue& array) {
    strJson.push_back(u'[');
    for (auto pElement = array.Begin(); pElement != array.End(); ++pElement) {
        if (pElement != array.Begin()) strJson.push_back(u',');
        AppendJson(strJson, *pElement);
    }
    strJson.push_back(u']');
}

void AppendEscaped(Text& strJson, char16_t ch) {
    constexpr TextView LETTERS(u"btn\0fr", 6);  // of the units from 8 on
    constexpr TextView DIGITS = u"0123456789ABCDEF";
    strJson.push_back(u'\\');
    if (ch >= u' ') {
        strJson.push_back(ch);
    } else if (ch >= 8 && ch < 8 + LETTERS.size() && LETTERS[ch - 8u] != 0) {
        strJson.push_back(LETTERS[ch - 8u]);
    } else {
        strJson.append(u"u00").append(1, DIGITS[ch >> 4u]).append(1, DIGITS[ch & 0xFu]);
    }
}

/// Empties the document and gives units of its own memory, with one more for a NUL.
char16_t* GetRoom(JsonDocument& document, std::size_t nUnits) {
    document.SetNull();
    auto* pUnits = static_cast<char16_t*>(document.GetAllocator().Malloc((nUnits + 1) * sizeof(char16_t)));
    if (!pUnits) throw std::bad_alloc();
    return pUnits;
}

/// @param pszJson  from `GetRoom`
rapidjson::ParseErrorCode ParseInPlace(JsonDocument& document, char16_t* pszJson, std::size_t nUnits) {
    pszJson[nUnits] = u'\0';
    auto nError = rapidjson::kParseErrorNone;
    auto Parse = [&](JsonDocument& target) {
        CInPlaceJson stream(pszJson, nUnits);
        CLimits limits(target);
        rapidjson::GenericReader<WideEncoding, WideEncoding> reader;
        nError = reader.Parse<PARSE_FLAGS>(stream, limits).Code();
        if (limits.HasMetTooBig()) nError = rapidjson::kParseErrorNumberTooBig;
        // A NUL ends the text for the reader, and what stands behind it would go by unread.
        if (nError == rapidjson::kParseErrorNone && stream.Tell() != nUnits)
            nError = rapidjson::kParseErrorDocumentRootNotSingular;
        return nError == rapidjson::kParseErrorNone;
    };
    document.Populate(Parse);
    return nError;
}

}  // namespace

bool ParseUtf8(JsonDocument& document, std::string_view strBytes, rapidjson::ParseErrorCode* pError) {
    char16_t* pszJson = GetRoom(document, strBytes.size());
    const auto nUnits = WidenStrict(strBytes, pszJson);
    const auto nError = nUnits ? ParseInPlace(document, pszJson, *nUnits) : rapidjson::kParseErrorStringInvalidEncoding;
    if (pError) *pError = nError;
    return nError == rapidjson::kParseErrorNone;
}

bool ParseUtf16(JsonDocument& document, std::string_view strBytes) {
    static_assert(std::endian::native == std::endian::little);
    const std::size_t nUnits = strBytes.size() / sizeof(char16_t);
    char16_t* pszJson = GetRoom(document, nUnits);
    if (nUnits > 0) std::memcpy(pszJson, strBytes.data(), nUnits * sizeof(char16_t));
    return ParseInPlace(document, pszJson, nUnits) == rapidjson::kParseErrorNone;
}

const JsonValue* FindMember(const JsonValue& object, TextView strName) {
    if (!object.IsObject()) return nullptr;
    const auto pEnd = object.MemberEnd();
    const auto pFound = std::find_if(object.MemberBegin(), pEnd,
                                     [strName](const auto& member) { return GetText(member.name) == strName; });
    return pFound == pEnd ? nullptr : &pFound->value;
}

void AppendJsonString(Text& strJson, TextView strText) {
    strJson.push_back(u'"');
    if (CountPlain(strText.data(), strText.size()) == strText.size()) {
        strJson.append(strText).push_back(u'"');
        return;
    }
    for (const char16_t ch : strText) {
        if (NeedsEscape(ch)) {
            AppendEscaped(strJson, ch);
        } else {
            strJson.push_back(ch);
        }
    }
    strJson.push_back(u'"');
}

void AppendJson(Text& strJson, const JsonValue& value) {
    switch (value.GetType()) {
        case rapidjson::kStringType:
            return AppendJsonString(strJson, GetText(value));
        case rapidjson::kObjectType:
            return AppendObject(strJson, value);
        case rapidjson::kArrayType:
            return AppendArray(strJson, value);
        default:
            return AppendPlain(strJson, value);
    }
}

}  // namespace qvant

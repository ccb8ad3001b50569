/// RapidJSON in the two forms of the system, called so that no nesting can overflow the stack.
#pragma once

#include <string_view>

#include <rapidjson/document.h>

#include "base/text.h"

namespace qvant {

/// UTF-16 that takes half of a surrogate pair for what it is. The escapes of a document may name one, which RapidJSON's
/// own encoding takes for a fault of the program.
struct WideEncoding : rapidjson::UTF16<char16_t> {
    template <class Stream>
    static void Encode(Stream& stream, unsigned nPoint) {
        if (nPoint > 0xFFFF) {
            stream.Put(static_cast<char16_t>(0xD800 + ((nPoint - 0x10000) >> 10)));
            stream.Put(static_cast<char16_t>(0xDC00 + ((nPoint - 0x10000) & 0x3FF)));
        } else {
            stream.Put(static_cast<char16_t>(nPoint));
        }
    }
    template <class Stream>
    static void EncodeUnsafe(Stream& stream, unsigned nPoint) {
        if (nPoint > 0xFFFF) {
            PutUnsafe(stream, static_cast<char16_t>(0xD800 + ((nPoint - 0x10000) >> 10)));
            PutUnsafe(stream, static_cast<char16_t>(0xDC00 + ((nPoint - 0x10000) & 0x3FF)));
        } else {
            PutUnsafe(stream, static_cast<char16_t>(nPoint));
        }
    }
};

/// A document whose strings are UTF-16.
using JsonDocument = rapidjson::GenericDocument<WideEncoding>;
using JsonValue = rapidjson::GenericValue<WideEncoding>;

/// Deepest nesting that a document may have. Beyond it the text counts as broken, so that walking and writing a
/// document, which go one call deeper with each level, stay within any thread's stack.
inline constexpr int JSON_DEEPEST = 256;

/// Parses UTF-8 bytes into a UTF-16 document.
/// @return false for text that isn't JSON, is nested too deep or has something behind the document; it is null then
bool ParseUtf8(JsonDocument& document, std::string_view strBytes);

/// The text of a string value, borrowed.
inline TextView GetText(const JsonValue& value) { return {value.GetString(), value.GetStringLength()}; }

/// A member of an object, or null.
const JsonValue* FindMember(const JsonValue& object, TextView strName);

/// Appends a string in its quotes, with the escapes that compact JSON needs and no others.
void AppendJsonString(Text& strJson, TextView strText);

/// Appends a value as compact JSON. Half a surrogate pair stands as it is.
void AppendJson(Text& strJson, const JsonValue& value);

}  // namespace qvant

/// RapidJSON in the two forms of the system, called so that no nesting can overflow the stack.
#pragma once

#include <string_view>

#include <rapidjson/document.h>

#include "base/text.h"
#include "store/json_stream.h"

namespace qvant {

/// A document whose strings are UTF-16.
using JsonDocument = rapidjson::GenericDocument<WideEncoding>;
using JsonValue = rapidjson::GenericValue<WideEncoding>;

/// Deepest nesting that a document may have. Beyond it the text counts as broken, so that walking and writing a
/// document, which go one call deeper with each level, stay within any thread's stack.
inline constexpr int JSON_DEEPEST = 1024;

/// Parses UTF-8 bytes into a UTF-16 document. The text is widened into the document's own memory and read in place.
/// @param pError  out: RapidJSON's number of what is wrong, 0 for nothing; may be null
/// @return false for text that isn't JSON, is nested too deep, or has a number beyond all doubles or something behind
///         the document; it is null then
bool ParseUtf8(JsonDocument& document, std::string_view strBytes, rapidjson::ParseErrorCode* pError = nullptr);

/// Parses raw wide text, as it lies in a file: little-endian units without a mark; a trailing odd byte is dropped.
/// @return as `ParseUtf8`
bool ParseUtf16(JsonDocument& document, std::string_view strBytes);

/// The text of a string value, borrowed.
inline TextView GetText(const JsonValue& value) { return {value.GetString(), value.GetStringLength()}; }

/// A member of an object, or null.
const JsonValue* FindMember(const JsonValue& object, TextView strName);

/// Appends a string in its quotes, with the escapes that compact JSON needs and no others.
void AppendJsonString(Text& strJson, TextView strText);

/// Appends a value as compact JSON. Half a surrogate pair stands as it is.
void AppendJson(Text& strJson, const JsonValue& value);

}  // namespace qvant

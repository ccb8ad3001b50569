/// The tokens of a JSON text in UTF-8, found where they lie: most of them come out of RapidJSON as they went in, and
/// needn't go through it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <rapidjson/document.h>

namespace qvant {

/// A string or a number of a text.
struct JsonToken {
    std::string_view strText;  ///< as it is written, quotes included; empty when it isn't JSON
    bool bPlain = false;       ///< it is written as RapidJSON would write it
    bool bWhole = false;       ///< a number without fraction and exponent
};

/// Finds the end of a string. What its escapes say isn't checked. @param pszText  at the quote; ends in a NUL
JsonToken FindJsonString(const char* pszText);

/// Finds the end of a number. @param pszText  ends in a NUL
JsonToken FindJsonNumber(const char* pszText);

/// Reads a token, to the last digit of a number.
/// @return false for an escape that isn't JSON, and for a number that no double can hold
bool ReadJsonToken(const JsonToken& token, rapidjson::Document& value);

/// A value as compact JSON.
std::string WriteJsonValue(const rapidjson::Value& value);

}  // namespace qvant

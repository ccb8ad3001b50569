/// One request: a JSON object, read from a line or made from words.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include <rapidjson/document.h>

#include "tables.h"

namespace qvant::host {

/// JSON in wide text, which is what the tables hold.
using JsonDocument = rapidjson::GenericDocument<rapidjson::UTF16<char16_t>>;
using JsonValue = JsonDocument::ValueType;

/// Reads a JSON line. Nesting of any depth costs no stack.
/// @throws CFailure with the place of the fault
JsonDocument ParseJsonLine(std::string_view strLine);

/// Reads members of a request; a member that is missing or of the wrong type throws `CFailure` naming it.
class CRequest {
public:
    explicit CRequest(JsonDocument document);

    /// JSON text of the "id"; none when there is none or it is neither number nor string.
    std::optional<std::string> GetId() const;

    bool Has(TextView strName) const { return Find(strName) != nullptr; }
    Text GetText(TextView strName) const;
    Text GetText(TextView strName, TextView strDefault) const;
    bool GetFlag(TextView strName) const;
    std::int32_t GetInteger(TextView strName) const;
    std::int32_t GetInteger(TextView strName, std::int32_t nDefault) const;
    /// A number from 0.
    std::uint64_t GetCount(TextView strName, std::uint64_t nDefault) const;
    std::chrono::milliseconds GetDuration(TextView strName) const;
    std::chrono::milliseconds GetDuration(TextView strName, std::chrono::milliseconds nDefault) const;
    /// Empty when it is missing.
    Value GetValue(TextView strName) const;
    const JsonValue& GetObject(TextView strName) const;
    const JsonValue& GetArray(TextView strName) const;
    /// "table" and "path".
    TablePath GetTablePath() const;

private:
    const JsonValue* Find(TextView strName) const;
    const JsonValue& Need(TextView strName) const;

    JsonDocument m_document;
};

TextView TextOf(const JsonValue& value);

/// A value for a table: a string, an integer of 32 bits, or null for empty.
/// @throws CFailure naming `strName` for anything else
Value ValueOf(const JsonValue& value, TextView strName);

}  // namespace qvant::host

#include "request.h"

#include <rapidjson/encodedstream.h>
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "failure.h"

namespace qvant::host {

namespace {

[[noreturn]] void FailType(TextView strName, const char* pszExpected) {
    throw CFailure(Quote(strName) + " isn't " + pszExpected);
}

std::int32_t IntegerOf(const JsonValue& value, TextView strName) {
    if (!value.IsInt()) FailType(strName, "an integer of 32 bits");
    return value.GetInt();
}

std::chrono::milliseconds DurationOf(const JsonValue& value, TextView strName) {
    if (!value.IsInt() || value.GetInt() < 0) FailType(strName, "a number of milliseconds");
    return std::chrono::milliseconds(value.GetInt());
}

void RequireText(const JsonValue& value, TextView strName) {
    if (!value.IsString()) FailType(strName, "a string");
}

}  // namespace

JsonDocument ParseJsonLine(std::string_view strLine) {
    rapidjson::MemoryStream bytes(strLine.data(), strLine.size());
    rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream> stream(bytes);
    JsonDocument document;
    document.ParseStream<rapidjson::kParseIterativeFlag | rapidjson::kParseFullPrecisionFlag, rapidjson::UTF8<>>(
        stream);
    if (document.HasParseError()) {
        throw CFailure("bad JSON at byte " + std::to_string(document.GetErrorOffset()) + ": " +
                       rapidjson::GetParseError_En(document.GetParseError()));
    }
    return document;
}

CRequest::CRequest(JsonDocument document) : m_document(std::move(document)) {
    if (!m_document.IsObject()) throw CFailure("the request isn't an object");
}

std::optional<std::string> CRequest::GetId() const {
    const JsonValue* pId = Find(u"id");
    if (!pId || !(pId->IsString() || pId->IsNumber())) return std::nullopt;
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    if (pId->IsString()) {
        const std::string strId = Narrow(TextOf(*pId));
        writer.String(strId.data(), static_cast<rapidjson::SizeType>(strId.size()));
    } else if (pId->IsInt64()) {
        writer.Int64(pId->GetInt64());
    } else if (pId->IsUint64()) {
        writer.Uint64(pId->GetUint64());
    } else {
        writer.Double(pId->GetDouble());
    }
    return std::string(buffer.GetString(), buffer.GetSize());
}

Text CRequest::GetText(TextView strName) const {
    const JsonValue& value = Need(strName);
    RequireText(value, strName);
    return Text(TextOf(value));
}

Text CRequest::GetText(TextView strName, TextView strDefault) const {
    return Has(strName) ? GetText(strName) : Text(strDefault);
}

bool CRequest::GetFlag(TextView strName) const {
    const JsonValue& value = Need(strName);
    if (!value.IsBool()) FailType(strName, "true or false");
    return value.GetBool();
}

std::int32_t CRequest::GetInteger(TextView strName) const { return IntegerOf(Need(strName), strName); }

std::int32_t CRequest::GetInteger(TextView strName, std::int32_t nDefault) const {
    return Has(strName) ? GetInteger(strName) : nDefault;
}

std::uint64_t CRequest::GetCount(TextView strName, std::uint64_t nDefault) const {
    const JsonValue* pValue = Find(strName);
    if (!pValue) return nDefault;
    if (!pValue->IsUint64()) FailType(strName, "a number from 0");
    return pValue->GetUint64();
}

std::chrono::milliseconds CRequest::GetDuration(TextView strName) const { return DurationOf(Need(strName), strName); }

std::chrono::milliseconds CRequest::GetDuration(TextView strName, std::chrono::milliseconds nDefault) const {
    return Has(strName) ? GetDuration(strName) : nDefault;
}

Value CRequest::GetValue(TextView strName) const {
    const JsonValue* pValue = Find(strName);
    return pValue ? ValueOf(*pValue, strName) : Value();
}

const JsonValue& CRequest::GetObject(TextView strName) const {
    const JsonValue& value = Need(strName);
    if (!value.IsObject()) FailType(strName, "an object");
    return value;
}

const JsonValue& CRequest::GetArray(TextView strName) const {
    const JsonValue& value = Need(strName);
    if (!value.IsArray()) FailType(strName, "an array");
    return value;
}

TablePath CRequest::GetTablePath() const {
    TablePath path{GetText(u"table"), {}};
    if (!Has(u"path")) return path;
    const JsonValue& names = GetArray(u"path");
    if (names.Size() > CTables::PATH_LIMIT) throw CFailure("the path is too deep");
    for (const JsonValue& name : names.GetArray()) {
        RequireText(name, u"path");
        path.arPath.emplace_back(TextOf(name));
    }
    return path;
}

const JsonValue* CRequest::Find(TextView strName) const {
    const JsonValue name(rapidjson::StringRef(strName.data(), strName.size()));
    const auto it = m_document.FindMember(name);
    return it == m_document.MemberEnd() ? nullptr : &it->value;
}

const JsonValue& CRequest::Need(TextView strName) const {
    const JsonValue* pValue = Find(strName);
    if (!pValue) throw CFailure(Quote(strName) + " is missing");
    return *pValue;
}

TextView TextOf(const JsonValue& value) { return {value.GetString(), value.GetStringLength()}; }

Value ValueOf(const JsonValue& value, TextView strName) {
    if (value.IsString()) return Text(TextOf(value));
    if (value.IsNull()) return {};
    if (!value.IsInt()) FailType(strName, "a string or an integer of 32 bits");
    return std::int64_t{value.GetInt()};
}

}  // namespace qvant::host

#include "rolls/json_tokens.h"

#include <cmath>
#include <cstdint>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace qvant {

namespace {

/// A number of so many digits is the shortest one of its double: no two of them share one.
constexpr std::size_t EXACT_DIGITS = 15;

/// Whole numbers of so many digits fit into 64 bits, with a sign and without.
constexpr std::size_t SAFE_DIGITS = 18;

/// With more zeros than these behind the point a small number is written with an exponent.
constexpr std::size_t MOST_ZEROS = 5;

bool IsDigit(char ch) { return ch >= '0' && ch <= '9'; }

const char* SkipDigits(const char* psz) {
    while (IsDigit(*psz)) ++psz;
    return psz;
}

bool IsPlainFraction(std::string_view strWhole, std::string_view strFraction) {
    if (strWhole.size() + strFraction.size() > EXACT_DIGITS) return false;
    if (strFraction.back() == '0') return strFraction.size() == 1;
    return strWhole != "0" || strFraction.find_first_not_of('0') <= MOST_ZEROS;
}

/// @return behind an exponent; null for one that has no digits
const char* SkipExponent(const char* psz) {
    ++psz;
    if (*psz == '+' || *psz == '-') ++psz;
    return IsDigit(*psz) ? SkipDigits(psz) : nullptr;
}

/// The exact reading isn't made for a zero with an exponent: what it gives for one is undefined.
bool IsZero(std::string_view strNumber) {
    const std::string_view strDigits = strNumber.substr(0, strNumber.find_first_of("eE"));
    return strDigits.find_first_of("123456789") == std::string_view::npos;
}

bool MayBeHuge(std::string_view strNumber) {
    constexpr std::size_t MOST_DIGITS = 308;  // of a double
    return strNumber.size() > MOST_DIGITS || strNumber.find_first_of("eE") != std::string_view::npos;
}

/// The quick reading takes a number beyond all doubles for an infinite one. The exact one takes it for some other one,
/// or reads beyond its own tables: it mustn't come to that.
bool IsBeyondDoubles(const std::string& strToken) {
    if (strToken.front() == '"' || !MayBeHuge(strToken)) return false;
    rapidjson::Document value;
    return value.Parse(strToken.c_str()).HasParseError() || !std::isfinite(value.GetDouble());
}

std::string_view Between(const char* pBegin, const char* pEnd) {
    return {pBegin, static_cast<std::size_t>(pEnd - pBegin)};
}

}  // namespace

JsonToken FindJsonString(const char* pszText) {
    bool bPlain = true;
    const char* psz = pszText + 1;
    for (; *psz != '"'; ++psz) {
        if (static_cast<std::uint8_t>(*psz) < 0x20) return {};
        if (*psz != '\\') continue;
        bPlain = false;
        if (static_cast<std::uint8_t>(*++psz) < 0x20) return {};
    }
    return {Between(pszText, psz + 1), bPlain, false};
}

JsonToken FindJsonNumber(const char* pszText) {
    const char* const pWhole = *pszText == '-' ? pszText + 1 : pszText;
    if (!IsDigit(*pWhole)) return {};
    const char* psz = *pWhole == '0' ? pWhole + 1 : SkipDigits(pWhole);
    const std::string_view strWhole = Between(pWhole, psz);
    bool bPlain = strWhole.size() <= SAFE_DIGITS && (pWhole == pszText || strWhole != "0");
    bool bWhole = true;
    if (*psz == '.') {
        const char* const pFraction = psz + 1;
        psz = SkipDigits(pFraction);
        if (psz == pFraction) return {};
        bPlain = IsPlainFraction(strWhole, Between(pFraction, psz));
        bWhole = false;
    }
    if (*psz == 'e' || *psz == 'E') {
        psz = SkipExponent(psz);
        if (!psz) return {};
        bPlain = bWhole = false;
    }
    return {Between(pszText, psz), bPlain, bWhole};
}

bool ReadJsonToken(const JsonToken& token, rapidjson::Document& value) {
    const std::string strText(token.strText);
    value.SetNull();
    value.GetAllocator().Clear();
    if (IsBeyondDoubles(strText)) return false;
    if (IsZero(strText)) {
        value.Parse(strText.c_str());
    } else {
        value.Parse<rapidjson::kParseFullPrecisionFlag>(strText.c_str());
    }
    return !value.HasParseError() && (!value.IsDouble() || std::isfinite(value.GetDouble()));
}

std::string WriteJsonValue(const rapidjson::Value& value) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    value.Accept(writer);
    return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace qvant

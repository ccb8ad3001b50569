#include "platform/profile_text.h"

namespace qvant::platform {

namespace {

constexpr std::string_view UTF16_MARK = "\xFF\xFE";
constexpr std::string_view UTF8_MARK = "\xEF\xBB\xBF";
constexpr TextView BLANKS = u" \t\v\f";
constexpr TextView LINE_ENDS = u"\r\n";

Text BytesToUnits(std::string_view strBytes) {
    Text strUnits(strBytes.size(), u'\0');
    for (std::size_t i = 0; i < strBytes.size(); ++i) strUnits[i] = static_cast<unsigned char>(strBytes[i]);
    return strUnits;
}

std::string UnitsToBytes(TextView strUnits) {
    std::string strBytes(strUnits.size(), '\0');
    for (std::size_t i = 0; i < strUnits.size(); ++i) strBytes[i] = static_cast<char>(strUnits[i] & 0xFF);
    return strBytes;
}

/// The first line end of the text decides for the lines to come.
Text FindLineEnd(TextView strRaw) {
    const std::size_t nFound = strRaw.find_first_of(LINE_ENDS);
    if (nFound == TextView::npos || strRaw.substr(nFound, 2) == u"\r\n") return u"\r\n";
    return Text(1, strRaw[nFound]);
}

Text WithoutLineEnds(TextView strText) {
    Text strResult(strText);
    RemoveAll(strResult, u'\r');
    RemoveAll(strResult, u'\n');
    return strResult;
}

TextView WithoutQuotes(TextView strValue) {
    const bool bQuoted = strValue.size() >= 2 && strValue.front() == strValue.back() &&
                         (strValue.front() == u'"' || strValue.front() == u'\'');
    return bQuoted ? strValue.substr(1, strValue.size() - 2) : strValue;
}

}  // namespace

CProfileText CProfileText::Parse(std::string_view strBytes) {
    CProfileText text;
    if (strBytes.empty()) return text;
    if (strBytes.starts_with(UTF16_MARK)) {
        text.m_strRaw = FromUtf16Bytes(strBytes.substr(UTF16_MARK.size()));
    } else if (strBytes.starts_with(UTF8_MARK)) {
        text.m_encoding = Encoding::Utf8WithMark;
        text.m_strRaw = BytesToUnits(strBytes.substr(UTF8_MARK.size()));
    } else {
        text.m_encoding = Encoding::Utf8;
        text.m_strRaw = BytesToUnits(strBytes);
    }
    text.m_strLineEnd = FindLineEnd(text.m_strRaw);
    return text;
}

std::string CProfileText::GetBytes() const {
    switch (m_encoding) {
        case Encoding::Utf16:
            return std::string(UTF16_MARK) + ToUtf16Bytes(m_strRaw);
        case Encoding::Utf8WithMark:
            return std::string(UTF8_MARK) + UnitsToBytes(m_strRaw);
        default:
            return UnitsToBytes(m_strRaw);
    }
}

Text CProfileText::Decode(TextView strRaw) const {
    return m_encoding == Encoding::Utf16 ? Text(strRaw) : Widen(UnitsToBytes(strRaw));
}

Text CProfileText::Encode(TextView strText) const {
    return m_encoding == Encoding::Utf16 ? Text(strText) : BytesToUnits(Narrow(strText));
}

std::optional<CProfileText::Line> CProfileText::ReadLine(std::size_t nStart) const {
    const TextView strRaw = m_strRaw;
    if (nStart >= strRaw.size()) return std::nullopt;
    const std::size_t nEnd = std::min(strRaw.find_first_of(LINE_ENDS, nStart), strRaw.size());
    const std::size_t nLineEnd = strRaw.substr(nEnd, 2) == u"\r\n" ? 2 : 1;
    return Line{nStart, nEnd, std::min(nEnd + nLineEnd, strRaw.size())};
}

TextView CProfileText::GetContent(const Line& line) const {
    return TextView(m_strRaw).substr(line.nStart, line.nEnd - line.nStart);
}

std::optional<TextView> CProfileText::GetSectionName(TextView strLine) {
    strLine = TrimLeft(strLine, BLANKS);
    if (!strLine.starts_with(u'[')) return std::nullopt;
    // The last bracket closes, so that a name may have brackets of its own.
    const std::size_t nEnd = strLine.rfind(u']');
    if (nEnd == TextView::npos) return std::nullopt;
    return Trim(strLine.substr(1, nEnd - 1), BLANKS);
}

bool CProfileText::IsNamed(TextView strRaw, TextView strName) const {
    return EqualsNoCase(m_encoding == Encoding::Utf16 ? strRaw : TextView(Decode(strRaw)), Trim(strName, BLANKS));
}

std::optional<std::size_t> CProfileText::FindSection(TextView strSection) const {
    for (auto line = ReadLine(0); line; line = ReadLine(line->nNext)) {
        const auto strName = GetSectionName(GetContent(*line));
        if (strName && IsNamed(*strName, strSection)) return line->nNext;
    }
    return std::nullopt;
}

std::optional<CProfileText::Line> CProfileText::FindKey(std::size_t& nPosition, TextView strKey) const {
    for (auto line = ReadLine(nPosition); line; line = ReadLine(line->nNext)) {
        const TextView strLine = Trim(GetContent(*line), BLANKS);
        if (GetSectionName(strLine)) break;
        if (strLine.empty()) continue;
        nPosition = line->nNext;
        const std::size_t nEquals = strLine.find(u'=');
        if (nEquals == TextView::npos || strLine.front() == u';') continue;
        if (IsNamed(TrimRight(strLine.substr(0, nEquals), BLANKS), strKey)) return line;
    }
    return std::nullopt;
}

std::optional<Text> CProfileText::Find(TextView strSection, TextView strKey) const {
    auto nPosition = FindSection(strSection);
    if (!nPosition) return std::nullopt;
    const auto line = FindKey(*nPosition, strKey);
    if (!line) return std::nullopt;
    const TextView strLine = GetContent(*line);
    return Decode(WithoutQuotes(Trim(strLine.substr(strLine.find(u'=') + 1), BLANKS)));
}

void CProfileText::Set(TextView strSection, TextView strKey, TextView strValue) {
    const Text strName = WithoutLineEnds(strSection);
    const Text strKeyName = WithoutLineEnds(strKey);
    const Text strRawValue = Encode(WithoutLineEnds(strValue));
    const Text strNewLine = Encode(strKeyName) + u'=' + strRawValue;
    auto nPosition = FindSection(strName);
    const auto line = nPosition ? FindKey(*nPosition, strKeyName) : std::nullopt;
    if (line) {
        const std::size_t nValue = m_strRaw.find(u'=', line->nStart) + 1;
        m_strRaw.replace(nValue, line->nEnd - nValue, strRawValue);
        return;
    }
    Text strAdded = strNewLine + m_strLineEnd;
    if (!nPosition) {
        nPosition = m_strRaw.size();
        strAdded = u'[' + Encode(strName) + u']' + m_strLineEnd + strAdded;
    }
    // The line in front may be the last of the file, without an end of its own.
    const bool bOpenLine = *nPosition > 0 && LINE_ENDS.find(m_strRaw[*nPosition - 1]) == TextView::npos;
    m_strRaw.insert(*nPosition, bOpenLine ? m_strLineEnd + strAdded : strAdded);
}

void CProfileText::RemoveSections(const std::function<bool(TextView)>& accepts) {
    Text strKept;
    bool bRemoving = false;
    for (auto line = ReadLine(0); line; line = ReadLine(line->nNext)) {
        if (const auto strName = GetSectionName(GetContent(*line))) bRemoving = accepts(Decode(*strName));
        if (!bRemoving) strKept.append(m_strRaw, line->nStart, line->nNext - line->nStart);
    }
    m_strRaw = std::move(strKept);
}

}  // namespace qvant::platform

#include "setting.h"

#include <algorithm>
#include <fstream>
#include <iterator>

#include <unicode/uchar.h>
#include <unicode/ustring.h>

namespace qvant::host {

namespace {

constexpr std::string_view UTF16_MARK = "\xFF\xFE";
constexpr std::string_view UTF8_MARK = "\xEF\xBB\xBF";
constexpr TextView BLANKS = u" \t\v\f";
constexpr TextView LINE_ENDS = u"\r\n";

/// The files are UTF-16LE with its mark, or UTF-8.
Text Decode(std::string_view strBytes) {
    if (strBytes.starts_with(UTF8_MARK)) return Widen(strBytes.substr(UTF8_MARK.size()));
    if (!strBytes.starts_with(UTF16_MARK)) return Widen(strBytes);
    Text strText;
    for (std::size_t i = UTF16_MARK.size(); i + 1 < strBytes.size(); i += 2) {
        const auto nLow = static_cast<unsigned char>(strBytes[i]);
        const auto nHigh = static_cast<unsigned char>(strBytes[i + 1]);
        strText += static_cast<char16_t>(nLow | nHigh << 8);
    }
    return strText;
}

TextView Trim(TextView strText) {
    const std::size_t nStart = std::min(strText.find_first_not_of(BLANKS), strText.size());
    strText.remove_prefix(nStart);
    return strText.substr(0, strText.find_last_not_of(BLANKS) + 1);
}

bool IsSame(TextView a, TextView b) {
    return u_strncasecmp(a.data(), b.data(), static_cast<std::int32_t>(std::min(a.size(), b.size())),
                         U_FOLD_CASE_DEFAULT) == 0 &&
           a.size() == b.size();
}

TextView WithoutQuotes(TextView strValue) {
    const bool bQuoted = strValue.size() >= 2 && strValue.front() == strValue.back() &&
                         (strValue.front() == u'"' || strValue.front() == u'\'');
    return bQuoted ? strValue.substr(1, strValue.size() - 2) : strValue;
}

/// Takes the lines one after the other and knows which section they belong to.
class CSettingFinder {
public:
    CSettingFinder(TextView strSection, TextView strKey) : m_strSection(strSection), m_strKey(strKey) {}

    /// @return true when this line ends the search
    bool Take(TextView strLine) {
        strLine = Trim(strLine);
        // The last bracket closes, so that a name may have brackets of its own.
        const std::size_t nClose = strLine.starts_with(u'[') ? strLine.rfind(u']') : TextView::npos;
        if (nClose != TextView::npos) {
            if (m_bInside) return true;
            m_bInside = IsSame(Trim(strLine.substr(1, nClose - 1)), m_strSection);
            return false;
        }
        const std::size_t nEquals = strLine.find(u'=');
        if (!m_bInside || nEquals == TextView::npos || strLine.starts_with(u';')) return false;
        if (!IsSame(Trim(strLine.substr(0, nEquals)), m_strKey)) return false;
        m_strValue = WithoutQuotes(Trim(strLine.substr(nEquals + 1)));
        return true;
    }
    Text GetValue() const { return m_strValue; }

private:
    const TextView m_strSection;
    const TextView m_strKey;
    bool m_bInside = false;
    Text m_strValue;
};

}  // namespace

Text ReadSetting(const std::filesystem::path& path, TextView strSection, TextView strKey) {
    std::ifstream file(path, std::ios::binary);
    const Text strText = Decode(std::string{std::istreambuf_iterator<char>(file), {}});
    CSettingFinder finder(strSection, strKey);
    TextView strRest = strText;
    while (!strRest.empty()) {
        const std::size_t nEnd = std::min(strRest.find_first_of(LINE_ENDS), strRest.size());
        if (finder.Take(strRest.substr(0, nEnd))) break;
        strRest.remove_prefix(std::min(nEnd + 1, strRest.size()));
    }
    return finder.GetValue();
}

}  // namespace qvant::host

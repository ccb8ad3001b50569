/// The units of the forgiving JSON: blanks, keywords, numbers and strings.
#pragma once

#include <cstddef>

#include "base/text.h"
#include "net/wide_json.h"

namespace qvant {

/// A position in a text that it borrows. Belongs to one thread.
class CWideJsonScan {
public:
    explicit CWideJsonScan(TextView strText);

    std::size_t GetPosition() const { return m_nPosition; }
    /// The unit at the position; NUL at the end.
    char16_t Peek() const { return m_nPosition < m_strText.size() ? m_strText[m_nPosition] : u'\0'; }
    void Skip() { ++m_nPosition; }
    /// Every unit from 1 to 32 is a blank.
    void SkipBlanks();

    /// Whether the rest of the text holds a closing brace or bracket at all.
    bool HasObjectEnd() const { return HasLater(m_nLastBrace); }
    bool HasArrayEnd() const { return HasLater(m_nLastBracket); }

    /// A string from its opening quote to behind its closing one. @return false when the input ends before that
    bool ReadString(Text& strValue);
    /// The same, borrowed from the text that is read, or from the buffer when there are escapes in it.
    bool ReadString(TextView& strValue, Text& strBuffer);
    /// A keyword or a number. @return false, somewhere inside it, when it is neither
    bool ReadScalar(CJsonValue& value);

private:
    bool HasLater(std::size_t nPlace) const { return nPlace != TextView::npos && nPlace > m_nPosition; }
    void ReadEscape(Text& strValue);
    bool ReadKeyword(CJsonValue& value);
    bool ReadNumber(CJsonValue& value);
    bool ReadExponent(CJsonValue& value, const Text& strMantissa, bool bNegative);

    TextView m_strText;
    std::size_t m_nPosition = 0;
    // Found once, so that a deep text isn't searched through again at each of its levels.
    std::size_t m_nLastBrace;
    std::size_t m_nLastBracket;
};

}  // namespace qvant

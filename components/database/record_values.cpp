#include "record_values.h"

#include <algorithm>

namespace qvant::database {
namespace {

constexpr TextView MARK = u"||";
constexpr std::size_t LONGEST_SEPARATOR = 8;

bool MaySeparate(char16_t ch) {
    const bool bLetter = (ch >= u'A' && ch <= u'Z') || (ch >= u'a' && ch <= u'z');
    return ch < 0x80 && !bLetter && !(ch >= u'0' && ch <= u'9');
}

}  // namespace

SValuesForm FindValuesForm(TextView strValues) {
    // From the end: a row without the ending mostly ends in a digit, and is told at its last unit.
    std::size_t nStart = strValues.size();
    const std::size_t nLeast = nStart - std::min(nStart, LONGEST_SEPARATOR);
    while (nStart > nLeast && MaySeparate(strValues[nStart - 1]) && !strValues.substr(0, nStart).ends_with(MARK)) {
        --nStart;
    }
    const TextView strBefore = strValues.substr(0, nStart);
    if (nStart == strValues.size() || !strBefore.ends_with(MARK)) return {strValues, u","};
    return {strBefore.substr(0, nStart - MARK.size()), strValues.substr(nStart)};
}

const std::vector<std::string_view>& CRecordValues::Split(TextView strValues) {
    const SValuesForm form = FindValuesForm(strValues);
    if (m_strBytes.size() < 3 * form.strBody.size()) m_strBytes.resize(3 * form.strBody.size());
    const std::string_view strBytes(m_strBytes.data(), NarrowInto(form.strBody, m_strBytes.data()));
    m_arPieces.clear();
    const std::string strSeparator = Narrow(form.strSeparator);
    if (strSeparator.size() == 1) {
        SplitAt(strBytes, strSeparator.front(), 1);
    } else {
        SplitAt(strBytes, std::string_view(strSeparator), strSeparator.size());
    }
    return m_arPieces;
}

/// A separator of one character is found much faster as such.
template <class Separator>
void CRecordValues::SplitAt(std::string_view strBytes, Separator separator, std::size_t nLength) {
    for (std::size_t nPiece = 0;;) {
        const std::size_t nEnd = strBytes.find(separator, nPiece);
        m_arPieces.push_back(strBytes.substr(nPiece, nEnd - nPiece));
        if (nEnd == std::string_view::npos) return;
        nPiece = nEnd + nLength;
    }
}

}  // namespace qvant::database

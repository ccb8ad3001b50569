/// The splitting of `NextToken` and `ExtractField` over borrowed text, for loops that can't afford a copy of each
/// piece.
#pragma once

#include <cstddef>

#include "base/text.h"

namespace qvant {

/// As `NextToken`, with a piece that is borrowed from `strText`. @param strSeparators  at least one unit
inline TextView NextTokenView(TextView strText, TextView strSeparators, int& nPosition) {
    const std::size_t nFrom = nPosition < 0 ? TextView::npos : static_cast<std::size_t>(nPosition);
    const std::size_t nStart = nFrom == TextView::npos ? nFrom : strText.find_first_not_of(strSeparators, nFrom);
    if (nStart == TextView::npos) {
        nPosition = -1;
        return {};
    }
    const std::size_t nEnd = strText.find_first_of(strSeparators, nStart);
    const std::size_t nCount = (nEnd == TextView::npos ? strText.size() : nEnd) - nStart;
    nPosition = static_cast<int>(nStart + nCount) + 1;
    return strText.substr(nStart, nCount);
}

/// Cuts the text at the first `chSeparator`: returns what stands before it (all, when there is none) and leaves in
/// `strText` what stands behind it.
/// @param pFound  out: whether there was a separator; may be null
inline TextView CutPiece(TextView& strText, char16_t chSeparator, bool* pFound = nullptr) {
    const std::size_t nFound = strText.find(chSeparator);
    if (pFound) *pFound = nFound != TextView::npos;
    const TextView strPiece = strText.substr(0, nFound);
    strText = nFound == TextView::npos ? TextView(strText.data() + strText.size(), 0) : strText.substr(nFound + 1);
    return strPiece;
}

}  // namespace qvant

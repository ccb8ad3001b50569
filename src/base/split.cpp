#include "base/split.h"

namespace qvant {

Text ExtractField(TextView strText, int nIndex, TextView strSeparator) {
    if (nIndex < 0) return {};
    std::size_t nStart = 0;
    for (; nIndex > 0; --nIndex) {
        const std::size_t nFound = strSeparator.empty() ? TextView::npos : strText.find(strSeparator, nStart);
        if (nFound == TextView::npos) return {};
        nStart = nFound + strSeparator.size();
    }
    const std::size_t nEnd = strSeparator.empty() ? TextView::npos : strText.find(strSeparator, nStart);
    return Text(strText.substr(nStart, nEnd == TextView::npos ? nEnd : nEnd - nStart));
}

Text NextToken(TextView strText, TextView strSeparators, int& nPosition) {
    const auto nLength = static_cast<int>(strText.size());
    if (nPosition < 0 || nPosition >= nLength) {
        nPosition = -1;
        return {};
    }
    if (strSeparators.empty()) return Text(strText.substr(static_cast<std::size_t>(nPosition)));
    const std::size_t nStart = strText.find_first_not_of(strSeparators, static_cast<std::size_t>(nPosition));
    if (nStart == TextView::npos) {
        nPosition = -1;
        return {};
    }
    const std::size_t nEnd = strText.find_first_of(strSeparators, nStart);
    const std::size_t nCount = (nEnd == TextView::npos ? strText.size() : nEnd) - nStart;
    nPosition = static_cast<int>(nStart + nCount) + 1;
    return Text(strText.substr(nStart, nCount));
}

std::vector<Text> SplitTokens(TextView strText, TextView strSeparators) {
    std::vector<Text> arTokens;
    if (strSeparators.empty()) {
        if (!strText.empty()) arTokens.emplace_back(strText);
        return arTokens;
    }
    for (int nPosition = 0;;) {
        Text strToken = NextToken(strText, strSeparators, nPosition);
        if (nPosition == -1) return arTokens;
        arTokens.push_back(std::move(strToken));
    }
}

std::vector<Text> SplitFields(TextView strText, TextView strSeparator) {
    std::vector<Text> arFields;
    std::size_t nStart = 0;
    while (!strSeparator.empty()) {
        const std::size_t nFound = strText.find(strSeparator, nStart);
        if (nFound == TextView::npos) break;
        arFields.emplace_back(strText.substr(nStart, nFound - nStart));
        nStart = nFound + strSeparator.size();
    }
    arFields.emplace_back(strText.substr(nStart));
    return arFields;
}

Text Join(const std::vector<Text>& arPieces, TextView strSeparator) {
    Text strResult;
    for (const Text& strPiece : arPieces) {
        if (&strPiece != &arPieces.front()) strResult.append(strSeparator);
        strResult.append(strPiece);
    }
    return strResult;
}

}  // namespace qvant

#include "symbols/symbol_grammar.h"

#include <algorithm>
#include <array>

#include "base/format.h"
#include "base/token_view.h"
#include "symbols/symbol_fields.h"

namespace qvant {

CLumMapStringToString g_mapISymbolToQV;

namespace {

template <std::size_t COUNT>
Text JoinFields(const std::array<TextView, COUNT>& arFields) {
    std::size_t nLength = COUNT - 1;
    for (const TextView strField : arFields) nLength += strField.size();
    Text strResult;
    strResult.reserve(nLength);
    for (std::size_t i = 0; i < COUNT; ++i) {
        if (i > 0) strResult.push_back(u'.');
        strResult.append(arFields[i]);
    }
    return strResult;
}

template <std::size_t COUNT>
Text JoinTokens(TextView strSymbol) {
    if (strSymbol.empty()) return {};
    std::array<TextView, COUNT> arFields;
    int nPosition = 0;
    for (TextView& strField : arFields) strField = NextTokenView(strSymbol, u".", nPosition);
    return JoinFields(arFields);
}

TextView Right(TextView strText, std::size_t nCount) {
    return strText.size() > nCount ? strText.substr(strText.size() - nCount) : strText;
}

/// The synthetic underlyings of the quote servers carry their mark at the product, the service's at the exchange.
Text RewriteQuoteSymbol(TextView strSymbol) {
    constexpr TextView strMark = u"_U";
    const Text strPrefix = ExtractField(strSymbol, 0, u".");
    const Text strClass = ExtractField(strSymbol, 1, u".");
    const Text strExchange = ExtractField(strSymbol, 2, u".");
    const Text strProduct = ExtractField(strSymbol, 3, u".");
    // Only derivatives have a month behind the product; what stands there in any other class is dropped.
    if (strClass != u"F" && strClass != u"O") return JoinFields<4>({u"QV", strClass, strExchange, strProduct});
    const Text strOld = JoinFields<4>({strPrefix, strClass, strExchange, strProduct});
    const bool bSynthetic = TextView(strProduct).ends_with(strMark);
    const Text strNew = bSynthetic ? Format(u"QV.%s.U_%s.%s", strClass, strExchange,
                                            TextView(strProduct).substr(0, strProduct.size() - strMark.size()))
                                   : JoinFields<4>({u"QV", strClass, strExchange, strProduct});
    Text strResult(strSymbol);
    ReplaceAll(strResult, strOld, strNew);
    return strResult;
}

}  // namespace

Text GetSecurityKey(TextView strSymbol) { return JoinTokens<4>(strSymbol); }

Text GetSecurityGroup(TextView strSymbol) { return JoinTokens<3>(strSymbol); }

Text ExtractSecurityKey(TextView strSymbol) {
    std::array<TextView, 4> arFields;
    for (TextView& strField : arFields) strField = CutPiece(strSymbol, u'.');
    return JoinFields(arFields);
}

Text GetMonthField(TextView strText) { return ExtractField(strText, 3, u"."); }

Text ToServerClass(TextView strSymbol) {
    Text strText(strSymbol);
    for (const TextView strPrefix : {u"QV.O.", u"QV.F.", u"QV.S."}) {
        if (ReplaceAll(strText, strPrefix, u"LUM.") > 0) break;
    }
    std::array<TextView, 3> arFields;
    int nPosition = 0;
    for (TextView& strField : arFields) strField = NextTokenView(strText, u".", nPosition);
    return JoinFields(arFields);
}

Text ISymbolToQVSymbol(TextView strSymbol) {
    Text strResult;
    if (g_mapISymbolToQV.Lookup(strSymbol, strResult) && !strResult.empty()) return strResult;
    strResult = RewriteQuoteSymbol(strSymbol);
    g_mapISymbolToQV.SetAt(strSymbol, strResult);
    return strResult;
}

Text GetSymbolType(TextView strSymbol) {
    constexpr std::array<TextView, 5> arClasses = {u"F", u"S", u"O", u"F2", u"O2"};
    int nPosition = 0;
    NextTokenView(strSymbol, u".", nPosition);
    if (nPosition == -1) return {};
    const TextView strClass = NextTokenView(strSymbol, u".", nPosition);
    const auto pFound = std::find(arClasses.begin(), arClasses.end(), strClass);
    // A class without a number of its own shows where the reading stopped: the search table's readers know it so.
    if (pFound == arClasses.end()) return Format(u"%s,%d", strClass, nPosition);
    const auto chNumber = static_cast<char16_t>(u'1' + (pFound - arClasses.begin()));
    return Concatenate({strClass, u",", TextView(&chNumber, 1)});
}

Text MakeSearchId(TextView strSymbol) {
    const SymbolFields fields = SplitSymbol(strSymbol);
    if (fields.strClass == u"S") return Concatenate({fields.strProduct, u".", fields.strExchange});
    const OptionFields option = SplitOption(fields.strRest);
    const TextView strMonth = Right(option.strMonth, 4);
    if (fields.strClass == u"F") return Concatenate({fields.strExchange, u".", fields.strProduct, u" ", strMonth});
    if (fields.strClass == u"O") {
        return Concatenate(
            {fields.strProduct, u".", strMonth, u".", option.strRight, option.strStrike, u".", fields.strExchange});
    }
    return Text(strSymbol);
}

bool CheckContractQuota(TextView strSymbol, TextView strProduct, const CAcceptedContracts& accepted) {
    if (Contains(strSymbol, u"000000")) return false;
    const bool bSingle = EqualsNoCase(strProduct, u"T") || EqualsNoCase(strProduct, u"TF");
    return accepted.GetCount(strProduct) < (bSingle ? 1 : 2);
}

}  // namespace qvant

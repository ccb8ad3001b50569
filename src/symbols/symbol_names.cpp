#include "base/format.h"
#include "base/numbers.h"
#include "platform/profile.h"
#include "symbols/symbol_fields.h"
#include "symbols/symbol_grammar.h"

namespace qvant {

namespace {

constexpr TextView SECTION = u"LUMIVale";
constexpr std::size_t WORD_BUFFER = 256;

/// The text behind its first units; empty when it has no more than those.
TextView CutLeft(TextView strText, std::size_t nCount) {
    return strText.size() > nCount ? strText.substr(nCount) : TextView{};
}

const Text* Find(const TextMap& map, TextView strKey) {
    const auto pFound = map.find(strKey);
    return pFound == map.end() ? nullptr : &pFound->second;
}

bool IsChineseStockExchange(TextView strExchange) { return strExchange == u"SSE" || strExchange == u"SZSE"; }

/// A symbol and what its name is built from.
struct NameParts {
    SymbolFields fields;
    TextView strKey;
    TextView strName;
    TextView strLabel;
};

/// Options of the Chinese stock exchanges read as words: call or put, month, strike, and the mark of an adjusted one,
/// whose product code ends in a letter that nobody wants to see.
Text FormatStockOption(const NameParts& parts, const OptionFields& option, const NameSources& sources) {
    const Text* pAdjustment = Find(sources.m_mapOptionSetPriAdj, parts.strKey);
    const TextView strAdjustment = pAdjustment ? TextView(*pAdjustment) : TextView{};
    TextView strTrimmed = parts.fields.strProduct;
    if (!strAdjustment.empty() && !strTrimmed.empty()) strTrimmed.remove_suffix(1);
    const Text& strRight = option.strRight == u"C" ? sources.words.m_strCall : sources.words.m_strPut;
    if (!parts.strLabel.empty()) {
        return Format(u"%s %s %s %s%s", strTrimmed, strRight, parts.strLabel, option.strStrike, strAdjustment);
    }
    const int nMonth = ToInt(CutLeft(option.strMonth, 4).substr(0, 2));
    return Format(u"%s %s %d%s %s%s", strTrimmed, strRight, nMonth, sources.words.m_strMonth, option.strStrike,
                  strAdjustment);
}

Text FormatOptionName(const NameParts& parts, bool bLocal, const NameSources& sources) {
    if (parts.fields.strRest.empty()) return {};
    const OptionFields option = SplitOption(parts.fields.strRest);
    if (!bLocal) {
        return Concatenate({parts.strName, option.strMonth, option.strRight, option.strStrike});
    }
    if (IsChineseStockExchange(parts.fields.strExchange)) return FormatStockOption(parts, option, sources);
    const TextView strMonth = parts.strLabel.empty() ? CutLeft(option.strMonth, 2) : parts.strLabel;
    return Concatenate({parts.fields.strProduct, strMonth, u"-", option.strRight, u"-", option.strStrike});
}

Text FormatFutureName(const NameParts& parts, bool bLocal) {
    const SymbolFields& fields = parts.fields;
    // Elsewhere the month always shows, whatever word the caller has for it.
    if (!bLocal) return Concatenate({parts.strName, fields.strRest});
    const bool bIndex = fields.strExchange == u"CFFEX" &&
                        (fields.strProduct == u"IF" || fields.strProduct == u"IH" || fields.strProduct == u"IC");
    const TextView strStem = bIndex ? fields.strProduct : parts.strName;
    return Concatenate({strStem, parts.strLabel.empty() ? CutLeft(fields.strRest, 2) : parts.strLabel});
}

/// The four-part key, borrowed from the symbol where that has no empty fields, and else from the buffer.
TextView FindSecurityKey(TextView strSymbol, const SymbolFields& fields, Text& strBuffer) {
    const std::size_t nLength =
        fields.strPrefix.size() + fields.strClass.size() + fields.strExchange.size() + fields.strProduct.size() + 3;
    const TextView strStart = strSymbol.substr(0, nLength);
    if (!fields.strProduct.empty() &&
        strStart.data() + strStart.size() == fields.strProduct.data() + fields.strProduct.size()) {
        return strStart;
    }
    strBuffer = GetSecurityKey(strSymbol);
    return strBuffer;
}

Text MakeLegKey(const SymbolFields& fields, TextView strProduct) {
    Text strKey = Format(u"%s.%s.%s.%s", fields.strPrefix, fields.strClass, fields.strExchange, strProduct);
    ReplaceAll(strKey, u".F2.", u".F.");
    ReplaceAll(strKey, u".O2.", u".O.");
    return strKey;
}

/// @param strRest    what stands behind the leg's product
/// @param strOption  the month, right and strike that an option leg shows
Text MakeLegLabel(TextView strClass, TextView strName, TextView strRest, TextView strOption) {
    if (strClass == u"F2") return Format(u"%s%s", strName, strRest);
    if (strRest.empty()) return {};
    const OptionFields option = SplitOption(strOption);
    return Format(u"%s%s%s%s", strName, option.strMonth, option.strRight, option.strStrike);
}

}  // namespace

SymbolWords LoadSymbolWords(TextView strPath, TextView strLanguage) {
    const auto Load = [&](TextView strKey, Text& strWord) {
        strWord = platform::GetProfileText(SECTION, Format(strKey, strLanguage), strWord, WORD_BUFFER, strPath);
    };
    SymbolWords words;
    Load(u"Call.%s", words.m_strCall);
    Load(u"Put.%s", words.m_strPut);
    Load(u"Month.%s", words.m_strMonth);
    Load(u"SynU.%s", words.m_strSynU);
    return words;
}

Text FormatSymbolName(TextView strSymbol, TextView strLabel, const NameSources& sources) {
    const SymbolFields fields = SplitSymbol(strSymbol);
    if (Contains(fields.strClass, u"2")) return FormatTwoLegName(strSymbol, sources);
    Text strBuffer;
    NameParts parts{fields, FindSecurityKey(strSymbol, fields, strBuffer), {}, strLabel};
    const Text* pName = sources.securityNames.Find(parts.strKey);
    if (!pName) return {};
    parts.strName = *pName;
    if (fields.strClass == u"S") {
        return IsChineseStockExchange(fields.strExchange) ? Concatenate({fields.strProduct, u" ", *pName}) : *pName;
    }
    const bool bLocal = sources.m_mapLocalExchanges.contains(fields.strExchange);
    return fields.strClass == u"O" ? FormatOptionName(parts, bLocal, sources) : FormatFutureName(parts, bLocal);
}

Text FormatTwoLegName(TextView strSymbol, const NameSources& sources) {
    TextView strSecond = strSymbol;
    const SymbolFields first = SplitSymbol(CutPiece(strSecond, u'^'));
    const Text* pFirstName = sources.securityNames.Find(MakeLegKey(first, first.strProduct));
    if (!pFirstName) return {};
    int nPosition = 0;
    const TextView strProduct = NextTokenView(strSecond, u".", nPosition);
    const Text* pSecondName = sources.securityNames.Find(MakeLegKey(first, strProduct));
    if (!pSecondName) return {};
    // Both legs of an option show the first leg's month, right and strike: the name tells the spread by its first leg.
    return Format(u"%s&%s", MakeLegLabel(first.strClass, *pFirstName, first.strRest, first.strRest),
                  MakeLegLabel(first.strClass, *pSecondName, RestFrom(strSecond, nPosition), first.strRest));
}

}  // namespace qvant

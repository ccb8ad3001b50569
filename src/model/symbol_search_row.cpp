#include "model/symbol_search_row.h"

#include <charconv>

#include "base/token_view.h"

namespace qvant {

namespace {

constexpr std::size_t NEAR_FIELDS = 5;   ///< a near symbol belongs to a product and month
constexpr std::size_t CLASS_FIELDS = 4;  ///< and a class of contracts to prefix, class, exchange and product
constexpr StockLimits NO_LIMITS;

/// The first dotted fields, without the dot behind them; the whole symbol when it has fewer.
TextView FirstFields(TextView strSymbol, std::size_t nFields) {
    std::size_t nNext = 0;
    for (; nFields > 0; --nFields) {
        const std::size_t nDot = strSymbol.find(u'.', nNext);
        if (nDot == TextView::npos) return strSymbol;
        nNext = nDot + 1;
    }
    return strSymbol.substr(0, nNext - 1);
}

bool IsClass(TextView strSymbol, TextView strClass) {
    const std::size_t nDot = strSymbol.find(u'.');
    return nDot != TextView::npos && FirstFields(strSymbol.substr(nDot + 1), 1) == strClass;
}

}  // namespace

Text FindNearSymbol(CTextFinder& symbolToNear, TextView strSymbol) {
    const TextView strMonth = FirstFields(strSymbol, NEAR_FIELDS);
    Text strNear(symbolToNear.GetText(strMonth));
    if (!strNear.empty() && IsClass(strSymbol, u"O")) strNear.append(strSymbol.substr(strMonth.size()));
    return strNear;
}

CSymbolSearchRow::CSymbolSearchRow(const SymbolSearchSources& sources, Text strTimeStamp)
    : m_contracts(sources.contracts),
      m_stocks(sources.stocks),
      m_strTimeStamp(std::move(strTimeStamp)),
      m_pinyin(sources.securities.m_mapPinyin),
      m_mainType(sources.securities.m_mapMainType),
      m_optionSetPriAdj(sources.lists.m_mapOptionSetPriAdj),
      m_underlying(sources.lists.m_mapUnderlying) {}

CSymbolSearchRow::Parts CSymbolSearchRow::Split(TextView strSymbol) {
    Parts parts;
    TextView strRest = strSymbol;
    CutPiece(strRest, u'.');
    parts.strClass = CutPiece(strRest, u'.');
    parts.strExchange = CutPiece(strRest, u'.');
    parts.strProduct = CutPiece(strRest, u'.');
    parts.strKey = FirstFields(strSymbol, CLASS_FIELDS);
    return parts;
}

const Text& CSymbolSearchRow::MakeContract(CSymbolTable::Row row, TextView strNear) {
    const TextView strSymbol = m_contracts.m_symbols.GetSymbol(row);
    const TextView strName = m_contracts.m_mapSymbolToName.GetValue(row);
    const Parts parts = Split(strSymbol);
    const bool bStock = parts.strClass == u"S";
    const auto pLimits = Contains(strSymbol, u"QV.S") ? m_stocks.find(strSymbol) : m_stocks.end();
    const StockLimits& limits = pLimits == m_stocks.end() ? NO_LIMITS : pLimits->second;

    Start(strSymbol, strName);
    Append(MakeSearchId(strSymbol));
    AppendWithoutBlanks(strName);
    Append(parts.strExchange);
    Append(parts.strProduct);
    AppendExpiry(m_contracts.m_mapExpireDate.GetValue(row), bStock, limits);
    Append(m_contracts.m_mapLongMargin.GetValue(row));
    Append(m_contracts.m_mapShortMargin.GetValue(row));
    Append(m_contracts.m_mapSymbolToHot.GetValue(row));
    Append(strNear);
    AppendLimits(limits);
    AppendSecurity(strSymbol, m_contracts.m_mapSymbolToInstrument.GetValue(row), parts);
    End(strSymbol);
    return m_strRow;
}

const Text& CSymbolSearchRow::MakeSynthetic(CSymbolTable::Row row) {
    const TextView strSymbol = m_contracts.m_symbols.GetSymbol(row);
    const TextView strName = m_contracts.m_mapSynuSymbolToName.GetValue(row);
    const Parts parts = Split(strSymbol);
    Start(strSymbol, strName);
    Append(strName);
    Append(parts.strExchange);
    Append(parts.strProduct);
    Append(m_contracts.m_mapExpireDate.GetValue(row));
    End(strSymbol);
    return m_strRow;
}

void CSymbolSearchRow::Start(TextView strSymbol, TextView strName) {
    m_strRow.assign(strSymbol);
    Append(strName);
}

void CSymbolSearchRow::Append(TextView strField) { m_strRow.append(1, u',').append(strField); }

void CSymbolSearchRow::AppendNumber(std::int64_t nNumber) {
    char arDigits[24];
    const auto end = std::to_chars(std::begin(arDigits), std::end(arDigits), nNumber);
    m_strRow.append(1, u',').append(std::begin(arDigits), end.ptr);
}

/// Users type names without the blanks that they are shown with.
void CSymbolSearchRow::AppendWithoutBlanks(TextView strName) {
    constexpr char16_t IDEOGRAPHIC_SPACE = 0x3000;
    m_strRow.push_back(u',');
    for (const char16_t ch : strName) {
        if (ch != u' ' && ch != IDEOGRAPHIC_SPACE) m_strRow.push_back(ch);
    }
}

/// A bond is listed among the stocks, and its expiry is its maturity.
void CSymbolSearchRow::AppendExpiry(TextView strExpiry, bool bStock, const StockLimits& limits) {
    if (strExpiry.empty() && bStock && limits.MaturityDate > 0) {
        AppendNumber(limits.MaturityDate);
    } else {
        Append(strExpiry);
    }
}

void CSymbolSearchRow::AppendLimits(const StockLimits& limits) {
    AppendNumber(limits.BuyQtyUpperLimit);
    AppendNumber(limits.SellQtyUpperLimit);
    AppendNumber(limits.BuyQtyUnit);
    AppendNumber(limits.SellQtyUnit);
}

void CSymbolSearchRow::AppendSecurity(TextView strSymbol, TextView strInstrument, const Parts& parts) {
    const bool bStock = parts.strClass == u"S";
    const bool bOption = parts.strClass == u"O";
    Append(m_pinyin.GetText(bStock ? strSymbol : parts.strKey));
    Append(bOption ? m_optionSetPriAdj.GetText(parts.strKey) : TextView());
    Append(bStock ? TextView() : m_underlying.GetText(parts.strKey));
    Append(strInstrument);
    Append(bStock ? m_mainType.GetText(strSymbol) : TextView());
}

/// Class and its number are two columns; the status is 1 for every row.
void CSymbolSearchRow::End(TextView strSymbol) {
    Append(GetSymbolType(strSymbol));
    Append(u"1");
    Append(m_strTimeStamp);
}

}  // namespace qvant

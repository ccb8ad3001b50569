/// Rows of the search table, as the record database takes them: fields joined by ",", with no escaping.
#pragma once

#include "base/text.h"
#include "model/contract_builder.h"
#include "model/securities_parser.h"
#include "model/stock_limits.h"
#include "model/underlying_lists.h"
#include "symbols/text_finder.h"

namespace qvant {

/// Where the columns come from; all outlive the rows.
struct SymbolSearchSources {
    const CContractBuilder& contracts;
    const CUnderlyingLists& lists;
    const CSecuritiesParser& securities;
    const StockLimitMap& stocks;
};

/// The near symbol of a contract, such as QV.F.CME.ES.Front1; an option's has the right and strike behind it.
/// @param symbolToNear  of the builder's `m_mapSymbolToNear`
/// @return empty when the contract has none
Text FindNearSymbol(CTextFinder& symbolToNear, TextView strSymbol);

/// Makes one row after the other in the same buffer. Belongs to one thread, and the sources don't change under it.
class CSymbolSearchRow {
public:
    /// Columns of a contract with a display name, and of a synthetic underlying.
    static constexpr TextView CONTRACT_FIELDS =
        u"Symbol,Name,SearchID,SearchName,Exchange,Product,ExpDate,LongMargin,ShortMargin,HotSymbol,NearSymbol,BULimit,"
        u"SULimit,BUnit,SUnit,Spell,SetPRIADJ,Underlying,Instrument,MainType,Type,TypeNum,Status,TimeStamp";
    static constexpr TextView SYNTHETIC_FIELDS =
        u"Symbol,Name,SearchName,Exchange,Product,ExpDate,Type,TypeNum,Status,TimeStamp";

    /// @param strTimeStamp  seconds since 1970, as decimal text
    CSymbolSearchRow(const SymbolSearchSources& sources, Text strTimeStamp);

    /// @param row      of the builder's `m_symbols`
    /// @param strNear  what `FindNearSymbol` gives
    /// @return valid until the next call
    const Text& MakeContract(CSymbolTable::Row row, TextView strNear);
    const Text& MakeSynthetic(CSymbolTable::Row row);

private:
    /// The dotted fields of the symbol at hand.
    struct Parts {
        TextView strClass;
        TextView strExchange;
        TextView strProduct;
        TextView strKey;  ///< the first four fields
    };
    static Parts Split(TextView strSymbol);

    void Start(TextView strSymbol, TextView strName);
    void Append(TextView strField);
    void AppendNumber(std::int64_t nNumber);
    void AppendWithoutBlanks(TextView strName);
    void AppendExpiry(TextView strExpiry, bool bStock, const StockLimits& limits);
    void AppendLimits(const StockLimits& limits);
    void AppendSecurity(TextView strSymbol, TextView strInstrument, const Parts& parts);
    void End(TextView strSymbol);

    const CContractBuilder& m_contracts;
    const StockLimitMap& m_stocks;
    const Text m_strTimeStamp;
    Text m_strRow;
    // Contracts come in the order in which these were filled, and those of a product one behind the other.
    CTextFinder m_pinyin;
    CTextFinder m_mainType;
    CTextFinder m_optionSetPriAdj;
    CTextFinder m_underlying;
};

}  // namespace qvant

#include "symbol_card.h"

#include <algorithm>
#include <iterator>

#include "failure.h"
#include "trading_hours.h"

namespace qvant::host {

namespace {

using Put = Value (*)(std::string_view strText);

Value PutText(std::string_view strText) { return strText.empty() ? Value() : Widen(strText); }

/// 0 stands for a symbol that has no limit.
Value PutLimit(std::string_view strText) { return strText == "0" ? Value() : PutText(strText); }

Value PutType(std::string_view strText) {
    static constexpr std::pair<std::string_view, TextView> TYPES[] = {
        {"F", u"future"}, {"S", u"stock"}, {"O", u"option"}, {"F2", u"two-leg future"}, {"O2", u"two-leg option"}};
    const auto it = std::ranges::find(TYPES, strText, &std::pair<std::string_view, TextView>::first);
    return it == std::end(TYPES) ? PutText(strText) : Text(it->second);
}

struct Field {
    std::string_view strName;
    const char* pszColumn;
    Put pPut;
};

constexpr Field FIELDS[] = {{"symbol", "Symbol", PutText},
                            {"name", "Name", PutText},
                            {"search_id", "SearchID", PutText},
                            {"instrument", "Instrument", PutText},
                            {"pinyin", "Spell", PutText},
                            {"exchange", "Exchange", PutText},
                            {"product", "Product", PutText},
                            {"type", "Type", PutType},
                            {"main_type", "MainType", PutText},
                            {"underlying", "Underlying", PutText},
                            {"expiry", "ExpDate", PutText},
                            {"long_margin", "LongMargin", PutText},
                            {"short_margin", "ShortMargin", PutText},
                            {"hot_symbol", "HotSymbol", PutText},
                            {"near_symbol", "NearSymbol", PutText},
                            {"buy_limit", "BULimit", PutLimit},
                            {"sell_limit", "SULimit", PutLimit},
                            {"buy_unit", "BUnit", PutLimit},
                            {"sell_unit", "SUnit", PutLimit}};

std::string MakeQuery(const char* pszCollation) {
    std::string strColumns;
    for (const Field& field : FIELDS)
        strColumns.append(strColumns.empty() ? "\"" : ", \"").append(field.pszColumn) += '"';
    return "SELECT " + strColumns + " FROM \"SymbolSearch\" WHERE \"Symbol\" = ? COLLATE " + pszCollation;
}

}  // namespace

Record ReadSymbolCard(CSearchDatabase& database, const CTables& tables, TextView strSymbol) {
    Record card;
    for (const char* pszCollation : {"BINARY", "NOCASE"}) {
        database.Query(MakeQuery(pszCollation), Narrow(strSymbol), [&card](const CSearchRow& row) {
            for (std::size_t i = 0; i < std::size(FIELDS); ++i)
                card.arFields.emplace_back(FIELDS[i].strName, FIELDS[i].pPut(row.GetText(i)));
            return false;
        });
        if (!card.arFields.empty()) break;
    }
    if (card.arFields.empty()) throw CFailure("unknown symbol " + Quote(strSymbol));
    AddTradingHours(tables, ToText(card.arFields.front().second), ReadToday(tables), card);
    return card;
}

}  // namespace qvant::host

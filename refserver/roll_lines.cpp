#include "roll_lines.h"

#include "quote_line.h"

namespace qvant::refserver {

namespace {

constexpr unsigned SymbolField = 14;
constexpr unsigned HotDateField = 22;
constexpr unsigned ExpiryDateField = 104;

std::string MakeLines(std::string_view product, const std::vector<MonthDay>& arDays, unsigned nDateField) {
    std::string strLines;
    CQuoteLine line;
    for (const auto& entry : arDays) {
        line.AddString(SymbolField, "LUM." + std::string(product) + "." + std::to_string(entry.nMonth));
        line.AddInteger(nDateField, ToNumber(entry.day));
        strLines += line.Finish();
    }
    return strLines;
}

}  // namespace

std::string MakeHotChangeLines(std::string_view product, const ProductRolls& rolls) {
    return MakeLines(product, rolls.arRolls, HotDateField);
}

std::string MakeExpiryLines(std::string_view product, const ProductRolls& rolls) {
    return MakeLines(product, rolls.arExpiries, ExpiryDateField);
}

}  // namespace qvant::refserver

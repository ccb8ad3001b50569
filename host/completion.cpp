#include "completion.h"

#include "table_content.h"
#include "user_months.h"

namespace qvant::host {

namespace {

constexpr TextView STOCKS = u"QV.S.";

std::vector<Text> SecurityKeys(const CTables& tables) {
    std::vector<Text> arKeys;
    const auto securities = tables.Find(u"Security.Info");
    if (!securities) return arKeys;
    for (const NamedTable& group : ReadTable(*securities).arTables)
        for (const auto& [strKey, value] : group.content.arValues) arKeys.push_back(strKey);
    return arKeys;
}

}  // namespace

std::vector<std::string> GetNames(Argument nArgument, const CTables& tables, const std::filesystem::path& pathHome) {
    std::vector<std::string> arNames;
    if (nArgument == Argument::Table)
        for (const Text& strName : tables.GetNames()) arNames.push_back(Narrow(strName));
    if (nArgument == Argument::Title)
        for (const UserSeries& series : ReadUserSeries(pathHome)) arNames.push_back(Narrow(series.strTitle));
    if (nArgument != Argument::Product && nArgument != Argument::Series) return arNames;
    for (const Text& strKey : SecurityKeys(tables)) {
        const bool bStock = strKey.starts_with(STOCKS);
        // Stocks have factors and no rolls; the others have factors as a series of hot months.
        if (nArgument == Argument::Series) arNames.push_back(Narrow(strKey) + (bStock ? "" : ".HOT"));
        if (nArgument == Argument::Product && !bStock) arNames.push_back(Narrow(strKey));
    }
    return arNames;
}

}  // namespace qvant::host

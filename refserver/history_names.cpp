#include "history_names.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include <rapidjson/document.h>

#include "json_file.h"

namespace qvant::refserver {

namespace {

constexpr const char* ExchangeName = "EXG.mo";
constexpr const char* ProductName = "Symbol.mo";
constexpr std::size_t ClassFields = 4;
constexpr std::size_t OwnPrefix = 1;  // length of "I"
constexpr std::size_t KeyPrefix = 2;  // of "QV"
// A name with more dots than this is none.
constexpr std::size_t MostFields = 8;

std::string_view FindName(const rapidjson::Value& security, const char* pName) {
    const auto it = security.FindMember(pName);
    return it != security.MemberEnd() && it->value.IsString() ? ToView(it->value) : std::string_view();
}

/// Where the first fields of a symbol end: the positions of the dots behind them, and the symbol's own end.
std::vector<std::size_t> FindFieldEnds(std::string_view symbol) {
    std::vector<std::size_t> arEnds;
    for (std::size_t nEnd = 0; arEnds.size() < MostFields && nEnd <= symbol.size(); ++nEnd) {
        nEnd = std::min(symbol.find('.', nEnd), symbol.size());
        arEnds.push_back(nEnd);
    }
    return arEnds;
}

std::string MakeClass(const std::string& strKey, const rapidjson::Value& security) {
    const auto arEnds = FindFieldEnds(strKey);
    if (arEnds.size() < ClassFields || arEnds.front() != KeyPrefix) return {};
    const auto field = [&, key = std::string_view(strKey)](std::size_t n) {
        return key.substr(arEnds[n - 1] + 1, arEnds[n] - arEnds[n - 1] - 1);
    };
    const auto exchange = FindName(security, ExchangeName);
    const auto product = FindName(security, ProductName);
    std::string strClass = "I.";
    strClass.append(field(1)).append(".");
    strClass.append(exchange.empty() ? field(2) : exchange).append(".");
    return strClass.append(product.empty() ? field(3) : product);
}

}  // namespace

CHistoryNames::CHistoryNames(const CSecuritiesMerger& securities) {
    securities.ForEach([this](const std::string& strKey, std::string_view security) {
        // Most have their own name, and needn't be parsed to know it.
        if (security.find(".mo\"") == std::string_view::npos) return;
        rapidjson::Document root;
        root.Parse<rapidjson::kParseIterativeFlag>(security.data(), security.size());
        const std::string strClass = root.IsObject() ? MakeClass(strKey, root) : std::string();
        if (strClass.empty()) return;
        if (std::string_view(strClass).substr(OwnPrefix) == std::string_view(strKey).substr(KeyPrefix)) return;
        m_mapKeys.emplace(strClass, strKey);
        m_setRenamed.insert(strKey);
    });
}

std::optional<HistorySymbol> CHistoryNames::Find(const std::string& strSymbol) const {
    const auto arEnds = FindFieldEnds(strSymbol);
    if (arEnds.size() < ClassFields || arEnds.front() != OwnPrefix || strSymbol.front() != 'I') return {};
    const auto cut = [&](std::size_t nEnd, std::string strKey) {
        return HistorySymbol{std::move(strKey), strSymbol.substr(0, nEnd),
                             strSymbol.substr(std::min(nEnd + 1, strSymbol.size()))};
    };
    for (auto n = arEnds.size(); n >= ClassFields; --n) {
        const auto it = m_mapKeys.find(strSymbol.substr(0, arEnds[n - 1]));
        if (it != m_mapKeys.end()) return cut(it->first.size(), it->second);
    }
    const auto nEnd = arEnds[ClassFields - 1];
    std::string strKey = strSymbol.substr(0, nEnd);
    strKey.replace(0, OwnPrefix, "QV");
    if (m_setRenamed.contains(strKey)) return {};
    return cut(nEnd, std::move(strKey));
}

}  // namespace qvant::refserver

#include "bar_rules.h"

#include <algorithm>
#include <cmath>

#include "json_file.h"
#include "price_walk.h"

namespace qvant::refserver {

namespace {

namespace fs = std::filesystem;

constexpr const char* Days = "Days";
constexpr double MostPrice = 999'999'999;

/// Reads the products of one file. Every refusal names the file and the product.
class CBarsReader {
public:
    CBarsReader(const fs::path& file, const rapidjson::Value& root) : m_file(file) {
        m_strWhere = file.string() + ": \"" + Days + "\"";
        const auto it = root.FindMember(Days);
        if (it == root.MemberEnd() || !it->value.IsObject()) Refuse("isn't there, or isn't an object");
        m_first = ReadDay(it->value, "first");
        m_last = ReadDay(it->value, "last");
        if (m_last < m_first) Refuse("has a last day before the first");
        m_end = ReadEnd(it->value);
    }

    BarRule Read(const std::string& strKey, const rapidjson::Value& product) {
        m_strWhere = m_file.string() + ": \"" + strKey + "\"";
        if (!strKey.starts_with("QV.F.") || std::count(strKey.begin(), strKey.end(), '.') != 3) {
            Refuse("is no future, QV.F.exchange.product");
        }
        if (!product.IsObject()) Refuse("isn't an object");
        BarRule rule;
        rule.close = ReadPrice(product, "close");
        rule.tick = ReadPrice(product, "tick");
        if (rule.tick.nUnits <= 0) Refuse("has a tick that isn't above 0");
        rule.dSwing = ReadPercent(product, "swing");
        rule.dCarry = ReadPercent(product, "carry");
        const std::string strLike = ReadString(product, "like", m_strWhere);
        rule.nWay = Hash(strLike.empty() ? strKey : strLike);
        rule.first = m_first;
        rule.last = m_last;
        rule.end = product.HasMember("ends") ? ReadEnd(product) : m_end;
        ReadCloses(product, rule);
        return rule;
    }

private:
    [[noreturn]] void Refuse(const std::string& strWhy) const { throw CWorldError(m_strWhere + " " + strWhy); }

    Day ReadDay(const rapidjson::Value& object, const char* pName) const {
        const auto day = ParseDay(ReadString(object, pName, m_strWhere));
        if (!day) Refuse(std::string("has no date YYYYMMDD as \"") + pName + "\"");
        return *day;
    }

    Price ReadPrice(const rapidjson::Value& object, const char* pName) const {
        const auto price = ParsePrice(ReadString(object, pName, m_strWhere));
        if (!price) Refuse(std::string("has no price as \"") + pName + "\"");
        return *price;
    }

    double ReadPercent(const rapidjson::Value& object, const char* pName) const {
        const auto dPart = ParsePercent(ReadString(object, pName, m_strWhere));
        // What swings more leaves the numbers that a price can have.
        if (!dPart || std::abs(*dPart) > 2) Refuse(std::string("has no part of 100 up to 200% as \"") + pName + "\"");
        return *dPart;
    }

    std::chrono::minutes ReadEnd(const rapidjson::Value& object) const {
        std::string strEnd = ReadString(object, "ends", m_strWhere);
        const bool bNextDay = strEnd.ends_with("+1");
        if (bNextDay) strEnd.resize(strEnd.size() - 2);
        const auto nTime = ParseDigits(strEnd, 4);
        if (!nTime || *nTime / 100 > 23 || *nTime % 100 > 59) Refuse("has no time HHMM or HHMM+1 as \"ends\"");
        return std::chrono::minutes(*nTime / 100 * 60 + *nTime % 100) + std::chrono::days(bNextDay ? 1 : 0);
    }

    void ReadCloses(const rapidjson::Value& product, BarRule& rule) const {
        const auto it = product.FindMember("closes");
        if (it == product.MemberEnd()) return;
        if (!it->value.IsObject()) Refuse("has \"closes\" that aren't an object of months");
        for (const auto& month : it->value.GetObject()) {
            const auto nMonth = ParseMonth(ToView(month.name));
            if (!nMonth || !month.value.IsObject()) Refuse("has \"closes\" of " + ToJson(month.name) + ", no month");
            for (const auto& close : month.value.GetObject()) {
                const auto day = ParseDay(ToView(close.name));
                if (!day) Refuse("has a close on " + ToJson(close.name) + ", which isn't YYYYMMDD");
                rule.mapWrittenCloses[*nMonth][*day] = ReadPrice(month.value, close.name.GetString());
            }
        }
    }

    const fs::path& m_file;
    std::string m_strWhere;
    Day m_first;
    Day m_last;
    std::chrono::minutes m_end{};
};

/// The close that the rule gives a day.
Price MakeClose(const BarRule& rule, const BarContract& contract, Day day) {
    constexpr double DaysOfYear = 365;
    const double dSpot =
        rule.close.ToDouble() * std::exp(rule.dSwing * (WanderedBy(rule.nWay, day) - WanderedBy(rule.nWay, rule.last)));
    const double dYears = static_cast<double>((contract.expiry - day).count()) / DaysOfYear;
    const double dPrice = std::clamp(dSpot * (1 + rule.dCarry * dYears), -MostPrice, MostPrice);
    return {std::llround(dPrice / rule.tick.ToDouble()) * rule.tick.nUnits, rule.tick.nDecimals};
}

}  // namespace

void CBarRules::AddFile(const fs::path& file) {
    const auto root = ReadObject(file);
    CBarsReader reader(file, root);
    for (const auto& product : root.GetObject()) {
        const std::string strKey(ToView(product.name));
        if (strKey == Days) continue;
        if (!m_mapRules.emplace(strKey, reader.Read(strKey, product.value)).second) {
            throw CWorldError(file.string() + ": \"" + strKey + "\" stands twice");
        }
    }
}

const BarRule* CBarRules::Find(std::string_view key) const {
    const auto it = m_mapRules.find(std::string(key));
    return it == m_mapRules.end() ? nullptr : &it->second;
}

std::optional<Price> FindClose(const BarRule& rule, const BarContract& contract, const CTradingDays& tradingDays,
                               std::chrono::sys_time<std::chrono::minutes> moment) {
    auto day = std::chrono::floor<std::chrono::days>(moment - rule.end);
    day = std::min({day, rule.last, contract.expiry});
    if (day < rule.first) return {};
    const auto key = contract.key;
    const auto nExchange = key.find('.', key.find('.') + 1) + 1;
    day = tradingDays.Last(key.substr(nExchange, key.find('.', nExchange) - nExchange), day);
    if (day < rule.first) return {};
    const auto itMonth = rule.mapWrittenCloses.find(contract.nMonth);
    if (itMonth != rule.mapWrittenCloses.end()) {
        const auto itDay = itMonth->second.find(day);
        if (itDay != itMonth->second.end()) return itDay->second;
    }
    return MakeClose(rule, contract, day);
}

}  // namespace qvant::refserver

#include "roll_book.h"

#include <algorithm>

#include "json_file.h"

namespace qvant::refserver {

namespace {

namespace fs = std::filesystem;

constexpr const char* Calendars = "Calendars";

/// Reads the products of one file. Every refusal names the file and the product.
class CRollsReader {
public:
    CRollsReader(const fs::path& file, const rapidjson::Value& root) : m_file(file), m_root(root) {}

    ProductRolls Read(const std::string& strKey, const rapidjson::Value& product) {
        m_strWhere = m_file.string() + ": \"" + strKey + "\"";
        const bool bProduct = strKey.starts_with("QV.F.") || strKey.starts_with("QV.O.");
        if (!bProduct || std::count(strKey.begin(), strKey.end(), '.') != 3) {
            Refuse("is no future or option, QV.F.exchange.product or QV.O.exchange.product");
        }
        const auto& calendar = FindCalendar(product);
        ProductRolls rolls;
        for (const auto& roll : FindObject(calendar, "rolls").GetObject()) {
            rolls.arRolls.push_back(ReadPair(roll.name, roll.value));
        }
        for (const auto& expiry : FindObject(calendar, "expired").GetObject()) {
            rolls.arExpiries.push_back(ReadPair(expiry.value, expiry.name));
        }
        CheckRolls(rolls.arRolls);
        return rolls;
    }

private:
    [[noreturn]] void Refuse(const std::string& strWhy) const { throw CWorldError(m_strWhere + " " + strWhy); }

    const rapidjson::Value& FindCalendar(const rapidjson::Value& product) const {
        if (product.IsObject()) return product;
        if (!product.IsString()) Refuse("is neither an object nor the name of one in \"Calendars\"");
        const auto it = m_root.FindMember(Calendars);
        if (it != m_root.MemberEnd() && it->value.IsObject()) {
            const auto itNamed = it->value.FindMember(product);
            if (itNamed != it->value.MemberEnd() && itNamed->value.IsObject()) return itNamed->value;
        }
        Refuse("names calendar \"" + std::string(ToView(product)) + "\" that \"Calendars\" doesn't have");
    }

    const rapidjson::Value& FindObject(const rapidjson::Value& calendar, const char* pName) const {
        static const rapidjson::Value Nothing(rapidjson::kObjectType);
        const auto it = calendar.FindMember(pName);
        if (it == calendar.MemberEnd()) return Nothing;
        if (!it->value.IsObject()) Refuse(std::string("has \"") + pName + "\" that isn't an object");
        return it->value;
    }

    MonthDay ReadPair(const rapidjson::Value& date, const rapidjson::Value& month) const {
        const auto day = date.IsString() ? ParseDay(ToView(date)) : std::nullopt;
        const auto nMonth = month.IsString() ? ParseMonth(ToView(month)) : std::nullopt;
        if (!day) Refuse("has the date " + ToJson(date) + ", which isn't YYYYMMDD");
        if (!nMonth) Refuse("has the month " + ToJson(month) + ", which isn't YYYYMM");
        return {*day, *nMonth};
    }

    // Whoever reads the rolls takes the first one for the latest.
    void CheckRolls(const std::vector<MonthDay>& arRolls) const {
        const auto it = std::adjacent_find(arRolls.begin(), arRolls.end(),
                                           [](const auto& left, const auto& right) { return left.day <= right.day; });
        if (it != arRolls.end()) Refuse("has rolls out of order behind " + std::to_string(ToNumber(it->day)));
    }

    const fs::path& m_file;
    const rapidjson::Value& m_root;
    std::string m_strWhere;
};

bool IsLater(const MonthDay& left, const MonthDay& right) { return left.nMonth > right.nMonth; }

/// Sorts the expiries. Of a month that both are told of, the listed one, which stands behind the other, counts.
void SortExpiries(std::vector<MonthDay>& arExpiries) {
    std::reverse(arExpiries.begin(), arExpiries.end());
    std::stable_sort(arExpiries.begin(), arExpiries.end(), &IsLater);
    const auto itEnd = std::unique(arExpiries.begin(), arExpiries.end(),
                                   [](const auto& left, const auto& right) { return left.nMonth == right.nMonth; });
    arExpiries.erase(itEnd, arExpiries.end());
    arExpiries.shrink_to_fit();
}

}  // namespace

std::optional<Day> FindExpiry(const ProductRolls& rolls, unsigned nMonth) {
    const auto it = std::lower_bound(rolls.arExpiries.begin(), rolls.arExpiries.end(), MonthDay{{}, nMonth}, &IsLater);
    return it != rolls.arExpiries.end() && it->nMonth == nMonth ? std::optional(it->day) : std::nullopt;
}

void CRollBook::AddFile(const fs::path& file) {
    const auto root = ReadObject(file);
    CRollsReader reader(file, root);
    for (const auto& product : root.GetObject()) {
        const std::string strKey(ToView(product.name));
        if (strKey == Calendars) continue;
        if (!m_mapProducts.emplace(strKey, reader.Read(strKey, product.value)).second) {
            throw CWorldError(file.string() + ": \"" + strKey + "\" stands twice");
        }
    }
}

void CRollBook::AddListed(const CContractRules& rules) {
    for (const auto& rule : rules.GetRules()) {
        auto& arExpiries = m_mapProducts[rule.strKey].arExpiries;
        arExpiries.reserve(arExpiries.size() + rule.arSeries.size());
        for (const auto& series : rule.arSeries) {
            const auto day = ParseDay(series.strExpiry);
            const auto nMonth = ParseMonth(series.strMonth);
            if (day && nMonth) arExpiries.push_back({*day, *nMonth});
        }
    }
    for (auto& [strKey, rolls] : m_mapProducts) {
        SortExpiries(rolls.arExpiries);
        for (const auto& roll : rolls.arRolls) {
            if (FindExpiry(rolls, roll.nMonth)) continue;
            throw CWorldError("\"" + strKey + "\" rolled to " + std::to_string(roll.nMonth) +
                              ", a month that neither \"expired\" nor its contracts have");
        }
    }
}

const ProductRolls* CRollBook::Find(std::string_view key) const {
    const auto it = m_mapProducts.find(std::string(key));
    return it == m_mapProducts.end() ? nullptr : &it->second;
}

}  // namespace qvant::refserver

#include "contract_rules.h"

#include <algorithm>

#include "json_file.h"
#include "world_date.h"

namespace qvant::refserver {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view SharedSeries = "Series";

/// Reads the products of one file. Every refusal names the file and the product.
class CRulesReader {
public:
    CRulesReader(const fs::path& file, const rapidjson::Value& root) : m_file(file), m_root(root) {}

    ContractRule Read(const rapidjson::Value& name, const rapidjson::Value& product) {
        ContractRule rule;
        rule.strKey = ToView(name);
        m_strWhere = m_file.string() + ": \"" + rule.strKey + "\"";
        if (!rule.strKey.starts_with("QV.F.") && !rule.IsOption()) Refuse("is no future or option, QV.F. or QV.O.");
        if (std::count(rule.strKey.begin(), rule.strKey.end(), '.') != 3) Refuse("isn't QV.class.exchange.product");
        if (!product.IsObject()) Refuse("isn't an object");
        const auto strikes = ReadStrikes(product);
        rule.arSeries = ReadSeries(FindSeries(product), strikes, rule.IsOption());
        rule.strLongMargin = ReadText(product, "long");
        rule.strShortMargin = ReadText(product, "short");
        rule.strHot = ReadHot(product, "hot", rule);
        rule.strHot2 = ReadHot(product, "hot2", rule);
        rule.nInstrument = ReadInstrument(product);
        return rule;
    }

private:
    [[noreturn]] void Refuse(const std::string& strWhy) const { throw CWorldError(m_strWhere + " " + strWhy); }

    // The readers of these texts cut them at these characters.
    std::string ReadText(const rapidjson::Value& object, const char* pName) const {
        std::string strText = ReadString(object, pName, m_strWhere);
        if (strText.find_first_of(",|") != std::string::npos) Refuse(std::string(pName) + " holds a \",\" or \"|\"");
        return strText;
    }

    CStrikes ReadStrikes(const rapidjson::Value& object) const {
        try {
            return CStrikes::Parse(ReadString(object, "strikes", m_strWhere));
        } catch (const CWorldError&) {
            throw;
        } catch (const std::runtime_error& error) {
            Refuse(std::string("has ") + error.what());
        }
    }

    const rapidjson::Value& FindSeries(const rapidjson::Value& product) const {
        const auto it = product.FindMember("series");
        if (it == product.MemberEnd()) Refuse("has no series");
        if (it->value.IsObject()) return it->value;
        if (!it->value.IsString()) Refuse("has series that are neither an object nor the name of one in \"Series\"");
        const auto itShared = m_root.FindMember(rapidjson::StringRef(SharedSeries.data(), SharedSeries.size()));
        if (itShared != m_root.MemberEnd() && itShared->value.IsObject()) {
            const auto itNamed = itShared->value.FindMember(it->value);
            if (itNamed != itShared->value.MemberEnd() && itNamed->value.IsObject()) return itNamed->value;
        }
        Refuse("names series \"" + std::string(ToView(it->value)) + "\" that \"Series\" doesn't have");
    }

    std::vector<ContractSeries> ReadSeries(const rapidjson::Value& months, const CStrikes& strikes, bool bOption) {
        std::vector<ContractSeries> arSeries;
        arSeries.reserve(months.MemberCount());
        for (const auto& month : months.GetObject()) {
            ContractSeries series{std::string(ToView(month.name)), {}, strikes};
            if (month.value.IsObject()) {
                series.strExpiry = ReadString(month.value, "expires", m_strWhere);
                if (month.value.HasMember("strikes")) series.strikes = ReadStrikes(month.value);
            } else if (month.value.IsString()) {
                series.strExpiry = ToView(month.value);
            }
            CheckSeries(series, arSeries, bOption);
            arSeries.push_back(std::move(series));
        }
        if (arSeries.empty()) Refuse("has no month in its series");
        return arSeries;
    }

    void CheckSeries(const ContractSeries& series, const std::vector<ContractSeries>& arBefore, bool bOption) const {
        const std::string strMonth = "month \"" + series.strMonth + "\"";
        if (!ParseMonth(series.strMonth)) Refuse(strMonth + " isn't YYYYMM");
        if (!ParseDay(series.strExpiry)) Refuse(strMonth + " has no date YYYYMMDD to expire on");
        // The first months of a product in the list are its near ones.
        if (!arBefore.empty() && arBefore.back().strMonth >= series.strMonth) Refuse(strMonth + " is out of order");
        if (bOption != (series.strikes.GetCount() > 0)) {
            Refuse(strMonth + (bOption ? " has no strikes" : " has strikes, which a future hasn't"));
        }
    }

    std::string ReadHot(const rapidjson::Value& product, const char* pName, const ContractRule& rule) const {
        std::string strHot = ReadText(product, pName);
        const bool bKnown = std::any_of(rule.arSeries.begin(), rule.arSeries.end(),
                                        [&](const auto& series) { return series.strMonth == strHot; });
        if (!strHot.empty() && !bKnown) Refuse(std::string(pName) + " month \"" + strHot + "\" isn't in its series");
        return strHot;
    }

    std::int64_t ReadInstrument(const rapidjson::Value& product) const {
        const auto it = product.FindMember("instrument");
        if (it == product.MemberEnd()) return 0;
        if (!it->value.IsUint() || it->value.GetUint() == 0) Refuse("has an instrument that isn't a number above 0");
        return it->value.GetUint();
    }

    const fs::path& m_file;
    const rapidjson::Value& m_root;
    std::string m_strWhere;
};

}  // namespace

void CContractRules::AddFile(const fs::path& file) {
    const auto root = ReadObject(file);
    CRulesReader reader(file, root);
    for (const auto& product : root.GetObject()) {
        if (ToView(product.name) == SharedSeries) continue;
        auto rule = reader.Read(product.name, product.value);
        if (!m_mapRules.emplace(rule.strKey, m_arRules.size()).second) {
            throw CWorldError(file.string() + ": \"" + rule.strKey + "\" stands twice");
        }
        m_arRules.push_back(std::move(rule));
    }
}

const ContractRule* CContractRules::Find(std::string_view key) const {
    const auto it = m_mapRules.find(std::string(key));
    return it == m_mapRules.end() ? nullptr : &m_arRules[it->second];
}

}  // namespace qvant::refserver

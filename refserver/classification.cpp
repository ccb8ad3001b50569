#include "classification.h"

#include <algorithm>

#include "json_file.h"

namespace qvant::refserver {

namespace {

namespace fs = std::filesystem;

/// A product's months that stand in a leaf.
struct Pick {
    const ContractRule* pRule;
    std::vector<const ContractSeries*> arSeries;
};

// Names are parts of paths, whose parts are joined by "."; lists of names know "," and "|".
std::string ToPathName(std::string strName) {
    std::erase_if(strName, [](char c) { return c == '.' || c == ',' || c == '|'; });
    return strName;
}

class CExpander {
public:
    CExpander(const fs::path& file, const CContractRules& rules, const ListedSecurities& securities)
        : m_file(file), m_rules(rules), m_securities(securities) {}

    void AddNode(const rapidjson::Value& node) {
        if (!node.IsObject()) Refuse("a node isn't an object");
        m_strText += '{';
        for (const auto& member : node.GetObject()) AddMember(node, ToView(member.name), member.value);
        m_strText += '}';
    }

    std::string Take() { return std::move(m_strText); }

private:
    [[noreturn]] void Refuse(const std::string& strWhy) const { throw CWorldError(m_file.string() + ": " + strWhy); }

    [[noreturn]] void RefuseEmpty(const std::string& strItem, const std::string& strSeries) const {
        Refuse("\"" + strItem + "\" has no " + (strSeries.empty() ? "" : strSeries + " ") + "contracts");
    }

    void AddKey(std::string_view name) {
        if (m_strText.back() != '{') m_strText += ',';
        m_strText += ToJson(name) + ":";
    }

    void AddMember(const rapidjson::Value& node, std::string_view name, const rapidjson::Value& value) {
        if (name == "Node") {
            AddNodes(value);
        } else if (name == "EachProduct") {
            AddProducts(value);
        } else if (name == "Products") {
            AddContracts(PickProducts(ReadList(value), ReadString(node, "Series", m_file)));
        } else if (name == "Securities") {
            AddSecurities(ReadList(value));
        } else if (name != "Series") {
            AddKey(name);
            m_strText += ToJson(value);
        }
    }

    void AddNodes(const rapidjson::Value& nodes) {
        if (!nodes.IsArray()) Refuse("a \"Node\" isn't an array");
        AddKey("Node");
        m_strText += '[';
        for (const auto& node : nodes.GetArray()) {
            AddNode(node);
            m_strText += ',';
        }
        CloseArray();
    }

    void AddProducts(const rapidjson::Value& value) {
        AddKey("Node");
        m_strText += '[';
        for (const auto& pick : PickProducts(ReadList(value), {})) {
            m_strText += '{';
            for (const auto& [strLanguage, strName] : m_securities.mapNames.find(pick.pRule->strKey)->second) {
                AddKey(strLanguage);
                m_strText += ToJson(ToPathName(strName));
            }
            AddContracts({pick});
            m_strText += "},";
        }
        CloseArray();
    }

    void AddSecurities(const std::vector<std::string>& arBeginnings) {
        AddKey("Contracts");
        m_strText += '[';
        for (const auto& strBeginning : arBeginnings) {
            const auto nBefore = m_strText.size();
            for (const auto& strKey : m_securities.arKeys) {
                if (strKey.starts_with(strBeginning)) m_strText += ToJson(strKey) + ",";
            }
            if (m_strText.size() == nBefore) Refuse("no security begins with \"" + strBeginning + "\"");
        }
        CloseArray();
    }

    void CloseArray() {
        if (m_strText.back() == ',') m_strText.pop_back();
        m_strText += ']';
    }

    std::vector<std::string> ReadList(const rapidjson::Value& value) const {
        if (!value.IsArray()) Refuse("a list of products isn't an array");
        std::vector<std::string> arItems;
        for (const auto& item : value.GetArray()) {
            if (!item.IsString()) Refuse("a product isn't a string");
            arItems.emplace_back(ToView(item));
        }
        return arItems;
    }

    std::vector<Pick> PickProducts(const std::vector<std::string>& arItems, const std::string& strSeries) const {
        if (!strSeries.empty() && strSeries != "hot" && strSeries != "hot2") {
            Refuse("\"Series\" is \"" + strSeries + "\", neither \"hot\" nor \"hot2\"");
        }
        std::vector<Pick> arPicks;
        for (const auto& strItem : arItems) {
            const auto nBefore = arPicks.size();
            if (!strItem.ends_with('.')) {
                if (const auto* pRule = m_rules.Find(strItem)) AddPick(*pRule, strSeries, arPicks);
            } else {
                for (const auto& rule : m_rules.GetRules()) {
                    if (rule.strKey.starts_with(strItem)) AddPick(rule, strSeries, arPicks);
                }
            }
            if (arPicks.size() == nBefore) RefuseEmpty(strItem, strSeries);
        }
        return arPicks;
    }

    static void AddPick(const ContractRule& rule, const std::string& strSeries, std::vector<Pick>& arPicks) {
        Pick pick{&rule, {}};
        const std::string& strHot = strSeries == "hot" ? rule.strHot : rule.strHot2;
        for (const auto& series : rule.arSeries) {
            if (strSeries.empty() || series.strMonth == strHot) pick.arSeries.push_back(&series);
        }
        if (!pick.arSeries.empty()) arPicks.push_back(std::move(pick));
    }

    void AddContracts(const std::vector<Pick>& arPicks) {
        AddKey("Contracts");
        m_strText += '[';
        for (const auto& pick : arPicks) {
            // A JSON string's text without its closing quote, to put the rest of the symbol behind it.
            std::string strStart = ToJson(pick.pRule->strKey);
            strStart.back() = '.';
            for (const auto* pSeries : pick.arSeries) {
                ForEachContract(*pick.pRule, *pSeries, [&](const std::string& strRest) {
                    m_strText.append(strStart).append(strRest).append("\",");
                });
            }
        }
        CloseArray();
        AddColumn("ExpirationDate", arPicks,
                  [](const Pick&, const ContractSeries& series) { return series.strExpiry; });
        AddColumn("LongMarginRate", arPicks,
                  [](const Pick& pick, const ContractSeries&) { return pick.pRule->strLongMargin; });
        AddColumn("ShortMarginRate", arPicks,
                  [](const Pick& pick, const ContractSeries&) { return pick.pRule->strShortMargin; });
        AddInstruments(arPicks);
    }

    // One text for each contract of a series; a column without any text is left out.
    template <typename GetText>
    void AddColumn(std::string_view name, const std::vector<Pick>& arPicks, const GetText& getText) {
        const auto nBefore = m_strText.size();
        bool bAny = false;
        AddKey(name);
        m_strText += '[';
        for (const auto& pick : arPicks) {
            for (const auto* pSeries : pick.arSeries) {
                const std::string strText = getText(pick, *pSeries);
                const std::string strItem = ToJson(strText) + ",";
                bAny = bAny || !strText.empty();
                for (auto nLeft = CountContracts(*pick.pRule, *pSeries); nLeft > 0; --nLeft) m_strText += strItem;
            }
        }
        CloseArray();
        if (!bAny) m_strText.resize(nBefore);
    }

    void AddInstruments(const std::vector<Pick>& arPicks) {
        if (std::none_of(arPicks.begin(), arPicks.end(), [](const Pick& pick) { return pick.pRule->nInstrument; })) {
            return;
        }
        AddKey("InstrumentID");
        m_strText += '[';
        for (const auto& pick : arPicks) {
            // Numbered through the whole product, so that a contract has one identifier in every leaf.
            auto nNext = pick.pRule->nInstrument;
            for (const auto& series : pick.pRule->arSeries) {
                const bool bPicked =
                    std::find(pick.arSeries.begin(), pick.arSeries.end(), &series) != pick.arSeries.end();
                for (auto nLeft = CountContracts(*pick.pRule, series); nLeft > 0; --nLeft, ++nNext) {
                    if (!bPicked) continue;
                    m_strText += '"';
                    if (pick.pRule->nInstrument) m_strText += std::to_string(nNext);
                    m_strText += "\",";
                }
            }
        }
        CloseArray();
    }

    const fs::path& m_file;
    const CContractRules& m_rules;
    const ListedSecurities& m_securities;
    // Begins as the member does: the text of a million contracts isn't copied to get a few letters in front.
    std::string m_strText = "\"Classification\":";
};

}  // namespace

std::string ExpandClassification(const fs::path& file, const CContractRules& rules,
                                 const ListedSecurities& securities) {
    const auto root = ReadObject(file);
    CExpander expander(file, rules, securities);
    expander.AddNode(root);
    return expander.Take();
}

}  // namespace qvant::refserver

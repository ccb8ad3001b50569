// The contracts of the sample data, and its users, as a reader relies on them.
#include <chrono>
#include <map>
#include <regex>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include "system/refserver_fixture.h"
#include "system/sample_files.h"

namespace qvant::test {
namespace {

using std::chrono::Friday;
using std::chrono::sys_days;
using std::chrono::Wednesday;
using std::chrono::weekday;

std::string ToKey(const std::string& strSymbol) {
    const auto arFields = Split(strSymbol, '.');
    return arFields.at(0) + "." + arFields.at(1) + "." + arFields.at(2) + "." + arFields.at(3);
}

std::chrono::year_month ToMonth(const std::string& strMonth) {
    return std::chrono::year(std::stoi(strMonth.substr(0, 4))) /
           std::chrono::month(static_cast<unsigned>(std::stoi(strMonth.substr(4, 2))));
}

std::string ToText(sys_days day) {
    const std::chrono::year_month_day date(day);
    char text[16];
    std::snprintf(text, sizeof text, "%04d%02u%02u", static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()));
    return text;
}

std::string Nth(const std::string& strMonth, weekday day, unsigned n, int nDaysLater = 0) {
    return ToText(sys_days(ToMonth(strMonth) / day[n]) + std::chrono::days(nDaysLater));
}

/// One contract as a leaf has it.
struct Contract {
    std::string strExpiry;
    std::string strLongMargin;
    std::string strInstrument;
};

const std::vector<std::string> Names = {"FUTURES", "OPTIONS", "STOCKS"};

class SampleContracts : public testing::Test {
protected:
    static void SetUpTestSuite() {
        m_pServer = CServerProcess::Serve(Sample / "world");
        m_pSecurities = std::make_unique<rapidjson::Document>(ToJson(Get(*m_pServer, MainForm("-1")).strBody));
        for (const auto& strName : Names) {
            const std::string strTarget = "/Classification_getClassification.do?cname=" + strName + "&lastVersion=-1";
            m_mapTrees[strName] = ToJson(Get(*m_pServer, strTarget).strBody);
        }
    }

    static void TearDownTestSuite() {
        m_mapTrees.clear();
        m_pSecurities.reset();
        m_pServer.reset();
    }

    void SetUp() override {
        for (const auto& strName : Names) {
            ASSERT_TRUE(m_mapTrees[strName].IsObject() && m_mapTrees[strName].HasMember("Classification")) << strName;
            Walk(strName, m_mapTrees[strName]["Classification"], strName, 1);
        }
    }

    void Walk(const std::string& strPath, const rapidjson::Value& node, const std::string& strClass, int nDepth) {
        m_mapDepths[strClass] = std::max(m_mapDepths[strClass], nDepth);
        for (const char* pLanguage : {"ENG", "CHT", "-CN"}) {
            ASSERT_TRUE(node.HasMember(pLanguage)) << strPath << " " << pLanguage;
            // Parts of paths, and items of lists.
            EXPECT_EQ(std::string(node[pLanguage].GetString()).find_first_of(".,|"), std::string::npos) << strPath;
        }
        if (node.HasMember("Contracts")) ReadLeaf(strPath, node);
        if (!node.HasMember("Node")) return;
        std::set<std::string> setNames;
        for (const auto& child : node["Node"].GetArray()) {
            EXPECT_TRUE(setNames.insert(child["ENG"].GetString()).second) << strPath << " " << child["ENG"].GetString();
            Walk(strPath + "." + child["ENG"].GetString(), child, strClass, nDepth + 1);
        }
    }

    void ReadLeaf(const std::string& strPath, const rapidjson::Value& leaf) {
        const auto& contracts = leaf["Contracts"];
        EXPECT_GT(contracts.Size(), 0U) << strPath;
        for (const char* pColumn : {"ExpirationDate", "LongMarginRate", "ShortMarginRate", "InstrumentID"}) {
            if (leaf.HasMember(pColumn)) {
                EXPECT_EQ(leaf[pColumn].Size(), contracts.Size()) << strPath << " " << pColumn;
            }
        }
        for (rapidjson::SizeType n = 0; n < contracts.Size(); ++n) {
            const auto read = [&](const char* pColumn) {
                return leaf.HasMember(pColumn) ? std::string(leaf[pColumn][n].GetString()) : std::string();
            };
            const std::string strSymbol = contracts[n].GetString();
            m_mapLeaves[strPath].push_back(strSymbol);
            const Contract contract{read("ExpirationDate"), read("LongMarginRate"), read("InstrumentID")};
            const auto [it, bNew] = m_mapContracts.emplace(strSymbol, contract);
            if (bNew) continue;
            // In whichever leaf it is met first, it must be the same.
            EXPECT_EQ(it->second.strExpiry, contract.strExpiry) << strPath << " " << strSymbol;
            EXPECT_EQ(it->second.strInstrument, contract.strInstrument) << strPath << " " << strSymbol;
        }
    }

    const rapidjson::Value& Securities() const { return (*m_pSecurities)["SecuritiesInfo"]; }

    /// Tests the expiry of every month of a product.
    template <typename Expected>
    void ExpectExpiry(const std::string& strKey, const Expected& expected) const {
        int nCount = 0;
        for (const auto& [strSymbol, contract] : m_mapContracts) {
            if (!strSymbol.starts_with(strKey + ".")) continue;
            ++nCount;
            EXPECT_EQ(contract.strExpiry, expected(Split(strSymbol, '.').at(4))) << strSymbol;
        }
        EXPECT_GT(nCount, 1) << strKey;
    }

    static std::unique_ptr<CServerProcess> m_pServer;
    static std::unique_ptr<rapidjson::Document> m_pSecurities;
    static std::map<std::string, rapidjson::Document> m_mapTrees;
    std::map<std::string, Contract> m_mapContracts;
    std::map<std::string, std::vector<std::string>> m_mapLeaves;
    std::map<std::string, int> m_mapDepths;
};

std::unique_ptr<CServerProcess> SampleContracts::m_pServer;
std::unique_ptr<rapidjson::Document> SampleContracts::m_pSecurities;
std::map<std::string, rapidjson::Document> SampleContracts::m_mapTrees;

TEST_F(SampleContracts, AreAboutSixThousandInTreesOfSeveralLevels) {
    EXPECT_GE(m_mapContracts.size(), 5800U);
    EXPECT_LE(m_mapContracts.size(), 6500U);
    EXPECT_EQ(m_mapDepths["FUTURES"], 4);
    EXPECT_EQ(m_mapDepths["OPTIONS"], 4);
    EXPECT_EQ(m_mapDepths["STOCKS"], 3);
}

TEST_F(SampleContracts, BelongToSecuritiesThatHaveNamesInEveryLanguage) {
    for (const auto& [strSymbol, contract] : m_mapContracts) {
        const std::string strKey = ToKey(strSymbol);
        ASSERT_TRUE(Securities().HasMember(strKey.c_str())) << strSymbol;
        for (const char* pName : {"Name.ENG", "Name.CHT", "Name.-CN", "TradeTime"}) {
            EXPECT_TRUE(Securities()[strKey.c_str()].HasMember(pName)) << strKey << " " << pName;
        }
    }
}

TEST_F(SampleContracts, HaveSymbolsThatTheGrammarKnows) {
    const std::regex form(
        "QV\\.F\\.[A-Z]+\\.[A-Za-z0-9]+\\.20[0-9]{2}(0[1-9]|1[0-2])"
        "|QV\\.O\\.[A-Z]+\\.[A-Za-z0-9]+\\.20[0-9]{2}(0[1-9]|1[0-2])\\.[CP]\\.[0-9]+(\\.[0-9]+)?"
        "|QV\\.S\\.(SSE|SZSE)\\.[0-9]{6}|QV\\.S\\.TWSE\\.[0-9]{4}");
    for (const auto& [strSymbol, contract] : m_mapContracts) {
        EXPECT_TRUE(std::regex_match(strSymbol, form)) << strSymbol;
    }
    EXPECT_TRUE(m_mapContracts.contains("QV.F.CME.ES.202612"));
    EXPECT_TRUE(m_mapContracts.contains("QV.O.CFFEX.IO.202612.C.4600"));
    EXPECT_TRUE(m_mapContracts.contains("QV.O.SSE.510050.202612.P.2.95"));
}

TEST_F(SampleContracts, OutliveTheDayOfTheSampleAndEndAWeekdayInTime) {
    for (const auto& [strSymbol, contract] : m_mapContracts) {
        if (strSymbol.starts_with("QV.S.")) continue;
        ASSERT_EQ(contract.strExpiry.size(), 8U) << strSymbol;
        EXPECT_GE(contract.strExpiry, "20261121") << strSymbol;
        const std::chrono::year_month_day date{
            ToMonth(contract.strExpiry) /
            std::chrono::day(static_cast<unsigned>(std::stoi(contract.strExpiry.substr(6))))};
        ASSERT_TRUE(date.ok()) << strSymbol;
        const weekday day{sys_days(date)};
        EXPECT_TRUE(day != std::chrono::Saturday && day != std::chrono::Sunday) << strSymbol;
        EXPECT_FALSE(contract.strLongMargin.empty()) << strSymbol;
    }
}

TEST_F(SampleContracts, OfIndexFuturesEndOnTheThirdFriday) {
    for (const std::string strKey :
         {"QV.F.CFFEX.IF", "QV.F.CFFEX.IH", "QV.F.CFFEX.IC", "QV.F.CFFEX.IM", "QV.O.CFFEX.IO", "QV.O.CFFEX.HO",
          "QV.O.CFFEX.MO", "QV.F.EUREX.FDAX", "QV.F.EURONEXT.FCE", "QV.F.ICEEU.Z", "QV.O.EUREX.OESX"}) {
        ExpectExpiry(strKey, [](const std::string& strMonth) { return Nth(strMonth, Friday, 3); });
    }
    // Where the third Friday is a holiday of the exchange, the day before.
    for (const std::string strKey : {"QV.F.CME.ES", "QV.F.CME.NQ", "QV.F.CBOT.YM", "QV.O.CME.ES"}) {
        ExpectExpiry(strKey, [](const std::string& strMonth) {
            return strMonth == "202706" ? "20270617" : Nth(strMonth, Friday, 3);
        });
    }
}

TEST_F(SampleContracts, OfOtherRulesEndOnTheDaysOfTheseRules) {
    for (const std::string strKey : {"QV.F.CFFEX.T", "QV.F.CFFEX.TF", "QV.F.CFFEX.TS", "QV.F.CFFEX.TL"}) {
        ExpectExpiry(strKey, [](const std::string& strMonth) { return Nth(strMonth, Friday, 2); });
    }
    for (const std::string strKey : {"QV.O.SSE.510050", "QV.O.SSE.510300", "QV.O.SSE.588000", "QV.O.SZSE.159915"}) {
        ExpectExpiry(strKey, [](const std::string& strMonth) { return Nth(strMonth, Wednesday, 4); });
    }
    // Where the third Wednesday is a holiday, the day after.
    for (const std::string strKey : {"QV.F.TWF.TXF", "QV.O.TWF.TXO"}) {
        ExpectExpiry(strKey, [](const std::string& strMonth) {
            return strMonth == "202709" ? "20270916" : Nth(strMonth, Wednesday, 3);
        });
    }
    ExpectExpiry("QV.F.CME.6E", [](const std::string& strMonth) { return Nth(strMonth, Wednesday, 3, -2); });
    ExpectExpiry("QV.F.OSE.NK225", [](const std::string& strMonth) { return Nth(strMonth, Friday, 2, -1); });
    ExpectExpiry("QV.F.KRX.K2I", [](const std::string& strMonth) { return Nth(strMonth, std::chrono::Thursday, 2); });
    EXPECT_EQ(m_mapContracts["QV.F.NYMEX.CL.202701"].strExpiry, "20261221");
    EXPECT_EQ(m_mapContracts["QV.F.CBOT.ZC.202612"].strExpiry, "20261214");
    EXPECT_EQ(m_mapContracts["QV.F.SHFE.cu.202705"].strExpiry, "20270517");
    EXPECT_EQ(m_mapContracts["QV.F.DCE.m.202701"].strExpiry, "20270115");
    EXPECT_EQ(m_mapContracts["QV.F.INE.sc.202701"].strExpiry, "20261231");
}

TEST_F(SampleContracts, StandInTheOrderOfTheirMonthsSoThatTheFirstTwoAreTheNearOnes) {
    for (const auto& [strPath, arSymbols] : m_mapLeaves) {
        std::map<std::string, std::string> mapLast;
        for (const auto& strSymbol : arSymbols) {
            if (strSymbol.starts_with("QV.S.")) continue;
            const std::string strMonth = Split(strSymbol, '.').at(4);
            auto& strLast = mapLast[ToKey(strSymbol)];
            EXPECT_LE(strLast, strMonth) << strPath << " " << strSymbol;
            strLast = strMonth;
        }
    }
}

TEST_F(SampleContracts, HaveOneHotMonthForEachProductOfAHotCategory) {
    for (const std::string strHot : {"HOT", "HOT2"}) {
        std::map<std::string, std::set<std::string>> mapMonths;
        for (const auto& [strPath, arSymbols] : m_mapLeaves) {
            if (Split(strPath, '.').at(1) != strHot) continue;
            for (const auto& strSymbol : arSymbols) mapMonths[ToKey(strSymbol)].insert(Split(strSymbol, '.').at(4));
        }
        EXPECT_GT(mapMonths.size(), 100U) << strHot;
        for (const auto& [strKey, setMonths] : mapMonths) EXPECT_EQ(setMonths.size(), 1U) << strHot << " " << strKey;
    }
}

TEST_F(SampleContracts, OfChineseFundsHaveInstrumentsThatNoOtherHas) {
    std::set<std::string> setInstruments;
    for (const auto& [strSymbol, contract] : m_mapContracts) {
        const bool bFund = strSymbol.starts_with("QV.O.SSE.") || strSymbol.starts_with("QV.O.SZSE.");
        EXPECT_EQ(contract.strInstrument.size(), bFund ? 8U : 0U) << strSymbol;
        EXPECT_TRUE(!bFund || setInstruments.insert(contract.strInstrument).second) << strSymbol;
    }
    EXPECT_GT(setInstruments.size(), 300U);
}

TEST_F(SampleContracts, KeepTheirSeparatorsOutOfNamesAndMargins) {
    for (const auto& security : Securities().GetObject()) {
        for (const auto& member : security.value.GetObject()) {
            if (!std::string_view(member.name.GetString()).starts_with("Name.")) continue;
            EXPECT_EQ(std::string(member.value.GetString()).find_first_of(",|"), std::string::npos)
                << security.name.GetString();
        }
    }
    for (const auto& [strSymbol, contract] : m_mapContracts) {
        EXPECT_EQ(contract.strLongMargin.find_first_of(",|"), std::string::npos) << strSymbol;
    }
}

TEST_F(SampleContracts, IncludeEveryStockWithItsPinyinAndItsStockInfo) {
    std::set<std::string> setKnown;
    const auto shanghai = ToJson(Get(*m_pServer, "/stkinfo.do?exg=sse&LastVersion=-1").strBody);
    for (const auto& stock : shanghai["cpxx"].GetArray()) {
        setKnown.insert("QV.S.SSE." + std::string(stock["0"].GetString()));
        for (const char* pNumber : {"15", "16", "17", "18"}) {
            EXPECT_GT(std::stoi(stock[pNumber].GetString()), 0) << stock["0"].GetString();
        }
    }
    const auto shenzhen = ToJson(Get(*m_pServer, "/stkinfo.do?exg=szse&LastVersion=-1").strBody);
    int nBonds = 0;
    for (const auto& stock : shenzhen["cashauctionparams"].GetArray()) {
        setKnown.insert("QV.S.SZSE." + std::string(stock["SecurityID"].GetString()));
        EXPECT_GT(stock["BuyQtyUpperLimit"].GetInt(), 0);
    }
    for (const auto& stock : shenzhen["securities"].GetArray()) {
        EXPECT_TRUE(setKnown.contains("QV.S.SZSE." + std::string(stock["SecurityID"].GetString())));
        if (stock.HasMember("BondParams")) ++nBonds;
    }
    EXPECT_GE(nBonds, 3);
    std::set<std::string> setStocks;
    for (const auto& security : Securities().GetObject()) {
        const std::string strKey = security.name.GetString();
        if (!strKey.starts_with("QV.S.")) continue;
        EXPECT_TRUE(m_mapContracts.contains(strKey)) << strKey;
        EXPECT_TRUE(strKey.starts_with("QV.S.TWSE.") || security.value.HasMember("pinyin")) << strKey;
        if (!strKey.starts_with("QV.S.TWSE.")) setStocks.insert(strKey);
    }
    EXPECT_EQ(setKnown, setStocks);
}

/// The requests of one user's sign-in.
struct User {
    std::map<std::string, std::string> mapValues;
    std::vector<std::string> arRows;
    std::vector<std::string> arExchanges;
};

User ReadUser(const std::string& strFile) {
    User user;
    for (const auto& strLine : Split(ReadFile(Sample / "users" / strFile), '\n')) {
        if (strLine.empty()) continue;
        const auto request = ToJson(strLine);
        if (!request.IsObject()) {
            ADD_FAILURE() << strFile << ": " << strLine;
            continue;
        }
        if (request.HasMember("values")) {
            for (const auto& value : request["values"].GetObject()) {
                user.mapValues[value.name.GetString()] = value.value.GetString();
            }
            continue;
        }
        auto& arRows =
            std::string(request["table"].GetString()) == "PERMISSIONS.EXCHANGES" ? user.arExchanges : user.arRows;
        for (const auto& row : request["rows"].GetArray()) arRows.emplace_back(row.GetString());
    }
    return user;
}

TEST_F(SampleContracts, AreWhatThePermissionsOfBothUsersName) {
    for (const std::string strFile : {"full.jsonl", "limited.jsonl"}) {
        const User user = ReadUser(strFile);
        EXPECT_FALSE(user.arRows.empty() || user.arExchanges.empty()) << strFile;
        const auto rates = ToJson(Get(*m_pServer, "/OutsideData_getDocument.do?doc=Currency").strBody);
        for (const auto& strRow : user.arRows) {
            const auto arPairs = Split(strRow.substr(strRow.find('=') + 1), ';');
            if (strRow.starts_with("CurrencyRate=")) {
                EXPECT_GT(arPairs.size(), 1U) << strRow;
                for (std::size_t n = 0; n + 1 < arPairs.size(); ++n) {
                    const auto arCodes = Split(arPairs[n], ':');
                    EXPECT_EQ(arCodes.size(), 2U) << strRow;
                    EXPECT_TRUE(rates["FX"]["USD"].HasMember(arCodes.back().c_str())) << strRow;
                }
                continue;
            }
            ASSERT_TRUE(strRow.starts_with("Classification=")) << strRow;
            EXPECT_TRUE(m_mapTrees.contains(Split(arPairs.front(), ':').back())) << strRow;
        }
        for (const auto& strRow : user.arExchanges) {
            ASSERT_TRUE(strRow.ends_with("=1")) << strRow;
            const std::string strStart = strRow.substr(0, strRow.size() - 2) + ".";
            const auto it = m_mapContracts.lower_bound(strStart);
            EXPECT_TRUE(it != m_mapContracts.end() && it->first.starts_with(strStart)) << strRow;
        }
        const auto permissions = ToJson(Get(*m_pServer, "/AppsTradePermission.do").strBody);
        EXPECT_TRUE(permissions.HasMember(user.mapValues.at("Region").c_str())) << strFile;
        EXPECT_EQ(user.mapValues.at("LUMIValeURL"), "@SERVER@");
    }
}

TEST_F(SampleContracts, AreAllTheFullUsersAndSomeTheLimitedOnes) {
    const auto count = [&](const User& user) {
        std::set<std::string> setNames(user.arExchanges.begin(), user.arExchanges.end());
        std::size_t nCount = 0;
        for (const auto& [strSymbol, contract] : m_mapContracts) {
            const std::string strKey = ToKey(strSymbol);
            if (setNames.contains(strKey + "=1") || setNames.contains(strKey.substr(0, strKey.rfind('.')) + "=1")) {
                ++nCount;
            }
        }
        return nCount;
    };
    EXPECT_EQ(count(ReadUser("full.jsonl")), m_mapContracts.size());
    const auto nLimited = count(ReadUser("limited.jsonl"));
    EXPECT_GT(nLimited, 200U);
    EXPECT_LT(nLimited, m_mapContracts.size() / 4);
}

}  // namespace
}  // namespace qvant::test

// The sample data, as a reader relies on them.
#include <algorithm>
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

namespace fs = std::filesystem;

using Members = std::map<std::string, std::string>;

/// A city as the time-zone look-up spells it.
std::string CityKey(const std::string& strCity) {
    std::string strKey;
    for (const char c : strCity) {
        strKey += c == ' ' ? '_' : c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    return strKey;
}

bool IsDate(const std::string& strDate) {
    if (!std::regex_match(strDate, std::regex("20[0-9]{6}"))) return false;
    const std::chrono::year_month_day date{std::chrono::year(std::stoi(strDate.substr(0, 4))),
                                           std::chrono::month(static_cast<unsigned>(std::stoi(strDate.substr(4, 2)))),
                                           std::chrono::day(static_cast<unsigned>(std::stoi(strDate.substr(6))))};
    return date.ok();
}

class SampleWorld : public testing::Test {
protected:
    void SetUp() override {
        for (const auto& entry : fs::directory_iterator(Sample / "world" / "securities")) {
            const auto document = ToJson(ReadFile(entry.path()));
            ASSERT_TRUE(document.IsObject()) << entry.path();
            for (const auto& security : document.GetObject()) {
                AddSecurity(security.name.GetString(), security.value, entry.path().stem().string());
            }
        }
    }

    void AddSecurity(const std::string& strKey, const rapidjson::Value& security, const std::string& strFile) {
        ASSERT_TRUE(security.IsObject()) << strKey;
        EXPECT_EQ(Split(strKey, '.').at(2), strFile) << strKey;
        auto& members = m_mapSecurities[strKey];
        for (const auto& member : security.GetObject()) {
            ASSERT_TRUE(member.value.IsString()) << strKey << " " << member.name.GetString();
            members[member.name.GetString()] = member.value.GetString();
        }
    }

    std::set<std::string> ReadCities() const {
        std::set<std::string> setCities;
        for (const auto& strLine : Split(ReadFile(Sample / "home/ComShared/cities.txt"), '\n')) {
            if (!strLine.empty()) setCities.insert(CityKey(Split(strLine, ',').at(0)));
        }
        return setCities;
    }

    /// Tests each value of a member; a separator cuts it into items first.
    void ExpectForm(const std::string& strMember, char cSeparator, const std::string& strItem) const {
        const std::regex form(strItem);
        for (const auto& [strKey, members] : m_mapSecurities) {
            const auto it = members.find(strMember);
            if (it == members.end()) continue;
            for (const auto& strPiece : Split(it->second, cSeparator)) {
                EXPECT_TRUE(std::regex_match(strPiece, form)) << strKey << " " << strMember << ": " << it->second;
            }
        }
    }

    template <typename Test>
    std::ptrdiff_t CountIf(const Test& test) const {
        return std::count_if(m_mapSecurities.begin(), m_mapSecurities.end(),
                             [&](const auto& pair) { return test(pair.first, pair.second); });
    }

    std::map<std::string, Members> m_mapSecurities;
};

const std::string Time = "([01][0-9]|2[0-3]):[0-5][0-9]";
const std::string ShortTime = "([01][0-9]|2[0-3])[0-5][0-9]";

TEST_F(SampleWorld, HoldsProductsOfManyExchangesAndStocksOfBothChineseOnes) {
    std::set<std::string> setExchanges;
    for (const auto& [strKey, members] : m_mapSecurities) setExchanges.insert(Split(strKey, '.').at(2));
    EXPECT_GE(setExchanges.size(), 14U);
    for (const std::string strExchange :
         {"CME", "CBOT", "NYMEX", "EUREX", "ICEEU", "HKF", "OSE", "TWF", "SHFE", "ASX"}) {
        EXPECT_TRUE(setExchanges.contains(strExchange)) << strExchange;
    }
    const auto starts = [&](const std::string& strStart) {
        return CountIf([&](const std::string& strKey, const Members&) { return strKey.starts_with(strStart); });
    };
    EXPECT_GE(starts("QV.F.") + starts("QV.O."), 90);
    EXPECT_GE(starts("QV.O."), 15);
    EXPECT_GE(starts("QV.S.SSE."), 20);
    EXPECT_GE(starts("QV.S.SZSE."), 20);
}

TEST_F(SampleWorld, HasWellFormedKeysWithoutSeparators) {
    const std::regex form("QV\\.[FOS]\\.[A-Z0-9]+\\.[A-Za-z0-9]+");
    for (const auto& [strKey, members] : m_mapSecurities) EXPECT_TRUE(std::regex_match(strKey, form)) << strKey;
}

TEST_F(SampleWorld, NamesEverySecurityInThreeLanguages) {
    for (const auto& [strKey, members] : m_mapSecurities) {
        for (const std::string strName : {"Name.ENG", "Name.CHT", "Name.-CN", "securityMainType"}) {
            EXPECT_TRUE(members.contains(strName) && !members.at(strName).empty()) << strKey << " " << strName;
        }
    }
}

TEST_F(SampleWorld, UsesEveryMemberSomewhere) {
    for (const std::string strMember :
         {"TimeZone",         "TradeTime",     "OpenCloseTime",  "Underlying.OpenCloseTime",
          "NewFormatOCT",     "SpecificOCT",   "ResetTime",      "ResetTime.UDHotMonth",
          "NewFormatReset",   "SpecificReset", "SettlementTime", "pinyin",
          "securityMainType", "EXG",           "EXG.NORTHGATE",  "EXG.mo",
          "Symbol.HX2",       "Symbol.mo",     "Symbol.QVDATA",  "Underlying",
          "Underlying.F",     "SetPRIADJ",     "OptionStyle"}) {
        EXPECT_GT(CountIf([&](const std::string&, const Members& members) { return members.contains(strMember); }), 0)
            << strMember;
    }
}

TEST_F(SampleWorld, KnowsTheCityOfEveryTimeZone) {
    const auto setCities = ReadCities();
    for (const auto& [strKey, members] : m_mapSecurities) {
        const auto it = members.find("TimeZone");
        if (it == members.end()) continue;
        const std::string strCity = it->second.substr(it->second.find('/') + 1);
        EXPECT_TRUE(setCities.contains(CityKey(strCity))) << strKey << " " << it->second;
    }
}

TEST_F(SampleWorld, WritesEveryTimeInItsForm) {
    const std::string strSession = Time + "~" + Time;
    const std::string strItem = ShortTime + "-" + ShortTime;
    ExpectForm("TradeTime", ';', strSession + "|00:00~24:00");
    ExpectForm("OpenCloseTime", ';', strSession + "|00:00~24:00");
    ExpectForm("Underlying.OpenCloseTime", ';', strSession);
    ExpectForm("ResetTime", ';', Time);
    ExpectForm("ResetTime.UDHotMonth", ';', Time);
    ExpectForm("SettlementTime", ';', Time);
    ExpectForm("NewFormatOCT", '\n', strItem + "(\\|" + strItem + ")*:[1-7]");
    ExpectForm("NewFormatReset", '\n', ShortTime + "(\\|" + ShortTime + ")*:[1-7]");
    ExpectForm("SpecificOCT", '|', "[0-9]{8}:" + strItem + "(," + strItem + ")*");
    ExpectForm("SpecificReset", '|', "[0-9]{8}:(-1|" + ShortTime + "(," + ShortTime + ")*)");
}

TEST_F(SampleWorld, DatesEverySpecialDayWithARealDateInOrder) {
    for (const auto& [strKey, members] : m_mapSecurities) {
        for (const std::string strMember : {"SpecificOCT", "SpecificReset"}) {
            if (!members.contains(strMember)) continue;
            std::string strBefore;
            for (const auto& strItem : Split(members.at(strMember), '|')) {
                const std::string strDate = strItem.substr(0, 8);
                EXPECT_TRUE(IsDate(strDate)) << strKey << " " << strItem;
                EXPECT_LT(strBefore, strDate) << strKey;
                strBefore = strDate;
            }
        }
    }
}

TEST_F(SampleWorld, SaysTheSameHoursInBothForms) {
    for (const auto& [strKey, members] : m_mapSecurities) {
        if (!members.contains("NewFormatOCT")) continue;
        std::string strExpected = members.at("OpenCloseTime");
        std::erase(strExpected, ':');
        std::replace(strExpected.begin(), strExpected.end(), '~', '-');
        std::replace(strExpected.begin(), strExpected.end(), ';', '|');
        EXPECT_EQ(Split(members.at("NewFormatOCT"), ':').at(0), strExpected) << strKey;
    }
}

TEST_F(SampleWorld, HasLunchBreaksAndNightsOverMidnight) {
    const auto trades = [&](const std::string& strForm) {
        const std::regex form(strForm);
        return CountIf([&](const std::string&, const Members& members) {
            return std::regex_search(members.at("OpenCloseTime"), form);
        });
    };
    EXPECT_GE(trades("~1[12]:[0-9]{2};1[23]:"), 20);
    EXPECT_GE(trades("(1[4-9]|2[0-3]):[0-9]{2}~0[0-9]:"), 20);
}

TEST_F(SampleWorld, HasAFewSecuritiesInTheMachinesOwnZoneWithHoursThatItTakes) {
    int nCount = 0;
    for (const auto& [strKey, members] : m_mapSecurities) {
        if (members.contains("TimeZone")) continue;
        ++nCount;
        EXPECT_EQ(members.at("TradeTime").find("24:"), std::string::npos) << strKey;
        // The weekday of these would follow the zone of whatever security stands before them.
        EXPECT_FALSE(members.contains("NewFormatOCT") || members.contains("NewFormatReset")) << strKey;
    }
    EXPECT_GE(nCount, 2);
    EXPECT_LE(nCount, 10);
}

TEST_F(SampleWorld, PutsEveryOptionOnAnUnderlyingThatIsThere) {
    for (const auto& [strKey, members] : m_mapSecurities) {
        for (const std::string strMember : {"Underlying", "Underlying.F"}) {
            if (!members.contains(strMember) || !members.at(strMember).starts_with("QV.")) continue;
            EXPECT_TRUE(m_mapSecurities.contains(members.at(strMember))) << strKey << " " << members.at(strMember);
        }
        if (!strKey.starts_with("QV.O.")) continue;
        EXPECT_TRUE(members.contains("Underlying")) << strKey;
        EXPECT_TRUE(members.at("OptionStyle") == "American" || members.at("OptionStyle") == "European") << strKey;
    }
}

TEST_F(SampleWorld, IsServedWholeAndByListType) {
    const auto pServer = CServerProcess::Serve(Sample / "world");
    const auto all = ToJson(Get(*pServer, MainForm("-1")).strBody);
    ASSERT_TRUE(all.IsObject());
    EXPECT_EQ(all["SecuritiesInfo"].MemberCount(), m_mapSecurities.size());
    const auto stocks = ToJson(Get(*pServer, MainForm("-1", "STOCKS")).strBody);
    ASSERT_TRUE(stocks.IsObject());
    EXPECT_EQ(static_cast<std::ptrdiff_t>(stocks["SecuritiesInfo"].MemberCount()),
              CountIf([](const std::string& strKey, const Members&) { return strKey.starts_with("QV.S."); }));
}

TEST(SampleRates, AreThoseOfTheDollarAndPairsThatFollowFromThem) {
    const auto rates = ToJson(ReadFile(Sample / "world" / "currency.json"));
    ASSERT_TRUE(rates.IsObject());
    EXPECT_TRUE(IsDate(std::to_string(rates["LastVersion"].GetInt())));
    const auto toNumber = [](const rapidjson::Value& value) {
        return value.IsString() ? std::stod(value.GetString()) : value.GetDouble();
    };
    std::map<std::string, double> mapDollar{{"USD", 1}};
    for (const auto& rate : rates["FX"]["USD"].GetObject()) mapDollar[rate.name.GetString()] = toNumber(rate.value);
    for (const auto& group : rates["FX"].GetObject()) {
        const std::string strGroup = group.name.GetString();
        ASSERT_TRUE(mapDollar.contains(strGroup)) << strGroup;
        for (const auto& rate : group.value.GetObject()) {
            const std::string strName = rate.name.GetString();
            if (strGroup == "USD") continue;
            ASSERT_TRUE(strName.starts_with(strGroup) && mapDollar.contains(strName.substr(3))) << strName;
            EXPECT_NEAR(toNumber(rate.value), mapDollar[strName.substr(3)] / mapDollar[strGroup], 0.00006) << strName;
        }
    }
    for (const auto& rate : rates["RF"].GetObject()) {
        EXPECT_TRUE(mapDollar.contains(rate.name.GetString())) << rate.name.GetString();
        EXPECT_GT(toNumber(rate.value), 0);
    }
    for (const char* pszCurrency : {"EUR", "HKD", "JPY", "RMB", "TWD"}) EXPECT_TRUE(mapDollar.contains(pszCurrency));
}

TEST_F(SampleWorld, HasTheHolidaysOfItsExchangesForTwoYears) {
    const std::string strText = ReadFile(Sample / "world/OBHoliday.txt");
    std::set<std::string> setExchanges;
    for (const auto& [strKey, members] : m_mapSecurities) setExchanges.insert(Split(strKey, '.').at(2));
    std::map<std::string, std::set<std::string>> mapYears;  // of each exchange
    std::string strLast;
    for (const std::string& strLine : Split(strText, '\n')) {
        if (strLine.empty()) continue;
        ASSERT_EQ(strLine.back(), '\r') << strLine;
        if (strLine == "\r" || strLine.starts_with('#')) continue;
        const auto arFields = Split(strLine.substr(0, strLine.size() - 1), '\t');
        ASSERT_EQ(arFields.size(), 3U) << strLine;
        EXPECT_TRUE(IsDate(arFields[0])) << strLine;
        EXPECT_LT(strLast, arFields[0]);
        strLast = arFields[0];
        EXPECT_EQ(arFields[1], "H");
        for (const std::string& strExchange : Split(arFields[2], ',')) {
            EXPECT_TRUE(setExchanges.contains(strExchange)) << strLine;
            mapYears[strExchange].insert(arFields[0].substr(0, 4));
        }
    }
    EXPECT_EQ(mapYears.size(), setExchanges.size() - 1) << "all but CDE, which trades every day";
    for (const auto& [strExchange, setYears] : mapYears) {
        EXPECT_EQ(setYears, (std::set<std::string>{"2026", "2027"})) << strExchange;
    }
}

TEST(SampleHome, HasTheWordsOfEveryLanguageAndTheOtherSettings) {
    const fs::path folder = Sample / "home/ComShared";
    const std::string strWords = "\n" + ReadFile(folder / "MsgString.ini");
    for (const std::string strWord : {"Call", "Put", "Month", "SynU"}) {
        for (const std::string strLanguage : {"ENG", "CHT", "-CN"}) {
            EXPECT_THAT(strWords, testing::ContainsRegex("\n" + strWord + "\\." + strLanguage + "=[^\n]+"));
        }
    }
    EXPECT_THAT(ReadFile(folder / "DrovaneService.ini"), testing::ContainsRegex("^\\[SERVER_INFO\\]\nAppName=.+\n"));
    EXPECT_THAT(ReadFile(folder / "SystemSettings.ini"), testing::ContainsRegex("^\\[SYSTEM\\]\nSystemName=.+\n"));
    EXPECT_THAT(ReadFile(folder / "CustomSetting.ini"), testing::HasSubstr("[LUMIVale]\n"));
}

}  // namespace
}  // namespace qvant::test

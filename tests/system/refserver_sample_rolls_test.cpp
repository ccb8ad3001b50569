// The rolls, bars and factors of the sample data, and its users' own series, as a reader relies on them.
#include <algorithm>
#include <chrono>
#include <map>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include "system/history_client.h"
#include "system/quote_line_reader.h"
#include "system/sample_files.h"

namespace qvant::test {
namespace {

namespace fs = std::filesystem;
using std::chrono::sys_days;
using Dates = std::vector<std::pair<std::string, std::int64_t>>;  // months and days

// The last day of the sample's past.
constexpr std::int64_t Today = 20261120;
constexpr std::int64_t FirstDay = 20231101;

sys_days ToDay(std::int64_t nDate) {
    return std::chrono::year(static_cast<int>(nDate / 10000)) /
           std::chrono::month(static_cast<unsigned>(nDate / 100 % 100)) /
           std::chrono::day(static_cast<unsigned>(nDate % 100));
}

std::int64_t ToNumber(sys_days day) {
    const std::chrono::year_month_day date(day);
    return std::int64_t{int{date.year()}} * 10000 + unsigned{date.month()} * 100 + unsigned{date.day()};
}

class SampleRolls : public testing::Test {
protected:
    static void SetUpTestSuite() {
        m_pServer = CServerProcess::Serve(Sample / "world");
        const auto securities = ToJson(Get(*m_pServer, MainForm("-1")).strBody);
        for (const auto& security : securities["SecuritiesInfo"].GetObject()) {
            const std::string strKey = security.name.GetString();
            const auto arFields = Split(strKey, '.');
            const auto read = [&](const char* pName, const std::string& strElse) {
                return security.value.HasMember(pName) ? std::string(security.value[pName].GetString()) : strElse;
            };
            m_mapClasses[strKey] =
                "I." + arFields.at(1) + "." + read("EXG.mo", arFields.at(2)) + "." + read("Symbol.mo", arFields.at(3));
        }
        for (const std::string strName : {"FUTURES", "OPTIONS"}) {
            const auto tree = ToJson(Get(*m_pServer, "/Classification_getClassification.do?cname=" + strName).strBody);
            for (const auto& node : tree["Classification"]["Node"].GetArray()) {
                if (std::string(node["ENG"].GetString()) == "HOT") WalkHot(node);
            }
        }
        ReadHolidays();
    }

    static void TearDownTestSuite() { m_pServer.reset(); }

    static void WalkHot(const rapidjson::Value& node) {
        if (node.HasMember("Contracts")) {
            for (const auto& contract : node["Contracts"].GetArray()) {
                const auto arFields = Split(contract.GetString(), '.');
                const std::string strKey =
                    arFields.at(0) + "." + arFields.at(1) + "." + arFields.at(2) + "." + arFields.at(3);
                m_mapHot[strKey] = arFields.at(4);
            }
        }
        if (!node.HasMember("Node")) return;
        for (const auto& child : node["Node"].GetArray()) WalkHot(child);
    }

    static void ReadHolidays() {
        for (const auto& strLine : Split(ReadFile(Sample / "world/OBHoliday.txt"), '\n')) {
            const auto arFields = Split(strLine.substr(0, strLine.find('\r')), '\t');
            if (arFields.size() != 3) continue;
            for (const auto& strExchange : Split(arFields[2], ',')) m_setHolidays.emplace(strExchange, arFields[0]);
        }
    }

    static bool IsTradingDay(const std::string& strKey, std::int64_t nDate) {
        const std::chrono::weekday weekday(ToDay(nDate));
        return weekday != std::chrono::Saturday && weekday != std::chrono::Sunday &&
               !m_setHolidays.contains({Split(strKey, '.').at(2), std::to_string(nDate)});
    }

    static Dates Ask(const std::string& strTarget, int nField) {
        Dates arDates;
        for (const auto& line : ReadQuoteLines(Get(*m_pServer, strTarget).strBody)) {
            arDates.emplace_back(Split(line.mapStrings.at(14), '.').at(3), line.mapIntegers.at(nField).value());
        }
        return arDates;
    }

    static std::string ToQuery(const std::string& strKey, const std::string& strEnding) {
        return "p=LUM." + strKey.substr(5) + strEnding + (strKey.starts_with("QV.O.") ? "&opt=1" : "");
    }

    static Dates AskRolls(const std::string& strKey) { return Ask("/HotChange.do?" + ToQuery(strKey, ".HOT"), 22); }

    static Dates AskExpiries(const std::string& strKey) { return Ask("/ExpireDate.do?" + ToQuery(strKey, ""), 104); }

    /// The closes of two months at a moment; fewer when one isn't there.
    static std::vector<double> AskPair(const std::string& strKey, const std::string& strFirst,
                                       const std::string& strSecond, const std::string& strMoment) {
        const std::string strClass = m_mapClasses.at(strKey);
        const auto reply = AskCloses(*m_pServer, "\"" + strClass + "." + strFirst + "\":[" + strMoment + "],\"" +
                                                     strClass + "." + strSecond + "\":[" + strMoment + "]");
        std::vector<double> arCloses;
        for (const auto& close : reply.json["data"].GetArray()) arCloses.push_back(close["c"].GetDouble());
        return arCloses;
    }

    static inline std::unique_ptr<CServerProcess> m_pServer;
    static inline std::map<std::string, std::string> m_mapClasses;  // key to quote class
    static inline std::map<std::string, std::string> m_mapHot;      // key to the month that the classifications give
    static inline std::set<std::pair<std::string, std::string>> m_setHolidays;
};

TEST_F(SampleRolls, HaveTheHotMonthOfTheClassificationsAsTheirLatest) {
    EXPECT_GT(m_mapHot.size(), 130U);
    for (const auto& [strKey, strMonth] : m_mapHot) {
        const auto arRolls = AskRolls(strKey);
        ASSERT_FALSE(arRolls.empty()) << strKey;
        EXPECT_EQ(arRolls.front().first, strMonth) << strKey;
        EXPECT_LE(arRolls.front().second, Today) << strKey;
    }
}

TEST_F(SampleRolls, GoBackThreeYearsMonthByMonthOnTradingDays) {
    for (const auto& [strKey, strHot] : m_mapHot) {
        const auto arRolls = AskRolls(strKey);
        for (std::size_t n = 0; n < arRolls.size(); ++n) {
            EXPECT_TRUE(IsTradingDay(strKey, arRolls[n].second)) << strKey << " " << arRolls[n].second;
            if (n == 0) continue;
            EXPECT_LT(arRolls[n].second, arRolls[n - 1].second) << strKey;
            EXPECT_LT(arRolls[n].first, arRolls[n - 1].first) << strKey;
        }
        EXPECT_LT(arRolls.back().second, FirstDay) << strKey;
    }
}

TEST_F(SampleRolls, LeaveAMonthBeforeItExpiresForOneThatExpiresLater) {
    for (const auto& [strKey, strHot] : m_mapHot) {
        const auto arExpiries = AskExpiries(strKey);
        const std::map<std::string, std::int64_t> mapExpiries(arExpiries.begin(), arExpiries.end());
        EXPECT_EQ(mapExpiries.size(), arExpiries.size()) << strKey;
        const auto arRolls = AskRolls(strKey);
        for (std::size_t n = 0; n < arRolls.size(); ++n) {
            ASSERT_TRUE(mapExpiries.contains(arRolls[n].first)) << strKey << " " << arRolls[n].first;
            EXPECT_GT(mapExpiries.at(arRolls[n].first), arRolls[n].second) << strKey;
            if (n + 1 < arRolls.size()) {
                EXPECT_GE(mapExpiries.at(arRolls[n + 1].first), arRolls[n].second) << strKey;
            }
        }
        // The month that is hot now hasn't been left yet.
        EXPECT_GT(mapExpiries.at(strHot), Today) << strKey;
    }
}

TEST_F(SampleRolls, ComeWithTheExpiryOfEveryMonthSinceTheFirstDay) {
    for (const auto& [strKey, strHot] : m_mapHot) {
        const auto arExpiries = AskExpiries(strKey);
        EXPECT_LT(arExpiries.back().second, 20240401) << strKey;
        EXPECT_GT(arExpiries.front().second, Today) << strKey;
        for (std::size_t n = 0; n < arExpiries.size(); ++n) {
            EXPECT_TRUE(IsTradingDay(strKey, arExpiries[n].second)) << strKey << " " << arExpiries[n].second;
            if (n > 0) {
                EXPECT_LT(arExpiries[n].second, arExpiries[n - 1].second) << strKey;
                EXPECT_LT(arExpiries[n].first, arExpiries[n - 1].first) << strKey;
            }
        }
    }
}

TEST_F(SampleRolls, GiveEveryHotSeriesOfAFutureAFactorForEachRollSinceTheFirstDay) {
    for (const auto& [strKey, strHot] : m_mapHot) {
        const auto reply = AskFactors(*m_pServer, m_mapClasses.at(strKey));
        EXPECT_EQ(reply.bData, strKey.starts_with("QV.F.")) << strKey;
        if (!reply.bData) continue;
        auto arRolls = AskRolls(strKey);
        std::reverse(arRolls.begin(), arRolls.end());
        ASSERT_EQ(reply.json["data"].Size(), arRolls.size() - 1) << strKey;
        for (rapidjson::SizeType n = 0; n < reply.json["data"].Size(); ++n) {
            const auto& factor = reply.json["data"][n];
            EXPECT_EQ(factor["d"].GetInt64(), arRolls[n + 1].second) << strKey;
            EXPECT_EQ(std::to_string(factor["old"].GetInt()), arRolls[n].first) << strKey;
            EXPECT_EQ(std::to_string(factor["new"].GetInt()), arRolls[n + 1].first) << strKey;
            EXPECT_TRUE(factor["sxd"].IsDouble()) << strKey;
        }
    }
}

TEST_F(SampleRolls, GiveFactorsThatAreWhatTheClosesOfBothMonthsDifferBy) {
    for (const auto& [strKey, strHot] : m_mapHot) {
        if (!strKey.starts_with("QV.F.")) continue;
        const auto reply = AskFactors(*m_pServer, m_mapClasses.at(strKey));
        const auto& factor = reply.json["data"][reply.json["data"].Size() - 1];
        char moment[32];
        std::snprintf(moment, sizeof moment, "%lld%04lld", static_cast<long long>(factor["od"].GetInt64()),
                      static_cast<long long>(factor["t"].GetInt64() / 100'000));
        const auto arCloses =
            AskPair(strKey, std::to_string(factor["old"].GetInt()), std::to_string(factor["new"].GetInt()), moment);
        ASSERT_EQ(arCloses.size(), 2U) << strKey << " " << moment;
        EXPECT_NEAR(arCloses[1] - arCloses[0], factor["sxd"].GetDouble(), 1e-9 * arCloses[0]) << strKey;
    }
}

TEST_F(SampleRolls, StandBesideFactorsOfTwentyStocks) {
    std::size_t nStocks = 0;
    for (const std::string strExchange : {"SSE", "SZSE"}) {
        const auto stocks = ToJson(ReadFile(Sample / "world/factors" / (strExchange + ".json")));
        for (const auto& stock : stocks.GetObject()) {
            const std::string strKey = stock.name.GetString();
            ASSERT_TRUE(m_mapClasses.contains(strKey)) << strKey;
            const auto reply = AskFactors(*m_pServer, m_mapClasses.at(strKey));
            ASSERT_TRUE(reply.bData) << strKey;
            ++nStocks;
            EXPECT_GE(reply.json["data"].Size(), 3U) << strKey;
            for (const auto& factor : reply.json["data"].GetArray()) {
                EXPECT_TRUE(IsTradingDay(strKey, factor["od"].GetInt64())) << strKey;
                EXPECT_GT(factor["sxd"].GetDouble(), 0.4) << strKey;
                EXPECT_LT(factor["sxd"].GetDouble(), 1) << strKey;
            }
        }
    }
    EXPECT_EQ(nStocks, 20U);
}

TEST_F(SampleRolls, HaveAReplyOfEveryHistoryNameToOneSecurityOnly) {
    std::set<std::string> setClasses;
    for (const auto& [strKey, strClass] : m_mapClasses) EXPECT_TRUE(setClasses.insert(strClass).second) << strClass;
}

TEST_F(SampleRolls, HaveTheClosesThatTheUsersOwnSeriesAskFor) {
    int nSeries = 0;
    std::set<std::string> setZones;
    for (const auto& entry : fs::directory_iterator(Sample / "home/Data/UserDefHotMonth")) {
        ++nSeries;
        ASSERT_EQ(entry.path().extension(), ".udhm");
        const std::string strTitle = entry.path().stem().string();
        const std::string strKey = strTitle.substr(0, strTitle.find(".HOT_"));
        ASSERT_TRUE(m_mapHot.contains(strKey)) << strTitle;
        Dates arRolls;
        for (const auto& strLine : Split(ReadFile(entry.path()), '\n')) {
            const auto nArrow = strLine.find("->");
            if (strLine.starts_with("TimeZone=")) setZones.insert(strLine.substr(9));
            if (nArrow != std::string::npos) {
                arRolls.emplace_back(strLine.substr(nArrow + 2), std::stoll(strLine.substr(0, nArrow)));
            }
        }
        ASSERT_GE(arRolls.size(), 10U) << strTitle;
        for (std::size_t n = 0; n + 1 < arRolls.size(); ++n) {
            EXPECT_GT(arRolls[n].second, arRolls[n + 1].second) << strTitle;
            if (arRolls[n].second > Today) continue;
            // Whatever the time and the zone: from the middle of the day to that of the next one.
            const std::string strNextDay = std::to_string(ToNumber(ToDay(arRolls[n].second) + std::chrono::days(1)));
            for (const auto& strMoment : {std::to_string(arRolls[n].second) + "1200", strNextDay + "1200"}) {
                EXPECT_EQ(AskPair(strKey, arRolls[n].first, arRolls[n + 1].first, strMoment).size(), 2U)
                    << strTitle << " " << strMoment;
            }
        }
    }
    EXPECT_EQ(nSeries, 2);
    EXPECT_EQ(setZones, (std::set<std::string>{"LOCAL", "UTC"}));
}

TEST(SampleUsers, KnowTheServersOfRollsAndHistory) {
    for (const std::string strFile : {"full.jsonl", "limited.jsonl"}) {
        const std::string strUser = ReadFile(Sample / "users" / strFile);
        for (const std::string strValue :
             {R"("HotChangeURL":"@SERVER@HotChange.do?")", R"("ExpireURL":"@SERVER@ExpireDate.do?")",
              R"("SS2Cmd":"@SERVER@History.do?")"}) {
            EXPECT_THAT(strUser, testing::HasSubstr(strValue)) << strFile;
        }
    }
}

}  // namespace
}  // namespace qvant::test

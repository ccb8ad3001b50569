#include "model/securities_parser.h"

#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/failure.h"
#include "exchange_zones.h"
#include "test_host.h"

namespace qvant {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;
using testing::UnorderedElementsAre;

class SecuritiesParser : public testing::Test {
protected:
    SecuritiesParser() {
        for (const TextView strTable : {u"Security.Info", u"OpenTimeExchange", u"orderExchange", u"STORAGE"}) {
            m_host[strTable];
        }
    }

    /// @param strSecurities  the members of "SecuritiesInfo"
    void Parse(std::string_view strSecurities) {
        ParseWhole("{\"SecuritiesInfo\":{" + std::string(strSecurities) + "}}");
    }

    void ParseWhole(std::string_view strDocument) {
        JsonDocument document;
        ASSERT_TRUE(ParseUtf8(document, strDocument)) << strDocument;
        m_parser.ParseJsonData(document, &m_host[u"Security.Info"]);
    }

    std::int32_t FailureOf(std::string_view strSecurities) {
        try {
            Parse(strSecurities);
            return 0;
        } catch (const CFailure& failure) {
            return failure.GetCode();
        }
    }

    std::map<Text, Text> Group(TextView strGroup) {
        const auto pGroup = m_host[u"Security.Info"].GetSubTable(strGroup, nullptr);
        return pGroup ? ReadValues(*pGroup) : std::map<Text, Text>();
    }
    bool KnowsReset(TextView strTime) const {
        Text strValue;
        return m_parser.m_mapResetTime.Lookup(strTime, strValue) && strValue == strTime;
    }
    Text Stored(TextView strKey) { return Group(GetSecurityGroup(strKey))[Text(strKey)]; }

    platform::CVariable m_machineZone{"TZ", "Asia/Taipei"};
    CExchangeZones m_world;
    CTestHost m_host;
    CExchangeTimes m_times{m_world.m_zones, m_world.m_clock};
    CSecuritiesParser m_parser{m_host, m_times};
};

TEST_F(SecuritiesParser, DoesNothingWithoutSecuritiesInfo) {
    Parse(R"("QV.F.CME.ES":{})");
    m_host.m_arLog.clear();
    ParseWhole(R"({"LastVersion":"5"})");
    ParseWhole(R"([1,2])");
    EXPECT_THAT(m_host.m_arLog, IsEmpty());
    EXPECT_EQ(Stored(u"QV.F.CME.ES"), u"{}");
}

TEST_F(SecuritiesParser, LogsItsSteps) {
    Parse(R"("QV.F.CME.ES":{})");
    EXPECT_THAT(m_host.m_arLog, ElementsAre(u"ParseJsonData Start.", u"ParseJsonData loop End.",
                                            u"ParseJsonData SecurityInfo End.", u"ParseJsonData OpenTimeExchange End.",
                                            u"No STORAGE-orderExchange", u"ParseJsonData OrderExchange End."));
    m_host.m_arLog.clear();
    Parse(R"("QV.F.CME.ES":{})");
    EXPECT_THAT(m_host.m_arLog, Not(testing::Contains(Text(u"No STORAGE-orderExchange"))));
}

TEST_F(SecuritiesParser, TellsOfTheMissingCopyOfTheRoutesBeforeItMakesIt) {
    const auto openCopy = [this] { return m_host[u"STORAGE"].GetSubTable(u"orderExchange", nullptr); };
    int nTold = 0;
    m_host.m_onLog = [&](TextView strLine) {
        if (strLine != u"No STORAGE-orderExchange") return;
        ++nTold;
        EXPECT_EQ(openCopy(), nullptr);
        EXPECT_THAT(ReadValues(m_host[u"orderExchange"]), Not(IsEmpty())) << "the table itself is published by then";
    };
    Parse(R"("QV.F.CME.ES":{"EXG":"CME","EXG.mo":"x"})");
    EXPECT_EQ(nTold, 1);
    ASSERT_NE(openCopy(), nullptr);
    EXPECT_EQ(ReadValues(*openCopy()), ReadValues(m_host[u"orderExchange"]));
}

TEST_F(SecuritiesParser, PutsEachSecurityIntoTheTableOfItsGroup) {
    Parse(R"("QV.F.CME.ES":{"a":"1"},"QV.S.SSE.600000":{"b":"2"},"QV.F.CME.NQ":{"c":3})");
    EXPECT_THAT(ReadRows(m_host[u"Security.Info"]), ElementsAre(u"QV.F.CME", u"QV.S.SSE"));
    EXPECT_THAT(Group(u"QV.F.CME"),
                ElementsAre(Pair(u"QV.F.CME.ES", u"{\"a\":\"1\"}"), Pair(u"QV.F.CME.NQ", u"{\"c\":3}")));
    EXPECT_THAT(Group(u"QV.S.SSE"), ElementsAre(Pair(u"QV.S.SSE.600000", u"{\"b\":\"2\"}")));
}

TEST_F(SecuritiesParser, ReplacesTheSecuritiesOfTheLastPass) {
    Parse(R"("QV.F.CME.ES":{"a":"1"},"QV.S.SSE.600000":{})");
    Parse(R"("QV.F.CME.NQ":{})");
    EXPECT_THAT(ReadRows(m_host[u"Security.Info"]), ElementsAre(u"QV.F.CME"));
    EXPECT_THAT(Group(u"QV.F.CME"), ElementsAre(Pair(u"QV.F.CME.NQ", u"{}")));
    EXPECT_EQ(m_host[u"Security.Info"].GetSubTable(u"QV.S.SSE", nullptr), nullptr);
}

TEST_F(SecuritiesParser, ConvertsEveryTimeMemberAndWritesItBehindTheOthers) {
    Parse(R"("QV.F.TFE.TX":{"SettlementTime":"13:45","SpecificReset":"20240213:0900","NewFormatReset":"0900|1500:2",
        "ResetTime.UDHotMonth":"14:50","ResetTime":"14:50","SpecificOCT":"20240213:0845-1345",
        "NewFormatOCT":"0845-1345|1500-1700:2","Underlying.OpenCloseTime":"09:00~13:30",
        "OpenCloseTime":"08:45~13:45;15:00~05:00","TradeTime":"08:45~13:45","TimeZone":"Asia/Taipei","Name.ENG":"TAIEX"})");
    EXPECT_EQ(Stored(u"QV.F.TFE.TX"),
              u"{\"TimeZone\":\"Asia/Taipei\",\"Name.ENG\":\"TAIEX\",\"TradeTime\":\"00:45~05:45\","
              u"\"OpenCloseTime\":\"00:45~05:45;07:00~21:00\",\"Underlying.OpenCloseTime\":\"01:00~05:30\","
              u"\"NewFormatOCT\":\"0045~0545|0700~0900:2\",\"SpecificOCT\":\"20240213:0045-0545\","
              u"\"ResetTime\":\"06:50\",\"ResetTime.UDHotMonth\":\"06:50\",\"NewFormatReset\":\"0100|0700:2\","
              u"\"SpecificReset\":\"20240213:0100\",\"SettlementTime\":\"05:45\"}");
}

TEST_F(SecuritiesParser, TakesTheZoneBehindTheFirstSlashInAnyCase) {
    Parse(R"("QV.F.A.1":{"TimeZone":"America/new_york","ResetTime":"09:00"},
             "QV.F.A.2":{"TimeZone":"Taipei","ResetTime":"09:00"},
             "QV.F.A.3":{"TimeZone":"America/Indiana/Knox","ResetTime":"09:00"},
             "QV.F.A.4":{"TimeZone":"","ResetTime":"09:00"})");
    EXPECT_EQ(Stored(u"QV.F.A.1"), u"{\"TimeZone\":\"America/new_york\",\"ResetTime\":\"14:00\"}");
    EXPECT_EQ(Stored(u"QV.F.A.2"), u"{\"TimeZone\":\"Taipei\",\"ResetTime\":\"01:00\"}");
    EXPECT_EQ(Stored(u"QV.F.A.3"), u"{\"TimeZone\":\"America/Indiana/Knox\",\"ResetTime\":\"09:00\"}");
    EXPECT_EQ(Stored(u"QV.F.A.4"), u"{\"TimeZone\":\"\",\"ResetTime\":\"01:00\"}");
}

TEST_F(SecuritiesParser, TakesTheMachinesZoneForASecurityWithoutOne) {
    Parse(R"("QV.F.CME.NQ":{"TimeZone":"America/New_York","OpenCloseTime":"09:30~16:00"},
             "QV.F.CME.ES":{"OpenCloseTime":"09:00~11:30;13:00~15:15"})");
    EXPECT_EQ(Stored(u"QV.F.CME.ES"), u"{\"OpenCloseTime\":\"01:00~03:30;05:00~07:15\"}");
}

TEST_F(SecuritiesParser, CarriesTheDayShiftFromOneSecurityToTheNextAndIntoTheNextPass) {
    Parse(R"("QV.F.A.1":{"TimeZone":"Taipei","ResetTime":"07:00"},"QV.F.A.2":{"NewFormatReset":"0900:1"})");
    EXPECT_EQ(Stored(u"QV.F.A.2"), u"{\"NewFormatReset\":\"0100:7\"}");
    Parse(R"("QV.F.A.3":{"TimeZone":"Nowhere","NewFormatReset":"0900:3"})");
    EXPECT_EQ(Stored(u"QV.F.A.3"), u"{\"TimeZone\":\"Nowhere\",\"NewFormatReset\":\"0900:2\"}");
}

TEST_F(SecuritiesParser, LeavesEmptyTimesAndWeeklyListsWithoutAWeekdayWhereTheyStand) {
    Parse(R"("QV.F.A.1":{"OpenCloseTime":"","NewFormatOCT":"0900-1000","NewFormatReset":"0900","z":"1"})");
    EXPECT_EQ(Stored(u"QV.F.A.1"),
              u"{\"OpenCloseTime\":\"\",\"NewFormatOCT\":\"0900-1000\",\"NewFormatReset\":\"0900\",\"z\":\"1\"}");
}

TEST_F(SecuritiesParser, PassesMembersThatAreNoStringsThrough) {
    Parse(R"("QV.F.A.1":{"OpenCloseTime":5,"TimeZone":null,"EXG":["x"],"EXG.mo":{"a":[1,2.5]},"ResetTime":true})");
    EXPECT_EQ(Stored(u"QV.F.A.1"),
              u"{\"OpenCloseTime\":5,\"TimeZone\":null,\"EXG\":[\"x\"],\"EXG.mo\":{\"a\":[1,2.5]},\"ResetTime\":true}");
    EXPECT_THAT(ReadValues(m_host[u"orderExchange"]), IsEmpty());
}

TEST_F(SecuritiesParser, ConvertsTheFirstOfSeveralMembersOfOneName) {
    Parse(R"("QV.F.A.1":{"ResetTime":"09:00","ResetTime":"10:00"},"QV.F.A.2":{"ResetTime":1,"ResetTime":"10:00"})");
    EXPECT_EQ(Stored(u"QV.F.A.1"), u"{\"ResetTime\":\"10:00\",\"ResetTime\":\"01:00\"}");
    EXPECT_EQ(Stored(u"QV.F.A.2"), u"{\"ResetTime\":1,\"ResetTime\":\"10:00\"}");
}

TEST_F(SecuritiesParser, KeepsASecurityThatIsNoObject) {
    Parse(R"("QV.F.A.1":"text","QV.F.A.2":[1,{"ResetTime":"09:00"}],"QV.F.A.3":null)");
    EXPECT_THAT(Group(u"QV.F.A"),
                ElementsAre(Pair(u"QV.F.A.1", u"\"text\""), Pair(u"QV.F.A.2", u"[1,{\"ResetTime\":\"09:00\"}]"),
                            Pair(u"QV.F.A.3", u"null")));
}

TEST_F(SecuritiesParser, TakesSecuritiesInfoThatIsNoObjectForAnEmptyOne) {
    Parse(R"("QV.F.CME.ES":{})");
    ParseWhole(R"({"SecuritiesInfo":["a","b"]})");
    EXPECT_THAT(ReadRows(m_host[u"Security.Info"]), IsEmpty());
    EXPECT_EQ(m_host.m_arLog.back(), u"ParseJsonData OrderExchange End.");
}

TEST_F(SecuritiesParser, SurvivesOddKeysAndHalfSurrogates) {
    Parse(R"("":{"a":"1"},"x":{},"....":{},"QV.F.A.\u0000.B":{"\u0000":"\udc00"},"\udc00":{})");
    EXPECT_EQ(ReadRows(m_host[u"Security.Info"]).size(), 5u);
    EXPECT_THAT(Group(u""), Not(IsEmpty()));
}

TEST_F(SecuritiesParser, KeepsNonAsciiTextUnescaped) {
    Parse("\"QV.F.TFE.TX\":{\"Name.CHT\":\"\xE5\x8F\xB0\xE6\x8C\x87\"}");
    EXPECT_EQ(Stored(u"QV.F.TFE.TX"), u"{\"Name.CHT\":\"台指\"}");
}

TEST_F(SecuritiesParser, ListsTheOpenTimesOfAGroupSortedAndOnce) {
    Parse(R"("QV.F.CME.ES":{"TimeZone":"Chicago","OpenCloseTime":"17:00~16:00"},
             "QV.F.CME.NQ":{"TimeZone":"Chicago","OpenCloseTime":"08:30~12:00;;17:00~16:00"},
             "QV.S.SSE.600000":{"OpenCloseTime":"09:30~11:30;13:00~15:00"})");
    EXPECT_THAT(ReadValues(m_host[u"OpenTimeExchange"]),
                ElementsAre(Pair(u"QV.F.CME", u"14:30,23:00"), Pair(u"QV.S.SSE", u"01:30,05:00")));
}

TEST_F(SecuritiesParser, KeepsTheOpenTimesOfAGroupThatLeftTheDocument) {
    Parse(R"("QV.F.CME.ES":{"OpenCloseTime":"09:00~10:00"})");
    Parse(R"("QV.S.SSE.600000":{"OpenCloseTime":"09:30~11:30"})");
    EXPECT_THAT(ReadValues(m_host[u"OpenTimeExchange"]),
                ElementsAre(Pair(u"QV.F.CME", u"01:00"), Pair(u"QV.S.SSE", u"01:30")));
}

TEST_F(SecuritiesParser, ClearsAllButTheOpenTimesForAnEmptyDocument) {
    Parse(R"("QV.F.CME.ES":{"OpenCloseTime":"09:00~10:00","EXG.mo":"x"})");
    Parse("");
    EXPECT_THAT(ReadRows(m_host[u"Security.Info"]), IsEmpty());
    EXPECT_EQ(m_host[u"Security.Info"].GetSubTable(u"QV.F.CME", nullptr), nullptr);
    EXPECT_THAT(ReadValues(m_host[u"OpenTimeExchange"]), ElementsAre(Pair(u"QV.F.CME", u"01:00")));
    EXPECT_THAT(ReadValues(m_host[u"orderExchange"]), IsEmpty());
    EXPECT_THAT(ReadValues(*m_host[u"STORAGE"].GetSubTable(u"orderExchange", nullptr)), IsEmpty());
}

TEST_F(SecuritiesParser, NotesTheLastCloseUnderTheFourPartKey) {
    Parse(R"("QV.F.CME.ES.202012.X":{"OpenCloseTime":"09:00~11:30;13:00~15:15"},"QV.S.SSE.600000":{})");
    EXPECT_THAT(m_parser.m_mapCloseTime, UnorderedElementsAre(Pair(u"QV.F.CME.ES", u"071501")));
    EXPECT_THAT(Group(u"QV.F.CME"), ElementsAre(Pair(u"QV.F.CME.ES.202012.X", testing::_)));
}

TEST_F(SecuritiesParser, NotesResetTimesUnderThemselvesAndTheFourPartKey) {
    Parse(
        R"("QV.F.CME.ES.X":{"ResetTime":"14:30"},"QV.F.CME.NQ":{"ResetTime":"14:30"},"QV.F.CME.YM":{"ResetTime":""})");
    EXPECT_EQ(m_parser.m_mapResetTime.GetCount(), 1u);
    EXPECT_TRUE(KnowsReset(u"06:30"));
    EXPECT_EQ(m_parser.m_mapSymbolResetTime.Get(u"QV.F.CME.ES"), u"063000");
    EXPECT_EQ(m_parser.m_mapSymbolResetTime.Get(u"QV.F.CME.NQ"), u"063000");
    EXPECT_EQ(m_parser.m_mapSymbolResetTime.Get(u"QV.F.CME.YM"), u"");
    EXPECT_EQ(m_parser.m_mapSymbolResetTime.GetCount(), 2u);
}

TEST_F(SecuritiesParser, KeepsTimesOfTheLastPassButNotNames) {
    Parse(
        R"("QV.F.CME.ES":{"OpenCloseTime":"09:00~10:00","ResetTime":"14:30","pinyin":"bp","securityMainType":"IDX"})");
    EXPECT_THAT(m_parser.m_mapPinyin, UnorderedElementsAre(Pair(u"QV.F.CME.ES", u"bp")));
    EXPECT_THAT(m_parser.m_mapMainType, UnorderedElementsAre(Pair(u"QV.F.CME.ES", u"IDX")));
    Parse(R"("QV.F.CME.NQ":{"pinyin":"","securityMainType":""})");
    EXPECT_THAT(m_parser.m_mapPinyin, IsEmpty());
    EXPECT_THAT(m_parser.m_mapMainType, IsEmpty());
    EXPECT_EQ(m_parser.m_mapCloseTime.count(u"QV.F.CME.ES"), 1u);
    EXPECT_TRUE(KnowsReset(u"06:30"));
    EXPECT_EQ(m_parser.m_mapSymbolResetTime.Get(u"QV.F.CME.ES"), u"063000");
}

TEST_F(SecuritiesParser, PutsANewExchangeInFrontOfARoutesList) {
    Parse(R"("QV.F.CME.ES":{"EXG.mo":"1","EXG.HX2":"2"},"QV.F.EUREX.FDAX":{"EXG.mo":"1"},
             "QV.F.X.Y":{"EXG":"\"SGX\"","EXG.mo.more":"1"},"QV.F.CME.NQ":{"EXG.mo":"1"})");
    EXPECT_THAT(ReadValues(m_host[u"orderExchange"]), ElementsAre(Pair(u"HX2", u"CME"), Pair(u"mo", u"SGX:EUREX:CME")));
}

TEST_F(SecuritiesParser, CountsAnExchangeAsPresentInsideAnothersName) {
    Parse(R"("QV.F.CMEX.A":{"EXG.mo":"1"},"QV.F.NYMEX.A":{"EXG.mo":"1"},"QV.F.CME.ES":{"EXG.mo":"1"})");
    EXPECT_THAT(ReadValues(m_host[u"orderExchange"]), ElementsAre(Pair(u"mo", u"NYMEX:CMEX")));
}

TEST_F(SecuritiesParser, AddsNoRouteWithoutAnExchange) {
    Parse(R"("QV.F":{"EXG.mo":"1"},"x":{"EXG":"\"\"","EXG.mo":"1"})");
    EXPECT_THAT(ReadValues(m_host[u"orderExchange"]), IsEmpty());
}

TEST_F(SecuritiesParser, CopiesTheRoutesToStorage) {
    Parse(R"("QV.F.CME.ES":{"EXG.mo":"1"})");
    EXPECT_THAT(ReadValues(*m_host[u"STORAGE"].GetSubTable(u"orderExchange", nullptr)),
                ElementsAre(Pair(u"mo", u"CME")));
    Parse(R"("QV.F.SGX.TW":{"EXG.xx":"1"})");
    EXPECT_THAT(ReadValues(*m_host[u"STORAGE"].GetSubTable(u"orderExchange", nullptr)),
                ElementsAre(Pair(u"xx", u"SGX")));
}

TEST_F(SecuritiesParser, StopsWithALineWhenTheHostHasNoTable) {
    m_host.Drop(u"orderExchange");
    Parse(R"("QV.F.CME.ES":{"OpenCloseTime":"09:00~10:00"})");
    EXPECT_EQ(m_host.m_arLog.back(), u"Init orderExchange Base Data Fault!");
    EXPECT_THAT(ReadValues(m_host[u"OpenTimeExchange"]), Not(IsEmpty()));
    m_host.Drop(u"OpenTimeExchange");
    Parse(R"("QV.F.CME.NQ":{})");
    EXPECT_EQ(m_host.m_arLog.back(), u"Init pOpenTimeExchangeeBaseData Base Data Fault!");
    EXPECT_EQ(Stored(u"QV.F.CME.NQ"), u"{}");
}

TEST_F(SecuritiesParser, DoesWithoutStorage) {
    m_host.Drop(u"STORAGE");
    Parse(R"("QV.F.CME.ES":{"EXG.mo":"1"})");
    EXPECT_EQ(m_host.m_arLog.back(), u"ParseJsonData OrderExchange End.");
    EXPECT_THAT(ReadValues(m_host[u"orderExchange"]), ElementsAre(Pair(u"mo", u"CME")));
}

TEST_F(SecuritiesParser, DoesWithoutSecurityInfo) {
    JsonDocument document;
    ASSERT_TRUE(ParseUtf8(document, R"({"SecuritiesInfo":{"QV.F.CME.ES":{"EXG.mo":"1"}}})"));
    m_parser.ParseJsonData(document, nullptr);
    EXPECT_THAT(ReadValues(m_host[u"orderExchange"]), ElementsAre(Pair(u"mo", u"CME")));
}

TEST_F(SecuritiesParser, LeavesTheTablesAsTheyWereAfterAFailure) {
    Parse(R"("QV.F.CME.ES":{"OpenCloseTime":"09:00~10:00","EXG.mo":"1"})");
    EXPECT_EQ(FailureOf(R"("QV.F.CME.NQ":{"OpenCloseTime":"11:00~12:00"},"QV.F.CME.YM":{"TradeTime":"99:99"})"),
              static_cast<std::int32_t>(0x80004005));
    EXPECT_EQ(FailureOf(R"("QV.F.CME.NQ":{"TimeZone":"Taipei","SpecificOCT":"20241301:0700-0900"})"),
              static_cast<std::int32_t>(0x80004005));
    EXPECT_THAT(ReadRows(m_host[u"Security.Info"]), ElementsAre(u"QV.F.CME"));
    EXPECT_THAT(Group(u"QV.F.CME"), ElementsAre(Pair(u"QV.F.CME.ES", testing::_)));
    EXPECT_THAT(ReadValues(m_host[u"OpenTimeExchange"]), ElementsAre(Pair(u"QV.F.CME", u"01:00")));
}

TEST_F(SecuritiesParser, StartsCleanAfterAFailure) {
    EXPECT_NE(
        FailureOf(R"("QV.F.CME.NQ":{"EXG.mo":"1","OpenCloseTime":"11:00~12:00"},"QV.F.CME.YM":{"TradeTime":"99:99"})"),
        0);
    Parse(R"("QV.S.SSE.600000":{"OpenCloseTime":"09:30~11:30"})");
    EXPECT_THAT(ReadRows(m_host[u"Security.Info"]), ElementsAre(u"QV.S.SSE"));
    EXPECT_EQ(m_host[u"Security.Info"].GetSubTable(u"QV.F.CME", nullptr), nullptr);
    EXPECT_THAT(ReadValues(m_host[u"OpenTimeExchange"]), ElementsAre(Pair(u"QV.S.SSE", u"01:30")));
    EXPECT_THAT(ReadValues(m_host[u"orderExchange"]), IsEmpty());
}

/// A document of more securities than one thread works on alone. Some carry the shift of the one before them on.
std::vector<std::string> MakeManySecurities() {
    const std::vector<std::string> arTimes = {
        R"("TimeZone":"America/New_York","OpenCloseTime":"18:00~17:00","NewFormatOCT":"2100-0230:7")",
        R"("TimeZone":"Nowhere","NewFormatReset":"0900:3")",
        R"("ResetTime":"07:30","NewFormatOCT":"0600-0700|0800-0900:1")",
        R"("TimeZone":"Asia/Taipei","OpenCloseTime":"08:45~13:45;15:00~05:00","pinyin":"tx","EXG.mo":"1")",
        R"("TimeZone":"Nowhere","NewFormatOCT":"0900-1000:1","Name":"\u53F0\"")"};
    std::vector<std::string> arSecurities;
    for (int i = 0; i < 4'000; ++i) {
        const std::string strKey = "QV." + std::string(1, "FOS"[i % 3]) + ".X" + std::to_string(i % 11) + ".";
        arSecurities.push_back("\"" + strKey + std::to_string(i) + "\":{" +
                               arTimes[static_cast<std::size_t>(i) / 2 % arTimes.size()] + "}");
    }
    return arSecurities;
}

std::string JoinSecurities(const std::vector<std::string>& arSecurities, std::size_t nFrom, std::size_t nTo) {
    std::string strJoined;
    for (std::size_t i = nFrom; i < nTo; ++i) strJoined += (i == nFrom ? "" : ",") + arSecurities[i];
    return strJoined;
}

TEST_F(SecuritiesParser, MakesOfALongDocumentWhatItMakesOfItsPieces) {
    const auto arSecurities = MakeManySecurities();
    std::map<Text, Text> mapExpected, mapPinyin;
    std::vector<Text> arGroups;
    for (std::size_t i = 0; i < arSecurities.size(); i += 500) {
        Parse(JoinSecurities(arSecurities, i, i + 500));
        for (const Text& strGroup : ReadRows(m_host[u"Security.Info"])) {
            mapExpected.merge(Group(strGroup));
            if (std::find(arGroups.begin(), arGroups.end(), strGroup) == arGroups.end()) arGroups.push_back(strGroup);
        }
        mapPinyin.insert(m_parser.m_mapPinyin.begin(), m_parser.m_mapPinyin.end());
    }
    const TextMap mapCloseTime = m_parser.m_mapCloseTime;
    const auto mapOpenTimes = ReadValues(m_host[u"OpenTimeExchange"]);
    const auto mapRoutes = ReadValues(m_host[u"orderExchange"]);
    m_parser.m_mapCloseTime.clear();

    Parse(JoinSecurities(arSecurities, 0, arSecurities.size()));
    std::map<Text, Text> mapStored;
    for (const Text& strGroup : ReadRows(m_host[u"Security.Info"])) mapStored.merge(Group(strGroup));
    EXPECT_EQ(mapStored.size(), arSecurities.size());
    EXPECT_TRUE(mapStored == mapExpected);
    EXPECT_EQ(ReadRows(m_host[u"Security.Info"]), arGroups);
    EXPECT_TRUE(m_parser.m_mapCloseTime == mapCloseTime);
    EXPECT_TRUE((std::map<Text, Text>(m_parser.m_mapPinyin.begin(), m_parser.m_mapPinyin.end()) == mapPinyin));
    EXPECT_EQ(ReadValues(m_host[u"OpenTimeExchange"]), mapOpenTimes);
    EXPECT_EQ(ReadValues(m_host[u"orderExchange"]).size(), mapRoutes.size());
}

TEST_F(SecuritiesParser, KeepsTheLastOfSeveralSecuritiesOfOneKeyInALongDocument) {
    const auto arSecurities = MakeManySecurities();
    Parse(R"("QV.F.X0.0":{"a":"first"},)" + JoinSecurities(arSecurities, 1, arSecurities.size()) +
          R"(,"QV.F.X0.0":{"a":"last"})");
    EXPECT_EQ(Stored(u"QV.F.X0.0"), u"{\"a\":\"last\"}");
}

TEST_F(SecuritiesParser, LeavesTheTablesAsTheyWereAfterAFailureDeepInALongDocument) {
    auto arSecurities = MakeManySecurities();
    Parse(R"("QV.F.CME.ES":{"a":"1"})");
    arSecurities[3'333] = R"("QV.F.BAD.1":{"OpenCloseTime":"08:00~09:00","ResetTime":"25:00"})";
    EXPECT_EQ(FailureOf(JoinSecurities(arSecurities, 0, arSecurities.size())), CFailure::UNSPECIFIED);
    EXPECT_THAT(ReadRows(m_host[u"Security.Info"]), ElementsAre(u"QV.F.CME"));
    EXPECT_EQ(Stored(u"QV.F.CME.ES"), u"{\"a\":\"1\"}");
    EXPECT_EQ(m_parser.m_mapCloseTime.at(u"QV.F.BAD.1"), u"010001") << "what stands before the fault is noted";
    EXPECT_FALSE(KnowsReset(u"25:00"));
}

}  // namespace
}  // namespace qvant

#include "rolls/factor_text.h"

#include <cstring>
#include <random>

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <sys/resource.h>

#include "model/json_document.h"
#include "support/sanitizers.h"

namespace qvant::test {
namespace {

std::string Enrich(std::string_view strJson, bool bRescale = false) {
    HistoryText text;
    text.pMemory = std::make_unique<std::uint8_t[]>(strJson.size() + 1);
    std::memcpy(text.pMemory.get(), strJson.data(), strJson.size());
    text.strUtf8 = reinterpret_cast<const char*>(text.pMemory.get());
    return Narrow(EnrichFactors(std::move(text), bRescale));
}

/// What becomes of one element.
std::string EnrichOne(const std::string& strElement, bool bRescale = false) {
    const std::string strAll = Enrich("{\"data\":[" + strElement + "]}", bRescale);
    EXPECT_EQ(strAll.substr(0, 9), "{\"data\":[");
    return strAll.size() < 11 ? strAll : strAll.substr(9, strAll.size() - 11);
}

/// What RapidJSON makes of a text by itself.
std::string ReadAndWrite(const std::string& strJson) {
    rapidjson::Document document;
    document.Parse(strJson.c_str());
    if (document.HasParseError()) return {};
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    document.Accept(writer);
    return buffer.GetString();
}

TEST(FactorText, DateAndTimeOfChinaBecomeOneNumberInUtc) {
    EXPECT_EQ(EnrichOne(R"({"od":20201218,"t":93000000})"), R"({"od":20201218,"t":93000000,"odt_utc":20201218013000})");
    EXPECT_EQ(EnrichOne(R"({"od":20201218,"t":3000000})"), R"({"od":20201218,"t":3000000,"odt_utc":20201217163000})");
    EXPECT_EQ(EnrichOne(R"({"od":20200229,"t":235959999})"),
              R"({"od":20200229,"t":235959999,"odt_utc":20200229155959})");
    EXPECT_EQ(EnrichOne(R"({"od":20210101})"), R"({"od":20210101,"odt_utc":20201231160000})");
}

TEST(FactorText, TheOtherDateCountsWhereTheFirstIsNoneAtAll) {
    for (const char* pszFirst : {"0", "null", "\"20210101\"", "20210101.0", "9223372036854775808", "[20210101]"}) {
        const std::string strElement = std::string("{\"od\":") + pszFirst + ",\"d\":20201218";
        EXPECT_EQ(EnrichOne(strElement + "}"), strElement + ",\"odt_utc\":20201217160000}");
    }
    EXPECT_EQ(EnrichOne(R"({"d":20201218})"), R"({"d":20201218,"odt_utc":20201217160000})");
}

TEST(FactorText, TheFirstDateComesBeforeTheOtherWhereverItStands) {
    EXPECT_EQ(EnrichOne(R"({"d":20190101,"od":20201218})"), R"({"d":20190101,"od":20201218,"odt_utc":20201217160000})");
}

TEST(FactorText, WithoutADateTheNumberIsZero) {
    for (const char* pszElement : {"{}", R"({"t":93000000})", R"({"od":0,"d":0})", R"({"d":"20201218"})"}) {
        const std::string strElement = pszElement;
        const std::string strStart = strElement.substr(0, strElement.size() - 1);
        EXPECT_EQ(EnrichOne(strElement), strStart + (strStart == "{" ? "" : ",") + "\"odt_utc\":0}");
    }
}

TEST(FactorText, ADateThatTheCalendarDoesNotHaveGivesZeroAndTheRestGoesOn) {
    for (const char* pszDate : {"20201301", "20200230", "20200000", "1", "-20201218", "99999999", "2147483647",
                                "4315168514", "9223372036854775807", "-9223372036854775808"}) {
        const std::string strBad = std::string("{\"od\":") + pszDate;
        EXPECT_EQ(Enrich("{\"data\":[" + strBad + "},{\"od\":20201218}]}"),
                  "{\"data\":[" + strBad + ",\"odt_utc\":0},{\"od\":20201218,\"odt_utc\":20201217160000}]}")
            << pszDate;
    }
}

TEST(FactorText, ATimeThatTheClockDoesNotHaveGivesZero) {
    for (const char* pszTime : {"240000000", "96000000", "95960000", "-1", "4294967296", "9223372036854775807"}) {
        const std::string strElement = std::string("{\"od\":20201218,\"t\":") + pszTime;
        EXPECT_EQ(EnrichOne(strElement + "}"), strElement + ",\"odt_utc\":0}") << pszTime;
    }
}

TEST(FactorText, ATimeThatIsNoWholeNumberIsMidnight) {
    for (const char* pszTime : {"93000000.0", "\"93000000\"", "null", "{\"t\":93000000}"}) {
        const std::string strElement = std::string("{\"od\":20201218,\"t\":") + pszTime;
        EXPECT_EQ(EnrichOne(strElement + "}"), strElement + ",\"odt_utc\":20201217160000}") << pszTime;
    }
}

TEST(FactorText, OnlyAFactorThatIsADoubleIsRescaled) {
    EXPECT_EQ(EnrichOne(R"({"sxd":0.00012})", true), R"({"sxd":120.0,"odt_utc":0})");
    EXPECT_EQ(EnrichOne(R"({"sxd":-2.5})", true), R"({"sxd":-2500000.0,"odt_utc":0})");
    EXPECT_EQ(EnrichOne(R"({"sxd":3})", true), R"({"sxd":3,"odt_utc":0})");
    EXPECT_EQ(EnrichOne(R"({"sxd":"0.5","s":0.5})", true), R"({"sxd":"0.5","s":0.5,"odt_utc":0})");
    EXPECT_EQ(EnrichOne(R"({"sxd":0.00012})"), R"({"sxd":0.00012,"odt_utc":0})");
}

TEST(FactorText, AFactorThatRescalingWouldMakeInfiniteStays) {
    EXPECT_EQ(EnrichOne(R"({"sxd":1e305})", true), R"({"sxd":1e305,"odt_utc":0})");
}

TEST(FactorText, OfSeveralMembersOfOneNameTheFirstCounts) {
    EXPECT_EQ(EnrichOne(R"({"od":20201218,"od":20190101,"sxd":0.5,"sxd":0.5,"odt_utc":1})", true),
              R"({"od":20201218,"od":20190101,"sxd":500000.0,"sxd":0.5,"odt_utc":1,"odt_utc":20201217160000})");
    EXPECT_EQ(EnrichOne(R"({"od":"","od":20190101,"d":20201218})"),
              R"({"od":"","od":20190101,"d":20201218,"odt_utc":20201217160000})");
    EXPECT_EQ(Enrich(R"({"data":1,"data":[{}]})"), R"({"data":1,"data":[{}]})");
    EXPECT_EQ(Enrich(R"({"data":[{}],"data":[{}]})"), R"({"data":[{"odt_utc":0}],"data":[{}]})");
}

TEST(FactorText, NamesCountAsTheyReadAndNotAsTheyAreWritten) {
    EXPECT_EQ(Enrich(R"({"d\u0061ta":[{"o\u0064":20201218}]})"),
              R"({"data":[{"od":20201218,"odt_utc":20201217160000}]})");
}

TEST(FactorText, WhatLiesDeeperInAnElementIsNotRead) {
    EXPECT_EQ(EnrichOne(R"({"a":{"od":20190101,"sxd":0.5},"b":[{"od":1}],"od":20201218})", true),
              R"({"a":{"od":20190101,"sxd":0.5},"b":[{"od":1}],"od":20201218,"odt_utc":20201217160000})");
}

TEST(FactorText, ElementsThatAreNoObjectsStay) {
    EXPECT_EQ(Enrich(R"({"data":[1,"od",null,[{"od":20201218}],{}]})"),
              R"({"data":[1,"od",null,[{"od":20201218}],{"odt_utc":0}]})");
}

TEST(FactorText, OnlyTheArrayOfTheOutermostObjectIsEnriched) {
    for (const char* pszJson :
         {R"({"data":{"od":20201218}})", R"({"x":{"data":[{"od":20201218}]}})", R"([{"data":[{"od":20201218}]}])",
          R"([[{"od":20201218}]])", R"({"Data":[{"od":20201218}],"x":[{}]})", R"({"data":"x","y":[{}]})", "[]", "7"}) {
        EXPECT_EQ(Enrich(pszJson), pszJson);
    }
    EXPECT_EQ(Enrich(R"({"x":[{}],"data":[{}],"y":[{}]})"), R"({"x":[{}],"data":[{"odt_utc":0}],"y":[{}]})");
}

TEST(FactorText, AnythingElseComesOutAsRapidJsonReadsAndWritesIt) {
    const std::string arJson[] = {
        "{ \"a\" : [ 1 , -0 , 2.50 , 1e5, 1E-7, 0.1, 123456789012345678, 18446744073709551615, -9223372036854775808 ] "
        "}",
        R"({"s":"\u6ec3\n\t\"\\\/\u0001\ud83d\ude00","":[true,false,null]})",
        "{\"name\":\"\xE6\xBB\x83\",\"e\":[],\"o\":{}}"};
    for (const std::string& strJson : arJson) EXPECT_EQ(Enrich(strJson), ReadAndWrite(strJson));
}

TEST(FactorText, ALongNumberStaysTheVeryNumberThatItWas) {
    std::mt19937_64 random(7);
    for (int i = 0; i < 2'000; ++i) {
        const std::string strNumber = std::to_string(random() % 1'000'000) + "." + std::to_string(random());
        EXPECT_EQ(std::stod(Enrich(strNumber)), std::stod(strNumber)) << strNumber;
    }
}

TEST(FactorText, ATextWithANumberBeyondAllDoublesGivesNothing) {
    for (const char* pszNumber : {"1e309", "1844674407370955161e300", "-17976931348623159e292",
                                  "44444444444444444444444444444444444444444444444444e300"}) {
        for (const bool bRescale : {false, true}) {
            EXPECT_EQ(Enrich(std::string("{\"data\":[{\"sxd\":") + pszNumber + "}]}", bRescale), "") << pszNumber;
        }
    }
    EXPECT_EQ(Enrich("[1e308,1.5e-400]"), "[1e308,0.0]");
}

TEST(FactorText, AZeroStaysOneWhateverItsExponent) {
    EXPECT_EQ(Enrich("[0e308,-0e308,0.0e-30,0.00E30]"), "[0.0,-0.0,0.0,0.0]");
}

TEST(FactorText, ATextThatIsNoJsonGivesNothing) {
    for (const char* pszJson : {"", " ", "x", "{", "{\"data\":[{}]", "{\"data\":[{}]}x", "{\"data\":[{},]}", "[1e400]",
                                "\xEF\xBB\xBF{}", "{\"a\":\xFF}", "['a']", "[nan]"}) {
        EXPECT_EQ(Enrich(pszJson), "") << pszJson;
    }
}

TEST(FactorText, BrokenUtf8InAStringIsReplaced) { EXPECT_EQ(Enrich("[\"a\xFF\xE6\xBB\"]"), "[\"a\uFFFD\uFFFD\"]"); }

TEST(FactorText, NestingThatIsTooDeepCountsAsNoJson) {
    const auto Nest = [](int nDepth) {
        const auto nCount = static_cast<std::size_t>(nDepth);
        return std::string(nCount, '[') + std::string(nCount, ']');
    };
    EXPECT_EQ(Enrich(Nest(JSON_DEEPEST)), Nest(JSON_DEEPEST));
    EXPECT_EQ(Enrich(Nest(JSON_DEEPEST + 1)), "");
    EXPECT_EQ(Enrich(std::string(1'000'000, '[')), "");
    std::string strObjects;
    for (int i = 0; i < 100'000; ++i) strObjects += "{\"a\":";
    EXPECT_EQ(Enrich(strObjects), "");
}

TEST(FactorText, MemoryIsAFewTimesTheTextWhateverItHolds) {
    if constexpr (UNDER_THREAD_SANITIZER) GTEST_SKIP() << "the sanitizer keeps memory of its own for all of the text";
    constexpr std::size_t ELEMENTS = 20'000'000;
    rusage before{};
    rusage after{};
    getrusage(RUSAGE_SELF, &before);
    {
        HistoryText text;
        text.pMemory = std::make_unique<std::uint8_t[]>(ELEMENTS * 2 + 2);
        auto* const pText = reinterpret_cast<char*>(text.pMemory.get());
        for (std::size_t i = 0; i < ELEMENTS; ++i) std::memcpy(pText + 2 * i, i == 0 ? "[0" : ",0", 2);
        pText[ELEMENTS * 2] = ']';
        text.strUtf8 = {pText, ELEMENTS * 2 + 1};
        EXPECT_EQ(EnrichFactors(std::move(text), false).size(), ELEMENTS * 2 + 1);
    }
    getrusage(RUSAGE_SELF, &after);
    const auto nKilobytes = static_cast<std::size_t>(after.ru_maxrss - before.ru_maxrss);
    EXPECT_LE(nKilobytes * 1024, 5 * 2 * ELEMENTS);
}

TEST(FactorText, RandomChangesOfATextAreSurvived) {
    const std::string strJson = R"({"data":[{"od":20201218,"d":1,"t":93000000,"sxd":0.5,"x":"\u00e9"},{"od":0}]})";
    std::mt19937 random(7);
    for (int i = 0; i < 20'000; ++i) {
        std::string strChanged = strJson;
        for (int k = 0; k < 3; ++k) strChanged[random() % strChanged.size()] = static_cast<char>(random() % 127 + 1);
        const std::string strEnriched = Enrich(strChanged, true);
        EXPECT_EQ(strEnriched.empty(), ReadAndWrite(strChanged).empty()) << strChanged;
    }
}

}  // namespace
}  // namespace qvant::test

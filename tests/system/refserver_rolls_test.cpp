// Hot-change and expiry requests.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system/quote_line_reader.h"
#include "system/refserver_fixture.h"

namespace qvant::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

const std::string HotChange = "/HotChange.do?p=LUM.CME.ES.HOT&Z=QueryHotChange__093000123A";
const std::string Expiry = "/ExpireDate.do?p=LUM.CME.ES&Z=QueryExpireDate__093000123B";

constexpr const char* Contracts = R"({
    "QV.F.CME.ES": {"series": {"202612": "20261218", "202703": "20270319"}, "hot": "202612"},
    "QV.O.CME.ES": {"series": {"202612": "20261218"}, "strikes": "6800..6900/100", "hot": "202612"}})";

constexpr const char* Rolls = R"({
    "Calendars": {"quarters": {"rolls": {"20260911": "202612", "20260611": "202609"},
                               "expired": {"202609": "20260918"}}},
    "QV.F.CME.ES": "quarters",
    "QV.O.CME.ES": {"rolls": {"20261020": "202612"}}})";

using Pairs = std::vector<std::pair<std::string, std::int64_t>>;

class RefserverRolls : public testing::Test {
protected:
    void SetUp() override {
        m_world.Write("contracts/CME.json", Contracts);
        m_world.Write("rolls/CME.json", Rolls);
        m_pServer = CServerProcess::Serve(m_world.GetPath());
    }

    /// The months of a reply and their days, in the order of its lines.
    Pairs Ask(const std::string& strTarget) const {
        const auto answer = Get(*m_pServer, strTarget);
        EXPECT_EQ(answer.nStatus, 200) << strTarget;
        const int nField = strTarget.starts_with("/HotChange") ? 22 : 104;
        Pairs arPairs;
        for (const auto& line : ReadQuoteLines(answer.strBody)) {
            arPairs.emplace_back(line.mapStrings.at(14), line.mapIntegers.at(nField).value());
        }
        return arPairs;
    }

    CSmallWorld m_world;
    std::unique_ptr<CServerProcess> m_pServer;
};

TEST_F(RefserverRolls, TellsEachRollTheLatestFirst) {
    EXPECT_THAT(Ask(HotChange), ElementsAre(Pair("LUM.CME.ES.202612", 20260911), Pair("LUM.CME.ES.202609", 20260611)));
}

TEST_F(RefserverRolls, TellsTheExpiryOfListedAndOfPastMonthsTheLatestFirst) {
    EXPECT_THAT(Ask(Expiry), ElementsAre(Pair("LUM.CME.ES.202703", 20270319), Pair("LUM.CME.ES.202612", 20261218),
                                         Pair("LUM.CME.ES.202609", 20260918)));
}

TEST_F(RefserverRolls, AnswersForTheOptionWhenItIsAskedForIt) {
    EXPECT_THAT(Ask(HotChange + "&opt=1"), ElementsAre(Pair("LUM.CME.ES.202612", 20261020)));
    EXPECT_THAT(Ask(Expiry + "&opt=1"), ElementsAre(Pair("LUM.CME.ES.202612", 20261218)));
    EXPECT_EQ(Ask(HotChange + "&opt=0").size(), 2U);
}

TEST_F(RefserverRolls, KnowsNoOtherNames) {
    for (const std::string strTarget :
         {"/HotChange.do?p=LUM.CME.NQ.HOT", "/HotChange.do?p=LUM.CME.ES", "/HotChange.do?p=CME.ES.HOT", "/HotChange.do",
          "/HotChange.do?p=LUM.HOT", "/ExpireDate.do?p=LUM.CME.NQ", "/ExpireDate.do?p=LUM.CME.ES.HOT",
          "/ExpireDate.do?p=", "/HotChange.do?p=LUM.TWF.TXF.HOT", "/ExpireDate.do?p=LUM.CME.ES%0A"}) {
        const auto answer = Get(*m_pServer, strTarget);
        EXPECT_EQ(answer.nStatus, 404) << strTarget;
        EXPECT_THAT(answer.strBody, HasSubstr("of this product")) << strTarget;
    }
}

TEST_F(RefserverRolls, SaysThatTheBodyIsNoText) {
    CRawClient client(*m_pServer, HotChange);
    EXPECT_THAT(client.ReadAll(), HasSubstr("\r\nContent-Type: application/octet-stream\r\n"));
}

TEST_F(RefserverRolls, CompressesLongRepliesForWhoTakesIt) {
    std::string strRolls;
    std::string strExpired;
    for (int nYear = 2025; nYear > 1995; --nYear) {
        strRolls += ", \"" + std::to_string(nYear) + "0901\": \"" + std::to_string(nYear) + "12\"";
        strExpired += (strExpired.empty() ? "\"" : ", \"") + std::to_string(nYear) + "12\": \"" +
                      std::to_string(nYear) + "1218\"";
    }
    m_world.Write("rolls/CME.json", "{\"QV.F.CME.ES\": {\"rolls\": {\"20260911\": \"202612\"" + strRolls +
                                        "}, \"expired\": {" + strExpired + "}}}");
    const auto plain = Get(*m_pServer, HotChange);
    const auto compressed = Get(*m_pServer, HotChange, true);
    EXPECT_EQ(compressed.strEncoding, "gzip");
    EXPECT_EQ(Gunzip(compressed.strBody), plain.strBody);
    EXPECT_EQ(ReadQuoteLines(plain.strBody).size(), 31U);
}

TEST_F(RefserverRolls, ServesAnEditFromTheNextRequestOn) {
    EXPECT_EQ(Ask(HotChange).size(), 2U);
    m_world.Write("rolls/CME.json", R"({"QV.F.CME.ES": {"rolls": {"20261119": "202703"}}})");
    EXPECT_THAT(Ask(HotChange), ElementsAre(Pair("LUM.CME.ES.202703", 20261119)));
    EXPECT_EQ(Ask(Expiry).size(), 2U);
    EXPECT_EQ(Get(*m_pServer, HotChange + "&opt=1").nStatus, 404);
}

TEST_F(RefserverRolls, TakesTheListedDayOfAMonthThatIsToldTwice) {
    m_world.Write("rolls/CME.json", R"({"QV.F.CME.ES": {"expired": {"202612": "20261201", "202609": "20260918"}}})");
    EXPECT_THAT(Ask(Expiry), ElementsAre(Pair("LUM.CME.ES.202703", 20270319), Pair("LUM.CME.ES.202612", 20261218),
                                         Pair("LUM.CME.ES.202609", 20260918)));
}

TEST_F(RefserverRolls, GoesWrongOnPurposeLikeEveryDocument) {
    ASSERT_TRUE(PostFaults(*m_pServer, R"([{"match":"HotChange","kind":"status","code":503},
                                           {"match":"ExpireDate","kind":"garbage"}])"));
    EXPECT_EQ(Get(*m_pServer, HotChange).nStatus, 503);
    EXPECT_THROW(ReadQuoteLines(Get(*m_pServer, Expiry).strBody), std::runtime_error);
    ASSERT_TRUE(PostFaults(*m_pServer, R"([{"match":".do","kind":"empty"}])"));
    EXPECT_THAT(Ask(HotChange), IsEmpty());
    ASSERT_TRUE(PostFaults(*m_pServer, R"([{"match":"HotChange","kind":"cut","bytes":10}])"));
    EXPECT_EQ(Get(*m_pServer, HotChange).nStatus, 0);
    ASSERT_TRUE(PostFaults(*m_pServer, "[]"));
    EXPECT_EQ(Ask(HotChange).size(), 2U);
}

/// What a broken file holds, and a part of what the server says of it.
struct BrokenRolls {
    const char* pName;
    const char* pText;
    const char* pNote;
};

void PrintTo(const BrokenRolls& edit, std::ostream* pStream) { *pStream << edit.pName; }

class RefserverBrokenRolls : public RefserverRolls, public testing::WithParamInterface<BrokenRolls> {};

TEST_P(RefserverBrokenRolls, AreNotedAndTheLastGoodOnesStand) {
    m_world.Write("rolls/CME.json", GetParam().pText);
    EXPECT_EQ(Ask(HotChange).size(), 2U);
    EXPECT_NE(m_pServer->GetErrors().WaitForText(GetParam().pNote), "");
    m_world.Write("rolls/CME.json", Rolls);
    EXPECT_EQ(Ask(HotChange).size(), 2U);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, RefserverBrokenRolls,
    testing::Values(
        BrokenRolls{"NoJson", "{", "CME.json"},
        BrokenRolls{"Stock", R"({"QV.S.SSE.600000": {}})", "is no future or option"},
        BrokenRolls{"KeyOfFiveFields", R"({"QV.F.CME.ES.202612": {}})", "is no future or option"},
        BrokenRolls{"Number", R"({"QV.F.CME.ES": 7})", "is neither an object nor the name of one"},
        BrokenRolls{"UnknownCalendar", R"({"QV.F.CME.ES": "months"})", "\"months\" that \"Calendars\" doesn't have"},
        BrokenRolls{"NoDate", R"({"QV.F.CME.ES": {"rolls": {"20260931": "202612"}}})", "\"20260931\", which isn't"},
        BrokenRolls{"NoMonth", R"({"QV.F.CME.ES": {"rolls": {"20260911": "202613"}}})", "\"202613\", which isn't"},
        BrokenRolls{"RollsInAnArray", R"({"QV.F.CME.ES": {"rolls": []}})", "\"rolls\" that isn't an object"},
        BrokenRolls{"OutOfOrder", R"({"QV.F.CME.ES": {"rolls": {"20260911": "202612", "20260912": "202703"}}})",
                    "out of order behind 20260911"},
        BrokenRolls{"MonthThatIsNowhere", R"({"QV.F.CME.ES": {"rolls": {"20260911": "202611"}}})", "rolled to 202611"}),
    [](const auto& kind) { return kind.param.pName; });

}  // namespace
}  // namespace qvant::test

// Classifications, stock info and trade permissions: what is served to whom, and how the contracts come about.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include "system/refserver_fixture.h"

namespace qvant::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const std::string Contracts = R"({
    "Series": {"quarters": {"202612": "20261218", "202703": "20270319"}},
    "QV.F.CME.ES": {"series": "quarters", "hot": "202612", "hot2": "202703", "long": "12%", "short": "13%"},
    "QV.O.CME.ES": {"series": {"202612": "20261218", "202703": {"expires": "20270319", "strikes": "7000"}},
                    "strikes": "6950..7000/50, 7000.5", "instrument": 5001}})";
const std::string Tree = R"({"ENG": "All", "CHT": "全部", "Node": [
    {"ENG": "HOT", "Node": [{"ENG": "CME", "Products": ["QV.F.CME."], "Series": "hot"}]},
    {"ENG": "HOT2", "Node": [{"ENG": "CME", "Products": ["QV.F.CME."], "Series": "hot2"}]},
    {"ENG": "CME", "EachProduct": ["QV.F.CME.", "QV.O.CME.ES"]},
    {"ENG": "By hand", "Contracts": ["QV.F.X.Y.202701"], "ExpirationDate": ["20270104"]},
    {"ENG": "Others", "Securities": ["QV.F.TWF."]}]})";

/// A JSON array of strings.
std::vector<std::string> Texts(const rapidjson::Value& array) {
    std::vector<std::string> arTexts;
    for (const auto& item : array.GetArray()) arTexts.emplace_back(item.GetString());
    return arTexts;
}

class CContractsWorld : public CSmallWorld {
public:
    CContractsWorld() {
        Write("contracts/CME.json", Contracts);
        Write("classifications/ALL.json", Tree);
        Write("stkinfo/sse.json", R"({"cpxx": [{"0": "600000", "8": "ASH", "18": "1000000"}]})");
        Write("stkinfo/szse.json", R"({"cashauctionparams": [{"SecurityID": "000001", "BuyQtyUnit": 100}],
            "securities": [{"SecurityID": "127045", "BondParams": {"MaturityDate": 20270816}}]})");
        Write("permissions.json", R"({"TWN": {"NORTHGATE": {"CME": 1, "CBOT": 1}}})");
    }
};

std::string Classification(const std::string& strName, const std::string& strVersion) {
    return "/Classification_getClassification.do?cname=" + strName + "&lastVersion=" + strVersion +
           "&ACCOUNT=user1&REGION=TWN&APP_NAME=SAMPLE&KEY=k1";
}

std::string StockInfo(const std::string& strExchange, const std::string& strVersion) {
    return "/stkinfo.do?exg=" + strExchange + "&LastVersion=" + strVersion;
}

const std::string Permissions = "/AppsTradePermission.do";

class RefserverContracts : public testing::Test {
protected:
    rapidjson::Document Ask(const std::string& strTarget) const { return ToJson(Get(*m_pServer, strTarget).strBody); }

    std::string Version(const std::string& strTarget) const {
        const auto document = Ask(strTarget);
        return document.IsObject() && document.HasMember("LastVersion") ? document["LastVersion"].GetString() : "";
    }

    /// The top-level nodes of the tree.
    rapidjson::Document Nodes() const {
        auto document = Ask(Classification("ALL", "-1"));
        rapidjson::Document nodes;
        nodes.CopyFrom(document["Classification"]["Node"], nodes.GetAllocator());
        return nodes;
    }

    CContractsWorld m_world;
    std::unique_ptr<CServerProcess> m_pServer = CServerProcess::Serve(m_world.GetPath());
};

TEST_F(RefserverContracts, SendsAClassificationToAClientThatHoldsAnotherVersion) {
    for (const std::string strVersion : {"-1", "", "99999999"}) {
        const auto document = Ask(Classification("ALL", strVersion));
        ASSERT_TRUE(document.IsObject());
        EXPECT_EQ(document.MemberCount(), 2U);
        EXPECT_THAT(document["LastVersion"].GetString(), HasSubstr("v1-"));
        EXPECT_STREQ(document["Classification"]["ENG"].GetString(), "All");
        EXPECT_STREQ(document["Classification"]["CHT"].GetString(), "全部");
    }
}

TEST_F(RefserverContracts, SendsTheVersionAloneToAClientThatHoldsIt) {
    for (const auto& [strFirst, strMember] :
         {std::pair(Classification("ALL", ""), "&lastVersion="), std::pair(StockInfo("sse", ""), "&LastVersion="),
          std::pair(StockInfo("szse", ""), "&LastVersion="), std::pair(Permissions + "?a=b", "&lastVersion=")}) {
        const std::string strVersion = Version(strFirst);
        ASSERT_FALSE(strVersion.empty()) << strFirst;
        const auto nPlace = strFirst.find("ersion=");
        std::string strSecond = strFirst;
        if (nPlace == std::string::npos) {
            strSecond.append(strMember).append(strVersion);
        } else {
            strSecond.insert(nPlace + 7, strVersion);
        }
        // A reply of fewer than five characters would count as none.
        EXPECT_EQ(Get(*m_pServer, strSecond).strBody, "{\"LastVersion\":\"" + strVersion + "\"}") << strSecond;
    }
}

TEST_F(RefserverContracts, CompressesForAClientThatAsksForIt) {
    const std::string strTarget = Classification("ALL", "-1");
    const auto gzip = Get(*m_pServer, strTarget, true);
    EXPECT_EQ(gzip.strEncoding, "gzip");
    EXPECT_EQ(Gunzip(gzip.strBody), Get(*m_pServer, strTarget).strBody);
}

TEST_F(RefserverContracts, SendsPlainWhatCompressionWouldMakeLonger) {
    for (const auto& strTarget :
         {Classification("ALL", Version(Classification("ALL", "-1"))), StockInfo("sse", "-1"), Permissions}) {
        const auto answer = Get(*m_pServer, strTarget, true);
        EXPECT_EQ(answer.strEncoding, "");
        EXPECT_EQ(answer.strBody, Get(*m_pServer, strTarget).strBody) << strTarget;
    }
}

TEST_F(RefserverContracts, AnswersWithNotFoundWhereThereIsNoSuchDocument) {
    for (const auto& strTarget : {Classification("NONE", "-1"), Classification("", "-1"), Classification("all", "-1"),
                                  StockInfo("szse-2", "-1"), StockInfo("", "-1")}) {
        EXPECT_EQ(Get(*m_pServer, strTarget).nStatus, 404) << strTarget;
    }
    std::filesystem::remove(m_world.GetPath() / "permissions.json");
    EXPECT_EQ(Get(*m_pServer, Permissions).nStatus, 404);
}

TEST_F(RefserverContracts, GoesWrongOnDemandInTheseDocumentsToo) {
    ASSERT_TRUE(PostFaults(*m_pServer, R"([{"match":"getClassification","kind":"status","code":503,"times":1},
        {"match":"stkinfo","kind":"garbage"},{"match":"AppsTrade","kind":"empty"}])"));
    EXPECT_EQ(Get(*m_pServer, Classification("ALL", "-1")).nStatus, 503);
    EXPECT_EQ(Get(*m_pServer, Classification("ALL", "-1")).nStatus, 200);
    EXPECT_TRUE(Ask(StockInfo("sse", "-1")).HasParseError());
    EXPECT_EQ(Get(*m_pServer, Permissions).strBody, "");
}

TEST_F(RefserverContracts, CarriesStockInfoAndPermissionsAsTheirFilesHaveThem) {
    EXPECT_THAT(Get(*m_pServer, StockInfo("sse", "-1")).strBody,
                HasSubstr(R"(,"cpxx":[{"0":"600000","8":"ASH","18":"1000000"}]})"));
    const auto shenzhen = Ask(StockInfo("szse", "-1"));
    EXPECT_EQ(shenzhen["cashauctionparams"][0]["BuyQtyUnit"].GetInt(), 100);
    EXPECT_EQ(shenzhen["securities"][0]["BondParams"]["MaturityDate"].GetInt(), 20270816);
    EXPECT_THAT(Get(*m_pServer, Permissions).strBody, HasSubstr(R"(,"TWN":{"NORTHGATE":{"CME":1,"CBOT":1}}})"));
}

TEST_F(RefserverContracts, GrowsALeafForEachProductWithTheProductsNames) {
    const auto nodes = Nodes();
    const auto& leaves = nodes[2]["Node"];
    ASSERT_EQ(leaves.Size(), 2U);
    EXPECT_FALSE(nodes[2].HasMember("EachProduct"));
    EXPECT_STREQ(leaves[0]["ENG"].GetString(), "E-mini");
    EXPECT_THAT(Texts(leaves[0]["Contracts"]), ElementsAre("QV.F.CME.ES.202612", "QV.F.CME.ES.202703"));
    EXPECT_THAT(Texts(leaves[0]["ExpirationDate"]), ElementsAre("20261218", "20270319"));
    EXPECT_THAT(Texts(leaves[0]["LongMarginRate"]), ElementsAre("12%", "12%"));
    EXPECT_THAT(Texts(leaves[0]["ShortMarginRate"]), ElementsAre("13%", "13%"));
    EXPECT_FALSE(leaves[0].HasMember("InstrumentID"));
}

TEST_F(RefserverContracts, ExpandsStrikesIntoCallsAndPutsNumberedThroughTheProduct) {
    const auto nodes = Nodes();
    const auto& leaf = nodes[2]["Node"][1];
    EXPECT_THAT(Texts(leaf["Contracts"]),
                ElementsAre("QV.O.CME.ES.202612.C.6950", "QV.O.CME.ES.202612.P.6950", "QV.O.CME.ES.202612.C.7000",
                            "QV.O.CME.ES.202612.P.7000", "QV.O.CME.ES.202612.C.7000.5", "QV.O.CME.ES.202612.P.7000.5",
                            "QV.O.CME.ES.202703.C.7000", "QV.O.CME.ES.202703.P.7000"));
    EXPECT_EQ(Texts(leaf["ExpirationDate"]).at(5), "20261218");
    EXPECT_EQ(Texts(leaf["ExpirationDate"]).at(6), "20270319");
    EXPECT_EQ(Texts(leaf["InstrumentID"]).at(7), "5008");
    EXPECT_FALSE(leaf.HasMember("LongMarginRate"));
}

TEST_F(RefserverContracts, PicksTheHotMonthsWhereTheyAreAskedFor) {
    const auto nodes = Nodes();
    EXPECT_THAT(Texts(nodes[0]["Node"][0]["Contracts"]), ElementsAre("QV.F.CME.ES.202612"));
    EXPECT_THAT(Texts(nodes[1]["Node"][0]["Contracts"]), ElementsAre("QV.F.CME.ES.202703"));
    EXPECT_THAT(Texts(nodes[1]["Node"][0]["ExpirationDate"]), ElementsAre("20270319"));
    EXPECT_FALSE(nodes[0]["Node"][0].HasMember("Series"));
}

TEST_F(RefserverContracts, LeavesWhatWasWrittenByHandAsItIsAndListsSecuritiesByTheirBeginning) {
    const auto nodes = Nodes();
    EXPECT_THAT(Texts(nodes[3]["Contracts"]), ElementsAre("QV.F.X.Y.202701"));
    EXPECT_THAT(Texts(nodes[3]["ExpirationDate"]), ElementsAre("20270104"));
    EXPECT_THAT(Texts(nodes[4]["Contracts"]), ElementsAre("QV.F.TWF.TXF"));
}

TEST_F(RefserverContracts, ServesAnEditUnderANewVersionFromTheNextRequestOn) {
    const std::string strOld = Version(Classification("ALL", "-1"));
    const std::string strStocks = Version(StockInfo("sse", "-1"));
    std::string strEdited = Contracts;
    strEdited.replace(strEdited.find("20261218"), 8, "20261217");
    m_world.Write("contracts/CME.json", strEdited);
    const auto document = Ask(Classification("ALL", strOld));
    ASSERT_TRUE(document.HasMember("Classification"));
    EXPECT_STRNE(document["LastVersion"].GetString(), strOld.c_str());
    EXPECT_EQ(Version(StockInfo("sse", "-1")), strStocks);
    m_world.Write("contracts/CME.json", Contracts);
    EXPECT_EQ(Version(Classification("ALL", "-1")), strOld);
    m_world.Write("classifications/MORE.json", R"({"ENG": "More", "Node": []})");
    EXPECT_EQ(Get(*m_pServer, Classification("MORE", "-1")).nStatus, 200);
    m_world.Write("stkinfo/sse.json", R"({"cpxx": []})");
    EXPECT_NE(Version(StockInfo("sse", "-1")), strStocks);
    m_world.Write("permissions.json", R"({"CHN": {}})");
    EXPECT_TRUE(Ask(Permissions).HasMember("CHN"));
}

TEST_F(RefserverContracts, AreFoundInAFolderOfAnyNameAndSpelling) {
    const auto folder = m_world.GetPath() / "stkinfo";
    std::filesystem::create_directory(folder / "securities");
    m_world.Write("stkinfo/world.json", "{}");
    m_world.Write("stkinfo/permissions.json", R"({"TWN": {}})");
    const auto pServer = CServerProcess::Serve(folder.string() + "/");
    EXPECT_THAT(Get(*pServer, Permissions).strBody, HasSubstr(R"(,"TWN":{}})"));
    EXPECT_EQ(Get(*pServer, StockInfo("permissions", "-1")).nStatus, 404);
}

TEST_F(RefserverContracts, GivesAFixedVersionToEveryDocument) {
    m_world.Write("world.json", R"({"fixedVersion": 20261121001})");
    for (const auto& strTarget : {Classification("ALL", "-1"), StockInfo("sse", "-1"), Permissions}) {
        EXPECT_EQ(Ask(strTarget)["LastVersion"].GetInt64(), 20261121001) << strTarget;
    }
    EXPECT_EQ(Get(*m_pServer, Classification("ALL", "20261121001")).strBody, "{\"LastVersion\":20261121001}");
}

/// A file that can't be, and a part of what the server says of it.
struct BrokenFile {
    const char* pName;
    const char* pFile;
    std::string strText;
    const char* pNote;
};

void PrintTo(const BrokenFile& file, std::ostream* pStream) { *pStream << file.pName; }

class RefserverBrokenFile : public RefserverContracts, public testing::WithParamInterface<BrokenFile> {};

TEST_P(RefserverBrokenFile, IsNotedAndTheLastGoodDataStand) {
    const std::string strOld = Version(Classification("ALL", "-1"));
    ASSERT_FALSE(strOld.empty());
    m_world.Write(GetParam().pFile, GetParam().strText);
    EXPECT_EQ(Version(Classification("ALL", "-1")), strOld);
    const std::string strNote = m_pServer->GetErrors().WaitForText("the last good data stand");
    EXPECT_THAT(strNote, HasSubstr(GetParam().pNote));
}

std::string Option(const std::string& strStrikes) {
    return R"({"QV.O.CME.ES": {"series": {"202612": "20261218"}, "strikes": ")" + strStrikes + "\"}}";
}

std::string Future(const std::string& strMembers) { return "{\"QV.F.CME.ES\": {" + strMembers + "}}"; }

const char* const Rules = "contracts/CME.json";

INSTANTIATE_TEST_SUITE_P(
    Contracts, RefserverBrokenFile,
    testing::Values(
        BrokenFile{"NoJson", Rules, "{", "CME.json"}, BrokenFile{"NoSeries", Rules, Future(""), "has no series"},
        BrokenFile{"NoMonth", Rules, Future(R"("series": {})"), "has no month"},
        BrokenFile{"UnknownSeries", Rules, Future(R"("series": "s")"), "\"s\" that \"Series\" doesn't have"},
        BrokenFile{"Month13", Rules, Future(R"("series": {"202613": "20261218"})"), "\"202613\" isn't YYYYMM"},
        BrokenFile{"NoSuchDay", Rules, Future(R"("series": {"202702": "20270230"})"), "no date"},
        BrokenFile{"OutOfOrder", Rules, Future(R"("series": {"202702": "20270219", "202701": "20270115"})"),
                   "out of order"},
        BrokenFile{"HotUnknown", Rules, Future(R"("series": {"202702": "20270219"}, "hot": "202703")"),
                   "hot month \"202703\" isn't in its series"},
        BrokenFile{"CommaInMargin", Rules, Future(R"("series": {"202702": "20270219"}, "long": "1,5")"), "long holds"},
        BrokenFile{"FutureWithStrikes", Rules, Future(R"("series": {"202702": "20270219"}, "strikes": "5")"),
                   "which a future hasn't"},
        BrokenFile{"Instrument", Rules, Future(R"("series": {"202702": "20270219"}, "instrument": "x")"),
                   "isn't a number above 0"},
        BrokenFile{"Stock", Rules, R"({"QV.S.SSE.600000": {}})", "is no future or option"},
        BrokenFile{"NoSecurity", Rules, R"({"QV.F.CME.ZZ": {"series": {"202702": "20270219"}}})",
                   "\"QV.F.CME.ZZ\", which is no security"},
        BrokenFile{"StandsTwice", "contracts/MORE.json", Future(R"("series": {"202702": "20270219"})"),
                   "stands twice"}),
    [](const auto& kind) { return kind.param.pName; });

INSTANTIATE_TEST_SUITE_P(Strikes, RefserverBrokenFile,
                         testing::Values(BrokenFile{"None", Rules, Option(""), "has no strikes"},
                                         BrokenFile{"Words", Rules, Option("many"), "aren't like"},
                                         BrokenFile{"NoStep", Rules, Option("1..2"), "half a range"},
                                         BrokenFile{"StepFirst", Rules, Option("1/2..3"), "in the wrong place"},
                                         BrokenFile{"StepZero", Rules, Option("1..2/0"), "don't rise"},
                                         BrokenFile{"Falling", Rules, Option("3..2/1"), "don't rise"},
                                         BrokenFile{"Negative", Rules, Option("-1"), "aren't like"},
                                         BrokenFile{"Overlap", Rules, Option("1..3/1, 2.5"), "don't lie above"},
                                         BrokenFile{"TooMany", Rules, Option("1..999999999999/1"),
                                                    "more than a million"},
                                         BrokenFile{"TooLong", Rules, Option("9999999999999"), "aren't like"}),
                         [](const auto& kind) { return kind.param.pName; });

INSTANTIATE_TEST_SUITE_P(
    Documents, RefserverBrokenFile,
    testing::Values(BrokenFile{"NodeNoArray", "classifications/ALL.json", R"({"Node": {}})", "isn't an array"},
                    BrokenFile{"NodeNoObject", "classifications/ALL.json", R"({"Node": [1]})", "isn't an object"},
                    BrokenFile{"NoSuchProduct", "classifications/ALL.json", R"({"Products": ["QV.F.CME.NQ"]})",
                               "\"QV.F.CME.NQ\" has no contracts"},
                    BrokenFile{"NoSuchSecurity", "classifications/ALL.json", R"({"Securities": ["QV.S.SSE."]})",
                               "no security begins"},
                    BrokenFile{"SeriesUnknown", "classifications/ALL.json",
                               R"({"Products": ["QV.F.CME."], "Series": "warm"})", "neither \"hot\""},
                    BrokenFile{"Deep", "classifications/ALL.json", "{\"Node\":" + std::string(1'000'000, '['),
                               "nested more than 100 deep"},
                    BrokenFile{"StockInfoNoObject", "stkinfo/sse.json", "[]", "isn't an object"},
                    BrokenFile{"VersionTwice", "stkinfo/sse.json", R"({"LastVersion": "1"})", "of its own"},
                    BrokenFile{"Permissions", "permissions.json", "x", "permissions.json"}),
    [](const auto& kind) { return kind.param.pName; });

}  // namespace
}  // namespace qvant::test

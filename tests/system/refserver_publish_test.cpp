// Publishing: a document gets a new version while a server runs on its folder.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include "system/refserver_fixture.h"

namespace qvant::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

/// What a run of the program did.
struct Outcome {
    int nStatus = -1;
    std::vector<std::string> arLines;
    std::string strErrors;
};

class RefserverPublish : public testing::Test {
protected:
    RefserverPublish() {
        m_world.Write("contracts/CME.json", R"({"QV.F.CME.ES":{"series":{"202612":"20261218"}}})");
        m_world.Write("classifications/FUTURES.json", R"({"ENG":"Futures","Products":["QV.F.CME.ES"]})");
        m_world.Write("classifications/INDEX.json", R"({"ENG":"Index","Products":["QV.F.CME."]})");
        m_world.Write("stkinfo/sse.json", R"({"cpxx":[]})");
        m_world.Write("stkinfo/szse.json", R"({"securities":[]})");
    }

    std::vector<std::string> Command(const std::vector<std::string>& arWords) const {
        std::vector<std::string> arArguments{"publish", "--data", m_world.GetPath().string()};
        arArguments.insert(arArguments.end(), arWords.begin(), arWords.end());
        return arArguments;
    }
    Outcome Publish(const std::vector<std::string>& arWords) const {
        CServerProcess process(Command(arWords));
        Outcome outcome;
        outcome.nStatus = process.Wait();
        process.GetOutput().WaitForEnd();
        process.GetErrors().WaitForEnd();
        outcome.arLines = process.GetOutput().GetLines();
        for (const auto& strLine : process.GetErrors().GetLines()) outcome.strErrors += strLine + "\n";
        return outcome;
    }

    /// "LastVersion" of a document, and whether it came whole.
    static std::pair<std::string, bool> Ask(const CServerProcess& server, const std::string& strTarget,
                                            const char* pWhole) {
        const auto document = ToJson(Get(server, strTarget).strBody);
        if (!document.IsObject() || !document.HasMember("LastVersion")) return {};
        return {document["LastVersion"].GetString(), document.HasMember(pWhole)};
    }
    static std::pair<std::string, bool> AskSecurities(const CServerProcess& server, const std::string& strVersion,
                                                      const std::string& strType = "ALL") {
        return Ask(server, MainForm(strVersion, strType), "SecuritiesInfo");
    }
    static std::pair<std::string, bool> AskContracts(const CServerProcess& server, const std::string& strName,
                                                     const std::string& strVersion) {
        return Ask(server, "/Classification_getClassification.do?cname=" + strName + "&lastVersion=" + strVersion,
                   "Classification");
    }
    static std::pair<std::string, bool> AskStocks(const CServerProcess& server, const std::string& strExchange,
                                                  const std::string& strVersion) {
        return Ask(server, "/stkinfo.do?exg=" + strExchange + "&LastVersion=" + strVersion,
                   strExchange == "sse" ? "cpxx" : "securities");
    }

    CSmallWorld m_world;
};

TEST_F(RefserverPublish, GivesHoldersOfTheSecuritiesNewsFromTheNextRequestOn) {
    const auto pServer = CServerProcess::Serve(m_world.GetPath());
    const auto [strOld, bWhole] = AskSecurities(*pServer, "-1");
    const auto [strOldFutures, bFutures] = AskSecurities(*pServer, "-1", "FUTURES");
    ASSERT_FALSE(AskSecurities(*pServer, strOld).second);
    const Outcome outcome = Publish({"securities"});
    EXPECT_EQ(outcome.nStatus, 0) << outcome.strErrors;
    const auto [strNew, bNews] = AskSecurities(*pServer, strOld);
    EXPECT_TRUE(bNews);
    EXPECT_THAT(strNew, StartsWith("v1.r1-"));
    EXPECT_THAT(outcome.arLines, ElementsAre("securities: " + strOld + " -> " + strNew));
    EXPECT_FALSE(AskSecurities(*pServer, strNew).second);
    EXPECT_TRUE(AskSecurities(*pServer, strOldFutures, "FUTURES").second) << "every list type is of this document";
}

TEST_F(RefserverPublish, LeavesTheOtherDocumentsTheirVersions) {
    const auto pServer = CServerProcess::Serve(m_world.GetPath());
    const std::string strSecurities = AskSecurities(*pServer, "-1").first;
    const std::string strFutures = AskContracts(*pServer, "FUTURES", "-1").first;
    const std::string strIndex = AskContracts(*pServer, "INDEX", "-1").first;
    EXPECT_EQ(Publish({"contracts", "FUTURES"}).nStatus, 0);
    EXPECT_TRUE(AskContracts(*pServer, "FUTURES", strFutures).second);
    EXPECT_FALSE(AskContracts(*pServer, "INDEX", strIndex).second);
    EXPECT_FALSE(AskSecurities(*pServer, strSecurities).second);
}

TEST_F(RefserverPublish, GivesTheStockInfosOfAllExchangesNewVersions) {
    const auto pServer = CServerProcess::Serve(m_world.GetPath());
    const std::string strSse = AskStocks(*pServer, "sse", "-1").first;
    const std::string strSzse = AskStocks(*pServer, "szse", "-1").first;
    EXPECT_EQ(Publish({"stocks"}).arLines.size(), 2U);
    EXPECT_TRUE(AskStocks(*pServer, "sse", strSse).second);
    EXPECT_TRUE(AskStocks(*pServer, "szse", strSzse).second);
}

TEST_F(RefserverPublish, CountsTheVersionsUpFromWhateverTheyBeginWith) {
    const auto pServer = CServerProcess::Serve(m_world.GetPath());
    for (const char* pBeginning : {"v1.r1-", "v1.r2-"}) {
        EXPECT_EQ(Publish({"securities"}).nStatus, 0);
        EXPECT_THAT(LastVersion(*pServer), StartsWith(pBeginning));
    }
    EXPECT_EQ(Publish({"securities", "--version", "2026.r9"}).nStatus, 0);
    EXPECT_THAT(LastVersion(*pServer), StartsWith("2026.r9-"));
    EXPECT_EQ(Publish({"securities"}).nStatus, 0);
    EXPECT_THAT(LastVersion(*pServer), StartsWith("2026.r10-"));
    EXPECT_EQ(Publish({"securities", "--version", "for7"}).nStatus, 0);
    EXPECT_EQ(Publish({"securities"}).nStatus, 0);
    EXPECT_THAT(LastVersion(*pServer), StartsWith("for7.r1-"));
    m_world.Write("world.json", "{}");
    EXPECT_EQ(Publish({"securities"}).nStatus, 0);
    EXPECT_THAT(LastVersion(*pServer), StartsWith("r1-"));
    EXPECT_EQ(Publish({"securities"}).nStatus, 0);
    EXPECT_THAT(LastVersion(*pServer), StartsWith("r2-"));
}

TEST_F(RefserverPublish, KeepsAVersionFollowingTheContent) {
    const auto pServer = CServerProcess::Serve(m_world.GetPath());
    ASSERT_EQ(Publish({"securities"}).nStatus, 0);
    const std::string strOld = LastVersion(*pServer);
    m_world.Write("securities/TWF.json", "{}");
    EXPECT_NE(LastVersion(*pServer), strOld);
    EXPECT_THAT(LastVersion(*pServer), StartsWith("v1.r1-"));
}

TEST_F(RefserverPublish, KeepsTheRestOfTheFolder) {
    const auto before = ToJson(m_world.Read("world.json"));
    ASSERT_EQ(Publish({"securities"}).nStatus, 0);
    auto after = ToJson(m_world.Read("world.json"));
    ASSERT_TRUE(after.HasMember("versions"));
    after.RemoveMember("versions");
    EXPECT_EQ(before, after);
    std::size_t nFiles = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(m_world.GetPath())) {
        nFiles += entry.is_regular_file() ? 1 : 0;
    }
    EXPECT_EQ(nFiles, 8U) << "no temporary file is left";
}

TEST_F(RefserverPublish, CountsEachOfManyThatPublishAtOnce) {
    std::vector<std::unique_ptr<CServerProcess>> arProcesses;
    for (int i = 0; i < 8; ++i)
        arProcesses.push_back(std::make_unique<CServerProcess>(
            Command(i % 2 ? std::vector<std::string>{"securities"} : std::vector<std::string>{"contracts", "INDEX"})));
    for (const auto& pProcess : arProcesses) EXPECT_EQ(pProcess->Wait(), 0);
    const auto world = ToJson(m_world.Read("world.json"));
    ASSERT_TRUE(world.HasMember("versions"));
    EXPECT_STREQ(world["versions"]["securities"].GetString(), "v1.r4");
    EXPECT_STREQ(world["versions"]["classifications/INDEX"].GetString(), "v1.r4");
}

TEST_F(RefserverPublish, RefusesWhatCantBePublishedAndChangesNothing) {
    const std::string strWorld = m_world.Read("world.json");
    const Outcome unknown = Publish({"contracts", "NONE"});
    EXPECT_EQ(unknown.nStatus, 1);
    EXPECT_THAT(unknown.strErrors, HasSubstr("there is no classification \"NONE\""));
    EXPECT_THAT(unknown.arLines, IsEmpty());
    const Outcome same = Publish({"securities", "--version", "v1"});
    EXPECT_EQ(same.nStatus, 1);
    EXPECT_THAT(same.strErrors, HasSubstr("securities has the version \"v1\" already"));
    m_world.Write("securities/CME.json", "{");
    const Outcome broken = Publish({"securities"});
    EXPECT_EQ(broken.nStatus, 1);
    EXPECT_THAT(broken.strErrors, HasSubstr("CME.json"));
    EXPECT_EQ(m_world.Read("world.json"), strWorld);
}

TEST_F(RefserverPublish, RefusesAFolderWithOneFixedVersion) {
    m_world.Write("world.json", R"({"fixedVersion":7})");
    const Outcome outcome = Publish({"securities"});
    EXPECT_EQ(outcome.nStatus, 1);
    EXPECT_THAT(outcome.strErrors, HasSubstr("\"fixedVersion\" stands for every document"));
    EXPECT_EQ(m_world.Read("world.json"), R"({"fixedVersion":7})");
}

TEST_F(RefserverPublish, GivesTheRatesTheirNextDay) {
    m_world.Write("currency.json", R"({"FX":{"USD":{"TWD":"31.2450"}},"LastVersion":20991231,"RF":{"USD":3.875}})");
    const auto pServer = CServerProcess::Serve(m_world.GetPath());
    const auto ask = [&] { return ToJson(Get(*pServer, "/OutsideData_getDocument.do?doc=Currency").strBody); };
    EXPECT_THAT(Publish({"rates"}).arLines, ElementsAre("rates: 20991231 -> 21000101"));
    EXPECT_EQ(ask()["LastVersion"].GetInt(), 21000101);
    EXPECT_STREQ(ask()["FX"]["USD"]["TWD"].GetString(), "31.2450");
    EXPECT_EQ(ask()["RF"]["USD"].GetDouble(), 3.875);
    EXPECT_THAT(Publish({"rates", "--version", "noon"}).arLines, ElementsAre("rates: 21000101 -> noon"));
    EXPECT_STREQ(ask()["LastVersion"].GetString(), "noon");
    EXPECT_EQ(Publish({"rates", "--version", "20261121"}).nStatus, 0);
    EXPECT_EQ(ask()["LastVersion"].GetInt(), 20261121);
    EXPECT_THAT(Publish({"rates", "--version", "20261121"}).strErrors, HasSubstr("already"));
    // A day that is past is followed by today.
    const std::string strLine = Publish({"rates"}).arLines.at(0);
    EXPECT_GT(strLine, "rates: 20261121 -> 20261121");
}

TEST_F(RefserverPublish, ChangesTheHolidayTextAndNoneOfItsDays) {
    m_world.Write("OBHoliday.txt", "20260101\tH\tCME");
    const auto pServer = CServerProcess::Serve(m_world.GetPath());
    const auto ask = [&] { return Get(*pServer, "/hx-bin/File.cgi?ARG=/OBHoliday.txt").strBody; };
    EXPECT_THAT(Publish({"holidays"}).arLines, ElementsAre("holidays: no version -> r1"));
    EXPECT_EQ(ask(), "20260101\tH\tCME\r\n# version r1\r\n");
    EXPECT_THAT(Publish({"holidays"}).arLines, ElementsAre("holidays: r1 -> r2"));
    EXPECT_EQ(ask(), "20260101\tH\tCME\r\n# version r2\r\n");
    EXPECT_THAT(Publish({"holidays", "--version", "r2"}).strErrors,
                HasSubstr("holidays has the version \"r2\" already"));
    m_world.Write("OBHoliday.txt", "# version r7");
    EXPECT_THAT(Publish({"holidays"}).arLines, ElementsAre("holidays: r7 -> r8"));
    EXPECT_EQ(ask(), "# version r8\r\n");
    m_world.Write("OBHoliday.txt", std::string("\xFF\xFE#\0", 4));
    EXPECT_THAT(Publish({"holidays"}).strErrors, HasSubstr("wide text"));
}

TEST_F(RefserverPublish, RefusesRatesAndHolidaysWhereThereAreNone) {
    EXPECT_THAT(Publish({"rates"}).strErrors, HasSubstr("currency.json: "));
    EXPECT_THAT(Publish({"holidays"}).strErrors, HasSubstr("OBHoliday.txt: "));
    EXPECT_FALSE(std::filesystem::exists(m_world.GetPath() / "OBHoliday.txt"));
}

TEST_F(RefserverPublish, RefusesStocksWhereThereAreNone) {
    std::filesystem::remove_all(m_world.GetPath() / "stkinfo");
    EXPECT_THAT(Publish({"stocks"}).strErrors, HasSubstr("there is no stock info"));
}

TEST_F(RefserverPublish, RefusesBadWordsWithStatus2) {
    const std::vector<std::vector<std::string>> arBad = {
        {},
        {"dances"},
        {"contracts"},
        {"securities", "stocks"},
        {"securities", "--version"},
        {"securities", "--version", ""},
        {"securities", "--version", "a b"},
        {"securities", "--version", "a|b"},
        {"securities", "--version", "a:b"},
        {"securities", "--dance"},
    };
    for (const auto& arWords : arBad) {
        const Outcome outcome = Publish(arWords);
        EXPECT_EQ(outcome.nStatus, 2) << testing::PrintToString(arWords);
        EXPECT_THAT(outcome.strErrors, HasSubstr("(--help tells the options)")) << testing::PrintToString(arWords);
    }
    EXPECT_EQ(CServerProcess({"publish", "securities"}).Wait(), 2) << "no folder";
}

TEST_F(RefserverPublish, NeedsAFolderThatIsThere) {
    CServerProcess process({"publish", "--data", (m_world.GetPath() / "none").string(), "securities"});
    EXPECT_EQ(process.Wait(), 1);
    process.GetErrors().WaitForEnd();
    EXPECT_THAT(process.GetErrors().GetLines().at(0), HasSubstr("none: "));
}

TEST_F(RefserverPublish, RefusesToServeVersionsOfAnotherShape) {
    for (const char* pText : {R"({"versions":[]})", R"({"versions":{"securities":1}})"}) {
        m_world.Write("world.json", pText);
        EXPECT_THAT(Publish({"securities"}).strErrors, HasSubstr("\"versions\"")) << pText;
    }
}

}  // namespace
}  // namespace qvant::test

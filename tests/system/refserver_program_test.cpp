// The command line, the exit status, what is printed, and the generator.
#include <csignal>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include "system/refserver_fixture.h"

namespace qvant::test {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

std::string Join(const std::vector<std::string>& arLines) {
    std::string strAll;
    for (const auto& strLine : arLines) strAll += strLine + "\n";
    return strAll;
}

TEST(RefserverProgram, TellsItsOptionsAndItsVersion) {
    CServerProcess help({"--help"});
    EXPECT_EQ(help.Wait(), 0);
    EXPECT_THAT(Join(help.GetOutput().GetLines()), HasSubstr("--data DIR"));
    CServerProcess version({"--version"});
    EXPECT_EQ(version.Wait(), 0);
    EXPECT_THAT(version.GetOutput().GetLines().at(0), MatchesRegex("lumivale-refserver [0-9]+\\.[0-9]+\\.[0-9]+"));
}

TEST(RefserverProgram, RefusesBadOptionsWithStatus2) {
    const std::vector<std::vector<std::string>> arBad = {
        {},
        {"--data"},
        {"--port", "1"},
        {"--data", "x", "--port", "65536"},
        {"--data", "x", "--port", "12a"},
        {"--data", "x", "--dance"},
        {"--data", "x", "--fault", "LastVer"},
        {"--data", "x", "--fault", "LastVer:dance"},
        {"--data", "x", "--fault", "LastVer:delay"},
        {"--data", "x", "--fault", "LastVer:status=9"},
        {"--data", "x", "--fault", "LastVer:hang=1"},
        {"generate", "--products", "5", "--contracts", "5"},
        {"generate", "--contracts", "5", "--out", "x"},
        {"generate", "--products", "5", "--contracts", "4", "--out", "x"},
    };
    for (const auto& arArguments : arBad) {
        CServerProcess process(arArguments);
        EXPECT_EQ(process.Wait(), 2) << Join(arArguments);
        EXPECT_THAT(Join(process.GetErrors().GetLines()), HasSubstr("lumivale-refserver: ")) << Join(arArguments);
        EXPECT_TRUE(process.GetOutput().GetLines().empty());
    }
}

TEST(RefserverProgram, EndsWithStatus1WithoutAUsableDataFolder) {
    const CScratchFolder folder;
    CServerProcess missing({"--data", (folder.GetPath() / "none").string()});
    EXPECT_EQ(missing.Wait(), 1);
    EXPECT_THAT(Join(missing.GetErrors().GetLines()), HasSubstr("world.json: no such file"));
    folder.Write("world.json", "{}");
    folder.Write("securities/A.json", "{");
    CServerProcess broken({"--data", folder.GetPath().string()});
    EXPECT_EQ(broken.Wait(), 1);
    EXPECT_THAT(Join(broken.GetErrors().GetLines()), HasSubstr("A.json: "));
}

TEST(RefserverProgram, EndsWithStatus1WhenThePortIsTaken) {
    const CSmallWorld world;
    const auto pFirst = CServerProcess::Serve(world.GetPath());
    CServerProcess second({"--data", world.GetPath().string(), "--port", std::to_string(pFirst->GetPort())});
    EXPECT_EQ(second.Wait(), 1);
    EXPECT_THAT(Join(second.GetErrors().GetLines()), HasSubstr("can't listen on 127.0.0.1:"));
}

TEST(RefserverProgram, EndsWithStatus0OnEitherSignal) {
    const CSmallWorld world;
    for (const int nSignal : {SIGINT, SIGTERM}) {
        const auto pServer = CServerProcess::Serve(world.GetPath());
        httplib::Client idle("127.0.0.1", pServer->GetPort());
        idle.set_keep_alive(true);
        ASSERT_TRUE(idle.Get("/OutsideData_getMainLastVer.do"));
        pServer->Signal(nSignal);
        EXPECT_EQ(pServer->Wait(), 0);
    }
}

TEST(RefserverProgram, WritesALineForEachRequest) {
    const CSmallWorld world;
    const auto pServer = CServerProcess::Serve(world.GetPath());
    const auto& output = pServer->GetOutput();
    EXPECT_EQ(output.GetLines().at(0), "listening on " + pServer->GetUrl());
    const std::string strTime = "[0-9-]+T[0-9:]+\\.[0-9]+Z ";
    const std::size_t nPlain = Get(*pServer, MainForm("-1")).strBody.size();
    EXPECT_THAT(output.WaitForText("getMainForm"),
                MatchesRegex(strTime + "GET /OutsideData_getMainForm\\.do\\?lastVersion=-1&.* 200 " +
                             std::to_string(nPlain) + " plain [0-9]+ms"));
    const std::size_t nGzip = Get(*pServer, "/OutsideData_getMainLastVer.do", true).strBody.size();
    EXPECT_THAT(
        output.WaitForText("getMainLastVer"),
        MatchesRegex(strTime + "GET /OutsideData_getMainLastVer\\.do 200 " + std::to_string(nGzip) + " gzip [0-9]+ms"));
    Get(*pServer, "/none?x=%0Ay");
    EXPECT_THAT(output.WaitForText("/none"), MatchesRegex(strTime + "GET /none\\?x=%0Ay 404 [0-9]+ plain [0-9]+ms"));
    EXPECT_EQ(pServer->Stop(), 0);
    EXPECT_EQ(output.GetLines().size(), 4U);
}

class RefserverGenerate : public testing::Test {
protected:
    int Generate(const std::string& strOut, int nProducts, int nContracts, int nSeed) {
        CServerProcess process({"generate", "--products", std::to_string(nProducts), "--contracts",
                                std::to_string(nContracts), "--seed", std::to_string(nSeed), "--out",
                                (m_folder.GetPath() / strOut).string()});
        return process.Wait();
    }

    std::string ReadSecurities(const std::string& strOut) const {
        std::set<std::filesystem::path> setFiles;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder.GetPath() / strOut / "securities")) {
            setFiles.insert(entry.path());
        }
        std::string strAll;
        for (const auto& file : setFiles) strAll += file.filename().string() + m_folder.Read(file.string());
        return strAll;
    }

    CScratchFolder m_folder;
};

TEST_F(RefserverGenerate, MakesAWorldOfTheSizeAskedFor) {
    ASSERT_EQ(Generate("w", 100, 3000, 1), 0);
    const auto pServer = CServerProcess::Serve(m_folder.GetPath() / "w");
    const std::string strBody = Get(*pServer, MainForm("-1")).strBody;
    const auto document = ToJson(strBody);
    ASSERT_TRUE(document.IsObject());
    const auto& securities = document["SecuritiesInfo"];
    EXPECT_EQ(securities.MemberCount(), 3000U);
    int nStocks = 0;
    for (const auto& member : securities.GetObject()) {
        if (std::string_view(member.name.GetString()).starts_with("QV.S.")) ++nStocks;
        EXPECT_TRUE(member.value.HasMember("OpenCloseTime"));
    }
    EXPECT_EQ(nStocks, 2900);
    EXPECT_GT(strBody.size() / 3000, 300U);
    EXPECT_LT(strBody.size() / 3000, 400U);
}

TEST_F(RefserverGenerate, GivesTheSameFilesForTheSameSeedOnly) {
    ASSERT_EQ(Generate("a", 40, 500, 7), 0);
    ASSERT_EQ(Generate("b", 40, 500, 7), 0);
    ASSERT_EQ(Generate("c", 40, 500, 8), 0);
    EXPECT_EQ(ReadSecurities("a"), ReadSecurities("b"));
    EXPECT_NE(ReadSecurities("a"), ReadSecurities("c"));
    EXPECT_EQ(m_folder.Read("a/world.json"), m_folder.Read("b/world.json"));
}

TEST_F(RefserverGenerate, PutsEveryOptionOnAFutureThatIsThere) {
    ASSERT_EQ(Generate("w", 300, 300, 3), 0);
    const auto pServer = CServerProcess::Serve(m_folder.GetPath() / "w");
    const auto document = ToJson(Get(*pServer, MainForm("-1")).strBody);
    ASSERT_TRUE(document.IsObject());
    int nOptions = 0;
    for (const auto& member : document["SecuritiesInfo"].GetObject()) {
        if (!member.value.HasMember("Underlying.F")) continue;
        ++nOptions;
        EXPECT_TRUE(document["SecuritiesInfo"].HasMember(member.value["Underlying.F"]));
    }
    EXPECT_GT(nOptions, 50);
}

TEST_F(RefserverGenerate, NeverOverwritesAWorld) {
    ASSERT_EQ(Generate("w", 5, 5, 1), 0);
    EXPECT_EQ(Generate("w", 6, 6, 2), 1);
    EXPECT_THAT(m_folder.Read("w/world.json"), HasSubstr("seed1"));
}

}  // namespace
}  // namespace qvant::test

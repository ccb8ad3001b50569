// The command line, the exit status and what is printed.
#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
    const std::size_t nGzip = Get(*pServer, MainForm("-1"), true).strBody.size();
    EXPECT_THAT(output.WaitForText(" gzip "),
                MatchesRegex(strTime + "GET /OutsideData_getMainForm\\.do\\?lastVersion=-1&.* 200 " +
                             std::to_string(nGzip) + " gzip [0-9]+ms"));
    Get(*pServer, "/none?x=%0Ay");
    EXPECT_THAT(output.WaitForText("/none"), MatchesRegex(strTime + "GET /none\\?x=%0Ay 404 [0-9]+ plain [0-9]+ms"));
    EXPECT_EQ(pServer->Stop(), 0);
    EXPECT_EQ(output.GetLines().size(), 4U);
}

}  // namespace
}  // namespace qvant::test

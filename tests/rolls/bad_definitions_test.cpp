#include <random>

#include "base/format.h"
#include "rolls/user_hot_months_fixture.h"
#include "support/sanitizers.h"

namespace qvant::test {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Definition files that nobody would write, and their companions.
class BadDefinitionsTest : public UserHotMonthsTest {};

TEST_F(BadDefinitionsTest, EitherLineEndWillDoAndTheLastMayBeMissing) {
    const char* pszExpected = "20200306170000->\n20200309160000->\n";
    EXPECT_EQ(LoadLines("timezone=UTC\r\nresettime=170000\r\n20200306->202003\r\n20200309->202006\r\n20300101->203003"),
              pszExpected);
    EXPECT_EQ(LoadLines("\n\ntimezone=UTC\n\r\nresettime=170000\n20200306->202003\n20200309->202006\n20300101->203003",
                        "QV.F.CME.ES.HOT_B"),
              pszExpected);
}

TEST_F(BadDefinitionsTest, AMonthIsAllThatStandsBehindTheArrowWithoutTheLineEnd) {
    Serve({});
    LoadLines("20200306->202003\r\n20200309->202006\r\n");
    ASSERT_EQ(m_pServer->GetCommands().size(), 1u);
    EXPECT_THAT(m_pServer->GetCommands()[0],
                ::testing::HasSubstr("{\"I.F.CME.ES.202003\":[202003060800],\"I.F.CME.ES.202006\":[202003060800]}"));
}

TEST_F(BadDefinitionsTest, AFileInUtf16IsReadByItsMark) {
    const Text strLines = u"timezone=UTC\r\nresettime=170000\r\n20200306->202003\r\n20300101->203003\r\n";
    EXPECT_EQ(LoadLines("\xFF\xFE" + ToUtf16Bytes(strLines)), "20200306170000->\n");
    EXPECT_EQ(LoadLines(ToUtf16Bytes(strLines), "QV.F.CME.ES.HOT_B"), "") << "without its mark nothing is a line";
}

TEST_F(BadDefinitionsTest, AFileInUtf8MayHaveItsMark) {
    EXPECT_EQ(LoadLines("\xEF\xBB\xBFtimezone=UTC\n20200306->202003\n20300101->203003\n"), "20200306000000->\n");
}

TEST_F(BadDefinitionsTest, ALongLineCountsAndAnEndlessOneIsLeftOutAndLogged) {
    const std::string strLong = "20200306->202003" + std::string(5'000, ' ') + "\n";
    const std::string strEndless = "20200307->" + std::string(100'000, '2') + "\n";
    EXPECT_EQ(LoadLines("timezone=UTC\n" + strEndless + strLong + "20300101->203003\n"), "20200306000000->\n");
    EXPECT_TRUE(m_host.WaitForLog("QV.F.CME.ES.HOT_MINE.udhm, line 2 is too long and left out."));
}

TEST_F(BadDefinitionsTest, BytesOfAnyKindCostNothing) {
    std::string strBytes;
    for (int i = 0; i < 100'000; ++i) strBytes.push_back(static_cast<char>(i * 7919 >> 3));
    LoadLines(strBytes);
    EXPECT_THAT(GetTold(), ElementsAre(MINE));
    LoadLines(std::string(1'000, '\0'), "QV.F.CME.ES.HOT_B");
    LoadLines("", "QV.F.CME.ES.HOT_C");
    EXPECT_EQ(GetCompanion("QV.F.CME.ES.HOT_C"), "UDHMLastWriteTime=20201220100000\n");
}

TEST_F(BadDefinitionsTest, DamagedDefinitionsAndCompanionsLeaveTheNextPassWhole) {
    const std::string strLines = "timezone=LOCAL\nresettime=170000\n20200306->202003\n20300101->203003\n";
    const std::string strExpected = LoadLines(strLines);
    const std::string strCompanion = GetCompanion();
    std::mt19937 random(20201221);
    for (int i = 0; i < 300; ++i) {
        std::string strDamaged = strLines;
        std::string strDamagedCompanion = strCompanion;
        for (int nChange = 0; nChange < 4; ++nChange) {
            strDamaged[random() % strDamaged.size()] = static_cast<char>(random());
            strDamagedCompanion[random() % strDamagedCompanion.size()] = static_cast<char>(random());
        }
        m_home.Write(FOLDER + std::string(MINE) + ".ba", strDamagedCompanion);
        LoadLines(strDamaged.substr(random() % 20));
    }
    std::filesystem::remove(m_home.GetPath() / FOLDER / (std::string(MINE) + ".ba"));
    EXPECT_EQ(LoadLines(strLines), strExpected);
    EXPECT_EQ(GetCompanion(), strCompanion);
}

TEST_F(BadDefinitionsTest, BadDatesRollAtSomeNumberAndAreWrittenWithoutAGap) {
    EXPECT_EQ(LoadLines("timezone=UTC\nresettime=noon\n"
                        "->202003\n"
                        "tomorrow->202003\n"
                        "20209999->202003\n"
                        "2020-03-06->202006\n"
                        "99999999999999999999->202009\n"
                        "->\n"
                        "=->=\n"),
              "0->\n0->\n20209999000000->\n2020000000->\n9223372036854775807->\n0->\n");
    EXPECT_EQ(LoadLines("20209999->202003\n99999999->202003\n18990101->202003\n->\n0->1\n", "QV.F.CME.ES.HOT_B"),
              "0->\n0->\n18990101000000->\n0->\n");
}

TEST_F(BadDefinitionsTest, ALineBeyondAnyLengthIsNoLine) {
    const std::string strLong(70'000, '1');
    const std::string strLines = "timezone=UTC\n20200306->" + strLong + "\n20200309->202003\n" + strLong +
                                 "->202006\nresettime=" + strLong + "\n20300101->203003\n";
    EXPECT_EQ(LoadLines(strLines + std::string(100'000'000, '>') + "-"), "20200309230000->\n");
}

TEST_F(BadDefinitionsTest, AMillionLinesAreReadInOneGo) {
    std::string strLines = "timezone=UTC\n";
    for (int i = 0; i < A_MILLION; ++i) strLines += "2030" + std::to_string(1000 + i % 9000) + "->202003\n";
    const std::string strCompanion = LoadLines(strLines);
    EXPECT_EQ(std::count(strCompanion.begin(), strCompanion.end(), '\n'), A_MILLION - 1);
    EXPECT_TRUE(strCompanion.starts_with("20301000000000->\n20301001000000->\n"));
    SetClock(20309999, 0);
    m_series.OnClock();
    EXPECT_THAT(m_arPosted, ElementsAre(Widen(MINE)));
}

TEST_F(BadDefinitionsTest, AMillionRollsThatHaveComeAreAskedForContractByContract) {
    std::string strLines = "timezone=UTC\n";
    for (int i = 0; i < A_MILLION; ++i) strLines += "20200306->" + std::to_string(202001 + i % 12) + "\n";
    m_servers.Append(CRollServers::List::History, u"http://127.0.0.1:1/History.do?");
    const std::string strCompanion = LoadLines(strLines);
    EXPECT_EQ(std::count(strCompanion.begin(), strCompanion.end(), '\n'), A_MILLION - 1);
    EXPECT_THAT(GetTold(), ElementsAre(MINE));
    const auto arLog = m_host.GetLog();
    EXPECT_EQ(std::count_if(arLog.begin(), arLog.end(),
                            [](const std::string& strLine) { return strLine.starts_with("DoQueryLastK Fail : "); }),
              2)
        << "twelve contracts are two batches";
}

TEST_F(BadDefinitionsTest, AThousandFilesThatRollOnTheSameDaysAreEnteredEach) {
    constexpr int FILES = 1'000;
    std::string strLines = "timezone=UTC\n";
    for (int i = 0; i < 40; ++i) strLines += std::to_string(20300101 + i) + "->202003\n";
    for (int i = 0; i < FILES; ++i) {
        Define(Narrow(Format(u"QV.F.CME.ES.HOT_%04d", i)), strLines);
        m_home.Write(Narrow(Format(u"%sQV.F.CME.ES.HOT_%04d.ba", Widen(FOLDER), i)),
                     "UDHMLastWriteTime=20201220100000\n");
    }
    m_series.LoadConfig(u"ALL");
    m_series.LoadConfig(u"ALL");
    EXPECT_THAT(GetTold(), IsEmpty());
    SetClock(20300120, 0);
    m_series.OnClock();
    EXPECT_EQ(m_arPosted.size(), static_cast<std::size_t>(FILES));
}

TEST_F(BadDefinitionsTest, ATitleWithFewFieldsHasTheKeyThatTheyMake) {
    Serve({});
    LoadLines("20200306->202003\n20200309->202006\n", "x.HOT_A");
    ASSERT_EQ(m_pServer->GetCommands().size(), 1u);
    EXPECT_TRUE(Exists(FOLDER + std::string("x.HOT_A.ba")));
}

TEST_F(BadDefinitionsTest, ACommaInATitlePostsItsPieces) {
    Define("QV.F.CME.ES.HOT_A,B", "timezone=UTC\n20201221->202012\n");
    m_series.LoadConfig(u"ALL");
    SetClock(20201221, 0);
    m_series.OnClock();
    EXPECT_THAT(m_arPosted, ElementsAre(u"QV.F.CME.ES.HOT_A", u"B"));
    for (const Text& strTitle : m_arPosted) m_series.LoadConfig(strTitle);
    EXPECT_THAT(GetTold(), ElementsAre("QV.F.CME.ES.HOT_A,B"));
}

TEST_F(BadDefinitionsTest, ANameThatIsNoTextCanNotBeOpened) {
    m_home.Write(FOLDER + std::string("QV.F.CME.ES.HOT_\xFF.udhm"), "20200306->202003\n");
    m_series.LoadConfig(u"ALL");
    EXPECT_THAT(GetTold(), IsEmpty());
    ASSERT_EQ(m_host.GetLog().size(), 1u);
    EXPECT_THAT(m_host.GetLog()[0], ::testing::HasSubstr("GetLastError=2."));
}

}  // namespace qvant::test

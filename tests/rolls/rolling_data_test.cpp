#include "rolls/rolling_data.h"

#include <random>

#include "rolling_data_fixture.h"
#include "support/limits.h"

namespace qvant::test {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;

TEST_F(RollingDataTest, TheFoldersAreMadeAtTheStart) {
    EXPECT_THAT(ListAll(), UnorderedElementsAre("Qvant", "Qvant/HotChange", "Qvant/ExpireDate"));
}

TEST_F(RollingDataTest, AnAnswerIsWrittenAndThenTold) {
    UseServer();
    m_strHotReply =
        MakeRollLine(HOT_DATE, 20201211, "202103") + "\r\n" + MakeRollLine(HOT_DATE, 20200911, "202012") + "\r\n";
    std::string strSeen;
    m_host.onTopic = [&](TextView) { strSeen = ReadHotChange(); };
    m_data.QueryHotChange(u"QV.F.CME.ES.HOT");
    EXPECT_EQ(ReadHotChange(), "210000\r\n20201211->202103\r\n20200911->202012\r\n");
    EXPECT_EQ(strSeen, ReadHotChange());
    const std::string strUrl = Narrow(m_server.GetUrl());
    EXPECT_THAT(m_host.GetSaid(),
                ElementsAre("WriteLog QueryHotChange. strSymbol=QV.F.CME.ES.HOT.",
                            "WriteLog QueryHotChange URL=" + strUrl +
                                "HotChange.do?p=LUM.CME.ES.HOT&KEY=k1&Z=QueryHotChange_M1_134501000A.",
                            "SendTopic HOTCHANGE.REQUEST 1 1 QV.F.CME.ES.HOT",
                            "WriteLog QueryHotChange End. strSymbol=QV.F.CME.ES.HOT."));
    EXPECT_THAT(ListAll(), Not(Contains("Qvant/ExpireDate/QV.F.CME.ES.txt")));
}

TEST_F(RollingDataTest, TheTwinWritesExpiryDatesAndLogsItsUrlUnderTheOthersName) {
    UseServer();
    m_strExpireReply += MakeRollLine(EXPIRE_DATE, 20201218, "202012");
    m_data.QueryExpireDate(u"QV.F.CME.ES");
    EXPECT_EQ(ReadExpireDate(), "210000\r\n20210319->202103\r\n20201218->202012\r\n");
    const std::string strUrl = Narrow(m_server.GetUrl());
    EXPECT_THAT(m_host.GetSaid(), ElementsAre("WriteLog QueryExpireDate. strSymbol=QV.F.CME.ES.",
                                              "WriteLog QueryHotChange URL=" + strUrl +
                                                  "ExpireDate.do?p=LUM.CME.ES&KEY=k1&Z=QueryExpireDate_M1_134501000A.",
                                              "SendTopic EXPIREDATE.REQUEST 1 1 QV.F.CME.ES",
                                              "WriteLog QueryExpireDate End. strSymbol=QV.F.CME.ES."));
}

TEST_F(RollingDataTest, EachTwinReadsItsOwnDateField) {
    UseServer();
    m_strHotReply = m_strExpireReply =
        CQuoteLine().String(14, "LUM.CME.ES.202103").Integer(HOT_DATE, 1).Integer(EXPIRE_DATE, 2).Get();
    m_data.QueryHotChange(u"QV.F.CME.ES");
    m_data.QueryExpireDate(u"QV.F.CME.ES");
    EXPECT_EQ(ReadHotChange(), "210000\r\n1->202103\r\n");
    EXPECT_EQ(ReadExpireDate(), "210000\r\n2->202103\r\n");
}

TEST_F(RollingDataTest, AnOptionAsksForItsClassAndMarksTheQuestion) {
    UseServer();
    m_data.QueryHotChange(u"QV.O.CME.ES.202012.C.2000");
    m_data.QueryExpireDate(u"QV.O.CME.ES.202012.C.2000");
    EXPECT_THAT(m_server.GetTargets(),
                ElementsAre("/HotChange.do?p=LUM.CME.ES.HOT&KEY=k1&opt=1&Z=QueryHotChange_M1_134501000A",
                            "/ExpireDate.do?p=LUM.CME.ES&KEY=k1&opt=1&Z=QueryExpireDate_M1_134501000B"));
    EXPECT_EQ(ReadHotChange("QV.O.CME.ES"), "0\r\n20201211->202103\r\n");
    EXPECT_EQ(ReadExpireDate("QV.O.CME.ES"), "0\r\n20210319->202103\r\n");
}

TEST_F(RollingDataTest, AProductWithoutAResetTimeHasAZeroInItsFile) {
    UseServer();
    m_data.QueryHotChange(u"QV.F.CME.NQ");
    EXPECT_EQ(ReadHotChange("QV.F.CME.NQ"), "0\r\n20201211->202103\r\n");
}

TEST_F(RollingDataTest, ALineWithoutTheDateWritesTheNull) {
    UseServer();
    m_strHotReply = CQuoteLine().String(14, "LUM.CME.ES.202103").Get();
    m_data.QueryHotChange(u"QV.F.CME.ES");
    EXPECT_EQ(ReadHotChange(), "210000\r\n-9223372036854775808->202103\r\n");
}

TEST_F(RollingDataTest, TheLastLineNeedsNoEndWhetherTheReplyIsCompressedOrNot) {
    UseServer();
    m_strHotReply = m_strExpireReply =
        CQuoteLine().String(14, "LUM.CME.ES.202103").Integer(HOT_DATE, 1).Integer(EXPIRE_DATE, 2).Get();
    m_data.QueryHotChange(u"QV.F.CME.ES");
    EXPECT_EQ(ReadHotChange(), "210000\r\n1->202103\r\n");
    m_server.SendPlain();
    m_data.QueryExpireDate(u"QV.F.CME.ES");
    EXPECT_EQ(ReadExpireDate(), "210000\r\n2->202103\r\n");
}

TEST_F(RollingDataTest, LinesThatAreBadOrNameNoContractAreLeftOutAlone) {
    UseServer();
    std::string strDamaged = MakeRollLine(HOT_DATE, 20200911, "202012");
    strDamaged[6] = static_cast<char>(strDamaged[6] ^ 1);
    m_strHotReply = CQuoteLine().Integer(HOT_DATE, 20200101).Get() + "\n" + strDamaged + "\r\n\n" +
                    CQuoteLine().String(14, "").Integer(HOT_DATE, 20200102).Get() + "\n" +
                    CQuoteLine().String(14, "LUM.CME").Integer(HOT_DATE, 20200103).Get() + "\n" +
                    MakeRollLine(HOT_DATE, 20201211, "202103");
    m_data.QueryHotChange(u"QV.F.CME.ES");
    EXPECT_EQ(ReadHotChange(), "210000\r\n20200103->\r\n20201211->202103\r\n");
}

TEST_F(RollingDataTest, AMonthIsWrittenInUtf8WhateverTheServerSent) {
    UseServer();
    m_strHotReply = MakeRollLine(HOT_DATE, 1, "\xE5\x8F\xB0\xE6") + "\n" + MakeRollLine(HOT_DATE, 2, "20.2103");
    m_data.QueryHotChange(u"QV.F.CME.ES");
    EXPECT_EQ(ReadHotChange(), "210000\r\n1->\xE5\x8F\xB0\xEF\xBF\xBD\r\n2->20\r\n");
}

TEST_F(RollingDataTest, AnAnswerWithNothingUsableLeavesTheOldFileAndAsksNobodyElse) {
    UseServer();
    UseServer();
    WriteHotChange("old");
    for (const char* pszReply : {"Q", "\n", "no such line\n", "Q0"}) {
        m_host.Forget();
        m_strHotReply = pszReply;
        const std::size_t nAsked = m_server.GetTargets().size();
        m_data.QueryHotChange(u"QV.F.CME.ES");
        EXPECT_EQ(m_server.GetTargets().size(), nAsked + 1);
        EXPECT_EQ(ReadHotChange(), "old");
        EXPECT_THAT(
            m_host.GetSaid(),
            ElementsAre("WriteLog QueryHotChange. strSymbol=QV.F.CME.ES.", StartsWith("WriteLog QueryHotChange URL="),
                        "WriteLog QueryHotChange Empty.", "WriteLog QueryHotChange End. strSymbol=QV.F.CME.ES."));
    }
    m_strExpireReply = "Q";
    m_data.QueryExpireDate(u"QV.F.CME.ES");
    EXPECT_TRUE(m_host.HasLogged("QueryExpireDate Empty."));
}

TEST_F(RollingDataTest, WithAllServersFailingTheOldFileStaysAndNobodyIsTold) {
    UseServer();
    UseServer();
    WriteHotChange("old");
    m_server.SetAnswer("nothing here", 404);
    m_data.QueryHotChange(u"QV.F.CME.ES");
    m_data.QueryExpireDate(u"QV.F.CME.ES");
    EXPECT_EQ(ReadHotChange(), "old");
    EXPECT_THAT(
        m_host.GetSaid(),
        ElementsAre("WriteLog QueryHotChange. strSymbol=QV.F.CME.ES.", StartsWith("WriteLog QueryHotChange URL="),
                    "WriteLog QueryHotChange Fail. strMsg=Http STATUS_CODE Fail(404)",
                    StartsWith("WriteLog QueryHotChange URL="),
                    "WriteLog QueryHotChange Fail. strMsg=Http STATUS_CODE Fail(404)",
                    "WriteLog QueryHotChange End. strSymbol=QV.F.CME.ES.",
                    "WriteLog QueryExpireDate. strSymbol=QV.F.CME.ES.", StartsWith("WriteLog QueryHotChange URL="),
                    "WriteLog QueryExpireDate Fail. strMsg=Http STATUS_CODE Fail(404)",
                    StartsWith("WriteLog QueryHotChange URL="),
                    "WriteLog QueryExpireDate Fail. strMsg=Http STATUS_CODE Fail(404)",
                    "WriteLog QueryExpireDate End. strSymbol=QV.F.CME.ES."));
}

TEST_F(RollingDataTest, WithoutServersNothingIsAsked) {
    m_data.QueryHotChange(u"QV.F.CME.ES");
    EXPECT_THAT(m_host.GetSaid(), ElementsAre("WriteLog QueryHotChange. strSymbol=QV.F.CME.ES.",
                                              "WriteLog QueryHotChange End. strSymbol=QV.F.CME.ES."));
}

TEST_F(RollingDataTest, TheNextQueryBeginsWithTheServerThatAnsweredLast) {
    CAnsweringServer other;
    other.SetAnswer(m_strHotReply);
    const Text strDead = u"http://127.0.0.1:1/?";
    AppendServers(strDead + u"|" + other.GetUrl() + u"?|" + m_server.GetUrl() + u"?", m_server.GetUrl() + u"?");
    m_server.SetAnswer(m_strExpireReply);
    m_data.QueryHotChange(u"QV.F.CME.ES");
    EXPECT_THAT(m_host.GetLog(), Contains("QueryHotChange Fail. strMsg=InternetOpenUrl Fail, Error : 12029"));
    m_host.Forget();
    m_data.QueryHotChange(u"QV.F.CME.ES");
    EXPECT_THAT(m_host.GetLog(), Not(Contains(HasSubstr("Fail"))));
    EXPECT_EQ(other.GetTargets().size(), 2U);
    // The twin has a place of its own, and the walk goes round.
    m_data.QueryExpireDate(u"QV.F.CME.ES");
    EXPECT_EQ(m_server.GetTargets().size(), 1U);
    other.SetAnswer("", 500);
    m_server.SetAnswer("", 500);
    m_host.Forget();
    m_data.QueryHotChange(u"QV.F.CME.ES");
    EXPECT_THAT(m_host.GetLog(), ElementsAre(HasSubstr("strSymbol"), HasSubstr(Narrow(other.GetUrl())),
                                             HasSubstr("500"), HasSubstr(Narrow(m_server.GetUrl())), HasSubstr("500"),
                                             HasSubstr("127.0.0.1:1/"), HasSubstr("12029"), HasSubstr("End")));
}

TEST_F(RollingDataTest, ABaseUrlAndASymbolGoIntoTheUrlAsTheyStand) {
    AppendServers(m_server.GetUrl() + u"a/b?x=1&", u"");
    m_data.QueryHotChange(u"I.F.CME.ES");
    m_data.QueryHotChange(u"QV.O.QV.F.X");
    EXPECT_THAT(m_server.GetTargets(), ElementsAre(StartsWith("/a/b?x=1&p=I.F.CME.HOT&KEY=k1&Z="),
                                                   StartsWith("/a/b?x=1&p=LUM.QV.F.HOT&KEY=k1&opt=1&Z=")));
}

TEST_F(RollingDataTest, AFileThatCannotBeCreatedIsLoggedAndNobodyIsTold) {
    UseServer();
    std::filesystem::remove(m_folder.GetPath() / "Qvant/HotChange");
    std::filesystem::remove(m_folder.GetPath() / "Qvant/ExpireDate");
    m_data.QueryHotChange(u"QV.F.CME.ES");
    m_data.QueryExpireDate(u"QV.F.CME.ES");
    EXPECT_TRUE(m_host.HasLogged("QueryHotChange. OpenFile fail. strPath=" +
                                 GetPath("Qvant/HotChange/QV.F.CME.ES.HOT.txt") + ", GetLastError()=2."));
    EXPECT_TRUE(m_host.HasLogged("QueryExpireDate. OpenFile fail. strPath=" +
                                 GetPath("Qvant/ExpireDate/QV.F.CME.ES.txt") + ", GetLastError()=2."));
    EXPECT_THAT(m_host.GetSaid(), Not(Contains(StartsWith("SendTopic"))));
}

TEST_F(RollingDataTest, AFileThatCannotBeWrittenWholeLeavesNoneAndIsLoggedToo) {
    UseServer();
    WriteHotChange("old");
    for (int i = 0; i < 2'000; ++i) m_strHotReply += MakeRollLine(HOT_DATE, i, "202012") + "\n";
    const CFullDisk full(10'000);
    m_data.QueryHotChange(u"QV.F.CME.ES");
    EXPECT_TRUE(m_host.HasLogged("QueryHotChange. OpenFile fail. strPath=" +
                                 GetPath("Qvant/HotChange/QV.F.CME.ES.HOT.txt") + ", GetLastError()=27."));
    EXPECT_THAT(m_host.GetSaid(), Not(Contains(StartsWith("SendTopic"))));
    EXPECT_THAT(ListAll(), UnorderedElementsAre("Qvant", "Qvant/HotChange", "Qvant/ExpireDate"));
}

TEST_F(RollingDataTest, SymbolsThatAreNoFileNamesWriteNothingAnywhere) {
    UseServer();
    m_folder.Write("kept.txt", "kept");
    m_folder.Write("Qvant/kept.HOT.txt", "kept");
    const auto arBefore = ListAll();
    for (const Text& strSymbol :
         {Text(u"../kept"), Text(u"QV.F.CME./../kept"), Text(u"/../kept"), Text(u"QV.F.CME.E/S"), Text(u"..\\kept"),
          Text(u"QV.F.CME.E\x07S"), Text(u"QV.F.CME.E\nS"), Text(u"QV.F.CME.E\0S", 13), Text(u"QV.F.CME.E\x7FS")}) {
        m_host.Forget();
        m_data.QueryHotChange(strSymbol);
        m_data.QueryExpireDate(strSymbol);
        EXPECT_EQ(ListAll(), arBefore);
        EXPECT_THAT(m_host.GetSaid(), Not(Contains(StartsWith("SendTopic"))));
    }
    EXPECT_EQ(m_folder.Read("kept.txt"), "kept");
    EXPECT_EQ(m_folder.Read("Qvant/kept.HOT.txt"), "kept");
    m_host.Forget();
    m_data.QueryHotChange(u"QV.F.CME.E/S");
    EXPECT_TRUE(m_host.HasLogged("QueryHotChange. OpenFile fail. strPath=" +
                                 GetPath("Qvant/HotChange/QV.F.CME.E/S.HOT.txt") + ", GetLastError()=22."));
}

TEST_F(RollingDataTest, SymbolsOfAnyLengthAndShapeAreNoFault) {
    UseServer();
    m_data.QueryHotChange(u"");
    m_data.QueryHotChange(u"NODOTS");
    m_data.QueryHotChange(u"....");
    EXPECT_THAT(ListAll(),
                UnorderedElementsAre("Qvant", "Qvant/HotChange", "Qvant/ExpireDate", "Qvant/HotChange/.HOT.txt",
                                     "Qvant/HotChange/NODOTS....HOT.txt", "Qvant/HotChange/....HOT.txt"));
    m_data.QueryHotChange(u"QV.F.CME." + Text(1'000, u'E'));
    EXPECT_THAT(m_host.GetLog(), Contains(HasSubstr("GetLastError()=36.")));
    m_data.QueryHotChange(u"QV.F.CME." + Text(10'000, u'E'));
    EXPECT_THAT(ListAll(), Not(Contains(HasSubstr("EE"))));
}

TEST_F(RollingDataTest, ASymbolAddsNothingToTheRequestButItsUrl) {
    UseServer();
    m_data.QueryHotChange(u"QV.F.CME.ES HTTP/1.1\r\nX-Evil: 1\r\n\r\nGET /evil");
    for (const std::string& strTarget : m_server.GetTargets()) EXPECT_THAT(strTarget, Not(StartsWith("/evil")));
}

TEST_F(RollingDataTest, RepliesOfRandomBytesWriteNothingThatIsNoLine) {
    UseServer();
    std::mt19937 random(17);
    for (int i = 0; i < 50; ++i) {
        m_strHotReply.assign(1 + random() % 100'000, '\0');
        for (char& ch : m_strHotReply) ch = static_cast<char>(random());
        m_data.QueryHotChange(u"QV.F.CME.ES");
    }
    m_strHotReply = MakeRollLine(HOT_DATE, 20201211, "202103");
    m_data.QueryHotChange(u"QV.F.CME.ES");
    EXPECT_EQ(ReadHotChange(), "210000\r\n20201211->202103\r\n");
}

TEST_F(RollingDataTest, ALongReplyOfPlainTextIsAnAnswerWithoutALine) {
    UseServer();
    WriteHotChange("old");
    for (m_strHotReply.clear(); m_strHotReply.size() < 20'000'000;) m_strHotReply += "no line of any kind\n";
    m_data.QueryHotChange(u"QV.F.CME.ES");
    m_strHotReply.assign(20'000'000, 'x');
    m_data.QueryHotChange(u"QV.F.CME.ES");
    EXPECT_EQ(ReadHotChange(), "old");
    EXPECT_THAT(m_host.GetLog(), Contains("QueryHotChange Empty.").Times(2));
}

}  // namespace qvant::test

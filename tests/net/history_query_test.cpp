#include "net/history_query.h"

#include <random>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/format.h"
#include "net/gzip_file.h"
#include "net/net_doubles.h"
#include "net/net_fixture.h"
#include "net/scripted_server.h"
#include "platform/stop.h"
#include "support/history_reply.h"

namespace qvant::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

constexpr std::string_view JSON = R"({"data":[{"od":20201218,"sxd":0.5}]})";

TEST(EncodeCmdLineTest, LettersAndDigitsStay) { EXPECT_EQ(EncodeCmdLine(u"azAZ09"), u"azAZ09"); }

TEST(EncodeCmdLineTest, EachLineEndIsOneAndOtherWhiteSpaceIsAPlus) {
    EXPECT_EQ(EncodeCmdLine(u"a b\tc\vd\fe"), u"a+b+c+d+e");
    EXPECT_EQ(EncodeCmdLine(u"a\r\nb\n"), u"a%0A%0Ab%0A");
}

TEST(EncodeCmdLineTest, EveryOtherByteIsTwoUpperCaseDigits) {
    EXPECT_EQ(EncodeCmdLine(u"{\"s\":\"x.y\"}"), u"%7B%22s%22%3A%22x%2Ey%22%7D");
    EXPECT_EQ(EncodeCmdLine(u"_-~%+\u0001\u007F"), u"%5F%2D%7E%25%2B%01%7F");
}

TEST(EncodeCmdLineTest, OtherLettersGoByTheirUtf8Bytes) {
    EXPECT_EQ(EncodeCmdLine(u"\u00e9\u6ec3\U0001F600"), u"%C3%A9%E6%BB%83%F0%9F%98%80");
    EXPECT_EQ(EncodeCmdLine(TextView(u"\xD800", 1)), u"%EF%BF%BD");
}

TEST(EncodeCmdLineTest, NothingGivesNothing) { EXPECT_EQ(EncodeCmdLine(u""), u""); }

class HistoryQueryTest : public NetTest {
protected:
    HistoryReply Query(const std::vector<Text>& arServers) {
        return QueryHistory(
            {m_host, m_session, arServers, u"DoQueryTest Fail : ", [this] { return Format(u"r %d", ++m_nRequests); }},
            m_strError);
    }

    const CStillClock m_clock{{.nYear = 2026, .nMonth = 11, .nDay = 21}};
    CRememberingHost m_host;
    CSession m_session{m_clock};
    Text m_strError = u"before";
    int m_nRequests = 0;
};

TEST_F(HistoryQueryTest, TheFirstServerThatAnswersEndsTheWalk) {
    const auto pServer = CScriptedServer::Answering([](const std::string&) { return MakeReply("Banswer"); });
    const HistoryReply reply = Query({pServer->GetUrl(u"/h?"), pServer->GetUrl(u"/other?")});
    EXPECT_EQ(reply.GetBytes(), "Banswer");
    EXPECT_EQ(m_strError, u"");
    EXPECT_THAT(pServer->GetRequests(), ElementsAre(StartsWith("GET /h?cmdLine=r+1 HTTP/1.1\r\n")));
    EXPECT_THAT(m_host.m_arLines, ElementsAre(pServer->GetUrl(u"/h?cmdLine=r+1")));
}

TEST_F(HistoryQueryTest, EachFailureIsLoggedAndTheNextServerIsAskedWithARequestOfItsOwn) {
    const auto pServer = CScriptedServer::Answering([](const std::string& strRequest) {
        return strRequest.starts_with("GET /bad") ? MakeReply("no", "404 Not Found") : MakeReply("Bx");
    });
    const HistoryReply reply = Query({pServer->GetUrl(u"/bad?"), pServer->GetUrl(u"/good?")});
    EXPECT_EQ(reply.GetBytes(), "Bx");
    const Text strBad = pServer->GetUrl(u"/bad?cmdLine=r+1");
    EXPECT_THAT(m_host.m_arLines, ElementsAre(strBad, u"DoQueryTest Fail : Http STATUS_CODE Fail(404). " + strBad,
                                              pServer->GetUrl(u"/good?cmdLine=r+2")));
}

TEST_F(HistoryQueryTest, NoServerThatAnswersLeavesTheTextOfTheLastFailure) {
    const auto pServer = CScriptedServer::Answering([](const std::string& strRequest) {
        return MakeReply("", strRequest.starts_with("GET /a") ? "500 A" : "503 B");
    });
    const HistoryReply reply = Query({pServer->GetUrl(u"/a?"), pServer->GetUrl(u"/b?")});
    EXPECT_FALSE(reply);
    EXPECT_EQ(reply.GetBytes(), "");
    EXPECT_EQ(m_strError, u"Http STATUS_CODE Fail(503)");
}

TEST_F(HistoryQueryTest, WithoutServersNobodyIsAskedAndNothingIsLogged) {
    EXPECT_FALSE(Query({}));
    EXPECT_EQ(m_strError, u"");
    EXPECT_THAT(m_host.m_arLines, IsEmpty());
    EXPECT_EQ(m_nRequests, 0);
}

TEST_F(HistoryQueryTest, NoCompressionIsAskedForAndAGzipReplyIsLeftAsItIs) {
    const std::string strZipped = GzipBytes("x");
    const auto pServer = CScriptedServer::Answering([&](const std::string&) { return MakeReply(strZipped); });
    EXPECT_EQ(Query({pServer->GetUrl(u"/?")}).GetBytes(), strZipped);
    EXPECT_EQ(pServer->GetRequests().at(0).find("Accept-Encoding"), std::string::npos);
}

TEST_F(HistoryQueryTest, AStopEndsTheTransferAndTheWalk) {
    const CScriptedServer server([](CPeer& peer) { peer.WaitForClose(); });
    std::stop_source stop;
    const platform::CStopScope scope(stop.get_token());
    std::jthread stopper([&] {
        while (server.CountConnections() == 0) std::this_thread::yield();
        stop.request_stop();
    });
    EXPECT_FALSE(Query({server.GetUrl(u"/a?"), server.GetUrl(u"/b?")}));
    EXPECT_EQ(m_nRequests, 1);
}

class UnpackHistoryReplyTest : public NetTest {
protected:
    static std::string Unpack(std::string_view strReply) { return std::string(UnpackHistoryReply(strReply).strUtf8); }
    static std::string WithLength(std::string strReply, std::uint32_t nLength) {
        for (std::size_t i = 0; i < 4; ++i) strReply[1 + i] = static_cast<char>(nLength >> (8 * i));
        return strReply;
    }
};

TEST_F(UnpackHistoryReplyTest, GivesTheTextBehindTheMarker) {
    EXPECT_EQ(Unpack(MakeHistoryReply(JSON)), JSON);
    EXPECT_TRUE(m_folder.ListNames().empty());
}

TEST_F(UnpackHistoryReplyTest, TheTextEndsAtItsFirstNul) {
    EXPECT_EQ(Unpack(MakeHistoryReply(std::string_view("abc\0def", 7))), "abc");
    EXPECT_EQ(Unpack(MakeHistoryReply(std::string_view("\0", 1))), "");
}

TEST_F(UnpackHistoryReplyTest, ATextOfManyBlocksComesWhole) {
    std::string strText;
    for (int i = 0; i < 200'000; ++i) strText += std::to_string(i);
    EXPECT_TRUE(Unpack(MakeHistoryReply(strText)) == strText);
}

TEST_F(UnpackHistoryReplyTest, AnotherFirstByteGivesNothing) {
    std::string strReply = MakeHistoryReply(JSON);
    for (const char ch : {'b', 'A', '{', '\0'}) {
        strReply[0] = ch;
        EXPECT_EQ(Unpack(strReply), "");
    }
    EXPECT_EQ(Unpack(JSON), "");
}

TEST_F(UnpackHistoryReplyTest, NoBytesOrTooFewForALengthGiveNothing) {
    for (const std::string_view strReply : {"", "B", "B1", "B1234"}) EXPECT_EQ(Unpack(strReply), "");
}

TEST_F(UnpackHistoryReplyTest, AFalseLengthGivesNothing) {
    const std::string strReply = MakeHistoryReply(JSON);
    const auto nTrue = static_cast<std::uint32_t>(strReply.size() - 1);
    EXPECT_EQ(Unpack(WithLength(strReply, nTrue)), JSON);
    for (const std::uint32_t nLength : {0u, 1u, 4u, 5u, nTrue - 1, nTrue + 1, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        EXPECT_EQ(Unpack(WithLength(strReply, nLength)), "") << nLength;
    }
}

TEST_F(UnpackHistoryReplyTest, WhatLiesBehindTheDocumentIsNotLookedAt) {
    EXPECT_EQ(Unpack(MakeHistoryReply(JSON) + "more"), JSON);
}

TEST_F(UnpackHistoryReplyTest, ADocumentWithoutTheFieldGivesNothing) {
    const std::string strBinary = "\x01" + GzipBytes(JSON);
    EXPECT_EQ(Unpack("B" + MakeBson(strBinary, "e")), "");
    EXPECT_EQ(Unpack("B" + MakeBson(strBinary, "d", "zip")), "");
    EXPECT_EQ(Unpack(std::string_view("B\5\0\0\0\0", 6)), "") << "an empty document";
}

TEST_F(UnpackHistoryReplyTest, AFieldThatIsNotBinaryGivesNothing) {
    bson_t* pDocument = BCON_NEW("d", "{", "gzip", BCON_UTF8("text"), "}");
    const std::string strBson(reinterpret_cast<const char*>(bson_get_data(pDocument)), pDocument->len);
    bson_destroy(pDocument);
    EXPECT_EQ(Unpack("B" + strBson), "");
}

TEST_F(UnpackHistoryReplyTest, ABinaryFieldWithNothingBehindTheMarkerGivesNothing) {
    EXPECT_EQ(Unpack("B" + MakeBson("")), "");
    EXPECT_EQ(Unpack("B" + MakeBson("\x01")), "");
    EXPECT_EQ(Unpack(MakeHistoryReply("")), "");
}

TEST_F(UnpackHistoryReplyTest, ABrokenGzipGivesNothing) {
    std::string strZipped = GzipBytes(std::string(5'000, 'x') + std::string(JSON));
    EXPECT_EQ(Unpack(MakeReplyOfGzip(strZipped.substr(0, strZipped.size() - 4))), "") << "cut short";
    strZipped[12] = static_cast<char>(~strZipped[12]);
    EXPECT_EQ(Unpack(MakeReplyOfGzip(strZipped)), "");
}

TEST_F(UnpackHistoryReplyTest, BytesThatAreNoGzipAreTheTextThemselves) {
    EXPECT_EQ(Unpack(MakeReplyOfGzip("plain text")), "plain text");
}

TEST_F(UnpackHistoryReplyTest, AGzipThatHoldsTooMuchGivesNothing) {
    EXPECT_EQ(Unpack(MakeReplyOfGzip(GzipOfOneLetter(GUNZIP_MOST + 1))), "");
}

TEST_F(UnpackHistoryReplyTest, EveryCutAndEveryChangedByteIsSurvived) {
    const std::string strReply = MakeHistoryReply(JSON);
    for (std::size_t i = 0; i < strReply.size(); ++i) {
        EXPECT_EQ(Unpack(std::string_view(strReply).substr(0, i)), "") << i;
        std::string strChanged = strReply;
        strChanged[i] = static_cast<char>(~strChanged[i]);
        EXPECT_LE(Unpack(strChanged).size(), strReply.size() * 2) << i;
    }
}

TEST_F(UnpackHistoryReplyTest, RandomBytesBehindTheMarkAreSurvived) {
    std::mt19937 random(7);
    for (int i = 0; i < 20'000; ++i) {
        std::string strReply = "B";
        for (std::size_t nLeft = random() % 64; nLeft > 0; --nLeft) strReply.push_back(static_cast<char>(random()));
        // Half of them with a length and an end that let the reader in.
        if (strReply.size() > 5 && i % 2 == 0) {
            strReply = WithLength(strReply, static_cast<std::uint32_t>(strReply.size() - 1));
            strReply.back() = '\0';
        }
        EXPECT_EQ(Unpack(strReply), "");
    }
}

}  // namespace
}  // namespace qvant::test

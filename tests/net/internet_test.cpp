#include "platform/internet.h"

#include <chrono>
#include <future>
#include <thread>

#include <gmock/gmock.h>

#include "base/format.h"
#include "net/hanging_names.h"
#include "net/net_fixture.h"
#include "net/scripted_server.h"
#include "net/test_certificates.h"
#include "platform/internet_limits.h"
#include "platform/stop.h"
#include "support/stop_limit.h"

namespace qvant::test {
namespace {

using platform::CrackUrl;
using platform::UrlParts;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using ::testing::HasSubstr;

// --- addresses ---

TEST(CrackUrl, SplitsAnAddressIntoAllItsParts) {
    UrlParts parts;
    ASSERT_TRUE(CrackUrl(u"HTTP://joe:se:cret@server.example:8080/a/b.do?x=1#part", parts));
    EXPECT_EQ(parts.strScheme, u"http");
    EXPECT_EQ(parts.strUser, u"joe");
    EXPECT_EQ(parts.strPassword, u"se:cret");
    EXPECT_EQ(parts.strHost, u"server.example");
    EXPECT_EQ(parts.nPort, 8080);
    EXPECT_EQ(parts.strPath, u"/a/b.do");
    EXPECT_EQ(parts.strExtra, u"?x=1#part");
}

TEST(CrackUrl, KnowsTheDefaultPorts) {
    UrlParts parts;
    ASSERT_TRUE(CrackUrl(u"http://a", parts));
    EXPECT_EQ(parts.nPort, 80);
    EXPECT_EQ(parts.strPath, u"");
    ASSERT_TRUE(CrackUrl(u"https://a:/", parts));
    EXPECT_EQ(parts.nPort, 443);
}

TEST(CrackUrl, TakesTheBracketsOffAnIpv6Literal) {
    UrlParts parts;
    ASSERT_TRUE(CrackUrl(u"http://[::1]:81?x", parts));
    EXPECT_EQ(parts.strHost, u"::1");
    EXPECT_EQ(parts.nPort, 81);
    EXPECT_EQ(parts.strExtra, u"?x");
}

TEST(CrackUrl, RefusesWhatIsNoAddressAndLeavesThePartsAlone) {
    UrlParts parts;
    parts.strHost = u"before";
    for (const TextView strUrl :
         {u"", u"http://", u"server/a", u"http:/a", u"://a", u"http://a:b/", u"http://a:70000/", u"http://a:0/",
          u"http://[::1", u"http://[]/", u"http://a b/", u"h ttp://a/", u"http://:80/", u"http://[::1]x/"}) {
        EXPECT_FALSE(CrackUrl(strUrl, parts)) << Narrow(strUrl);
    }
    EXPECT_EQ(parts.strHost, u"before");
}

TEST(InternetErrors, HaveTextsOfTheirOwn) {
    for (const int nError :
         {12002, 12004, 12005, 12006, 12007, 12017, 12029, 12030, 12031, 12038, 12045, 12152, 12156, 12157}) {
        EXPECT_FALSE(platform::DescribeInternetError(nError).empty()) << nError;
    }
    EXPECT_TRUE(platform::DescribeInternetError(12001).empty());
    EXPECT_TRUE(platform::DescribeInternetError(0).empty());
}

// --- transfers ---

class Internet : public NetTest {
protected:
    ~Internet() override { platform::SetInternetLimits({}); }

    static int SendTo(const Text& strUrl) {
        platform::RequestOptions options;
        options.strUrl = strUrl;
        return platform::OpenRequest(options)->Send();
    }
    // Sends, reads to the end and gives the number that it ended with.
    static int ReadFrom(const Text& strUrl, std::string& strBody) {
        platform::RequestOptions options;
        options.strUrl = strUrl;
        const auto pRequest = platform::OpenRequest(options);
        int nError = pRequest->Send();
        std::size_t nBefore = 1;
        while (nError == platform::INTERNET_OK && strBody.size() != nBefore) {
            nBefore = strBody.size();
            nError = pRequest->Read(strBody, 10);
        }
        return nError;
    }
    static CScriptedServer::Handler Saying(std::string strBytes) {
        return [strBytes](CPeer& peer) {
            peer.ReadRequest();
            peer.Write(strBytes);
        };
    }
};

TEST_F(Internet, KeepsAConnectionForTheNextRequest) {
    const auto pServer = CScriptedServer::Answering([](const std::string&) { return MakeReply("x"); });
    for (int i = 0; i < 5; ++i) Fetch(pServer->GetUrl(u"/"));
    EXPECT_EQ(pServer->GetRequests().size(), 5u);
    EXPECT_EQ(pServer->CountConnections(), 1);
}

TEST_F(Internet, HandsAConnectionFromThreadToThread) {
    const auto pServer = CScriptedServer::Answering([](const std::string&) { return MakeReply("x"); });
    for (int i = 0; i < 3; ++i) std::thread([&] { Fetch(pServer->GetUrl(u"/")); }).join();
    EXPECT_EQ(pServer->CountConnections(), 1);
}

TEST_F(Internet, KeepsTheConnectionsOfSeveralServersInTurn) {
    const auto answer = [](const std::string&) { return MakeReply("x"); };
    const auto pA = CScriptedServer::Answering(answer);
    const auto pB = CScriptedServer::Answering(answer);
    for (int i = 0; i < 3; ++i) {
        Fetch(pA->GetUrl(u"/"));
        Fetch(pB->GetUrl(u"/"));
    }
    EXPECT_EQ(pA->CountConnections(), 1);
    EXPECT_EQ(pB->CountConnections(), 1);
}

TEST_F(Internet, ForgetsItsConnectionsWhenTold) {
    const auto pServer = CScriptedServer::Answering([](const std::string&) { return MakeReply("x"); });
    Fetch(pServer->GetUrl(u"/"));
    platform::CloseIdleConnections();
    Fetch(pServer->GetUrl(u"/"));
    EXPECT_EQ(pServer->CountConnections(), 2);
}

TEST_F(Internet, AsksAgainWhenAKeptConnectionTurnsOutClosed) {
    CScriptedServer server([](CPeer& peer) {
        peer.ReadRequest();
        peer.Write(MakeReply("once"));
    });
    EXPECT_EQ(Fetch(server.GetUrl(u"/")).GetContent(), "once");
    EXPECT_EQ(Fetch(server.GetUrl(u"/")).GetContent(), "once");
    EXPECT_EQ(server.CountConnections(), 2);
}

TEST_F(Internet, FetchesOnManyThreadsAtOnce) {
    const auto pServer = CScriptedServer::Answering([](const std::string&) { return MakeReply("x"); });
    std::atomic<int> nGood{0};
    std::vector<std::thread> arThreads;
    for (int i = 0; i < 8; ++i) {
        arThreads.emplace_back([&] {
            for (int k = 0; k < 20; ++k) nGood += Fetch(pServer->GetUrl(u"/"), true).GetContent() == "x";
        });
    }
    for (std::thread& thread : arThreads) thread.join();
    EXPECT_EQ(nGood, 160);
    EXPECT_LE(pServer->CountConnections(), 8);
}

TEST_F(Internet, ReadsABodyThatComesByteByByte) {
    CScriptedServer server([](CPeer& peer) {
        peer.ReadRequest();
        for (const char ch : std::string("HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nslowly")) peer.Write({&ch, 1});
    });
    std::string strBody;
    EXPECT_EQ(ReadFrom(server.GetUrl(u"/"), strBody), platform::INTERNET_OK);
    EXPECT_EQ(strBody, "slowly");
}

TEST_F(Internet, ReadsChunksAndLeavesTheirTrailersOut) {
    CScriptedServer server(
        Saying("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
               "5\r\nfirst\r\n7\r\n second\r\n0\r\nRefresh: 1\r\n\r\n"));
    EXPECT_EQ(Fetch(server.GetUrl(u"/")).GetContent(), "first second");
}

TEST_F(Internet, ReadsABodyThatEndsWithItsConnection) {
    CScriptedServer server(Saying("HTTP/1.0 200 OK\r\n\r\nold style"));
    EXPECT_EQ(Fetch(server.GetUrl(u"/")).GetContent(), "old style");
}

TEST_F(Internet, LooksPastInterimReplies) {
    CScriptedServer server(Saying("HTTP/1.1 103 Early Hints\r\nRefresh: 1\r\n\r\n" + MakeReply("final")));
    EXPECT_EQ(Fetch(server.GetUrl(u"/")).GetContent(), "final");
}

TEST_F(Internet, FindsHeadersWithoutRegardToCase) {
    const auto pServer = CScriptedServer::Answering(
        [](const std::string&) { return MakeReply("x", "203 Fine", "X-Thing:  value \r\n"); });
    platform::RequestOptions options;
    options.strUrl = pServer->GetUrl(u"/");
    const auto pRequest = platform::OpenRequest(options);
    EXPECT_EQ(pRequest->GetStatus(), 0);
    ASSERT_EQ(pRequest->Send(), platform::INTERNET_OK);
    Text strValue;
    EXPECT_EQ(pRequest->QueryHeader(u"x-thing", strValue), platform::INTERNET_OK);
    EXPECT_EQ(strValue, u"value");
    EXPECT_EQ(pRequest->QueryHeader(u"X-Thin", strValue), platform::INTERNET_NO_SUCH_HEADER);
    EXPECT_EQ(pRequest->GetStatus(), 203);
}

TEST_F(Internet, ReadsNoMoreThanItWasAskedFor) {
    const auto pServer = CScriptedServer::Answering([](const std::string&) { return MakeReply("0123456789"); });
    platform::RequestOptions options;
    options.strUrl = pServer->GetUrl(u"/");
    const auto pRequest = platform::OpenRequest(options);
    ASSERT_EQ(pRequest->Send(), platform::INTERNET_OK);
    std::string strBody;
    EXPECT_EQ(pRequest->Read(strBody, 4), platform::INTERNET_OK);
    EXPECT_EQ(strBody, "0123");
}

// --- redirects ---

std::string Redirect(const Text& strUrl) {
    return MakeReply("elsewhere", "302 Found", "Location: " + Narrow(strUrl) + "\r\n");
}

TEST_F(Internet, FollowsTenRedirects) {
    CScriptedServer* pSelf = nullptr;
    int nAsked = 0;
    const auto pServer = CScriptedServer::Answering(
        [&](const std::string&) { return ++nAsked <= 10 ? Redirect(pSelf->GetUrl(u"/next")) : MakeReply("arrived"); });
    pSelf = pServer.get();
    EXPECT_EQ(Fetch(pServer->GetUrl(u"/")).GetContent(), "arrived");
}

TEST_F(Internet, GivesUpAtTheEleventhRedirect) {
    CScriptedServer* pSelf = nullptr;
    const auto pServer =
        CScriptedServer::Answering([&](const std::string&) { return Redirect(pSelf->GetUrl(u"/next")); });
    pSelf = pServer.get();
    EXPECT_EQ(SendTo(pServer->GetUrl(u"/")), platform::INTERNET_TOO_MANY_REDIRECTS);
    EXPECT_EQ(pServer->GetRequests().size(), 11u);
}

TEST_F(Internet, FollowsNoRedirectOutOfHttp) {
    const auto pServer = CScriptedServer::Answering([](const std::string&) { return Redirect(u"file:///etc/passwd"); });
    EXPECT_EQ(SendTo(pServer->GetUrl(u"/")), platform::INTERNET_UNKNOWN_SCHEME);
}

// --- failures ---

TEST_F(Internet, TellsThatAReplyIsNoHttp) {
    CScriptedServer server(Saying("220 mail.example ready\r\n"));
    EXPECT_EQ(SendTo(server.GetUrl(u"/")), platform::INTERNET_NOT_HTTP);
}

TEST_F(Internet, TellsThatAConnectionWasClosedWithoutAReply) {
    CScriptedServer server(Saying(""));
    EXPECT_EQ(SendTo(server.GetUrl(u"/")), platform::INTERNET_CLOSED_EARLY);
}

TEST_F(Internet, TellsThatAConnectionWasClosedWithinTheHeaders) {
    for (const char* pszCut :
         {"HTTP/1.1 200 OK\r\n", "HTTP/1.1 200 OK\r\nA: b", "HTTP/1.1 302 Found\r\nLocation: /fur"}) {
        CScriptedServer server(Saying(pszCut));
        EXPECT_EQ(SendTo(server.GetUrl(u"/")), platform::INTERNET_CLOSED_EARLY) << pszCut;
    }
}

TEST_F(Internet, TellsThatAConnectionWasClosedWithinTheChunks) {
    CScriptedServer server(Saying("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nfir"));
    std::string strBody;
    EXPECT_EQ(ReadFrom(server.GetUrl(u"/"), strBody), platform::INTERNET_CLOSED_EARLY);
    EXPECT_EQ(strBody, "fir");
}

TEST_F(Internet, TellsThatChunksAreBroken) {
    CScriptedServer server(Saying("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\nfirst"));
    std::string strBody;
    EXPECT_EQ(ReadFrom(server.GetUrl(u"/"), strBody), platform::INTERNET_NOT_HTTP);
}

TEST_F(Internet, TellsThatAConnectionWasReset) {
    CScriptedServer server([](CPeer& peer) {
        peer.ReadRequest();
        peer.ResetAtEnd();
    });
    EXPECT_EQ(SendTo(server.GetUrl(u"/")), platform::INTERNET_RESET);
}

TEST_F(Internet, TellsThatANameHasNoAddress) {
    EXPECT_EQ(SendTo(u"http://no-such-name.invalid/"), platform::INTERNET_NAME_NOT_RESOLVED);
}

TEST_F(Internet, TellsWhatAnAddressLacks) {
    EXPECT_EQ(SendTo(u""), platform::INTERNET_BAD_URL);
    EXPECT_EQ(SendTo(u"http://"), platform::INTERNET_BAD_URL);
    EXPECT_EQ(SendTo(u"ftp://x/"), platform::INTERNET_UNKNOWN_SCHEME);
}

TEST_F(Internet, GivesUpAServerThatNeverAnswers) {
    platform::SetInternetLimits({.connect = milliseconds(60'000), .silence = milliseconds(60)});
    CScriptedServer server([](CPeer& peer) { peer.WaitForClose(); });
    EXPECT_EQ(SendTo(server.GetUrl(u"/")), platform::INTERNET_TIMEOUT);
}

TEST_F(Internet, GivesUpABodyThatStopsComing) {
    platform::SetInternetLimits({.connect = milliseconds(60'000), .silence = milliseconds(60)});
    CScriptedServer server([](CPeer& peer) {
        peer.ReadRequest();
        peer.Write("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc");
        peer.WaitForClose();
    });
    std::string strBody;
    EXPECT_EQ(ReadFrom(server.GetUrl(u"/"), strBody), platform::INTERNET_TIMEOUT);
    EXPECT_EQ(strBody, "abc");
}

TEST_F(Internet, GivesUpASecureChannelThatNeverOpens) {
    platform::SetInternetLimits({.connect = milliseconds(60), .silence = milliseconds(60'000)});
    CScriptedServer server([](CPeer& peer) { peer.WaitForClose(); });
    EXPECT_EQ(SendTo(server.GetUrl(u"/", u"https")), platform::INTERNET_TIMEOUT);
}

TEST_F(Internet, GivesAServerAMinuteToConnectAndHalfAMinuteBetweenBytes) {
    EXPECT_EQ(platform::GetInternetLimits().connect, milliseconds(60'000));
    EXPECT_EQ(platform::GetInternetLimits().silence, milliseconds(30'000));
}

// --- stops ---

// Tells the fetching thread to stop as soon as the server has seen `handler` through.
class StoppedInternet : public Internet {
protected:
    // @return what the fetch ended with; the time from the stop to its end must be short
    Fetched FetchUntil(CScriptedServer::Handler handler, TextView strScheme) {
        std::stop_source stop;
        std::atomic<steady_clock::time_point> stopped{};
        CScriptedServer server([&](CPeer& peer) {
            handler(peer);
            stopped = steady_clock::now();
            stop.request_stop();
            peer.WaitForClose();
        });
        const platform::CStopScope scope(stop.get_token());
        Fetched fetched = Fetch(server.GetUrl(u"/", strScheme));
        EXPECT_LT(steady_clock::now() - stopped.load(), STOP_LIMIT);
        return fetched;
    }
};

TEST_F(StoppedInternet, EndsTheWaitForAReplyAtOnce) {
    const Fetched fetched = FetchUntil([](CPeer& peer) { peer.ReadRequest(); }, u"http");
    EXPECT_EQ(fetched.strError, u"InternetOpenUrl Fail, Error : 12017");
}

TEST_F(StoppedInternet, EndsABodyAtOnce) {
    std::stop_source stop;
    std::promise<void> headersRead;
    CScriptedServer server([&](CPeer& peer) {
        peer.ReadRequest();
        peer.Write("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc");
        headersRead.get_future().wait();
        stop.request_stop();
        peer.WaitForClose();
    });
    const platform::CStopScope scope(stop.get_token());
    platform::RequestOptions options;
    options.strUrl = server.GetUrl(u"/");
    const auto pRequest = platform::OpenRequest(options);
    ASSERT_EQ(pRequest->Send(), platform::INTERNET_OK);
    headersRead.set_value();
    std::string strBody;
    int nError = platform::INTERNET_OK;
    while (nError == platform::INTERNET_OK) nError = pRequest->Read(strBody, 10);
    EXPECT_EQ(nError, platform::INTERNET_STOPPED);
    EXPECT_EQ(strBody, "abc");
}

TEST_F(StoppedInternet, EndsAHandshakeAtOnce) {
    // A store of one: reading the system's takes its time, and isn't what is measured here.
    setenv("SSL_CERT_FILE", m_folder.Write("store.pem", CAuthority().GetPem()).c_str(), 1);
    const Fetched fetched = FetchUntil([](CPeer& peer) { peer.WaitForBytes(); }, u"https");
    unsetenv("SSL_CERT_FILE");
    EXPECT_EQ(fetched.strError, u"HttpSendRequest Fail, Error : 12017");
}

TEST_F(StoppedInternet, EndsALookUpOfANameThatHangsAtOnce) {
    std::stop_source stop;
    std::atomic<steady_clock::time_point> stopped{};
    std::thread stopper([&] {
        WaitForHangingLookUp();
        stopped = steady_clock::now();
        stop.request_stop();
    });
    {
        const platform::CStopScope scope(stop.get_token());
        EXPECT_EQ(SendTo(Format(u"http://%s/", Widen(HANGING_NAME))), platform::INTERNET_STOPPED);
    }
    EXPECT_LT(steady_clock::now() - stopped.load(), STOP_LIMIT);
    stopper.join();
    ReleaseHangingLookUps();
}

TEST_F(StoppedInternet, StartsNothingAfterAStop) {
    const auto pServer = CScriptedServer::Answering([](const std::string&) { return MakeReply("x"); });
    std::stop_source stop;
    stop.request_stop();
    const platform::CStopScope scope(stop.get_token());
    EXPECT_EQ(SendTo(pServer->GetUrl(u"/")), platform::INTERNET_STOPPED);
    EXPECT_EQ(pServer->CountConnections(), 0);
}

TEST_F(StoppedInternet, LeavesTheNextTransferOnTheSameLaneAlone) {
    FetchUntil([](CPeer& peer) { peer.ReadRequest(); }, u"http");
    const auto pServer = CScriptedServer::Answering([](const std::string&) { return MakeReply("well"); });
    EXPECT_EQ(Fetch(pServer->GetUrl(u"/")).GetContent(), "well");
}

}  // namespace
}  // namespace qvant::test

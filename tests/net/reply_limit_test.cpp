/// A reply has no more memory than the installation gives it, however it grows.
#include <gmock/gmock.h>

#include "base/format.h"
#include "net/gzip_file.h"
#include "net/history_query.h"
#include "net/net_fixture.h"
#include "net/scripted_server.h"
#include "net/test_certificates.h"
#include "platform/internet_limits.h"
#include "support/history_reply.h"

namespace qvant::test {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr std::size_t LIMIT = 100'000;

class ReplyLimit : public NetTest {
protected:
    ReplyLimit() { platform::SetMostBody(LIMIT); }
    ~ReplyLimit() override { platform::SetInternetLimits({}); }

    static std::unique_ptr<CScriptedServer> Serve(const std::string& strReply) {
        return CScriptedServer::Answering([strReply](const std::string&) { return strReply; });
    }
    /// A server that sends a piece again and again until the client has enough.
    static CScriptedServer::Handler SendForEver(std::string strStart, std::string strPiece) {
        return [=](CPeer& peer) {
            peer.ReadRequest();
            if (!peer.Write(strStart)) return;
            while (peer.Write(strPiece)) {
            }
        };
    }
};

/// What a reply that breaks off in the middle is told with.
void ExpectBrokenOff(const Fetched& fetched, const char* pszLength = "") {
    EXPECT_FALSE(fetched.pReply);
    const std::string strError = Narrow(fetched.strError);
    EXPECT_THAT(strError, StartsWith("DoGetHttpQuery Fail, Info : InternetReadFile Fail, Error : 12030, pData="));
    EXPECT_THAT(strError, HasSubstr(std::string("nDataLen=") + pszLength));
    EXPECT_THAT(strError, HasSubstr("bSuccessed=0, strURL=http://127.0.0.1:"));
}

TEST(ReplyLimitDefault, IsHalfAGibibyte) { EXPECT_EQ(platform::GetInternetLimits().nMostBody, 536'870'912u); }

TEST_F(ReplyLimit, LetsAReplyOfExactlyItsLengthThrough) {
    const std::string strBody(LIMIT, 'x');
    EXPECT_EQ(Fetch(Serve(MakeReply(strBody))->GetUrl(u"/")).nLength, LIMIT + 1);
    const auto pChunked =
        Serve(Narrow(Format(u"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n%x\r\n%s\r\n0\r\n\r\n",
                            static_cast<std::uint32_t>(LIMIT), Widen(strBody))));
    EXPECT_EQ(Fetch(pChunked->GetUrl(u"/")).nLength, LIMIT + 1);
}

TEST_F(ReplyLimit, RefusesALongerReplyThatSaysSoBeforeAByteOfIt) {
    // Nothing follows the headers: who waits for a body waits for the test's end.
    CScriptedServer server([](CPeer& peer) {
        peer.ReadRequest();
        peer.Write("HTTP/1.1 200 OK\r\nContent-Length: 100001\r\n\r\n");
        peer.WaitForClose();
    });
    ExpectBrokenOff(Fetch(server.GetUrl(u"/")), "0, ");
    CScriptedServer huge([](CPeer& peer) {
        peer.ReadRequest();
        peer.Write("HTTP/1.1 200 OK\r\nContent-Length: 9000000000000000000\r\n\r\n");
        peer.WaitForClose();
    });
    ExpectBrokenOff(Fetch(huge.GetUrl(u"/")), "0, ");
}

TEST_F(ReplyLimit, TellsAStatusBeforeALength) {
    const auto pServer = Serve("HTTP/1.1 503 Busy\r\nContent-Length: 100001\r\n\r\n");
    EXPECT_EQ(Fetch(pServer->GetUrl(u"/")).strError, u"Http STATUS_CODE Fail(503)");
}

TEST_F(ReplyLimit, EndsAReplyThatGrowsByChunksForEver) {
    const std::string strChunk = "1000\r\n" + std::string(0x1000, 'x') + "\r\n";
    CScriptedServer server(SendForEver("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n", strChunk));
    ExpectBrokenOff(Fetch(server.GetUrl(u"/")));
}

TEST_F(ReplyLimit, EndsAReplyWithoutAnEnd) {
    CScriptedServer server(SendForEver("HTTP/1.1 200 OK\r\n\r\n", std::string(5'000, 'x')));
    ExpectBrokenOff(Fetch(server.GetUrl(u"/")));
}

TEST_F(ReplyLimit, EndsAReplyThatGrowsWhenItIsUnpacked) {
    const std::string strZipped = GzipOfOneLetter(LIMIT + 1);
    ASSERT_LT(strZipped.size(), LIMIT / 100);
    const Fetched fetched = Fetch(Serve(MakeReply(strZipped))->GetUrl(u"/"), true);
    ExpectBrokenOff(fetched, (std::to_string(strZipped.size()) + ", ").c_str());
    EXPECT_EQ(fetched.nLength, 0u);
    const Fetched longest = Fetch(Serve(MakeReply(GzipOfOneLetter(LIMIT)))->GetUrl(u"/"), true);
    EXPECT_EQ(longest.nLength, LIMIT + 1);
}

TEST_F(ReplyLimit, LetsABrokenGzipStayUntold) {
    std::string strZipped = GzipBytes(std::string(500, 'z') + "tail");
    strZipped[15] = static_cast<char>(~strZipped[15]);
    const Fetched fetched = Fetch(Serve(MakeReply(strZipped))->GetUrl(u"/"), true);
    EXPECT_FALSE(fetched.pReply);
    EXPECT_EQ(fetched.strError, u"untouched");
}

TEST_F(ReplyLimit, NeverGoesAboveThatOfUnpackedContent) {
    platform::SetMostBody(GUNZIP_MOST * 4);
    const Fetched fetched = Fetch(Serve(MakeReply(GzipOfOneLetter(GUNZIP_MOST + 1)))->GetUrl(u"/"), true);
    ExpectBrokenOff(fetched);
}

TEST_F(ReplyLimit, HoldsForTheHistoryServersUnpackedText) {
    EXPECT_EQ(UnpackHistoryReply(MakeReplyOfGzip(GzipOfOneLetter(LIMIT))).strUtf8.size(), LIMIT);
    EXPECT_EQ(UnpackHistoryReply(MakeReplyOfGzip(GzipOfOneLetter(LIMIT + 1))).strUtf8, "");
}

TEST_F(ReplyLimit, HoldsForSecureReplies) {
    const CAuthority authority;
    setenv("SSL_CERT_FILE", m_folder.Write("store.pem", authority.GetPem()).c_str(), 1);
    const ContextPointer pContext = authority.MakeServer({});
    {
        CScriptedServer server(SendForEver("HTTP/1.1 200 OK\r\n\r\n", std::string(5'000, 'x')), pContext.get());
        EXPECT_THAT(Narrow(Fetch(server.GetUrl(u"/", u"https")).strError),
                    HasSubstr("Info : SSL InternetReadFile Fail, Error : 12030, pData="));
    }
    unsetenv("SSL_CERT_FILE");
}

TEST_F(ReplyLimit, LeavesTheNextRequestToTheSameServerAlone) {
    int nRequests = 0;
    const auto pServer = CScriptedServer::Answering(
        [&](const std::string&) { return MakeReply(std::string(++nRequests == 1 ? LIMIT + 1 : 3, 'b')); });
    ExpectBrokenOff(Fetch(pServer->GetUrl(u"/")), "0, ");
    EXPECT_EQ(Fetch(pServer->GetUrl(u"/")).GetContent(), "bbb");
}

TEST_F(ReplyLimit, EndsHeadersWithoutAnEnd) {
    CScriptedServer server(SendForEver("HTTP/1.1 200 OK\r\n", "X-More: " + std::string(1'000, 'x') + "\r\n"));
    EXPECT_THAT(Narrow(Fetch(server.GetUrl(u"/")).strError), StartsWith("InternetOpenUrl Fail, Error : 120"));
    CScriptedServer interim(
        SendForEver("", "HTTP/1.1 103 Early Hints\r\nLink: " + std::string(1'000, 'x') + "\r\n\r\n"));
    EXPECT_THAT(Narrow(Fetch(interim.GetUrl(u"/")).strError), StartsWith("InternetOpenUrl Fail, Error : 120"));
}

TEST_F(ReplyLimit, LeavesPlacesThatAreNoHttpServersAlone) {
    m_folder.Write("local", "of the user");
    for (const std::string& strPlace : {"file://" + m_folder.GetPath() + "/local", std::string("ftp://127.0.0.1/x"),
                                        std::string("dict://127.0.0.1:1/x")}) {
        const auto pServer = Serve("HTTP/1.1 302 Found\r\nLocation: " + strPlace + "\r\nContent-Length: 0\r\n\r\n");
        const Fetched fetched = Fetch(pServer->GetUrl(u"/"));
        EXPECT_FALSE(fetched.pReply) << strPlace;
        EXPECT_THAT(Narrow(fetched.strError), StartsWith("InternetOpenUrl Fail, Error : 120")) << strPlace;
    }
}

}  // namespace
}  // namespace qvant::test

#include "net/proxy_session.h"

#include <gmock/gmock.h>

#include "base/format.h"
#include "net/net_fixture.h"
#include "net/scripted_server.h"
#include "net/test_certificates.h"
#include "net/tinyproxy.h"

namespace qvant::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

// The process-wide state goes back to where it starts.
class ProxySession : public NetTest {
protected:
    ~ProxySession() override { g_nProxyAuthState = 0; }

    static ProxySettings Settings(const CTinyproxy& proxy, Text strAccount = {}, Text strPassword = {}) {
        return {u"127.0.0.1", proxy.GetPort(), std::move(strAccount), std::move(strPassword)};
    }

    std::unique_ptr<CScriptedServer> m_pServer =
        CScriptedServer::Answering([](const std::string&) { return MakeReply("through"); });
};

TEST_F(ProxySession, StartsWithoutAQuestion) { EXPECT_EQ(g_nProxyAuthState, 0); }

TEST_F(ProxySession, FetchesThroughAnOpenProxyAsAnotherAgent) {
    const CTinyproxy proxy(m_folder.GetPath(), "");
    EXPECT_EQ(Fetch(m_pServer->GetUrl(u"/"), false, Settings(proxy)).GetContent(), "through");
    EXPECT_THAT(m_pServer->GetRequests().at(0), HasSubstr("User-Agent: Example\r\n"));
    EXPECT_THAT(m_pServer->GetRequests().at(0), HasSubstr("Via:"));
}

TEST_F(ProxySession, NeverSendsThePasswordWhileTheStateIsZero) {
    const CTinyproxy proxy(m_folder.GetPath(), "joe secret");
    const Fetched fetched = Fetch(m_pServer->GetUrl(u"/"), false, Settings(proxy, u"joe", u"secret"));
    EXPECT_EQ(fetched.strError, u"Http STATUS_CODE Fail(407)");
    EXPECT_EQ(m_pServer->CountConnections(), 0);
}

TEST_F(ProxySession, SendsThePasswordWhenTheStateIsOne) {
    const CTinyproxy proxy(m_folder.GetPath(), "joe secret");
    g_nProxyAuthState = 1;
    const Fetched fetched = Fetch(m_pServer->GetUrl(u"/"), false, Settings(proxy, u"joe", u"secret"));
    EXPECT_EQ(fetched.strError, u"untouched");
    EXPECT_EQ(fetched.GetContent(), "through");
    EXPECT_THAT(m_pServer->GetRequests().at(0), Not(HasSubstr("Proxy-Authorization")));
}

TEST_F(ProxySession, LearnsFromTheProbeThatTheProxyWantsAPassword) {
    const CTinyproxy proxy(m_folder.GetPath(), "joe secret");
    g_nProxyAuthState = -1;
    const Fetched fetched = Fetch(m_pServer->GetUrl(u"/"), false, Settings(proxy, u"joe", u"secret"));
    EXPECT_EQ(g_nProxyAuthState, 1);
    EXPECT_EQ(fetched.GetContent(), "through");
}

TEST_F(ProxySession, LearnsFromTheProbeOfASecureUrlThatTheProxyWantsAPassword) {
    const CAuthority authority;
    setenv("SSL_CERT_FILE", m_folder.Write("store.pem", authority.GetPem()).c_str(), 1);
    const ContextPointer pContext = authority.MakeServer({});
    const auto pSecure =
        CScriptedServer::Answering([](const std::string&) { return MakeReply("tunnel"); }, pContext.get());
    const CTinyproxy proxy(m_folder.GetPath(), "joe secret");
    g_nProxyAuthState = -1;
    const Fetched fetched = Fetch(pSecure->GetUrl(u"/", u"https"), false, Settings(proxy, u"joe", u"secret"));
    unsetenv("SSL_CERT_FILE");
    EXPECT_EQ(g_nProxyAuthState, 1);
    EXPECT_EQ(fetched.GetContent(), "tunnel");
    EXPECT_THAT(pSecure->GetRequests().at(0), Not(HasSubstr("Proxy-Authorization")));
}

TEST_F(ProxySession, ProbesWithTheUrlsPathAloneOnTheDefaultPort) {
    const auto pProxy = CScriptedServer::Answering([](const std::string&) { return MakeReply("open"); });
    g_nProxyAuthState = -1;
    const ProxySettings settings{u"127.0.0.1", pProxy->GetPort(), u"joe", u"secret"};
    EXPECT_EQ(Fetch(u"http://server.example:8080/doc?x=1", false, settings).GetContent(), "open");
    EXPECT_EQ(g_nProxyAuthState, 0);
    EXPECT_THAT(pProxy->GetRequests().at(0), HasSubstr("GET http://server.example/doc HTTP/1.1"));
    EXPECT_THAT(pProxy->GetRequests().at(1), HasSubstr("GET http://server.example:8080/doc?x=1 HTTP/1.1"));
    EXPECT_THAT(pProxy->GetRequests().at(1), Not(HasSubstr("Proxy-Authorization")));
}

TEST_F(ProxySession, AnswersAServersOwnQuestionInTheProbe) {
    const auto pProxy = CScriptedServer::Answering([](const std::string& strRequest) {
        const bool bKnown = strRequest.find("\r\nAuthorization: Basic am9lOnNlY3JldA==") != std::string::npos;
        return bKnown ? MakeReply("in") : MakeReply("who?", "401 Unauthorized", "WWW-Authenticate: Basic realm=x\r\n");
    });
    g_nProxyAuthState = -1;
    int nError = 0;
    const ProxySettings settings{u"127.0.0.1", pProxy->GetPort(), u"joe", u"secret"};
    const auto session = OpenProxySession(u"http://server.example/", settings, nError);
    ASSERT_TRUE(session);
    EXPECT_EQ(g_nProxyAuthState, 1);
    EXPECT_EQ(session->proxy->strAccount, u"joe");
    EXPECT_EQ(pProxy->GetRequests().size(), 2u);
}

TEST_F(ProxySession, SkipsTheProbeWithoutAnAccount) {
    const auto pProxy = CScriptedServer::Answering([](const std::string&) { return MakeReply("open"); });
    g_nProxyAuthState = -1;
    const ProxySettings settings{u"127.0.0.1", pProxy->GetPort(), u"", u"secret"};
    Fetch(u"http://server.example/doc", false, settings);
    EXPECT_EQ(g_nProxyAuthState, -1);
    EXPECT_EQ(pProxy->GetRequests().size(), 1u);
}

TEST_F(ProxySession, GivesNoSessionWhenTheProbeFails) {
    g_nProxyAuthState = -1;
    const ProxySettings settings{u"127.0.0.1", FindFreePort(), u"joe", u"secret"};
    EXPECT_EQ(Fetch(m_pServer->GetUrl(u"/"), false, settings).strError, u"InternetOpen Fail, Error : 12029");
    EXPECT_EQ(g_nProxyAuthState, -1);
}

}  // namespace
}  // namespace qvant::test

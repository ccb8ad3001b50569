#include "net/scripted_server.h"

#include <algorithm>
#include <csignal>
#include <stdexcept>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "base/format.h"

namespace qvant::test {

namespace {

int Listen(std::uint16_t& nPort) {
    const int nSocket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t nSize = sizeof(address);
    auto* const pAddress = reinterpret_cast<sockaddr*>(&address);
    if (bind(nSocket, pAddress, nSize) != 0 || listen(nSocket, 64) != 0) throw std::runtime_error("no local port");
    getsockname(nSocket, pAddress, &nSize);
    nPort = ntohs(address.sin_port);
    return nSocket;
}

}  // namespace

CPeer::CPeer(int nSocket, SSL_CTX* pContext) : m_nSocket(nSocket) {
    if (!pContext) return;
    m_pSsl = SSL_new(pContext);
    SSL_set_fd(m_pSsl, nSocket);
}

CPeer::~CPeer() {
    if (m_pSsl) SSL_shutdown(m_pSsl);
    SSL_free(m_pSsl);
}

bool CPeer::Accept() { return !m_pSsl || SSL_accept(m_pSsl) == 1; }

long CPeer::Receive(char* pBytes, std::size_t nMost) {
    if (m_pSsl) return SSL_read(m_pSsl, pBytes, static_cast<int>(nMost));
    return recv(m_nSocket, pBytes, nMost, 0);
}

std::optional<std::string> CPeer::ReadRequest() {
    for (;;) {
        const std::size_t nEnd = m_strPending.find("\r\n\r\n");
        if (nEnd != std::string::npos) {
            std::string strRequest = m_strPending.substr(0, nEnd + 4);
            m_strPending.erase(0, nEnd + 4);
            return strRequest;
        }
        char block[4096];
        const long nRead = Receive(block, sizeof(block));
        if (nRead <= 0) return std::nullopt;
        m_strPending.append(block, static_cast<std::size_t>(nRead));
    }
}

void CPeer::WaitForBytes() {
    char block[4096];
    const long nRead = Receive(block, sizeof(block));
    if (nRead > 0) m_strPending.append(block, static_cast<std::size_t>(nRead));
}

bool CPeer::Write(std::string_view strBytes) {
    while (!strBytes.empty()) {
        const long nWritten = m_pSsl ? SSL_write(m_pSsl, strBytes.data(), static_cast<int>(strBytes.size()))
                                     : send(m_nSocket, strBytes.data(), strBytes.size(), MSG_NOSIGNAL);
        if (nWritten <= 0) return false;
        strBytes.remove_prefix(static_cast<std::size_t>(nWritten));
    }
    return true;
}

void CPeer::WaitForClose() {
    char block[4096];
    while (Receive(block, sizeof(block)) > 0) {
    }
}

void CPeer::ResetAtEnd() {
    const linger now{.l_onoff = 1, .l_linger = 0};
    setsockopt(m_nSocket, SOL_SOCKET, SO_LINGER, &now, sizeof(now));
}

CScriptedServer::CScriptedServer(Handler handler, SSL_CTX* pContext)
    : m_handler(std::move(handler)), m_pContext(pContext) {
    std::signal(SIGPIPE, SIG_IGN);
    m_nListener = Listen(m_nPort);
    m_thread = std::thread([this] { Serve(); });
}

CScriptedServer::~CScriptedServer() {
    shutdown(m_nListener, SHUT_RDWR);
    m_thread.join();
    {
        const std::lock_guard lock(m_mutex);
        for (const int nSocket : m_arSockets) shutdown(nSocket, SHUT_RDWR);
    }
    for (std::thread& thread : m_arThreads) thread.join();
    close(m_nListener);
}

std::unique_ptr<CScriptedServer> CScriptedServer::Answering(Answer answer, SSL_CTX* pContext) {
    const auto ppServer = std::make_shared<std::atomic<CScriptedServer*>>(nullptr);
    auto pServer = std::make_unique<CScriptedServer>(
        [answer = std::move(answer), ppServer](CPeer& peer) {
            while (const auto request = peer.ReadRequest()) {
                if (CScriptedServer* pOwner = ppServer->load()) pOwner->NoteRequest(*request);
                if (!peer.Write(answer(*request))) return;
            }
        },
        pContext);
    *ppServer = pServer.get();
    return pServer;
}

Text CScriptedServer::GetUrl(TextView strObject, TextView strScheme) const {
    return Format(u"%s://127.0.0.1:%d%s", strScheme, m_nPort, strObject);
}

std::vector<std::string> CScriptedServer::GetRequests() const {
    const std::lock_guard lock(m_mutex);
    return m_arRequests;
}

void CScriptedServer::NoteRequest(const std::string& strRequest) {
    const std::lock_guard lock(m_mutex);
    m_arRequests.push_back(strRequest);
}

void CScriptedServer::Serve() {
    for (;;) {
        const int nSocket = accept4(m_nListener, nullptr, nullptr, SOCK_CLOEXEC);
        if (nSocket < 0) return;
        ++m_nConnections;
        const std::lock_guard lock(m_mutex);
        m_arSockets.push_back(nSocket);
        m_arThreads.emplace_back([this, nSocket] { ServeOne(nSocket); });
    }
}

void CScriptedServer::ServeOne(int nSocket) {
    {
        CPeer peer(nSocket, m_pContext);
        if (peer.Accept()) m_handler(peer);
    }
    const std::lock_guard lock(m_mutex);
    std::erase(m_arSockets, nSocket);
    close(nSocket);
}

std::string MakeReply(std::string_view strBody, std::string_view strStatus, std::string_view strHeaders) {
    return std::string("HTTP/1.1 ")
        .append(strStatus)
        .append("\r\n")
        .append(strHeaders)
        .append("Content-Length: ")
        .append(std::to_string(strBody.size()))
        .append("\r\n\r\n")
        .append(strBody);
}

std::uint16_t FindFreePort() {
    std::uint16_t nPort = 0;
    close(Listen(nPort));
    return nPort;
}

}  // namespace qvant::test

#include "http_server.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qvant::refserver {

namespace {

constexpr std::size_t MostClients = 512;
constexpr std::chrono::milliseconds BusyPause(20);

[[noreturn]] void Refuse(const std::string& strAddress, std::uint16_t nPort, const std::string& strWhy) {
    throw std::runtime_error("can't listen on " + strAddress + ":" + std::to_string(nPort) + ": " + strWhy);
}

int Listen(const std::string& strAddress, std::uint16_t nPort) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(nPort);
    if (inet_pton(AF_INET, strAddress.c_str(), &address.sin_addr) != 1) {
        Refuse(strAddress, nPort, "not a numeric IPv4 address");
    }
    const int hListen = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int nOn = 1;
    if (hListen < 0) Refuse(strAddress, nPort, std::strerror(errno));
    setsockopt(hListen, SOL_SOCKET, SO_REUSEADDR, &nOn, sizeof nOn);
    if (bind(hListen, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(hListen, SOMAXCONN) != 0) {
        const std::string strWhy = std::strerror(errno);
        close(hListen);
        Refuse(strAddress, nPort, strWhy);
    }
    return hListen;
}

std::uint16_t PortOf(int hListen) {
    sockaddr_in address{};
    socklen_t nSize = sizeof address;
    getsockname(hListen, reinterpret_cast<sockaddr*>(&address), &nSize);
    return ntohs(address.sin_port);
}

void ServeClient(int hSocket, const CStopSignal& stop, const CHttpServer::Exchange& exchange) {
    CConnection connection(hSocket, stop);
    HttpRequest request;
    for (;;) {
        const auto state = ReadRequest(connection, request);
        if (state == RequestState::Bad) {
            const auto reply = MakeReply(400, "{\"error\":\"not an HTTP/1.1 request\"}");
            connection.Write(FormatHead(reply, false) + *reply.body);
        }
        if (state != RequestState::Complete || !exchange(connection, request)) return;
    }
}

}  // namespace

CHttpServer::CHttpServer(const std::string& strAddress, std::uint16_t nPort, const CStopSignal& stop)
    : m_stop(stop), m_hListen(Listen(strAddress, nPort)), m_nPort(PortOf(m_hListen)) {}

CHttpServer::~CHttpServer() { close(m_hListen); }

void CHttpServer::Run(const Exchange& exchange) {
    for (;;) {
        pollfd entries[] = {{m_hListen, POLLIN, 0}, {m_stop.GetHandle(), POLLIN, 0}};
        if (poll(entries, 2, -1) < 0 && errno != EINTR) break;
        if (m_stop.IsRaised()) break;
        ReapClients();
        // At the limit new clients wait in the listen queue until one goes.
        if (m_listClients.size() >= MostClients) {
            m_stop.WaitFor(BusyPause);
            continue;
        }
        const int hSocket = accept4(m_hListen, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (hSocket >= 0) {
            StartClient(hSocket, exchange);
        } else if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED) {
            m_stop.WaitFor(BusyPause);  // out of handles, say: a client that leaves will free one
        }
    }
    for (auto& client : m_listClients) client.thread.join();
    m_listClients.clear();
}

void CHttpServer::StartClient(int hSocket, const Exchange& exchange) {
    // Replies are written whole, and a slow drip has to leave at once: nothing is gained by waiting for more bytes.
    const int nOn = 1;
    setsockopt(hSocket, IPPROTO_TCP, TCP_NODELAY, &nOn, sizeof nOn);
    auto& client = m_listClients.emplace_back();
    try {
        client.thread = std::thread([this, hSocket, &exchange, &client] {
            pthread_setname_np(pthread_self(), "client");
            ServeClient(hSocket, m_stop, exchange);
            client.bDone = true;
        });
    } catch (const std::system_error&) {
        m_listClients.pop_back();
        close(hSocket);
    }
}

void CHttpServer::ReapClients() {
    m_listClients.remove_if([](Client& client) {
        if (!client.bDone) return false;
        client.thread.join();
        return true;
    });
}

}  // namespace qvant::refserver

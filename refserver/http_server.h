/// The listening socket, and a thread for each client.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <string>
#include <thread>

#include "http_message.h"
#include "stop_signal.h"

namespace qvant::refserver {

class CHttpServer {
public:
    /// Answers one request on its connection; called on the client's thread, by many threads at once.
    /// @return whether the connection can take another request
    using Exchange = std::function<bool(CConnection&, const HttpRequest&)>;

    /// Binds and listens.
    /// @param strAddress  numeric IPv4 address
    /// @param nPort       0: any free one
    /// @throw std::runtime_error  the address or the port can't be had; the text names them
    CHttpServer(const std::string& strAddress, std::uint16_t nPort, const CStopSignal& stop);
    ~CHttpServer();
    CHttpServer(const CHttpServer&) = delete;
    CHttpServer& operator=(const CHttpServer&) = delete;

    std::uint16_t GetPort() const { return m_nPort; }

    /// Serves until the program stops; every client thread has ended when it returns.
    void Run(const Exchange& exchange);

private:
    struct Client {
        std::thread thread;
        std::atomic<bool> bDone = false;
    };

    void StartClient(int hSocket, const Exchange& exchange);
    void ReapClients();

    const CStopSignal& m_stop;
    int m_hListen;
    std::uint16_t m_nPort = 0;
    std::list<Client> m_listClients;
};

}  // namespace qvant::refserver

/// A server on a local port that answers as a test tells it, over plain sockets or TLS, and keeps what it was asked.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <openssl/ssl.h>

#include "base/text.h"

namespace qvant::test {

/// One accepted connection. Belongs to its handler.
class CPeer {
public:
    CPeer(int nSocket, SSL_CTX* pContext);
    ~CPeer();
    CPeer(const CPeer&) = delete;
    CPeer& operator=(const CPeer&) = delete;

    /// @return false when the client refuses the certificate
    bool Accept();
    /// The next request, headers only; nothing when the client has gone.
    std::optional<std::string> ReadRequest();
    /// Waits for the first bytes of whatever the client sends.
    void WaitForBytes();
    bool Write(std::string_view strBytes);
    /// Waits until the client closes its end.
    void WaitForClose();
    /// The connection will end in a reset instead of an orderly close.
    void ResetAtEnd();

private:
    long Receive(char* pBytes, std::size_t nMost);

    int m_nSocket;
    SSL* m_pSsl = nullptr;
    std::string m_strPending;
};

class CScriptedServer {
public:
    using Handler = std::function<void(CPeer& peer)>;
    /// Gives the reply to one request; the connection is kept open behind it.
    using Answer = std::function<std::string(const std::string& strRequest)>;

    /// @param pContext  a TLS context to serve with, which must outlive the server; null for plain sockets
    explicit CScriptedServer(Handler handler, SSL_CTX* pContext = nullptr);
    ~CScriptedServer();

    /// A server that keeps its connections and answers each request.
    static std::unique_ptr<CScriptedServer> Answering(Answer answer, SSL_CTX* pContext = nullptr);

    std::uint16_t GetPort() const { return m_nPort; }
    Text GetUrl(TextView strObject, TextView strScheme = u"http") const;
    int CountConnections() const { return m_nConnections; }
    std::vector<std::string> GetRequests() const;
    void NoteRequest(const std::string& strRequest);

private:
    void Serve();
    void ServeOne(int nSocket);

    const Handler m_handler;
    SSL_CTX* const m_pContext;
    int m_nListener = -1;
    std::uint16_t m_nPort = 0;
    std::atomic<int> m_nConnections{0};
    mutable std::mutex m_mutex;
    std::vector<int> m_arSockets;
    std::vector<std::string> m_arRequests;
    std::list<std::thread> m_arThreads;
    std::thread m_thread;
};

/// A reply with its length in front.
std::string MakeReply(std::string_view strBody, std::string_view strStatus = "200 OK",
                      std::string_view strHeaders = "");

/// A port on which nobody listens.
std::uint16_t FindFreePort();

}  // namespace qvant::test

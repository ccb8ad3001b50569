/// A real HTTP server on loopback that answers each query as a test tells it, and remembers what was asked.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <httplib.h>

#include "base/text.h"
#include "platform/internet.h"

namespace qvant::test {

class CAnsweringServer {
public:
    /// The body for a target, query string included.
    using Answer = std::function<std::string(const std::string& strTarget)>;

    explicit CAnsweringServer(Answer answer = [](const std::string&) { return std::string(); })
        : m_answer(std::move(answer)) {
        m_server.set_tcp_nodelay(true);
        m_server.Get(".*", [this](const httplib::Request& request, httplib::Response& response) {
            std::unique_lock lock(m_mutex);
            m_arTargets.push_back(request.target);
            m_changed.notify_all();
            m_changed.wait(lock, [this] { return !m_bHang; });
            response.status = m_nStatus;
            response.set_content(m_answer(request.target), m_strType);
        });
        m_nPort = m_server.bind_to_any_port("127.0.0.1");
        m_thread = std::thread([this] { m_server.listen_after_bind(); });
        while (!m_server.is_running()) std::this_thread::yield();
    }
    ~CAnsweringServer() {
        Release();
        // A connection that the client keeps would hold the server's thread until its own time-out.
        platform::CloseIdleConnections();
        m_server.stop();
        m_thread.join();
    }
    CAnsweringServer(const CAnsweringServer&) = delete;
    CAnsweringServer& operator=(const CAnsweringServer&) = delete;

    /// "http://127.0.0.1:PORT/"
    Text GetUrl() const { return Widen("http://127.0.0.1:" + std::to_string(m_nPort) + "/"); }

    void SetAnswer(std::string strBody, int nStatus = 200) {
        const std::lock_guard lock(m_mutex);
        m_answer = [strBody = std::move(strBody)](const std::string&) { return strBody; };
        m_nStatus = nStatus;
    }
    void SetAnswers(Answer answer) {
        const std::lock_guard lock(m_mutex);
        m_answer = std::move(answer);
        m_nStatus = 200;
    }
    /// Further answers go out as they are, also to who takes compressed ones.
    void SendPlain() {
        const std::lock_guard lock(m_mutex);
        m_strType = "application/octet-stream";
    }
    /// Further queries hang until the server ends or `Release` is called.
    void Hang() {
        const std::lock_guard lock(m_mutex);
        m_bHang = true;
    }
    void Release() {
        const std::lock_guard lock(m_mutex);
        m_bHang = false;
        m_changed.notify_all();
    }

    std::vector<std::string> GetTargets() const {
        const std::lock_guard lock(m_mutex);
        return m_arTargets;
    }
    void WaitForQuery() const { WaitForQueries(1); }
    /// Waits until so many queries have come in all.
    void WaitForQueries(std::size_t nCount) const {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_arTargets.size() >= nCount; });
    }

private:
    httplib::Server m_server;
    int m_nPort = 0;
    std::thread m_thread;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    Answer m_answer;
    int m_nStatus = 200;
    bool m_bHang = false;
    std::string m_strType = "application/json";  // which the server compresses
    std::vector<std::string> m_arTargets;
};

}  // namespace qvant::test

/// What the tests of the latency test share: servers that answer when they are told to, a host that can be waited for,
/// and a clock that stands where the test puts it.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>

#include "net/net_doubles.h"
#include "net/scripted_server.h"

namespace qvant::test {

inline constexpr std::chrono::seconds PATIENCE{20};

/// A server that keeps every request until the test has an answer for it.
class CProbeServer {
public:
    CProbeServer() : m_server([this](CPeer& peer) { Serve(peer); }) {}
    /// One that has its answer from the start.
    explicit CProbeServer(const std::string& strReply) : CProbeServer() { Answer(strReply); }
    ~CProbeServer() {
        const std::lock_guard lock(m_mutex);
        m_bEnd = true;
        m_changed.notify_all();
    }
    CProbeServer(const CProbeServer&) = delete;
    CProbeServer& operator=(const CProbeServer&) = delete;

    /// A reply for the request that waits, and for all that follow.
    void Answer(const std::string& strReply) {
        const std::lock_guard lock(m_mutex);
        m_strReply = strReply;
        m_changed.notify_all();
    }
    void AnswerWell() { Answer(MakeReply(R"({"LastVersion":"7"})")); }

    bool WaitForRequest() {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, PATIENCE, [this] { return m_nRequests > 0; });
    }
    int CountRequests() const {
        const std::lock_guard lock(m_mutex);
        return m_nRequests;
    }
    std::string GetLastRequest() const {
        const std::lock_guard lock(m_mutex);
        return m_strRequest;
    }
    Text GetUrl() const { return m_server.GetUrl(u"/"); }
    std::uint16_t GetPort() const { return m_server.GetPort(); }

private:
    void Serve(CPeer& peer) {
        while (const auto request = peer.ReadRequest()) {
            std::unique_lock lock(m_mutex);
            ++m_nRequests;
            m_strRequest = *request;
            m_changed.notify_all();
            m_changed.wait(lock, [this] { return m_bEnd || m_strReply; });
            if (m_bEnd) return;
            const std::string strReply = *m_strReply;
            lock.unlock();
            if (!peer.Write(strReply)) return;
        }
    }

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::optional<std::string> m_strReply;
    std::string m_strRequest;
    int m_nRequests = 0;
    bool m_bEnd = false;
    CScriptedServer m_server;  // last: its threads use all of the above
};

/// A host that many threads speak to.
class CListeningHost : public CRememberingHost {
public:
    void LogMessage(TextView strText) override {
        const std::lock_guard lock(m_mutex);
        m_arLines.emplace_back(strText);
        m_said.notify_all();
    }
    bool WaitForLine(TextView strLine) {
        std::unique_lock lock(m_mutex);
        return m_said.wait_for(lock, PATIENCE, [&] { return Count(strLine) > 0; });
    }
    /// The lines that begin so.
    std::size_t CountLines(TextView strBegin) const {
        const std::lock_guard lock(m_mutex);
        return Count(strBegin);
    }

private:
    std::size_t Count(TextView strBegin) const {
        std::size_t nCount = 0;
        for (const Text& strLine : m_arLines) nCount += strLine.starts_with(strBegin) ? 1 : 0;
        return nCount;
    }

    mutable std::mutex m_mutex;
    std::condition_variable m_said;
};

/// The time of one local day, in milliseconds since its midnight.
class CDayClock : public platform::IClock {
public:
    CDayClock() { Set(0); }
    void Set(std::int64_t nMilliseconds) {
        m_nNow = *platform::FromLocal({.nYear = 2026, .nMonth = 11, .nDay = 20}) * 1000 + nMilliseconds;
    }
    std::int64_t NowMilliseconds() const override { return m_nNow; }

private:
    std::atomic<std::int64_t> m_nNow{0};
};

}  // namespace qvant::test

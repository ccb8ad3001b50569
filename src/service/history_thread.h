/// The thread that serves what needs the history servers, one request after the other.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>

#include "base/mutex.h"
#include "base/text.h"
#include "platform/message_queue.h"
#include "store/host.h"

namespace qvant {

/// The messages of the thread.
inline constexpr std::uint32_t WM_QUIT = 18;          ///< ends it
inline constexpr std::uint32_t WM_QUERY_CQYZ = 2261;  ///< a symbol's adjustment factors are asked for; with the symbol
inline constexpr std::uint32_t WM_RESET_CQYZ = 2262;  ///< the host's clock moved: fetch again what resets now
inline constexpr std::uint32_t WM_QUERY_BA = 2263;    ///< users' own hot months; with a file title or "ALL"
inline constexpr std::uint32_t WM_UPDATE_BA = 2264;   ///< the host's clock moved: read again what rolls now

/// What is done on the thread. An exception that leaves one of them ends the handling of that message alone.
struct HistoryWork {
    std::function<void(const Text& strSymbol)> queryFactors;
    std::function<void()> resetFactors;
    std::function<void(const Text& strSelector)> queryHotMonths;
    std::function<void()> updateHotMonths;
};

/// The thread begins with the first request and ends when it is told to stop; the next request after that begins
/// another one, which waits for the end of the one before. Any thread may call any operation, the thread itself too.
class CHistoryThread {
public:
    /// @param getStop  the stop signal of the service: once it was given no thread is begun, until there is a fresh one
    CHistoryThread(IHost& host, HistoryWork work, std::function<std::stop_token()> getStop);
    /// Ends the thread, see `StopAndJoin`.
    ~CHistoryThread();
    CHistoryThread(const CHistoryThread&) = delete;
    CHistoryThread& operator=(const CHistoryThread&) = delete;

    /// Begins the thread if need be, and posts a message to it. While it can't be posted (a thread just begun has no
    /// queue yet) this tries again for two seconds, or until the caller is told to stop; after that a line of the log
    /// tells, and the message is lost.
    /// @param nMessage  `WM_QUERY_CQYZ` or `WM_QUERY_BA`
    void HandOver(std::uint32_t nMessage, TextView strText);

    /// Posts a message if the thread runs. @return false when it couldn't be posted; nobody is told
    bool Post(std::uint32_t nMessage, std::optional<TextView> strText = std::nullopt);

    /// Has the thread end: what it transfers or waits for ends at once, and what is still queued is dropped.
    void RequestStop();

    /// Tells the thread to stop and waits for its end, unless it is the caller.
    void StopAndJoin();

    /// The system's number of the thread; 0 until it has begun, and from its end on.
    std::uint32_t GetThreadId() const;

private:
    struct Loop;
    class COpened;

    std::shared_ptr<Loop> GetLoop() const;
    std::shared_ptr<Loop> Begin();
    void ProcessMsgLoopCQYZ(Loop& loop);
    void Handle(const platform::Message& message);
    void Work(const platform::Message& message);

    IHost& m_host;
    const HistoryWork m_work;
    const std::function<std::stop_token()> m_getStop;
    mutable CMutex m_mutex;                                ///< never held while a thread is waited for
    std::shared_ptr<Loop> m_pLoop QV_GUARDED_BY(m_mutex);  ///< the thread that was begun last; it may have ended
};

}  // namespace qvant

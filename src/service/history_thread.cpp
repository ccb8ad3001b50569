#include "service/history_thread.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <utility>

#include "base/format.h"
#include "platform/module.h"
#include "platform/stop.h"
#include "platform/thread.h"
#include "service/failure_code.h"

namespace qvant {

namespace {

constexpr int MORE_TRIES = 100;
constexpr std::chrono::milliseconds PAUSE_BEFORE_TRY{20};

TextView NameOf(std::uint32_t nMessage) {
    switch (nMessage) {
        case WM_QUERY_CQYZ:
            return u"WM_QUERY_CQYZ";
        case WM_RESET_CQYZ:
            return u"WM_RESET_CQYZ";
        case WM_QUERY_BA:
            return u"WM_QUERY_BA";
        default:
            return u"WM_UPDATE_BA";
    }
}

}  // namespace

/// One life of the thread, with its queue.
struct CHistoryThread::Loop {
    platform::CMessageQueue queue;
    std::atomic<std::uint32_t> nThreadId{0};
    bool bStopping = false;         ///< told to stop; touched under the owner's mutex, which can't be named here
    std::shared_ptr<Loop> pBefore;  ///< of the thread alone: waited for before the first message
    platform::CThread thread;
    CMutex mutexJoin;

    /// Tells the thread to stop and waits for its end, like others at the same time: its successor, say.
    void Join() {
        const CLock lock(mutexJoin);
        thread.StopAndJoin();
    }
};

/// Takes messages for the life of the object.
class CHistoryThread::COpened {
public:
    explicit COpened(Loop& loop) : m_loop(loop) {
        loop.nThreadId = platform::GetThreadId();
        loop.queue.Open();
    }
    COpened(const COpened&) = delete;
    COpened& operator=(const COpened&) = delete;
    ~COpened() {
        m_loop.queue.Close();
        m_loop.nThreadId = 0;
    }

private:
    Loop& m_loop;
};

CHistoryThread::CHistoryThread(IHost& host, HistoryWork work, std::function<std::stop_token()> getStop)
    : m_host(host), m_work(std::move(work)), m_getStop(std::move(getStop)) {}

CHistoryThread::~CHistoryThread() { StopAndJoin(); }

void CHistoryThread::HandOver(std::uint32_t nMessage, TextView strText) {
    platform::Message message{nMessage, std::make_unique<Text>(strText)};
    int nError = 0;
    for (int i = 0; i <= MORE_TRIES; ++i) {
        if (i > 0 && !platform::SleepFor(PAUSE_BEFORE_TRY)) break;
        const auto pLoop = Begin();
        if (pLoop && pLoop->queue.Post(message)) return;
        nError = errno;
    }
    m_host.LogMessage(Format(nMessage == WM_QUERY_BA ? u"PostThreadMessage Fail! (UpdateUDHotMonth) ErrorCode:%d"
                                                     : u"PostThreadMessage Fail! (WM_QUERY_CQYZ) ErrorCode:%d",
                             nError));
}

bool CHistoryThread::Post(std::uint32_t nMessage, std::optional<TextView> strText) {
    const auto pLoop = GetLoop();
    return pLoop && pLoop->queue.Post({nMessage, strText ? std::make_unique<Text>(*strText) : nullptr});
}

std::shared_ptr<CHistoryThread::Loop> CHistoryThread::GetLoop() const {
    const CLock lock(m_mutex);
    return m_pLoop;
}

/// The stop is asked for under the lock: a thread either begins before a stop, which then finds it, or not at all.
/// @return the thread that takes messages; null, and `errno`, when there is none
std::shared_ptr<CHistoryThread::Loop> CHistoryThread::Begin() {
    const CLock lock(m_mutex);
    if (m_pLoop && !m_pLoop->bStopping && !m_pLoop->thread.HasEnded()) return m_pLoop;
    errno = ESRCH;
    if (m_getStop().stop_requested()) return nullptr;
    auto pLoop = std::make_shared<Loop>();
    pLoop->pBefore = m_pLoop;
    if (!pLoop->thread.Start("CQYZ", [this, &loop = *pLoop] { ProcessMsgLoopCQYZ(loop); })) return nullptr;
    m_pLoop = pLoop;
    return pLoop;
}

void CHistoryThread::RequestStop() {
    const CLock lock(m_mutex);
    if (!m_pLoop || m_pLoop->bStopping) return;
    m_pLoop->bStopping = true;
    m_pLoop->queue.Post({WM_QUIT, nullptr});
    m_pLoop->thread.RequestStop();
}

void CHistoryThread::StopAndJoin() {
    RequestStop();
    const auto pLoop = GetLoop();
    if (pLoop && pLoop->nThreadId != platform::GetThreadId()) pLoop->Join();
}

std::uint32_t CHistoryThread::GetThreadId() const {
    const auto pLoop = GetLoop();
    return pLoop ? pLoop->nThreadId.load() : 0;
}

void CHistoryThread::ProcessMsgLoopCQYZ(Loop& loop) {
    const platform::CApartment apartment;
    // The requests of the one before, which was told to stop, are cut short but not yet over perhaps.
    if (loop.pBefore) loop.pBefore->Join();
    loop.pBefore.reset();
    const COpened opened(loop);
    m_host.LogMessage(Format(u"ProcessMsgLoopCQYZ. Thread=%d.", loop.nThreadId.load()));
    for (auto message = loop.queue.Receive(); message && message->nNumber != WM_QUIT; message = loop.queue.Receive()) {
        Handle(*message);
    }
}

void CHistoryThread::Handle(const platform::Message& message) {
    try {
        Work(message);
    } catch (...) {
        m_host.LogMessage(Format(u"%s Fail, Error : %x", NameOf(message.nNumber), CodeOfCurrentFailure()));
    }
}

void CHistoryThread::Work(const platform::Message& message) {
    const Text* const pText = message.pText.get();
    switch (message.nNumber) {
        case WM_QUERY_CQYZ:
            // The text goes by its address, as it is passed.
            m_host.LogMessage(Format(u"WM_QUERY_CQYZ. msg.wParam=%x.",
                                     static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(pText))));
            if (pText) m_work.queryFactors(*pText);
            break;
        case WM_RESET_CQYZ:
            m_work.resetFactors();
            break;
        case WM_QUERY_BA:
            m_host.LogMessage(Format(u"WM_QUERY_BA. msg.wParam=%s.", pText ? TextView(*pText) : TextView()));
            if (pText) m_work.queryHotMonths(*pText);
            break;
        case WM_UPDATE_BA:
            m_work.updateHotMonths();
            break;
        default:
            break;
    }
}

}  // namespace qvant

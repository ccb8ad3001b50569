/// The delivery thread of one sink.
#pragma once

#include <atomic>
#include <deque>
#include <memory>
#include <thread>

#include "base/mutex.h"
#include "event_batch.h"
#include "platform/thread.h"

namespace qvant::store {

/// Calls the sink with one batch after another, on a thread of its own; a slow sink holds up nobody else.
class CDelivery {
public:
    /// @param sink  the sink's event interface; a reference is added
    explicit CDelivery(IDispatch& sink) : m_sink(CRef<IDispatch>::Share(&sink)) {}
    ~CDelivery() { Stop(); }

    /// @return false when there is no thread to be had
    bool Start();
    void Queue(std::shared_ptr<const SEventBatch> pBatch);

    /// Delivers what is queued, and has made the last call when this returns. Nothing may be queued any more. On the
    /// delivery thread itself, where it would wait for its own caller, it is a stop.
    void Finish();
    /// No call begins from now on, and the one that runs has ended when this returns. What is queued is dropped. On the
    /// delivery thread itself it only tells.
    void Stop();
    bool IsOwnThread() const { return m_threadId == std::this_thread::get_id(); }
    bool HasEnded() const { return m_bEnded; }

    IDispatch& GetSink() const { return *m_sink; }

private:
    void Run();
    std::shared_ptr<const SEventBatch> WaitForBatch();
    void Deliver(const SEventBatch& batch);
    void Fire(DISPID nEvent, VARIANT* pArguments, UINT nCount);

    CRef<IDispatch> m_sink;
    CMutex m_mutex;
    CCondition m_condition;
    std::deque<std::shared_ptr<const SEventBatch>> m_queue QV_GUARDED_BY(m_mutex);
    bool m_bFinishing QV_GUARDED_BY(m_mutex) = false;
    std::atomic<bool> m_bStopping{false};
    std::atomic<bool> m_bEnded{false};
    std::atomic<std::thread::id> m_threadId{};
    platform::CThread m_thread;
};

/// What becomes of the batches that a sink hasn't heard when its delivery ends.
enum class QueuedBatches { Delivered, Dropped };

/// Ends a delivery. One that is ended by its own sink hears no more, and can't be waited for there: it is joined when
/// the next one ends, or with the process.
void EndDelivery(std::unique_ptr<CDelivery> pDelivery, QueuedBatches queued);

}  // namespace qvant::store

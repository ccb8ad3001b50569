/// The message queue of a thread: others post numbers and texts, the thread takes them in their order.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>

#include "base/mutex.h"
#include "base/text.h"

namespace qvant::platform {

/// What is posted. The text goes with the message, from the sender to the receiver; there may be none.
struct Message {
    std::uint32_t nNumber = 0;
    std::unique_ptr<Text> pText;
};

/// Any thread posts; one thread opens the queue, receives, and closes it when it ends.
class CMessageQueue {
public:
    /// Messages that wait at most.
    static constexpr std::size_t MOST_MESSAGES = 10'000;

    CMessageQueue() = default;
    CMessageQueue(const CMessageQueue&) = delete;
    CMessageQueue& operator=(const CMessageQueue&) = delete;

    /// From now on messages are taken. Called by the thread that receives them.
    void Open();

    /// No more messages are taken; those that wait are dropped.
    void Close();

    /// Appends a message.
    /// @param message  its text goes along; it is the caller's own still when the message wasn't taken
    /// @return false when the queue isn't open (`errno` is ESRCH then) or is full (EAGAIN)
    bool Post(Message& message);
    bool Post(Message&& message) { return Post(message); }

    /// Waits for the next message.
    /// @return nothing once the calling thread is told to stop, whatever waits
    std::optional<Message> Receive();

private:
    CMutex m_mutex;
    std::condition_variable_any m_posted;
    std::deque<Message> m_listMessages QV_GUARDED_BY(m_mutex);
    bool m_bOpen QV_GUARDED_BY(m_mutex) = false;
};

}  // namespace qvant::platform

#include "platform/message_queue.h"

#include <cerrno>
#include <utility>

#include "platform/stop.h"

namespace qvant::platform {

void CMessageQueue::Open() {
    const CLock lock(m_mutex);
    m_bOpen = true;
}

void CMessageQueue::Close() {
    std::deque<Message> listDropped;  // what many texts hold is given back behind the lock
    const CLock lock(m_mutex);
    m_bOpen = false;
    m_listMessages.swap(listDropped);
}

bool CMessageQueue::Post(Message& message) {
    const CLock lock(m_mutex);
    if (!m_bOpen || m_listMessages.size() >= MOST_MESSAGES) {
        errno = m_bOpen ? EAGAIN : ESRCH;
        return false;
    }
    m_listMessages.push_back(std::move(message));
    m_posted.notify_one();
    return true;
}

std::optional<Message> CMessageQueue::Receive() {
    const std::stop_token stop = CurrentStop();
    CLock lock(m_mutex);
    m_posted.wait(lock, stop, [this]() QV_REQUIRES(m_mutex) { return !m_listMessages.empty(); });
    if (stop.stop_requested()) return std::nullopt;
    std::optional<Message> message(std::move(m_listMessages.front()));
    m_listMessages.pop_front();
    return message;
}

}  // namespace qvant::platform

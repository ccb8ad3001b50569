#include "platform/two_threads.h"

#include <atomic>
#include <cstdint>
#include <utility>

#include "platform/module.h"
#include "platform/stop.h"

namespace qvant::platform {

namespace {

/// Numbers that two threads draw from, and the first failure of either.
class CNumbers {
public:
    CNumbers(std::size_t nCount, const std::function<void(std::size_t)>& work) : m_nCount(nCount), m_work(work) {}

    /// Draws until there is nothing left.
    void Work() {
        for (std::size_t i = m_nNext++; i < m_nCount; i = m_nNext++) {
            try {
                m_work(i);
            } catch (...) {
                m_nNext = m_nCount;
                const CLock lock(m_mutex);
                if (!m_failure || i < m_nFailed) m_failure = std::current_exception();
                m_nFailed = m_nFailed < i ? m_nFailed : i;
            }
        }
    }

    /// When both have come to an end.
    void RethrowFailure() {
        const CLock lock(m_mutex);
        if (m_failure) std::rethrow_exception(m_failure);
    }

private:
    const std::size_t m_nCount;
    const std::function<void(std::size_t)>& m_work;
    std::atomic<std::size_t> m_nNext{0};
    CMutex m_mutex;
    std::size_t m_nFailed QV_GUARDED_BY(m_mutex) = SIZE_MAX;
    std::exception_ptr m_failure QV_GUARDED_BY(m_mutex);
};

}  // namespace

void ShareWork(std::size_t nCount, const std::function<void(std::size_t)>& work) {
    CNumbers numbers(nCount, work);
    {
        CThread thread;
        const auto run = [&numbers, stop = CurrentStop()] {
            const CStopScope scope(stop);
            const CApartment apartment;
            numbers.Work();
        };
        if (nCount > 1) thread.Start("ShareWork", run);
        numbers.Work();
    }
    numbers.RethrowFailure();
}

CFollower::CFollower(std::string strName, std::size_t nPlaces, std::function<void(std::size_t)> follow)
    : m_strName(std::move(strName)), m_nPlaces(nPlaces), m_follow(std::move(follow)) {}

CFollower::~CFollower() {
    const CLock lock(m_mutex);
    m_bEnded = true;
    m_changed.notify_all();
}

std::size_t CFollower::GetPlace() {
    CLock lock(m_mutex);
    while (!m_bEnded && m_nHandedOver - m_nFollowed >= m_nPlaces) m_changed.wait(lock);
    RethrowFailure();
    return m_nHandedOver % m_nPlaces;
}

void CFollower::HandOver() {
    if (m_nMade == FOLLOWED_AT_ONCE) {
        const auto run = [this, stop = CurrentStop()] {
            const CStopScope scope(stop);
            const CApartment apartment;
            Run();
        };
        m_bStarted = m_thread.Start(m_strName, run);
        m_bAlone = !m_bStarted;
    }
    const std::size_t nPiece = m_nMade++;
    {
        const CLock lock(m_mutex);
        m_nHandedOver = m_nMade;
        m_changed.notify_all();
    }
    if (m_bAlone) Follow(nPiece);
}

void CFollower::Finish() {
    CLock lock(m_mutex);
    while (!m_bEnded && m_nHandedOver != m_nFollowed) m_changed.wait(lock);
    RethrowFailure();
}

void CFollower::Run() {
    for (std::size_t nPiece = FOLLOWED_AT_ONCE;; ++nPiece) {
        {
            CLock lock(m_mutex);
            while (!m_bEnded && nPiece >= m_nHandedOver) m_changed.wait(lock);
            if (m_bEnded) return;
        }
        if (!Follow(nPiece)) return;
    }
}

bool CFollower::Follow(std::size_t nPiece) {
    std::exception_ptr failure;
    try {
        m_follow(nPiece % m_nPlaces);
    } catch (...) {
        failure = std::current_exception();
    }
    const CLock lock(m_mutex);
    m_nFollowed = nPiece + 1;
    if (failure) {
        m_bEnded = true;
        m_failure = failure;
    }
    m_changed.notify_all();
    return !failure;
}

void CFollower::RethrowFailure() {
    if (m_failure) std::rethrow_exception(m_failure);
}

}  // namespace qvant::platform

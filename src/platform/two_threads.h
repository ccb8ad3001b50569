/// Long computations on two threads instead of one. The second one carries the stop signal of the first, its failures
/// reach the first, and where the system has no thread to give the first does all.
#pragma once

#include <cstddef>
#include <exception>
#include <functional>
#include <string>

#include "base/mutex.h"
#include "platform/thread.h"

namespace qvant::platform {

/// Calls `work` once for each number below `nCount`, on the calling thread and on a second one, and returns when all of
/// it is done. After a failure nothing more is begun.
/// @throw  what `work` threw, for the lowest number of several
void ShareWork(std::size_t nCount, const std::function<void(std::size_t)>& work);

/// A thread that follows on the heels of another: it takes pieces of work over in their order, while the other makes
/// the next. The pieces lie in places that are used again and again. The first few are followed on the calling thread,
/// so that little work doesn't pay for a thread.
///
/// All operations are called on one thread, which also ends the object.
class CFollower {
public:
    static constexpr std::size_t FOLLOWED_AT_ONCE = 16;

    /// @param nPlaces  at least two
    /// @param follow   called with the place of each piece, in the order of `HandOver`
    CFollower(std::string strName, std::size_t nPlaces, std::function<void(std::size_t)> follow);
    /// Waits for the piece that is being followed; those behind it are dropped.
    ~CFollower();
    CFollower(const CFollower&) = delete;
    CFollower& operator=(const CFollower&) = delete;

    /// The place for the next piece, once the piece before in it is done.
    /// @throw  what `follow` threw; no further piece was followed
    std::size_t GetPlace();
    /// Hands that place over.
    void HandOver();
    /// Waits until all that was handed over is done. @throw  as `GetPlace`
    void Finish();

    /// Whether there was enough work for a second thread.
    bool IsShared() const { return m_bStarted; }

private:
    void Run();
    bool Follow(std::size_t nPiece);
    void RethrowFailure() QV_REQUIRES(m_mutex);

    const std::string m_strName;
    const std::size_t m_nPlaces;
    const std::function<void(std::size_t)> m_follow;
    bool m_bAlone = true;  ///< no thread yet, or none to be had
    bool m_bStarted = false;
    std::size_t m_nMade = 0;  ///< pieces that were handed over, as their maker counts them

    CMutex m_mutex;
    CCondition m_changed;
    std::size_t m_nHandedOver QV_GUARDED_BY(m_mutex) = 0;
    std::size_t m_nFollowed QV_GUARDED_BY(m_mutex) = 0;
    bool m_bEnded QV_GUARDED_BY(m_mutex) = false;  ///< nothing more is followed
    std::exception_ptr m_failure QV_GUARDED_BY(m_mutex);

    CThread m_thread;  ///< ends before what it works with
};

}  // namespace qvant::platform

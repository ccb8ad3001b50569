/// Locks that the compiler checks: every field that a mutex guards says so, every function that needs it held says so,
/// and clang refuses the rest (`-Wthread-safety`). Other compilers see the standard library's locks and nothing else.
///
/// Constructors and destructors aren't checked: nobody else has the object then.
#pragma once

#include <condition_variable>
#include <mutex>
#include <shared_mutex>

#ifdef __clang__
#define QV_ANNOTATION(x) __attribute__((x))
#else
#define QV_ANNOTATION(x)
#endif

/// A class whose objects are taken and given back.
#define QV_CAPABILITY(name) QV_ANNOTATION(capability(name))
/// A class whose constructor takes a lock and whose destructor gives it back.
#define QV_SCOPED_CAPABILITY QV_ANNOTATION(scoped_lockable)
/// A field, or a static variable, that is touched under the lock alone; of a pointer, what it points to.
#define QV_GUARDED_BY(lock) QV_ANNOTATION(guarded_by(lock))
#define QV_PT_GUARDED_BY(lock) QV_ANNOTATION(pt_guarded_by(lock))
/// A function, or a lambda, that is called with the locks held.
#define QV_REQUIRES(...) QV_ANNOTATION(requires_capability(__VA_ARGS__))
/// A function that takes the locks itself, and is called without them.
#define QV_EXCLUDES(...) QV_ANNOTATION(locks_excluded(__VA_ARGS__))
/// A lock that is taken before others, where both are taken.
#define QV_ACQUIRED_BEFORE(...) QV_ANNOTATION(acquired_before(__VA_ARGS__))
/// Functions that take a lock, or give it back.
#define QV_ACQUIRE(...) QV_ANNOTATION(acquire_capability(__VA_ARGS__))
#define QV_ACQUIRE_SHARED(...) QV_ANNOTATION(acquire_shared_capability(__VA_ARGS__))
#define QV_RELEASE(...) QV_ANNOTATION(release_capability(__VA_ARGS__))
#define QV_RELEASE_SHARED(...) QV_ANNOTATION(release_shared_capability(__VA_ARGS__))
/// A function that gives the lock itself.
#define QV_RETURN_CAPABILITY(lock) QV_ANNOTATION(lock_returned(lock))
/// A function that isn't checked. Each says why.
#define QV_NO_THREAD_SAFETY_ANALYSIS QV_ANNOTATION(no_thread_safety_analysis)

namespace qvant {

class CCondition;

/// `std::mutex`. Its operations have the names that the standard library's waits call.
class QV_CAPABILITY("mutex") CMutex {
public:
    void lock() QV_ACQUIRE() { m_mutex.lock(); }
    void unlock() QV_RELEASE() { m_mutex.unlock(); }

private:
    friend class CCondition;
    std::mutex m_mutex;
};

/// `std::recursive_mutex`.
class QV_CAPABILITY("mutex") CRecursiveMutex {
public:
    void lock() QV_ACQUIRE() { m_mutex.lock(); }
    void unlock() QV_RELEASE() { m_mutex.unlock(); }

private:
    std::recursive_mutex m_mutex;
};

/// `std::shared_mutex`.
class QV_CAPABILITY("mutex") CSharedMutex {
public:
    void lock() QV_ACQUIRE() { m_mutex.lock(); }
    void unlock() QV_RELEASE() { m_mutex.unlock(); }
    void lock_shared() QV_ACQUIRE_SHARED() { m_mutex.lock_shared(); }
    void unlock_shared() QV_RELEASE_SHARED() { m_mutex.unlock_shared(); }

private:
    std::shared_mutex m_mutex;
};

/// Has a mutex until the end of the scope. One that isn't const may be given back before, and taken again.
template <class Mutex>
class QV_SCOPED_CAPABILITY CLock {
public:
    explicit CLock(Mutex& mutex) QV_ACQUIRE(mutex) : m_mutex(mutex) { mutex.lock(); }
    ~CLock() QV_RELEASE() {
        if (m_bHeld) m_mutex.unlock();
    }
    CLock(const CLock&) = delete;
    CLock& operator=(const CLock&) = delete;

    void lock() QV_ACQUIRE() {
        m_mutex.lock();
        m_bHeld = true;
    }
    void unlock() QV_RELEASE() {
        m_bHeld = false;
        m_mutex.unlock();
    }

private:
    friend class CCondition;
    Mutex& m_mutex;
    bool m_bHeld = true;
};

/// Has a mutex together with other readers until the end of the scope.
class QV_SCOPED_CAPABILITY CSharedLock {
public:
    explicit CSharedLock(CSharedMutex& mutex) QV_ACQUIRE_SHARED(mutex) : m_mutex(mutex) { mutex.lock_shared(); }
    ~CSharedLock() QV_RELEASE() { m_mutex.unlock_shared(); }
    CSharedLock(const CSharedLock&) = delete;
    CSharedLock& operator=(const CSharedLock&) = delete;

private:
    CSharedMutex& m_mutex;
};

/// `std::condition_variable` for a `CMutex`; `std::condition_variable_any`, which a stop ends, takes a `CLock` as it
/// is. There is no wait for a condition: whoever waits loops, where the compiler sees that the condition is looked at
/// under the lock.
class CCondition {
public:
    void notify_one() noexcept { m_condition.notify_one(); }
    void notify_all() noexcept { m_condition.notify_all(); }

    void wait(CLock<CMutex>& lock) {
        CBorrowed borrowed(lock.m_mutex.m_mutex);
        m_condition.wait(borrowed.native);
    }

    /// @return false when the time has come
    template <class Clock, class Duration>
    bool wait_until(CLock<CMutex>& lock, const std::chrono::time_point<Clock, Duration>& end) {
        CBorrowed borrowed(lock.m_mutex.m_mutex);
        return m_condition.wait_until(borrowed.native, end) == std::cv_status::no_timeout;
    }

private:
    /// The lock as the standard library wants it. It stays its owner's.
    struct CBorrowed {
        explicit CBorrowed(std::mutex& mutex) : native(mutex, std::adopt_lock) {}
        ~CBorrowed() { native.release(); }
        CBorrowed(const CBorrowed&) = delete;
        CBorrowed& operator=(const CBorrowed&) = delete;
        std::unique_lock<std::mutex> native;
    };

    std::condition_variable m_condition;
};

}  // namespace qvant

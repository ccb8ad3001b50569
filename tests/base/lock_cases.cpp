// What the compiler takes of the locks and what it refuses. Read by scripts/check-locks, built by nobody.

#include "base/locked_maps.h"
#include "base/mutex.h"

namespace qvant {

class CKeeper {
public:
    void CountUnderTheLock() {
        const CLock lock(m_mutex);
        Count();
        *m_pCount = m_nCount;
    }
    void GiveBackTheLockForAWhile() {
        CLock lock(m_mutex);
        lock.unlock();
        Load();
        lock.lock();
        Count();
    }
    void WaitUnderTheLock() {
        CLock lock(m_mutex);
        while (m_nCount == 0) m_changed.wait(lock);
        m_any.wait(lock, [this]() QV_REQUIRES(m_mutex) { return m_nCount > 0; });
    }
    int ReadUnderASharedLock() {
        const CSharedLock lock(m_shared);
        return m_nShared;
    }
    void TakeTheLocksInTheirOrder() {
        const CLock first(m_mutex);
        const CLock second(m_second);
    }
    void HoldAMapForAWalk() {
        m_map.Lock();
        m_map.RemoveAll();
        m_map.Unlock();
    }

    void WriteWithoutTheLock() { m_nCount = 1; }         // expected-warning {{requires holding mutex 'm_mutex'}}
    void WriteThroughThePointer() { *m_pCount = 1; }     // expected-warning {{requires holding mutex 'm_mutex'}}
    int ReadWithoutTheLock() const { return m_nCount; }  // expected-warning {{requires holding mutex 'm_mutex'}}
    void CallWithoutTheLock() { Count(); }               // expected-warning {{requires holding mutex 'm_mutex'}}
    void HoldAnotherLock() {
        const CLock lock(m_second);
        m_nCount = 1;  // expected-warning {{requires holding mutex 'm_mutex'}}
    }
    void GoOnWithoutTheLock() {
        CLock lock(m_mutex);
        lock.unlock();
        m_nCount = 1;  // expected-warning {{requires holding mutex 'm_mutex'}}
    }
    void WaitForWhatIsLookedAtUnchecked() {
        CLock lock(m_mutex);
        m_any.wait(lock, [this] { return m_nCount > 0; });  // expected-warning {{requires holding mutex 'm_mutex'}}
    }
    void WriteUnderASharedLock() {
        const CSharedLock lock(m_shared);
        m_nShared = 1;  // expected-warning {{requires holding mutex 'm_shared' exclusively}}
    }
    void CallWithTheLock() {
        const CLock lock(m_mutex);
        Load();  // expected-warning {{cannot call function 'Load' while mutex 'm_mutex' is held}}
    }
    void TakeTheLockTwice() {
        const CLock lock(m_mutex);
        const CLock again(m_mutex);  // expected-warning {{acquiring mutex 'm_mutex' that is already held}}
    }
    void TakeTheLocksTheOtherWayRound() {
        const CLock second(m_second);
        const CLock first(m_mutex);  // expected-warning {{mutex 'm_mutex' must be acquired before 'm_second'}}
    }
    void KeepTheLock() { m_mutex.lock(); }  // expected-warning {{still held at the end of function}}
    void KeepTheMap() { m_map.Lock(); }     // expected-warning {{still held at the end of function}}

private:
    void Count() QV_REQUIRES(m_mutex) { ++m_nCount; }
    void Load() QV_EXCLUDES(m_mutex) {}

    CMutex m_mutex QV_ACQUIRED_BEFORE(m_second);
    CMutex m_second;
    CSharedMutex m_shared;
    CCondition m_changed;
    std::condition_variable_any m_any;
    CLumMapStringToVal m_map;
    int m_nCount QV_GUARDED_BY(m_mutex) = 0;
    int m_nShared QV_GUARDED_BY(m_shared) = 0;
    int* m_pCount QV_PT_GUARDED_BY(m_mutex) = nullptr;
};

}  // namespace qvant

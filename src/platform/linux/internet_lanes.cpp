#include "platform/linux/internet_lanes.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "base/mutex.h"
#include "platform/internet.h"

namespace qvant::platform {

namespace {

// More than the servers of a list and the threads that fetch; what is above it is closed, the oldest first.
constexpr std::size_t MOST_IDLE = 32;

class CShare {
public:
    explicit CShare(bool bCookies) : m_hShare(curl_share_init()) {
        curl_share_setopt(m_hShare, CURLSHOPT_USERDATA, this);
        curl_share_setopt(m_hShare, CURLSHOPT_LOCKFUNC, &CShare::Lock);
        curl_share_setopt(m_hShare, CURLSHOPT_UNLOCKFUNC, &CShare::Unlock);
        curl_share_setopt(m_hShare, CURLSHOPT_SHARE, CURL_LOCK_DATA_DNS);
        curl_share_setopt(m_hShare, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
        if (bCookies) curl_share_setopt(m_hShare, CURLSHOPT_SHARE, CURL_LOCK_DATA_COOKIE);
    }
    ~CShare() { curl_share_cleanup(m_hShare); }
    CShare(const CShare&) = delete;
    CShare& operator=(const CShare&) = delete;

    CURLSH* Get() const { return m_hShare; }

private:
    // Not checked: between the two calls the lock is curl's.
    static void Lock(CURL*, curl_lock_data data, curl_lock_access, void* pUser) QV_NO_THREAD_SAFETY_ANALYSIS {
        static_cast<CShare*>(pUser)->m_mutexes[data].lock();
    }
    static void Unlock(CURL*, curl_lock_data data, void* pUser) QV_NO_THREAD_SAFETY_ANALYSIS {
        static_cast<CShare*>(pUser)->m_mutexes[data].unlock();
    }

    CURLSH* m_hShare;
    std::array<CMutex, CURL_LOCK_DATA_LAST> m_mutexes;
};

class CLanePool {
public:
    CLanePool() : m_shareWithCookies(true), m_sharePlain(false) {}

    LanePointer Take(const std::string& strPeer) {
        const CLock lock(m_mutex);
        if (m_arIdle.empty()) return nullptr;
        const auto speaksToPeer = [&strPeer](const LanePointer& pLane) { return pLane->m_strPeer == strPeer; };
        const auto found = std::find_if(m_arIdle.rbegin(), m_arIdle.rend(), speaksToPeer);
        // Another peer's open connection is left to it while there is room for a new lane.
        if (found == m_arIdle.rend() && m_arIdle.size() < MOST_IDLE) return nullptr;
        const auto place = found == m_arIdle.rend() ? m_arIdle.begin() : std::prev(found.base());
        LanePointer pLane = std::move(*place);
        m_arIdle.erase(place);
        return pLane;
    }

    void Return(LanePointer pLane) {
        LanePointer pOldest;  // closed outside the lock
        const CLock lock(m_mutex);
        m_arIdle.push_back(std::move(pLane));
        if (m_arIdle.size() <= MOST_IDLE) return;
        pOldest = std::move(m_arIdle.front());
        m_arIdle.erase(m_arIdle.begin());
    }

    void Clear() {
        std::vector<LanePointer> arClosed;
        const CLock lock(m_mutex);
        arClosed.swap(m_arIdle);
    }

    CURLSH* GetShareHandle(bool bCookies) const { return (bCookies ? m_shareWithCookies : m_sharePlain).Get(); }

private:
    // Before the shares: what curl needs for the whole process.
    const CURLcode m_initialised = curl_global_init(CURL_GLOBAL_DEFAULT);
    CShare m_shareWithCookies;
    CShare m_sharePlain;
    CMutex m_mutex;
    std::vector<LanePointer> m_arIdle QV_GUARDED_BY(m_mutex);  // the last one back at the end
};

CLanePool& Pool() {
    static CLanePool pool;
    return pool;
}

}  // namespace

CInternetLane::CInternetLane() : m_hMulti(curl_multi_init()), m_hEasy(curl_easy_init()) {}

CInternetLane::~CInternetLane() {
    curl_easy_cleanup(m_hEasy);
    curl_multi_cleanup(m_hMulti);
}

LanePointer TakeLane(const std::string& strPeer) {
    LanePointer pLane = Pool().Take(strPeer);
    if (!pLane) pLane = std::make_unique<CInternetLane>();
    if (!pLane->IsGood()) return nullptr;
    pLane->m_strPeer = strPeer;
    pLane->m_fault = {};
    return pLane;
}

void ReturnLane(LanePointer pLane) {
    // The handle keeps nothing of the request: its callbacks and texts are the request's own.
    curl_easy_setopt(pLane->m_hEasy, CURLOPT_SHARE, nullptr);
    // A reset alone would lose the list that this names, not free it.
    curl_easy_setopt(pLane->m_hEasy, CURLOPT_COOKIEFILE, nullptr);
    curl_easy_reset(pLane->m_hEasy);
    Pool().Return(std::move(pLane));
}

CURLSH* GetShare(bool bCookies) { return Pool().GetShareHandle(bCookies); }

void CloseIdleConnections() { Pool().Clear(); }

}  // namespace qvant::platform

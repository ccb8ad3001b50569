/// Receivers that remember what they were told.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "store/base_data.h"

namespace qvant::test {

/// Writes down "replace" and the keys, in the order of their arrival.
class CEventLog : public CBaseDataEventReceiver {
public:
    void OnUpdate(CBaseData*, std::int32_t nTransaction, const Text& strKey) override {
        Add(Narrow(strKey), nTransaction);
    }
    void OnReplace(CBaseData*, std::int32_t nTransaction) override { Add("<replace>", nTransaction); }

    /// Waits until so many events have arrived. @return all that have, more or fewer
    std::vector<std::string> WaitFor(std::size_t nEvents) const {
        std::unique_lock lock(m_mutex);
        m_arrived.wait_for(lock, std::chrono::seconds(20), [&] { return m_arEvents.size() >= nEvents; });
        return m_arEvents;
    }
    std::int32_t GetLastTransaction() const {
        const std::lock_guard lock(m_mutex);
        return m_nLastTransaction;
    }

private:
    void Add(std::string strEvent, std::int32_t nTransaction) {
        {
            const std::lock_guard lock(m_mutex);
            m_arEvents.push_back(std::move(strEvent));
            m_nLastTransaction = nTransaction;
        }
        m_arrived.notify_all();
    }

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_arrived;
    std::vector<std::string> m_arEvents;
    std::int32_t m_nLastTransaction = 0;
};

/// Something that one thread waits for and another one brings about.
class CGate {
public:
    void Open() {
        {
            const std::lock_guard lock(m_mutex);
            m_bOpen = true;
        }
        m_opened.notify_all();
    }
    /// @return false when nobody opened it in time
    bool Wait(std::chrono::milliseconds limit = std::chrono::seconds(20)) {
        std::unique_lock lock(m_mutex);
        return m_opened.wait_for(lock, limit, [this] { return m_bOpen; });
    }
    bool IsOpen() {
        const std::lock_guard lock(m_mutex);
        return m_bOpen;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_opened;
    bool m_bOpen = false;
};

}  // namespace qvant::test

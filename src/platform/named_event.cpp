#include "platform/named_event.h"

#include <condition_variable>
#include <utility>

namespace qvant::platform {

struct CNamedEvents::Event {
    Event(Text strOwnName, CEvent::Reset resetKind, bool bSet)
        : strName(std::move(strOwnName)), reset(resetKind), bSignalled(bSet) {}

    const Text strName;
    const CEvent::Reset reset;
    std::size_t nHolders = 0;  ///< guarded by the mutex of the names

    std::mutex mutex;  ///< guards the rest, and `bClosed` of the holdings
    std::condition_variable changed;
    bool bSignalled;
    std::uint64_t nSets = 0;

    /// Waits until `done`, and tells whether it is.
    template <typename Done>
    bool WaitUntil(std::unique_lock<std::mutex>& lock, Limit limit, const Done& done) {
        if (limit) return changed.wait_for(lock, *limit, done);
        changed.wait(lock, done);
        return true;
    }
};

struct CNamedEvents::Holding {
    explicit Holding(std::shared_ptr<Event> pHeld) : pEvent(std::move(pHeld)) {}

    const std::shared_ptr<Event> pEvent;
    bool bClosed = false;
};

CNamedEvents::Handle CNamedEvents::Create(TextView strName, CEvent::Reset reset, bool bSignalled, bool* pbExisted) {
    const std::lock_guard lock(m_mutex);
    const auto pFound = m_mapEvents.find(strName);
    const bool bExisted = pFound != m_mapEvents.end();
    if (pbExisted) *pbExisted = bExisted;
    return Hold(bExisted ? pFound->second : std::make_shared<Event>(Text(strName), reset, bSignalled));
}

CNamedEvents::Handle CNamedEvents::Open(TextView strName) {
    const std::lock_guard lock(m_mutex);
    const auto pFound = m_mapEvents.find(strName);
    return pFound == m_mapEvents.end() ? 0 : Hold(pFound->second);
}

/// The mutex is held. What runs out of memory leaves no trace.
CNamedEvents::Handle CNamedEvents::Hold(std::shared_ptr<Event> pEvent) {
    auto pHolding = std::make_shared<Holding>(Holding{pEvent});
    const auto pEntered = m_mapHoldings.emplace(m_nLast + 1, std::move(pHolding)).first;
    try {
        m_mapEvents.try_emplace(pEvent->strName, pEvent);
    } catch (...) {
        m_mapHoldings.erase(pEntered);
        throw;
    }
    ++pEvent->nHolders;
    return ++m_nLast;
}

bool CNamedEvents::Close(Handle nHandle) {
    std::shared_ptr<Holding> pHolding;
    {
        const std::lock_guard lock(m_mutex);
        const auto pFound = m_mapHoldings.find(nHandle);
        if (pFound == m_mapHoldings.end()) return false;
        pHolding = std::move(pFound->second);
        m_mapHoldings.erase(pFound);
        if (--pHolding->pEvent->nHolders == 0) m_mapEvents.erase(pHolding->pEvent->strName);
    }
    Event& event = *pHolding->pEvent;
    const std::lock_guard lock(event.mutex);
    pHolding->bClosed = true;
    event.changed.notify_all();
    return true;
}

std::shared_ptr<CNamedEvents::Holding> CNamedEvents::Find(Handle nHandle) const {
    const std::lock_guard lock(m_mutex);
    const auto pFound = m_mapHoldings.find(nHandle);
    return pFound == m_mapHoldings.end() ? nullptr : pFound->second;
}

bool CNamedEvents::Set(Handle nHandle) {
    const auto pHolding = Find(nHandle);
    if (!pHolding) return false;
    Event& event = *pHolding->pEvent;
    const std::lock_guard lock(event.mutex);
    event.bSignalled = true;
    ++event.nSets;
    // All, of an automatic one too: those who only watch it wait here as well.
    event.changed.notify_all();
    return true;
}

bool CNamedEvents::Clear(Handle nHandle) {
    const auto pHolding = Find(nHandle);
    if (!pHolding) return false;
    const std::lock_guard lock(pHolding->pEvent->mutex);
    pHolding->pEvent->bSignalled = false;
    return true;
}

/// A signal wins over the end of the holding.
CNamedEvents::Waited CNamedEvents::Wait(Handle nHandle, Limit limit) {
    const auto pHolding = Find(nHandle);
    if (!pHolding) return Waited::NoHandle;
    Event& event = *pHolding->pEvent;
    const bool bManual = event.reset == CEvent::Reset::Manual;
    std::unique_lock lock(event.mutex);
    const std::uint64_t nSetsBefore = event.nSets;
    const auto signalled = [&] { return event.bSignalled || (bManual && event.nSets != nSetsBefore); };
    if (!event.WaitUntil(lock, limit, [&] { return signalled() || pHolding->bClosed; })) return Waited::TimedOut;
    if (!signalled()) return Waited::Closed;
    if (!bManual) event.bSignalled = false;
    return Waited::Signalled;
}

CNamedEvents::Waited CNamedEvents::Watch(Handle nHandle, std::uint64_t& nSets, Limit limit) {
    const auto pHolding = Find(nHandle);
    if (!pHolding) return Waited::NoHandle;
    Event& event = *pHolding->pEvent;
    std::unique_lock lock(event.mutex);
    const std::uint64_t nKnown = nSets;
    const bool bEnded = event.WaitUntil(lock, limit, [&] { return event.nSets > nKnown || pHolding->bClosed; });
    nSets = event.nSets;
    if (!bEnded) return Waited::TimedOut;
    return nSets > nKnown ? Waited::Signalled : Waited::Closed;
}

std::size_t CNamedEvents::GetCount() const {
    const std::lock_guard lock(m_mutex);
    return m_mapEvents.size();
}

}  // namespace qvant::platform

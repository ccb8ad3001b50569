#include "platform/named_event.h"

#include <utility>

namespace qvant::platform {

namespace {

using Moment = std::chrono::steady_clock::time_point;

std::optional<Moment> EndOf(CNamedEvents::Limit limit) {
    return limit ? std::optional(std::chrono::steady_clock::now() + *limit) : std::nullopt;
}

}  // namespace

struct CNamedEvents::Event {
    Event(Text strOwnName, CEvent::Reset resetKind, bool bSet)
        : strName(std::move(strOwnName)), reset(resetKind), bSignalled(bSet) {}

    const Text strName;
    const CEvent::Reset reset;
    std::size_t nHolders = 0;  ///< touched under the mutex of the names, which can't be named here

    CMutex mutex;
    CCondition changed;
    bool bSignalled QV_GUARDED_BY(mutex);
    std::uint64_t nSets QV_GUARDED_BY(mutex) = 0;

    /// Waits until something changes. @return false when the time has come
    bool WaitForChange(CLock<CMutex>& lock, const std::optional<Moment>& end) {
        if (end) return changed.wait_until(lock, *end);
        changed.wait(lock);
        return true;
    }
};

struct CNamedEvents::Holding {
    explicit Holding(std::shared_ptr<Event> pHeld) : pEvent(std::move(pHeld)) {}

    const std::shared_ptr<Event> pEvent;
    bool bClosed = false;  ///< touched under the event's mutex, which has another name where it is taken
};

CNamedEvents::Handle CNamedEvents::Create(TextView strName, CEvent::Reset reset, bool bSignalled, bool* pbExisted) {
    const CLock lock(m_mutex);
    const auto pFound = m_mapEvents.find(strName);
    const bool bExisted = pFound != m_mapEvents.end();
    if (pbExisted) *pbExisted = bExisted;
    return Hold(bExisted ? pFound->second : std::make_shared<Event>(Text(strName), reset, bSignalled));
}

CNamedEvents::Handle CNamedEvents::Open(TextView strName) {
    const CLock lock(m_mutex);
    const auto pFound = m_mapEvents.find(strName);
    return pFound == m_mapEvents.end() ? 0 : Hold(pFound->second);
}

/// What runs out of memory leaves no trace.
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
        const CLock lock(m_mutex);
        const auto pFound = m_mapHoldings.find(nHandle);
        if (pFound == m_mapHoldings.end()) return false;
        pHolding = std::move(pFound->second);
        m_mapHoldings.erase(pFound);
        if (--pHolding->pEvent->nHolders == 0) m_mapEvents.erase(pHolding->pEvent->strName);
    }
    Event& event = *pHolding->pEvent;
    const CLock lock(event.mutex);
    pHolding->bClosed = true;
    event.changed.notify_all();
    return true;
}

std::shared_ptr<CNamedEvents::Holding> CNamedEvents::Find(Handle nHandle) const {
    const CLock lock(m_mutex);
    const auto pFound = m_mapHoldings.find(nHandle);
    return pFound == m_mapHoldings.end() ? nullptr : pFound->second;
}

bool CNamedEvents::Set(Handle nHandle) {
    const auto pHolding = Find(nHandle);
    if (!pHolding) return false;
    Event& event = *pHolding->pEvent;
    const CLock lock(event.mutex);
    event.bSignalled = true;
    ++event.nSets;
    // All, of an automatic one too: those who only watch it wait here as well.
    event.changed.notify_all();
    return true;
}

bool CNamedEvents::Clear(Handle nHandle) {
    const auto pHolding = Find(nHandle);
    if (!pHolding) return false;
    const CLock lock(pHolding->pEvent->mutex);
    pHolding->pEvent->bSignalled = false;
    return true;
}

/// A signal wins over the end of the holding.
CNamedEvents::Waited CNamedEvents::Wait(Handle nHandle, Limit limit) {
    const auto pHolding = Find(nHandle);
    if (!pHolding) return Waited::NoHandle;
    Event& event = *pHolding->pEvent;
    const bool bManual = event.reset == CEvent::Reset::Manual;
    CLock lock(event.mutex);
    const std::uint64_t nSetsBefore = event.nSets;
    const auto end = EndOf(limit);
    for (bool bInTime = true;; bInTime = event.WaitForChange(lock, end)) {
        if (event.bSignalled || (bManual && event.nSets != nSetsBefore)) break;
        if (pHolding->bClosed) return Waited::Closed;
        if (!bInTime) return Waited::TimedOut;
    }
    if (!bManual) event.bSignalled = false;
    return Waited::Signalled;
}

CNamedEvents::Waited CNamedEvents::Watch(Handle nHandle, std::uint64_t& nSets, Limit limit) {
    const auto pHolding = Find(nHandle);
    if (!pHolding) return Waited::NoHandle;
    Event& event = *pHolding->pEvent;
    CLock lock(event.mutex);
    const std::uint64_t nKnown = nSets;
    const auto end = EndOf(limit);
    bool bInTime = true;
    while (bInTime && event.nSets <= nKnown && !pHolding->bClosed) bInTime = event.WaitForChange(lock, end);
    nSets = event.nSets;
    if (nSets > nKnown) return Waited::Signalled;
    return pHolding->bClosed ? Waited::Closed : Waited::TimedOut;
}

std::size_t CNamedEvents::GetCount() const {
    const CLock lock(m_mutex);
    return m_mapEvents.size();
}

}  // namespace qvant::platform

/// Named events: those who hold a name share one event, which vanishes with the last of them.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_map>

#include "base/mutex.h"
#include "base/text.h"
#include "platform/event.h"

namespace qvant::platform {

/// The names of one process. The component has the only object that counts, so that all modules share the names.
///
/// Any thread may call any operation; an event outlives the calls that use it.
class CNamedEvents {
public:
    /// One holding; never given twice, 0 for none.
    using Handle = std::uint64_t;

    enum class Waited { Signalled, TimedOut, Closed, NoHandle };

    /// @param limit  nothing for a wait without limit
    using Limit = std::optional<std::chrono::milliseconds>;

    CNamedEvents() = default;
    CNamedEvents(const CNamedEvents&) = delete;
    CNamedEvents& operator=(const CNamedEvents&) = delete;

    /// Opens the event of a name, and makes it first if it isn't there; one that is there stays as it is.
    /// @param pbExisted  out: whether it was there; may be null
    Handle Create(TextView strName, CEvent::Reset reset, bool bSignalled, bool* pbExisted = nullptr);
    /// @return 0 when nobody holds the name
    Handle Open(TextView strName);
    /// Ends the waits of the holding as well. @return false for an unknown handle, as do the next two
    bool Close(Handle nHandle);

    /// Whoever waits for a manual event goes on, though it be reset at once.
    bool Set(Handle nHandle);
    bool Clear(Handle nHandle);

    Waited Wait(Handle nHandle, Limit limit);

    /// Waits until the event has been set more often than `nSets`, and takes nothing from those who wait for it.
    /// @param nSets  out: how often it has been set since it was made
    Waited Watch(Handle nHandle, std::uint64_t& nSets, Limit limit);

    /// How many names somebody holds.
    std::size_t GetCount() const;

private:
    struct Event;
    struct Holding;

    Handle Hold(std::shared_ptr<Event> pEvent) QV_REQUIRES(m_mutex);
    std::shared_ptr<Holding> Find(Handle nHandle) const;

    mutable CMutex m_mutex;  ///< guards the count of an event's holders as well
    std::unordered_map<Text, std::shared_ptr<Event>, TextHash, std::equal_to<>> m_mapEvents QV_GUARDED_BY(m_mutex);
    std::unordered_map<Handle, std::shared_ptr<Holding>> m_mapHoldings QV_GUARDED_BY(m_mutex);
    Handle m_nLast QV_GUARDED_BY(m_mutex) = 0;
};

}  // namespace qvant::platform

/// What a service shows of what it does in the background, read from the texts of its inspection interface.
#pragma once

#include "listing.h"
#include "request.h"

namespace qvant::host {

/// The timers that are armed, with what each is for. What a text lacks is empty.
Listing ListTimers(const JsonDocument& state);

/// The servers in trial order, with what the last latency test found.
Listing ListServers(const JsonDocument& state);

/// The refresh passes.
Record ReadRefresh(const JsonDocument& state);

/// How far a service is with its refresh passes.
struct RefreshState {
    bool bRunning = false;
    std::int64_t nPasses = 0;
    std::int64_t nLastDuration = 0;  ///< of the last pass, in milliseconds
};
RefreshState ReadRefreshState(const JsonDocument& state);

}  // namespace qvant::host

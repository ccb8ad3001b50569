/// The texts of the inspection interface: what the service does in the background, for people and tests.
#pragma once

#include <cstdint>
#include <vector>

#include "base/text.h"
#include "net/server_list.h"
#include "service/refresh.h"
#include "service/timer.h"

namespace qvant {

/// @param nNow  of the clock that the timers go by
Text DescribeTimers(const std::vector<TimerState>& arTimers, std::int64_t nNow);

Text DescribeServers(const ServerListing& listing);

Text DescribeRefresh(const RefreshState& state);

}  // namespace qvant

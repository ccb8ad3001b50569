#include "platform/clock.h"

#include <chrono>

#include "platform/stop.h"

namespace qvant::platform {

namespace {

class CMachineClock : public IClock {
public:
    std::int64_t NowMilliseconds() const override {
        const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
        return std::chrono::floor<std::chrono::milliseconds>(sinceEpoch).count();
    }
};

}  // namespace

std::int64_t IClock::TickMilliseconds() const {
    const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::floor<std::chrono::milliseconds>(sinceStart).count();
}

bool IClock::SleepUntilTick(std::int64_t nTick) const {
    std::int64_t nNow = TickMilliseconds();
    while (nNow < nTick) {
        if (!SleepFor(std::chrono::milliseconds(nTick - nNow))) return false;
        nNow = TickMilliseconds();
    }
    return !StopRequested();
}

const IClock& MachineClock() {
    static const CMachineClock clock;
    return clock;
}

}  // namespace qvant::platform

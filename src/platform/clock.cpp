#include "platform/clock.h"

#include <chrono>

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

const IClock& MachineClock() {
    static const CMachineClock clock;
    return clock;
}

}  // namespace qvant::platform

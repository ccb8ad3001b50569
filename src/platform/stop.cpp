#include "platform/stop.h"

#include <condition_variable>
#include <utility>

#include "base/mutex.h"
#include "platform/waiting.h"

namespace qvant::platform {

namespace {

std::stop_token& ThreadStop() {
    thread_local std::stop_token stop;
    return stop;
}

}  // namespace

std::stop_token CurrentStop() { return ThreadStop(); }

CStopScope::CStopScope(std::stop_token stop) : m_previous(std::exchange(ThreadStop(), std::move(stop))) {}

CStopScope::~CStopScope() { ThreadStop() = std::move(m_previous); }

bool SleepFor(std::chrono::milliseconds pause) {
    const std::stop_token stop = CurrentStop();
    CMutex mutex;
    std::condition_variable_any condition;
    CLock lock(mutex);
    condition.wait_for(lock, stop, LimitWait(pause), [] { return false; });
    return !stop.stop_requested();
}

}  // namespace qvant::platform

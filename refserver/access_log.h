/// What the program tells while it serves.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

#include "base/mutex.h"

namespace qvant::refserver {

/// One request as the access log shows it.
struct AccessRecord {
    std::string_view method;
    std::string_view target;
    int nStatus = 0;  // 0: no reply was begun
    std::size_t nBodyBytes = 0;
    bool bGzip = false;
    std::chrono::milliseconds duration{0};
    std::string_view faults;
};

/// Lines are written whole and at once, from any thread: requests to standard output, notes to standard error.
class CAccessLog {
public:
    void WriteRequest(const AccessRecord& record);
    void WriteNote(std::string_view text);

private:
    CMutex m_mutex;
};

}  // namespace qvant::refserver

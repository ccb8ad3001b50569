/// A host that listens to its own log.
#pragma once

#include <functional>

#include "support/test_host.h"

namespace qvant::test {

/// Runs what the test wants at a line of the log.
class CListeningHost : public CTestHost {
public:
    std::function<void(TextView strLine)> onLog = [](TextView) {};
    void LogMessage(TextView strText) override {
        CTestHost::LogMessage(strText);
        onLog(strText);
    }
};

}  // namespace qvant::test

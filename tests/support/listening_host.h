/// A host that listens to its own log and topics.
#pragma once

#include <functional>

#include "support/test_host.h"

namespace qvant::test {

/// Runs what the test wants at a line of the log, or at a topic.
class CListeningHost : public CTestHost {
public:
    std::function<void(TextView strLine)> onLog = [](TextView) {};
    std::function<void(TextView strTopic)> onTopic = [](TextView) {};

    void LogMessage(TextView strText) override {
        CTestHost::LogMessage(strText);
        onLog(strText);
    }
    void SendTopic(TextView strTopic, std::int32_t nType, std::int32_t nParameter, TextView strText,
                   VARIANT* pData) override {
        CTestHost::SendTopic(strTopic, nType, nParameter, strText, pData);
        onTopic(strTopic);
    }
};

}  // namespace qvant::test

/// Stand-ins for what lies around the layer: a clock that stands still and a host that remembers.
#pragma once

#include <memory>
#include <stdexcept>
#include <vector>

#include "base/text.h"
#include "platform/clock.h"
#include "store/host.h"

namespace qvant {
// The wrapper of a table is never made here; its type only has to be whole to be handed out as nothing.
class CBaseData {};
}  // namespace qvant

namespace qvant::test {

class CStillClock : public platform::IClock {
public:
    explicit CStillClock(const platform::SystemTime& utc) : m_nNow(platform::FromUtc(utc)) {}
    std::int64_t NowMilliseconds() const override { return m_nNow; }

private:
    std::int64_t m_nNow;
};

class CRememberingHost : public IHost {
public:
    struct Report {
        std::int32_t nCode;
        std::int32_t nParameter;
        Text strText;
    };

    void RegisterTable(TextView) override {}
    void RegisterTopic(TextView) override {}
    void SendTopic(TextView, std::int32_t, std::int32_t, TextView, VARIANT*) override {}
    void ReportError(std::int32_t nCode, std::int32_t nParameter, TextView strText) override {
        if (m_bFails) throw std::runtime_error("the host is gone");
        m_arReports.push_back({nCode, nParameter, Text(strText)});
    }
    void LogMessage(TextView strText) override { m_arLines.emplace_back(strText); }
    std::unique_ptr<CBaseData> OpenTable(TextView, CBaseDataEventReceiver*) override { return nullptr; }

    std::vector<Report> m_arReports;
    std::vector<Text> m_arLines;
    bool m_bFails = false;
};

}  // namespace qvant::test

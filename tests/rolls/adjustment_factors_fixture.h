/// A world for adjustment factors: one history server, the table, a host that keeps the topics, a clock of its own.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/format.h"
#include "documents/answering_server.h"
#include "rolls/adjustment_factors.h"
#include "support/driven_clock.h"
#include "support/history_reply.h"
#include "support/listening_host.h"
#include "support/scratch_folder.h"

namespace qvant::test {

inline constexpr std::int64_t HOUR = 3'600'000;
inline constexpr const char* FACTORS = R"({"data":[{"od":20201218,"t":93000000,"sxd":0.00012}]})";
inline const std::string ENRICHED = R"({"data":[{"od":20201218,"t":93000000,"sxd":0.00012,"odt_utc":20201218013000}]})";
inline constexpr const char16_t* HOT = u"QV.F.CME.ES.HOT";
inline constexpr const char16_t* STOCK = u"QV.S.SSE.600001";

/// Remembers the topics with what they carry, in one line each: "1 QV.F.CME.ES.HOT {...}".
class CTopicHost : public CListeningHost {
public:
    void SendTopic(TextView strTopic, std::int32_t nType, std::int32_t nParameter, TextView strText,
                   VARIANT* pData) override {
        const std::lock_guard lock(m_mutex);
        EXPECT_EQ(strTopic, u"API_CQYZ.INFO");
        EXPECT_EQ(nType, 1);
        const Text strData =
            pData->vt == VT_EMPTY ? Text(u"(empty)") : Text(pData->bstrVal, SysStringLen(pData->bstrVal));
        m_arTopics.push_back(Narrow(Format(u"%d %s %s", nParameter, strText, strData)));
    }
    /// The topics since the last call.
    std::vector<std::string> TakeTopics() {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_arTopics, {});
    }

private:
    std::mutex m_mutex;
    std::vector<std::string> m_arTopics;
};

/// Runs what the test wants, once, when it is asked for the time.
class CInterruptingClock : public CDrivenClock {
public:
    using CDrivenClock::CDrivenClock;
    void InterruptOnce(std::function<void()> interrupt) {
        const std::lock_guard lock(m_mutex);
        m_interrupt = std::move(interrupt);
    }
    std::int64_t NowMilliseconds() const override {
        if (const auto interrupt = TakeInterrupt()) interrupt();
        return CDrivenClock::NowMilliseconds();
    }

private:
    std::function<void()> TakeInterrupt() const {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_interrupt, nullptr);
    }

    mutable std::mutex m_mutex;
    mutable std::function<void()> m_interrupt;
};

class AdjustmentFactorsTest : public ::testing::Test {
protected:
    AdjustmentFactorsTest() {
        m_pTable = &m_host.MakeTable(u"CQYZ");
        m_servers.Append(CRollServers::List::History, m_server.GetUrl() + u"History.do?");
        m_server.SetAnswer(MakeHistoryReply(FACTORS));
    }

    void Request(const Text& strSymbol) { m_factors.OnRequest(strSymbol); }
    void Fail() { m_server.SetAnswer("", 503); }
    void Answer(std::string_view strJson) { m_server.SetAnswer(MakeHistoryReply(strJson)); }
    void MoveClock(std::int32_t nHhmmss) {
        m_nSystemTime = nHhmmss;
        m_factors.OnClock();
    }
    std::size_t CountQueries() const { return m_server.GetTargets().size(); }
    std::string GetStored(TextView strSymbol) { return Narrow(m_host.Get(u"CQYZ", strSymbol)); }
    static std::string Saved(const char16_t* pszSymbol, const std::string& strText = ENRICHED) {
        return "1 " + Narrow(pszSymbol) + " " + strText;
    }

    const CEnvironment m_zone{"TZ", "UTC"};
    CTopicHost m_host;
    CAnsweringServer m_server;
    CInterruptingClock m_clock{platform::FromUtc({.nYear = 2026, .nMonth = 11, .nDay = 20, .nHour = 6})};
    CSession m_session{m_clock};
    CErrorReport m_errors{m_host, m_clock};
    CRollServers m_servers;
    CSymbolMapping m_mapping{m_host};
    CResetTimes m_resetTimes;
    CBaseData* m_pTable = nullptr;
    std::int32_t m_nSystemTime = 0;
    int m_nArmed = 0;
    int m_nStopped = 0;
    std::function<void()> m_onSignal = [] {};
    std::vector<Text> m_arSignals;
    CAdjustmentFactors m_factors{{m_host, m_clock, m_session, m_errors, m_servers, m_mapping, m_resetTimes},
                                 {[this] { return m_pTable; }, [this] { return m_nSystemTime; }, [this] { ++m_nArmed; },
                                  [this] { ++m_nStopped; },
                                  [this](const Text& strName) {
                                      m_arSignals.push_back(strName);
                                      m_onSignal();
                                  }}};
};

}  // namespace qvant::test

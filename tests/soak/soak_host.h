/// A host for a soak: it counts what is said instead of keeping it, and knows when the service has handled an event.
#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <list>
#include <mutex>
#include <string_view>

#include "platform/clock.h"
#include "support/test_host.h"

namespace qvant::test {

/// The beginnings of the lines that are counted.
enum class Line {
    RefreshTimer,
    BurstTimer,
    MinuteTimer,
    RollTimer,
    Pass,
    SecuritiesLoaded,
    LoadBegun,
    LoadEnded,
    SymbolsReady,
    CalendarBegun,
    CalendarEnded,
    CalendarTaken,
    MachineKnown,
    LanguageChanged,
    ShortWayTaken,
    HotMonthsRead,
    End
};

class CSoakHost : public CTestHost {
public:
    int Count(Line line) const;
    /// @return false when the line hasn't come that often after half a minute
    bool WaitFor(Line line, int nCount);
    int CountErrors() const;

    /// Has the moments counted by this clock at which rolls become due: the ends of loads and of sign-ins with nothing
    /// changed.
    void CountRollsBy(const platform::IClock& clock);
    int CountRolls() const;

    /// One event of the host's clock. The service has handled it when this returns.
    /// @return false when it hasn't after half a minute
    bool SetClock(std::int32_t nDate, std::int32_t nTime);
    /// The language that the user chooses while the service runs, likewise.
    bool SetLanguage(const Text& strWord, const Text& strCulture);

    void LogMessage(TextView strText) override;
    void ReportError(std::int32_t nCode, std::int32_t nParameter, TextView strText) override;
    std::unique_ptr<CBaseData> OpenTable(TextView strName, CBaseDataEventReceiver* pSink) override;

private:
    /// Hands the events of a wrapper on and counts those that were handled.
    class CForwarder : public CBaseDataEventReceiver {
    public:
        CForwarder(CSoakHost& host, CBaseDataEventReceiver& sink) : m_host(host), m_sink(sink) {}
        void OnUpdate(CBaseData* pTable, std::int32_t nTransaction, const Text& strKey) override;

    private:
        CSoakHost& m_host;
        CBaseDataEventReceiver& m_sink;
    };

    bool WaitForEvents(std::uint64_t nCount);
    std::uint64_t CountEvents() const;

    mutable std::mutex m_mutex;  ///< guards all below
    std::condition_variable m_changed;
    std::array<int, static_cast<std::size_t>(Line::End)> m_arCounts{};
    int m_nErrors = 0;
    const platform::IClock* m_pClock = nullptr;
    std::int64_t m_nLastRoll = 0;  ///< tick of the last such moment
    int m_nRolls = 0;
    std::uint64_t m_nEvents = 0;
    std::list<CForwarder> m_listForwarders;  ///< one for each wrapper with events; all outlive the service
};

}  // namespace qvant::test

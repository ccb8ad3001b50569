/// What the host's clock and language set going.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <stop_token>

#include "base/locked_maps.h"
#include "documents/contract_list_document.h"
#include "model/run_state.h"
#include "platform/clock.h"
#include "platform/event.h"
#include "platform/stoppable_lock.h"
#include "service/refresh.h"
#include "service/settings.h"
#include "service/tables.h"
#include "store/base_data.h"
#include "store/host.h"

namespace qvant {

/// What the reactions work with; all outlive them.
struct StoreEventParts {
    IHost& host;
    const platform::IClock& clock;
    RunState& state;
    const CSettings& settings;
    const KeptTables& tables;
    const CLumMapStringToString& mapResetTime;  ///< every reset time of any exchange, "HH:MM" to itself
    CContractListDocument& contracts;
    CRefresh& refresh;
    platform::CStoppableLock& lockPass;  ///< held by whoever works on the reference data
    platform::CEvent& eventSymbolLookUp;
};

/// What the reactions ask of the service.
struct StoreEventCalls {
    std::function<std::stop_token()> getStop;  ///< the stop signal of a reaction, asked for at its start
    std::function<void()> loadSymbolWords;     ///< reads the display words of the language in the run state
    std::function<void()> clockMoved = [] {};  ///< the date and the time are those of the host's clock by now
};

/// Two receivers, one for each table; each has one wrapper at a time, whose delivery thread runs its events one after
/// another. The key of an event isn't looked at: any change in a table counts.
class CStoreEvents {
public:
    CStoreEvents(const StoreEventParts& parts, StoreEventCalls calls);

    /// The sink of "QvantSystemTime". Its events raise `CFailure`: unspecified for an hour above 23 or a minute above
    /// 59, invalid argument for a time that can't be built.
    CBaseDataEventReceiver& GetClockSink() { return m_clockSink; }
    /// The sink of "GeneralService".
    CBaseDataEventReceiver& GetLanguageSink() { return m_languageSink; }

    /// The host's time, decimal hhmmss, and date, decimal yyyymmdd; those of the construction in UTC until it tells.
    std::int32_t GetSystemTime() const { return m_nSystemTime; }
    std::int32_t GetSystemDate() const { return m_nSystemDate; }

private:
    class CSink : public CBaseDataEventReceiver {
    public:
        using Reaction = void (CStoreEvents::*)(const CBaseData& table);
        CSink(CStoreEvents& owner, Reaction pReaction) : m_owner(owner), m_pReaction(pReaction) {}
        void OnUpdate(CBaseData* pTable, std::int32_t nTransaction, const Text& strKey) override;

    private:
        CStoreEvents& m_owner;
        const Reaction m_pReaction;
    };

    void OnClock(const CBaseData& table);
    void StartBurstAt(std::int64_t nSecond);
    void OnLanguage(const CBaseData& table);
    bool TakeLanguage(const Text& strCulture, const Text& strLanguage);

    const StoreEventParts m_parts;
    const StoreEventCalls m_calls;
    std::atomic<std::int32_t> m_nSystemTime;
    std::atomic<std::int32_t> m_nSystemDate;
    std::map<Text, Text> m_mapResetFired;  ///< minute of a burst's start to its reset time; the clock's delivery thread
    CSink m_clockSink{*this, &CStoreEvents::OnClock};
    CSink m_languageSink{*this, &CStoreEvents::OnLanguage};
};

}  // namespace qvant

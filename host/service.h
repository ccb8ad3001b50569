/// The service in its library: loading it, hearing its events, making the host's calls.
#pragma once

#include <filesystem>

#include "dispatch_sink.h"
#include "event_log.h"
#include "qvant/lumivale.h"
#include "request.h"
#include "stop.h"
#include "tables.h"

namespace qvant::host {

/// One service object with the host's sink connected. The calls belong to the host thread, unless they say otherwise.
class CService {
public:
    /// @throws CFailure when the library can't be loaded, or holds no such service
    CService(const std::filesystem::path& pathModule, CEventLog& log, CTables& tables, CStop& stop);
    CService(const CService&) = delete;
    CService& operator=(const CService&) = delete;

    /// Tells the service where the system stands. When the host is to end while a call other than STOP and EXIT runs,
    /// the service hears STOP on another thread, so that it can end what holds the call up.
    HRESULT SendStatus(std::int32_t nStatus, std::int32_t nSubStatus);
    /// @param data  in and out
    HRESULT SendTopic(TextView strTopic, std::int32_t nType, std::int32_t nParameter, TextView strText, CVariant& data);

    /// What the service shows of its background work. Any thread.
    /// @throws CFailure for a service that doesn't show this
    JsonDocument GetState(TextView strWhat) const;

    /// Says STOP and EXIT to a service that was told INIT and hasn't heard them yet.
    void End();

private:
    void Note(std::int32_t nStatus, std::int32_t nSubStatus);
    void SendStop();

    CStop& m_stop;
    const ComPtr<IQvantManager> m_pManager;
    const ComPtr<IQvantInspect> m_pInspect;  ///< null for a service that hasn't the interface
    const CConnection m_connection;
    bool m_bStopDue = false;
    bool m_bExitDue = false;
};

}  // namespace qvant::host

/// The service in its library: loading it, hearing its events, making the host's calls.
#pragma once

#include <filesystem>

#include "dispatch_sink.h"
#include "event_log.h"
#include "qvant/lumivale.h"
#include "tables.h"

namespace qvant::host {

/// One service object with the host's sink connected. The calls belong to the host thread.
class CService {
public:
    /// @throws CFailure when the library can't be loaded, or holds no such service
    CService(const std::filesystem::path& pathModule, CEventLog& log, CTables& tables);
    CService(const CService&) = delete;
    CService& operator=(const CService&) = delete;

    HRESULT SendStatus(std::int32_t nStatus, std::int32_t nSubStatus);
    /// @param data  in and out
    HRESULT SendTopic(TextView strTopic, std::int32_t nType, std::int32_t nParameter, TextView strText, CVariant& data);

    /// Says STOP and EXIT to a service that was told INIT and hasn't heard them yet.
    void End();

private:
    const ComPtr<IQvantManager> m_pManager;
    const CConnection m_connection;
    bool m_bStopDue = false;
    bool m_bExitDue = false;
};

}  // namespace qvant::host

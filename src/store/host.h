/// What the service sees of its host: the six events, the log and the tables.
#pragma once

#include <cstdint>
#include <memory>

#include "base/text.h"
#include "qvant/component.h"

namespace qvant {

class CBaseData;
class CBaseDataEventReceiver;

/// Any thread may call any operation at any time in the service's life.
class IHost {
public:
    virtual ~IHost() = default;

    virtual void RegisterTable(TextView strTable) = 0;
    virtual void RegisterTopic(TextView strTopic) = 0;
    /// Sends a topic to the modules that registered it. @param pData  may be null
    virtual void SendTopic(TextView strTopic, std::int32_t nType, std::int32_t nParameter, TextView strText,
                           VARIANT* pData) = 0;
    /// @param strText  a JSON object, see `PostMsg`
    virtual void ReportError(std::int32_t nCode, std::int32_t nParameter, TextView strText) = 0;

    /// The one logger: forms "<Lumivale> %s" and fires `WriteLog`.
    virtual void LogMessage(TextView strText) = 0;

    /// Opens a table of the host's store.
    /// @param pSink  receives the table's events; null for none
    /// @return the wrapper, owned by the caller; null when the host has no such table
    virtual std::unique_ptr<CBaseData> OpenTable(TextView strName, CBaseDataEventReceiver* pSink) = 0;
};

}  // namespace qvant

/// The service's way to the host: the six events, fired through a connection point.
#pragma once

#include <initializer_list>

#include "service/hosting/connection_point.h"
#include "store/base_data.h"
#include "store/host.h"
#include "store/variant.h"

namespace qvant {

/// Any thread. With no sink connected an event reaches nobody and its result is 0.
class CHostEvents : public IHost {
public:
    explicit CHostEvents(CConnectionPoint& events) : m_events(events) {}

    void RegisterTable(TextView strTable) override;
    void RegisterTopic(TextView strTopic) override;
    void SendTopic(TextView strTopic, std::int32_t nType, std::int32_t nParameter, TextView strText,
                   VARIANT* pData) override;
    void ReportError(std::int32_t nCode, std::int32_t nParameter, TextView strText) override;
    void LogMessage(TextView strText) override;
    std::unique_ptr<CBaseData> OpenTable(TextView strName, CBaseDataEventReceiver* pSink) override;

private:
    HRESULT Fire(DISPID nEvent, std::initializer_list<const VARIANT*> arguments, CVariant& result);

    CConnectionPoint& m_events;
};

}  // namespace qvant

#include "service/answering.h"

#include "base/format.h"
#include "service/failure_code.h"
#include "service/named_signal.h"

namespace qvant {

CAnswering::CAnswering(const AnsweringParts& parts, const AnsweringCalls& calls)
    : m_host(parts.host),
      m_mapping(parts.host),
      m_rolls({parts.host, parts.session, parts.servers, parts.resetTimes}, calls.getHotMonths),
      m_factors({parts.host, parts.clock, parts.session, parts.errors, parts.servers, m_mapping, parts.resetTimes},
                {calls.getFactorTable, calls.getSystemTime, calls.armExpiry, calls.stopExpiry,
                 [](const Text& strName) { SignalNamedEvent(strName); }}),
      m_lastBars({parts.host, parts.session, parts.servers, m_mapping},
                 [calls] { return calls.getSystemDate() * std::int64_t{1'000'000} + calls.getSystemTime(); }),
      m_hotMonths({parts.host, parts.clock, parts.resetTimes, m_lastBars},
                  {calls.getSystemDate, calls.getSystemTime,
                   [this](const Text& strTitle) { m_history.Post(WM_QUERY_BA, strTitle); }}),
      m_history(
          parts.host,
          {[this](const Text& strSymbol) { m_factors.OnRequest(strSymbol); }, [this] { m_factors.OnClock(); },
           [this](const Text& strSelector) { m_hotMonths.LoadConfig(strSelector); }, [this] { m_hotMonths.OnClock(); }},
          calls.getStop),
      m_topics({parts.host, parts.settings, parts.storage, parts.databases, parts.stockInfo, m_history},
               [this](TextView strTopic, TextView strSymbol) { m_rolls.EnqueueRequery(strTopic, strSymbol); }) {}

void CAnswering::OnTopicCommand(TextView strTopic, std::int32_t nType, std::int32_t nParameter, TextView strText,
                                VARIANT* pData) {
    try {
        m_topics.OnTopicCommand(strTopic, nType, nParameter, strText, pData);
    } catch (...) {
        m_host.LogMessage(Format(u"OnTopicCommand Fail, Error : %x", CodeOfCurrentFailure()));
    }
}

void CAnswering::OnClock() {
    m_history.Post(WM_RESET_CQYZ);
    m_history.Post(WM_UPDATE_BA);
}

void CAnswering::RequestStop() {
    m_history.RequestStop();
    m_rolls.RequestStop();
}

void CAnswering::StopAndJoin() {
    m_history.StopAndJoin();
    m_rolls.StopAndJoin();
}

}  // namespace qvant

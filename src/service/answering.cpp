#include "service/answering.h"

#include <utility>

#include "base/format.h"
#include "service/failure_code.h"

namespace qvant {

CAnswering::CAnswering(const AnsweringParts& parts, std::function<std::stop_token()> getStop)
    : m_host(parts.host),
      m_history(parts.host,
                {[this](const Text& strSymbol) { QueryFactors(strSymbol); }, [this] { ResetFactors(); },
                 [this](const Text& strSelector) { QueryHotMonths(strSelector); }, [this] { UpdateHotMonths(); }},
                std::move(getStop)),
      m_topics({parts.host, parts.settings, parts.storage, parts.databases, parts.stockInfo, m_history},
               [this](TextView strTopic, TextView strSymbol) { EnqueueRequery(strTopic, strSymbol); }) {}

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

void CAnswering::RequestStop() { m_history.RequestStop(); }

void CAnswering::StopAndJoin() { m_history.StopAndJoin(); }

void CAnswering::CheckExpireCQYZ(std::uint32_t) {}

void CAnswering::ProcessRequeryData() {}

void CAnswering::QueryFactors(const Text&) {}

void CAnswering::ResetFactors() {}

void CAnswering::QueryHotMonths(const Text&) {}

void CAnswering::UpdateHotMonths() {}

void CAnswering::EnqueueRequery(TextView, TextView) {}

}  // namespace qvant

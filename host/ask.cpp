#include "ask.h"

#include <algorithm>

#include "failure.h"
#include "form.h"

namespace qvant::host {

namespace {

const Value* FindField(const Event& event, std::string_view strField) {
    const auto it = std::ranges::find(event.arFields, strField, &EventFields::value_type::first);
    return it == event.arFields.end() ? nullptr : &it->second;
}

}  // namespace

Text TextOf(const Event& event, std::string_view strField) {
    const Value* pValue = FindField(event, strField);
    return pValue ? ToText(*pValue) : Text();
}

bool IsTopic(const Event& event, TextView strTopic, std::int64_t nParameter, TextView strText) {
    if (event.strKind != kind::SEND_TOPIC) return false;
    const Value* pParameter = FindField(event, "param");
    const auto* pNumber = pParameter ? std::get_if<std::int64_t>(pParameter) : nullptr;
    return pNumber && *pNumber == nParameter && TextOf(event, "topic") == strTopic && TextOf(event, "text") == strText;
}

TextView LogLineOf(const Event& event) {
    const Value* pLine = event.strKind == kind::WRITE_LOG ? FindField(event, "line") : nullptr;
    const auto* pText = pLine ? std::get_if<Text>(pLine) : nullptr;
    return pText ? TextView(*pText) : TextView();
}

std::uint64_t CAsk::Send(TextView strTopic, std::int32_t nParameter, TextView strText) {
    if (m_stop.IsRequested()) throw CFailure(ENDS);
    const std::uint64_t nBefore = m_log.GetLast();
    CVariant data;
    m_service.SendTopic(strTopic, 0, nParameter, strText, data);
    return nBefore;
}

std::optional<Event> CAsk::Await(const CEventLog::Accept& accept, std::uint64_t nAfter,
                                 std::chrono::milliseconds timeout) {
    auto found = m_log.Wait(accept, nAfter, timeout, m_stop.GetToken());
    if (!found && m_stop.IsRequested()) throw CFailure(ENDS);
    return found;
}

std::string ShowSeconds(std::chrono::milliseconds duration) {
    return Narrow(ToText(std::int64_t{duration.count()}, Form::Duration));
}

}  // namespace qvant::host

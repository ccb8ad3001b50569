#include "net/error_report.h"

#include "base/format.h"
#include "base/numbers.h"
#include "net/wide_json.h"
#include "platform/internet.h"
#include "platform/messages.h"

namespace qvant {

namespace {

constexpr std::int32_t REPORT_ERROR_CODE = 13;
constexpr std::int32_t MESSAGE_TYPE = 4;
constexpr TextView ERROR_MARK = u"Error :";

std::int32_t DateNumber(const platform::SystemTime& time) { return (time.nYear * 100 + time.nMonth) * 100 + time.nDay; }

std::int32_t TimeNumber(const platform::SystemTime& time) {
    return (time.nHour * 100 + time.nMinute) * 100 + time.nSecond;
}

// Each range of numbers has a message table of its own; the network and queue libraries have none on this system.
Text DescribeError(std::int32_t nError) {
    if (nError >= 12000 && nError <= 12175) return platform::DescribeInternetError(nError);
    if (nError >= 2100 && nError <= 2999) return {};
    if ((nError & 0x1FFF0000) == 0xE0000) return {};
    return platform::DescribeSystemError(nError);
}

std::int32_t ReadErrorNumber(TextView strText, std::size_t nMark) {
    const TextView strBehind = strText.substr(nMark + ERROR_MARK.size());
    return ToInt(strBehind.substr(0, strBehind.find(u',')));
}

}  // namespace

void CErrorReport::PostMsg(std::int32_t nCode, TextView strText) {
    constexpr TextView EMPTY_OBJECT = u"{}";
    const platform::SystemTime now = platform::ToUtc(m_clock.NowMilliseconds());
    CJsonValue message;
    ParseValue(message, EMPTY_OBJECT.data(), static_cast<std::int32_t>(EMPTY_OBJECT.size()));
    message.Set(u"MsgType", CJsonValue(MESSAGE_TYPE));
    message.Set(u"MsgCode", CJsonValue(nCode));
    if (!strText.empty()) message.Set(u"MsgText", CJsonValue(Text(strText)));
    message.Set(u"Date", CJsonValue(DateNumber(now)));
    message.Set(u"Time", CJsonValue(TimeNumber(now)));
    try {
        m_host.ReportError(REPORT_ERROR_CODE, 0, ValueToText(message));
    } catch (...) {
        // Who reports a failure has enough to do: one more, of the messenger, is nobody's business.
    }
}

void CErrorReport::PostErrorMsg(TextView strText) {
    if (strText.empty()) return;
    m_host.LogMessage(Text(u"PostErrorMsg:").append(strText));
    const std::size_t nMark = strText.find(ERROR_MARK);
    if (nMark == TextView::npos || m_nHideErrorMsg != 0) return;
    const std::int32_t nError = ReadErrorNumber(strText, nMark);
    if (nError == 0) return;
    PostMsg(NETWORK_FAILURE, Format(u"Lumivale:%s (%d)", DescribeError(nError), nError));
}

}  // namespace qvant

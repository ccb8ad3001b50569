/// What the host shows of its modules: one event, with its running number.
#pragma once

#include <string_view>
#include <utility>
#include <vector>

#include "value.h"

namespace qvant::host {

/// Kinds, as they stand in the lines and in a wait.
namespace kind {
inline constexpr std::string_view REGISTER_TABLE = "RegisterTable";
inline constexpr std::string_view REGISTER_TOPIC = "RegisterTopic";
inline constexpr std::string_view GET_TABLE_COOKIE = "GetTableCookie";
inline constexpr std::string_view SEND_TOPIC = "SendTopic";
inline constexpr std::string_view REPORT_ERROR = "ReportError";
inline constexpr std::string_view WRITE_LOG = "WriteLog";
inline constexpr std::string_view MESSAGE_BOX = "MessageBox";
inline constexpr std::string_view UPDATE = "OnUpdate";
inline constexpr std::string_view REPLACE = "OnReplace";
inline constexpr std::string_view NAMED_EVENT = "NamedEvent";

inline constexpr std::string_view ALL[] = {REGISTER_TABLE, REGISTER_TOPIC, GET_TABLE_COOKIE, SEND_TOPIC, REPORT_ERROR,
                                           WRITE_LOG,      MESSAGE_BOX,    UPDATE,           REPLACE,    NAMED_EVENT};
}  // namespace kind

/// Fields in the order in which they are shown; the names are literals.
using EventFields = std::vector<std::pair<std::string_view, Value>>;

struct Event {
    std::string_view strKind;
    std::uint64_t nNumber;
    std::int64_t nMilliseconds;  ///< since the start of the program
    EventFields arFields;
};

}  // namespace qvant::host

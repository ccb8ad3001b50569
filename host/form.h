/// What a value means, and how a person is shown it.
#pragma once

#include <chrono>
#include <optional>

#include "value.h"

namespace qvant::host {

/// A machine gets every value as it is; a flag as false or true.
enum class Form {
    Plain,
    Duration,  ///< milliseconds
    Date,      ///< decimal yyyymmdd, a number or a text
    Time,      ///< decimal hhmmss
    FineTime,  ///< decimal hhmmssmmm
    Moment,    ///< decimal yyyymmddhhmmss; one that is no more than a date, as that
    Flag       ///< 0 or 1
};

/// The value for reading. One that isn't what its form says is shown as it is.
Text ToText(const Value& value, Form nForm);

/// The day of a decimal yyyymmdd; none when there is no such day.
std::optional<std::chrono::sys_days> ToDay(std::int64_t nDate);

}  // namespace qvant::host

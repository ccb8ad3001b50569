/// Wall-clock time: one source that tests can drive, and the calendar forms of it.
#pragma once

#include <cstdint>
#include <optional>

namespace qvant::platform {

/// A calendar time, as the platform's own record of that name. No field is checked.
struct SystemTime {
    int nYear = 0;
    int nMonth = 0;      ///< 1 to 12
    int nDayOfWeek = 0;  ///< 0 Sunday to 6
    int nDay = 0;        ///< 1 to 31
    int nHour = 0;
    int nMinute = 0;
    int nSecond = 0;
    int nMilliseconds = 0;

    bool operator==(const SystemTime&) const = default;
};

/// The source of the current time, and of every pause that lasts as long as the system's own rhythm says (timers, the
/// loop that keeps a document current). Limits of a wait for somebody else aren't its business: they are real time.
/// Any thread.
class IClock {
public:
    virtual ~IClock() = default;

    /// Milliseconds since 1970-01-01 00:00 UTC.
    virtual std::int64_t NowMilliseconds() const = 0;

    /// Milliseconds of a count that only ever grows, whatever is done to the time of day; the machine's unless a clock
    /// has one of its own.
    virtual std::int64_t TickMilliseconds() const;

    /// Pauses the calling thread until the count of `TickMilliseconds` is at `nTick`; one that is past returns at once.
    /// @return false when the thread was told to stop, before the pause or in it
    virtual bool SleepUntilTick(std::int64_t nTick) const;
};

/// The machine's clock; lives as long as the process.
const IClock& MachineClock();

/// UTC calendar time of milliseconds since 1970; any year from 1 to 9999.
SystemTime ToUtc(std::int64_t nMilliseconds);

/// Milliseconds since 1970 of a UTC calendar time; hours, minutes and days past their ends carry over.
std::int64_t FromUtc(const SystemTime& time);

/// Calendar time in the machine's zone (`TZ`, else the system's).
SystemTime ToLocal(std::int64_t nMilliseconds);

/// Seconds since 1970 of a calendar time in the machine's zone; whether daylight saving is on is left to the zone.
/// @return nothing when the calendar can't hold it
std::optional<std::int64_t> FromLocal(const SystemTime& time);

}  // namespace qvant::platform

/// Faults on demand: what the server is told to do wrong, to which requests and how often.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "base/mutex.h"

namespace qvant::refserver {

enum class FaultKind { Delay, Status, Slow, Cut, Reset, Hang, Garbage, Empty, Refresh, WrongGzip };

/// One fault. `nArgument` is the kind's number: milliseconds of a delay, the code of a status, bytes a second of a slow
/// reply, body bytes of a cut one.
struct Fault {
    std::string strMatch;  // part of the request's path; empty: every path
    FaultKind kind = FaultKind::Delay;
    std::size_t nArgument = 0;
    std::optional<std::size_t> nTimes;  // requests left; none: without end
};

/// What is to go wrong with one request: all the faults that match it.
struct FaultPlan {
    std::chrono::milliseconds delay{0};
    std::optional<int> nStatus;
    std::optional<std::size_t> nRate;
    std::optional<std::size_t> nCutAfter;
    bool bReset = false;
    bool bHang = false;
    bool bGarbage = false;
    bool bEmpty = false;
    bool bRefresh = false;
    bool bWrongGzip = false;
    std::string strNames;  // for the log, joined by ","
};

/// A fault that can't be understood; the text says why.
class CFaultError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// "PATH-SUBSTRING:KIND[=ARG]", as on the command line.
/// @throw CFaultError
Fault ParseFault(std::string_view text);

/// A JSON array of {"match", "kind", "ms" | "code" | "rate" | "bytes", "times"}.
/// @throw CFaultError
std::vector<Fault> ParseFaults(std::string_view json);

/// The faults in force. Any thread.
class CFaultList {
public:
    explicit CFaultList(std::vector<Fault> arFaults) : m_arFaults(std::move(arFaults)) {}

    void Replace(std::vector<Fault> arFaults);

    /// The plan for a request of this path; takes one time from each fault in it.
    FaultPlan Take(std::string_view path);

    /// The same form as `ParseFaults` takes, with the times that are left.
    std::string ToJson() const;

private:
    mutable CMutex m_mutex;
    std::vector<Fault> m_arFaults QV_GUARDED_BY(m_mutex);
};

}  // namespace qvant::refserver

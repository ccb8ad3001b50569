/// Answers to history commands: adjustment factors, and closes of contracts at given moments.
#pragma once

#include <stdexcept>
#include <string>

#include "world_history.h"

namespace qvant::refserver {

/// A command that can't be followed; the text says why.
class CCommandError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// @param strCommand  JSON: {"s": any, "c": "cqyz" or "lastk", "r": the request's id, "d": {"s": what is asked for}}
///  - "cqyz": "s" is a quote class, "I.F.GLOBEX.ES" for the hot series of a future, "I.S.SSE.600000" for a stock
///  - "lastk": "s" is an object of quote contracts, each with an array of moments YYYYMMDDhhmm in China time
/// @return the bytes of the reply
/// @throw CCommandError
std::string AnswerHistory(const WorldHistory& history, const std::string& strCommand);

}  // namespace qvant::refserver

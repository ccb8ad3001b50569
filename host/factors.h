/// The adjustment factors of a symbol, asked of the service.
#pragma once

#include "ask.h"
#include "listing.h"
#include "plot.h"
#include "request.h"

namespace qvant::host {

/// What the service gave. A row is an object of the answer's "data".
class CFactors {
public:
    /// @throws CFailure for a text that isn't an object with an array "data"
    explicit CFactors(TextView strJson);

    /// Date, time, the same in UTC, the factor, then the other members by their names.
    /// @param nFirst  most rows that the listing gets; it counts all
    Listing List(std::size_t nFirst) const;

    /// The rows that have a date and a factor, in the order of their dates: from when on each factor counts, in the
    /// exchange's time.
    std::vector<PlotStep> GetSteps() const;

private:
    JsonDocument m_document;
    const JsonValue* m_pRows = nullptr;
};

struct FactorAnswer {
    CFactors factors;
    bool bFetched;  ///< from the server; otherwise from the store
};

/// Sends the topic and waits for the answer.
/// @throws CFailure when none comes, or the service has nothing to give
FactorAnswer AskForFactors(CAsk& ask, TextView strSymbol, std::chrono::milliseconds timeout);

}  // namespace qvant::host

/// The rolls of a product's hot month, and the expiry dates of its months, asked of the service.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>

#include "ask.h"
#include "listing.h"
#include "tables.h"

namespace qvant::host {

/// What is asked for: the two are asked and answered alike.
struct RollKind;
extern const RollKind HOT_CHANGES;
extern const RollKind EXPIRY_DATES;

struct RollRequest {
    Text strSymbol;
    std::size_t nFirst;                                ///< most rows that the listing gets; it counts all
    std::optional<std::chrono::milliseconds> timeout;  ///< none: seconds, or one when there is a file already
};

struct Rolls {
    Record product;  ///< key, reset time, age of the file, a note when it isn't today's answer
    Listing lines;   ///< in the server's order
};

/// Sends the topic, and reads the service's file once the answer is there.
///
/// The service asks for a symbol once in a run: when it was asked already, what came of that counts. A file of an
/// earlier run stands in for an answer that doesn't come.
/// @param pathCommonData  the common application-data folder
/// @throws CFailure when there is no file, with what is known of the reason
Rolls AskForRolls(CAsk& ask, const CTables& tables, const std::filesystem::path& pathCommonData, const RollKind& kind,
                  const RollRequest& request);

}  // namespace qvant::host

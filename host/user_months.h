/// The user's own hot-month series: the files that define them, and what the service found of the gaps at their rolls.
#pragma once

#include <filesystem>
#include <optional>

#include "ask.h"
#include "listing.h"

namespace qvant::host {

/// A roll of a series: from the date on, the month counts. Both as the file has them.
struct UserRoll {
    Text strDate;
    Text strMonth;
};

/// What the service wrote beside a definition: for each roll but the last its moment and the gap to the next month.
struct Companion {
    struct Gap {
        std::int64_t nMoment = 0;            ///< decimal yyyymmddhhmmss in UTC; a date alone for foreign zones
        std::optional<std::int64_t> nUnits;  ///< of 1e-10; none: not known
    };

    std::int64_t nDefined = -1;  ///< last write time of the definition that it was made from, in the machine's zone
    std::vector<Gap> arGaps;
};

struct UserSeries {
    Text strTitle;
    Text strZone;
    Text strReset;
    Text strResetDst;
    std::vector<UserRoll> arRolls;
    std::int64_t nWritten = 0;  ///< last write time of the definition, decimal yyyymmddhhmmss in the machine's zone
    std::optional<Companion> companion;
    Text strFault;  ///< why a file of the two can't be read
};

/// Reads the lines of the two kinds of files. Lines of no form are passed over.
void ParseDefinition(std::string_view strBytes, UserSeries& series);
Companion ParseCompanion(std::string_view strBytes);

/// A number of units of 1e-10 as a decimal number, all its digits and no needless ones.
Text ShowPrice(std::int64_t nUnits);

/// The series of the folder by their titles.
/// @param pathHome  the service's home folder
std::vector<UserSeries> ReadUserSeries(const std::filesystem::path& pathHome);

/// One row for each series: its settings, and how its companion stands.
/// @param nNow  the system's clock, decimal yyyymmddhhmmss in UTC
Listing ListSeries(const std::vector<UserSeries>& arSeries, std::int64_t nNow);

/// One row for each roll: the months before and after, the moment in UTC and in the machine's zone, and the gap as the
/// companion has it: the close of the next line's month less that of the line's own.
/// @param nFirst  most rows that the listing gets; it counts all
Listing ListUserRolls(const std::vector<UserSeries>& arSeries, std::int64_t nNow, std::size_t nFirst);

/// Has the service read a series again, and waits for the new companion where the service will write one.
/// @return what came of it
/// @throws CFailure when there is no such series
Text UpdateUserSeries(CAsk& ask, const std::filesystem::path& pathHome, TextView strTitle, std::int64_t nNow,
                      std::chrono::milliseconds timeout);

}  // namespace qvant::host

#include "rolls/companion_file.h"

#include <chrono>

#include "base/numbers.h"
#include "base/split.h"
#include "platform/files.h"
#include "platform/stop.h"
#include "rolls/roll_lines.h"

namespace qvant {

namespace {

constexpr int MOST_TRIES = 30;
constexpr std::chrono::milliseconds PAUSE(100);

}  // namespace

bool IsCompanionStale(const Text& strPath, std::int64_t nLastWriteTime, std::int64_t nNow) {
    const auto strText = platform::ReadWholeText(strPath);
    if (!strText) return true;
    std::int64_t nNoted = -1;
    for (TextView strRest = *strText; !strRest.empty();) {
        const TextView strLine = CutLine(strRest);
        if (const auto roll = ReadRollLine(strLine)) {
            if (roll->strRight.empty() && ToInt64(roll->strLeft) <= nNow) return true;
        } else if (ExtractField(strLine, 0, u"=") == COMPANION_WRITE_TIME) {
            const Text strNumber = ExtractField(strLine, 1, u"=");
            nNoted = strNumber.empty() ? -1 : ToInt64(strNumber);
        }
    }
    return nNoted != nLastWriteTime;
}

void WriteCompanion(const Text& strPath, std::string_view strBytes) {
    for (int nTry = 0; nTry < MOST_TRIES && !platform::StopRequested(); ++nTry) {
        if (platform::ReplaceFile(strPath, strBytes)) return;
        platform::SleepFor(PAUSE);
    }
}

}  // namespace qvant

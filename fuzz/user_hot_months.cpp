/// Definition files of users' own hot-month series: read, rolled, and their companion written and read.

#include "rolls/user_hot_months.h"

#include "platform/files.h"
#include "require.h"
#include "rolls/companion_file.h"
#include "store_host.h"
#include "support/scratch_folder.h"
#include "symbols/manual_clock.h"
#include "symbols/symbol_grammar.h"

namespace {

using namespace qvant;

constexpr const char* DEFINITION = "Data/UserDefHotMonth/QV.F.CME.ES.HOT_MINE.udhm";
constexpr const char* COMPANION = "Data/UserDefHotMonth/QV.F.CME.ES.HOT_MINE.ba";

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    ::setenv("TZ", "Asia/Taipei", 1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    static const test::CScratchFolder folder;
    folder.Write(DEFINITION, fuzz::AsBytes(pData, nSize));
    platform::DeleteFile(folder / COMPANION);

    const CManualClock clock(2026, 11, 20, 12);
    fuzz::CStoreHost host;
    CSession session(clock);
    const CRollServers servers;
    CSymbolMapping mapping(host);
    CLastBars bars({host, session, servers, mapping}, [] { return std::int64_t{20261120120000}; });
    CResetTimes resetTimes;
    resetTimes.Set(u"QV.F.CME.ES", u"224500");
    CUserHotMonths months({host, clock, resetTimes, bars},
                          {[] { return 20261120; }, [] { return 120000; }, [](const Text&) {}});
    months.SetHomeDir(folder / "");
    months.LoadConfig(u"ALL");
    std::int64_t nReset = 0;
    fuzz::Require(months.GetReset(u"QV.F.CME.ES.HOT_MINE", nReset), "a series that was read has its reset time");
    fuzz::Require(platform::FileExists(folder / COMPANION), "a series that was read has its companion");
    months.OnClock();
    months.LoadConfig(u"QV.F.CME.ES.HOT_MINE");
    g_mapISymbolToQV.RemoveAll();
    return 0;
}

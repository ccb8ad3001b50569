/// Securities documents, from the reply to the tables and to the lists that are drawn from these.

#include "base/failure.h"
#include "memory_file.h"
#include "model/securities_parser.h"
#include "model/underlying_lists.h"
#include "store_host.h"

namespace {

using namespace qvant;

class CFixedClock : public platform::IClock {
public:
    std::int64_t NowMilliseconds() const override {
        return platform::FromUtc({.nYear = 2026, .nMonth = 11, .nDay = 20, .nHour = 12});
    }
};

const CFixedClock CLOCK;

const CTimeZones& GetZones() {
    static const CTimeZones zones = [] {
        const fuzz::CMemoryFile cities;
        cities.Replace("Taipei,Taipei Standard Time\nChicago,Central Standard Time\nAtlantis,Sunken Standard Time\n");
        CTimeZones loaded;
        loaded.LoadCities(cities.GetPath());
        loaded.LoadTimeZones(CLOCK);
        return loaded;
    }();
    return zones;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    ::setenv("TZ", "Asia/Taipei", 1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    JsonDocument document;
    if (!ParseUtf8(document, fuzz::AsReply(pData, nSize))) return 0;
    fuzz::CStoreHost host;
    CExchangeTimes times(GetZones(), CLOCK);
    CSecuritiesParser parser(host, times);
    try {
        parser.ParseJsonData(document, &host[u"Security.Info"]);
    } catch (const CFailure&) {
        // A time or a date that can't be: nothing is published, and the log says why.
        fuzz::Require(host[u"Security.Info"].GetCount() == 0, "nothing of a pass that failed is published");
        return 0;
    }
    CUnderlyingLists lists(host);
    lists.MakeUnderlyingList(
        {&host[u"Security.Info"], &host[u"Underlying.List"], &host[u"Underlying.F.List"], &host[u"OptionStyle"]},
        u"ENG");
    return 0;
}

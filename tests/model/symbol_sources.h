/// The parts of the model that the search list is made of, with nothing in them yet.
#pragma once

#include "model/contract_builder.h"
#include "model/exchange_times.h"
#include "model/run_state.h"
#include "model/securities_parser.h"
#include "model/underlying_lists.h"
#include "platform/clock.h"
#include "symbols/time_zones.h"
#include "test_host.h"

namespace qvant::test {

struct SymbolSources {
    CTestHost host;
    RunState state;
    SymbolWords words;
    CLocalExchanges localExchanges;
    CUnderlyingLists lists{host};
    CTimeZones zones;
    CExchangeTimes times{zones, platform::MachineClock()};
    CSecuritiesParser securities{host, times};
    CContractBuilder contracts{{host, state, lists, words, localExchanges}};
};

}  // namespace qvant::test

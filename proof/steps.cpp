/// The host ends in place of the k-th write, flush, rename, removal, cut or creation of one whole refresh, for every k.
#include <stdexcept>

#include "fault_control.h"
#include "proof_home.h"
#include "proof_options.h"

namespace qvant::proof {

namespace {

/// A refresh, and the roll files and companions that go with it.
void RefreshAll(CProofTerminal& host) {
    host.Refresh();
    host.FetchRolls();
    host.UpdateSeries();
}

std::unique_ptr<CProofTerminal> StartOld(CProofHome& home, CFaultControl& faults) {
    faults.Heal();
    home.BeginOld();
    auto pHost = home.StartHost(faults.GetVariables());
    pHost->Start();
    pHost->SignIn();
    home.SetNew();
    return pHost;
}

std::uint64_t CountCalls(CProofHome& home, CFaultControl& faults) {
    const auto pHost = StartOld(home, faults);
    faults.Count();
    RefreshAll(*pHost);
    faults.Heal();
    pHost->Finish();
    return faults.GetCalls();
}

void EndAt(CProofHome& home, CFaultControl& faults, std::uint64_t nCall) {
    const auto pHost = StartOld(home, faults);
    faults.EndAt(nCall);
    std::string strFault;
    try {
        RefreshAll(*pHost);
        // Threads share the work, so that a run may have a call more or less than another.
        if (faults.GetFailed() == 0) faults.EndAt(1), pHost->Refresh();
    } catch (const std::runtime_error& failure) {
        strFault = failure.what();
    }
    if (pHost->WaitForEnd() != ENDED_BY_BOARD) throw std::runtime_error("didn't end at its call: " + strFault);
    try {
        home.CheckHalves();
        home.CheckOffline();
        home.CheckMended();
    } catch (const std::runtime_error& failure) {
        throw std::runtime_error("ended at " + faults.GetFirst() + ": " + failure.what());
    }
}

int Run(const Options& options, CTally& tally) {
    CProofHome home(Lists::Short);
    CFaultControl faults(home.GetFolder());
    const std::uint64_t nCalls = CountCalls(home, faults);
    const std::uint64_t nEvery = options.bLong ? 1 : 20;
    for (std::uint64_t nCall = 1; nCall <= nCalls; ++nCall) {
        if (nCall % nEvery != options.nSeed % nEvery && options.nOnly == 0) continue;
        tally.Try(nCall, "the call " + std::to_string(nCall) + " of " + std::to_string(nCalls),
                  [&] { EndAt(home, faults, nCall); });
    }
    return tally.Tell("ended at one of the " + std::to_string(nCalls) + " file calls of a refresh");
}

}  // namespace

}  // namespace qvant::proof

int main(int nArguments, char** ppArguments) {
    return qvant::proof::RunProof("steps", nArguments, ppArguments, qvant::proof::Run);
}

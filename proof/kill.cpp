/// The host is killed at a random moment of what it does: nothing is half afterwards, and the next starts make it good.
#include <chrono>
#include <functional>
#include <stdexcept>
#include <thread>

#include "proof_home.h"
#include "proof_options.h"

namespace qvant::proof {

namespace {

/// What the host is killed in.
struct Step {
    const char* pszName;
    bool bFresh;  ///< on a home that was never started
    std::function<void(CProofTerminal&)> prepare;
    std::function<void(CProofTerminal&)> act;
    std::chrono::microseconds length;
};

std::vector<Step> ListSteps(CProofHome& home) {
    const Lengths& lengths = home.GetLengths();
    const auto nothing = [](CProofTerminal&) {};
    const auto signIn = [](CProofTerminal& host) {
        host.Start();
        host.SignIn();
    };
    const auto settle = [signIn, &home](CProofTerminal& host) {
        signIn(host);
        home.SetNew();
    };
    const auto search = [settle](CProofTerminal& host) {
        settle(host);
        host.RefreshToSearch();
    };
    return {{"the first sign-in", true, nothing, signIn, lengths.signIn},
            {"a sign-in with news", false, [&home](CProofTerminal&) { home.SetNew(); }, signIn, lengths.signIn},
            {"a refresh", false, settle, [](CProofTerminal& host) { host.Refresh(); }, lengths.refresh},
            {"the search's build", false, search, nothing, lengths.search},
            {"rolls", false, settle, [](CProofTerminal& host) { host.FetchRolls(); }, lengths.rolls},
            {"companions", false, settle, [](CProofTerminal& host) { host.UpdateSeries(); }, lengths.series}};
}

void KillDuring(CProofHome& home, const Step& step, std::chrono::microseconds moment) {
    step.bFresh ? home.BeginFresh() : home.BeginOld();
    const auto pHost = home.StartHost();
    step.prepare(*pHost);
    std::jthread killer([&pHost, moment] {
        std::this_thread::sleep_for(moment);
        pHost->Kill();
    });
    std::string strFault;
    try {
        step.act(*pHost);
    } catch (const std::runtime_error& failure) {
        strFault = failure.what();
    }
    killer.join();
    if (const int nStatus = pHost->WaitForEnd(); nStatus != -9) {
        throw std::runtime_error("ended with " + std::to_string(nStatus) + ": " + strFault);
    }
    home.CheckHalves();
    home.CheckOffline();
    home.CheckMended();
}

int Run(const Options& options, CTally& tally) {
    CProofHome home(Lists::All);
    const std::vector<Step> arSteps = ListSteps(home);
    const std::uint64_t nTries = options.bLong ? 500 : 20;
    for (std::uint64_t nTry = 1; nTry <= nTries; ++nTry) {
        const Step& step = arSteps[nTry % arSteps.size()];
        auto random = tally.RandomOf(nTry);
        const double dPart = std::uniform_real_distribution<double>(0, 1.05)(random);
        const auto moment = std::chrono::duration_cast<std::chrono::microseconds>(step.length * dPart);
        tally.Try(nTry, step.pszName + (" after " + std::to_string(moment.count()) + " us"),
                  [&] { KillDuring(home, step, moment); });
    }
    return tally.Tell("killed in sign-ins, refreshes, builds of the search, rolls and companions");
}

}  // namespace

}  // namespace qvant::proof

int main(int nArguments, char** ppArguments) {
    return qvant::proof::RunProof("kill", nArguments, ppArguments, qvant::proof::Run);
}

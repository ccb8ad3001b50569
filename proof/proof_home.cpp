#include "proof_home.h"

#include <functional>
#include <stdexcept>

namespace qvant::proof {

namespace {

using Clock = std::chrono::steady_clock;

std::chrono::microseconds Measure(const std::function<void()>& act) {
    const auto start = Clock::now();
    act();
    return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
}

void Demand(const std::vector<std::string>& arFaults, const std::string& strWhat) {
    if (arFaults.empty()) return;
    std::string strText = strWhat + " (" + std::to_string(arFaults.size()) + "):";
    for (std::size_t n = 0; n < arFaults.size() && n < 8; ++n) strText += "\n    " + arFaults[n].substr(0, 300);
    throw std::runtime_error(strText);
}

std::vector<std::string> Compare(const Published& found, const Published& expected) {
    std::vector<std::string> arFaults;
    for (const auto& [strPlace, strValue] : expected) {
        const auto it = found.find(strPlace);
        if (it == found.end() || it->second != strValue) {
            arFaults.push_back(strPlace + " is " + (it == found.end() ? "missing" : it->second) + ", not " + strValue);
        }
    }
    for (const auto& [strPlace, strValue] : found) {
        if (!expected.contains(strPlace)) arFaults.push_back(strPlace + " is there");
    }
    return arFaults;
}

bool Has(const Published& published, const std::string& strPlace, const std::string& strValue) {
    const auto it = published.find(strPlace);
    return it != published.end() && it->second == strValue;
}

}  // namespace

CProofHome::CProofHome(Lists lists) : m_world(m_folder.GetPath()), m_lists(lists) {
    Live();
    LiveFresh();
}

void CProofHome::Live() {
    MakeHome(Home());
    auto pHost = StartHost();
    m_lengths.signIn = Measure([&] {
        pHost->Start();
        pHost->SignIn();
    });
    pHost->FetchRolls();
    pHost->UpdateSeries();
    m_publishedOld = pHost->GetPublished();
    pHost->Finish();
    m_contentOld = ReadHome(Home());
    CopyHome(Home(), GetFolder() / "old");

    pHost = StartHost();
    pHost->Start();
    pHost->SignIn();
    SetNew();
    m_lengths.refresh = Measure([&] { pHost->Refresh(); });
    m_lengths.search = m_lengths.refresh / 2;
    m_lengths.rolls = Measure([&] { pHost->FetchRolls(); });
    m_lengths.series = Measure([&] { pHost->UpdateSeries(); });
    m_contentRefreshed = ReadHome(Home());
    pHost->SignIn();
    m_publishedNew = pHost->GetPublished();
    pHost->Finish();
    m_contentNew = ReadHome(Home());
}

void CProofHome::LiveFresh() {
    BeginFresh();
    m_arOnTheWay.emplace_back();
    const auto pHost = StartHost();
    pHost->Start();
    m_arOnTheWay.push_back(ReadHome(Home()));
    pHost->Finish();
    // What the user may see is saved on its own, first: the section's line and this one.
    const std::string strSettings = "terminal/Configs/LUMIVale.ini";
    const std::string strWhole = m_contentNew.at(strSettings);
    const std::string strLineEnd("\n\0", 2);
    const std::size_t nFirst = strWhole.find(strLineEnd) + strLineEnd.size();
    m_arOnTheWay.push_back({{strSettings, strWhole.substr(0, strWhole.find(strLineEnd, nFirst) + strLineEnd.size())}});
}

void CProofHome::BeginOld() {
    m_bFresh = false;
    m_world.Start();
    m_world.Set(Edition::Old);
    CopyHome(GetFolder() / "old", Home());
}

void CProofHome::BeginFresh() {
    m_bFresh = true;
    std::filesystem::remove_all(Home());
    MakeHome(Home());
    m_world.Start();
    SetNew();
}

void CProofHome::SetNew() {
    m_world.Set(Edition::New);
    TouchSeries(Home(), Edition::New);
}

std::unique_ptr<CProofTerminal> CProofHome::StartHost(test::CProcess::Variables arVariables) const {
    return std::make_unique<CProofTerminal>(Home(), m_world.GetUrl(), m_lists, std::move(arVariables));
}

void CProofHome::CheckHalves() const {
    std::vector<const HomeContent*> arStates{&m_contentNew};
    if (m_bFresh) {
        for (const HomeContent& content : m_arOnTheWay) arStates.push_back(&content);
    } else {
        arStates.push_back(&m_contentOld);
    }
    Demand(FindHalves(ReadHome(Home()), arStates), "neither old nor new");
}

void CProofHome::CheckPublished(const Published& published) const {
    static const Published NOTHING;
    const Published& old = m_bFresh ? NOTHING : m_publishedOld;
    std::vector<std::string> arFaults;
    for (const auto& [strPlace, strValue] : published) {
        if (!Has(old, strPlace, strValue) && !Has(m_publishedNew, strPlace, strValue)) {
            arFaults.push_back(strPlace + " is " + strValue);
        }
    }
    for (const auto& [strPlace, strValue] : old) {
        if (m_publishedNew.contains(strPlace) && !published.contains(strPlace)) {
            arFaults.push_back(strPlace + " is missing");
        }
    }
    Demand(arFaults, "published, and of no edition");
}

void CProofHome::CheckOffline() {
    m_world.Stop();
    const auto pHost = StartHost();
    pHost->Start();
    pHost->SignIn();
    CheckPublished(pHost->GetPublished());
    pHost->Finish();
    ReadHome(Home());
    m_world.Start();
}

void CProofHome::CheckMended() {
    const auto pHost = StartHost();
    pHost->Start();
    pHost->SignIn();
    pHost->FetchRolls();
    pHost->UpdateSeries();
    const Published published = pHost->GetPublished();
    pHost->Finish();
    CheckFinal(published);
}

void CProofHome::CheckFinal(const Published& published) const {
    Demand(Compare(published, m_publishedNew), "published after the mending, and not as without a fault");
    Demand(FindDifferences(ReadHome(Home()), m_contentNew), "on disk after the mending, and not as without a fault");
    Demand(FindLeftovers(Home()), "left over");
}

void CProofHome::CheckRefreshed(CProofTerminal& host) const {
    CheckPublished(host.GetPublished());
    Demand(FindDifferences(ReadHome(Home()), m_contentRefreshed),
           "on disk after the next refresh, and not as without a fault");
}

}  // namespace qvant::proof

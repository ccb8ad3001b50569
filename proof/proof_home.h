/// What every try of a proof begins with and is measured by: a home that nothing ever happened to.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "home_content.h"
#include "proof_terminal.h"
#include "proof_world.h"
#include "support/scratch_folder.h"

namespace qvant::proof {

/// How long the steps of an undisturbed life take.
struct Lengths {
    std::chrono::microseconds signIn{}, refresh{}, search{}, rolls{}, series{};
};

class CProofHome {
public:
    /// Lives from the old edition to the new one, undisturbed.
    explicit CProofHome(Lists lists);

    /// Below it lie the board of the faults and the home of the try, "try".
    const std::filesystem::path& GetFolder() const { return m_folder.GetPath(); }
    const Lengths& GetLengths() const { return m_lengths; }

    /// A home of the old edition, which the server serves, for the next try.
    void BeginOld();
    /// A home that was never started, while the server serves the new edition.
    void BeginFresh();
    /// The world changes.
    void SetNew();
    std::unique_ptr<CProofTerminal> StartHost(test::CProcess::Variables arVariables = {}) const;

    /// Every file and table is of the old edition or of the new one, or as a sign-in leaves it on its way.
    void CheckHalves() const;
    /// A start without a server serves each value of one edition or the other, and misses none.
    void CheckOffline();
    /// A start with the server brings the home to where the undisturbed one is.
    void CheckMended();

    /// Each published value is of one edition or the other, and none that both have is missing.
    void CheckPublished(const Published& published) const;
    /// The files are what the undisturbed home had after its refresh, and what other modules read too.
    void CheckRefreshed(CProofTerminal& host) const;
    void CheckFinal(const Published& published) const;

private:
    void Live();
    void LiveFresh();
    std::filesystem::path Home() const { return GetFolder() / "try"; }

    const test::CScratchFolder m_folder;
    CProofWorld m_world;
    const Lists m_lists;
    Lengths m_lengths;
    bool m_bFresh = false;
    HomeContent m_contentOld, m_contentRefreshed, m_contentNew;
    std::vector<HomeContent> m_arOnTheWay;  ///< from nothing to the first sign-in
    Published m_publishedOld, m_publishedNew;
};

}  // namespace qvant::proof

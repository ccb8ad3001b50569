/// A terminal of a proof: the real host on a home folder of its own, driven through what the service does.
#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "proof_world.h"
#include "system/host_process.h"

namespace qvant::proof {

/// Which contract lists the user has.
enum class Lists { All, Short };

/// Values, rows and sub-tables of what the service has published, each by its place ("Security.Info/QV.F.CME/...").
using Published = std::map<std::string, std::string>;

/// Makes the folders of a terminal that was never started: "terminal", "common" and "tmp" below the folder.
void MakeHome(const std::filesystem::path& folder);
/// Copies a home that no host works on, over one that is there.
void CopyHome(const std::filesystem::path& from, const std::filesystem::path& to);
/// Has the user's own series written at a time that goes with the edition.
void TouchSeries(const std::filesystem::path& folder, Edition edition);

/// A running host. Every operation throws std::runtime_error when the host ends, fails or takes half a minute.
class CProofTerminal {
public:
    /// @param arVariables  environment on top of the proof's own
    CProofTerminal(const std::filesystem::path& folder, const std::string& strUrl, Lists lists,
                   test::CProcess::Variables arVariables = {});

    /// INIT, START, and the tables of a user who is signed in.
    void Start();
    /// The sign-in, with the symbols and the holidays that it sets going.
    void SignIn();
    /// Brings the host's clock to a reset time, and waits for the pass and for what it sets going.
    void Refresh();
    /// The same, but for a pass that holds because the search database can't be written.
    void RefreshOrBlock();
    /// Waits for the end of a pass that held.
    void FinishRefresh() { WaitForPass(m_nPasses); }
    /// Brings the host's clock to a reset time, and waits until the search database is being built.
    void RefreshToSearch();
    /// Has the roll files of three products written.
    void FetchRolls();
    /// Has the companions of the user's own series brought up to date.
    void UpdateSeries();

    /// Ends the host. @throw std::runtime_error  with another status than 0
    void Finish();
    void Kill() const { m_host.GetProcess().Signal(9); }
    /// Waits for a host that ends by itself. @return its status; below 0 the signal
    int WaitForEnd();

    Published GetPublished();

private:
    rapidjson::Document Ask(const std::string& strRequest);
    void Set(int nSubStatus);
    void SetClock(int nMinute);
    /// Brings the clock to the minute at which a reset time has a single pass left.
    void BeginRefresh();
    void WaitForPass(int nPass);
    /// Whether so many passes have ended, and nothing runs that they set going.
    bool HasPassed(int nPass);
    [[noreturn]] void ThrowTooLong();
    /// Waits for a line of the log that came after the last one that an operation waited for.
    void Await(const std::string& strLine);
    int FindMinute();

    const std::filesystem::path m_folder;
    mutable test::CHostProcess m_host;
    const std::string m_strUrl;
    const Lists m_lists;
    int m_nSeen = 0;     ///< number of the last event that was waited for
    int m_nAfter = 0;    ///< and as it was when the running operation began
    int m_nMinute = -1;  ///< of the day, at which a refresh has one pass
    int m_nPasses = 0;
};

}  // namespace qvant::proof

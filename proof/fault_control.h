/// The proof's side of the board that tells a host's file calls how to go.
#pragma once

#include <filesystem>
#include <string>

#include "interpose/fault_board.h"
#include "system/host_process.h"

namespace qvant::proof {

class CFaultControl {
public:
    /// @param folder  the board lies in it, and files below its "try" count
    explicit CFaultControl(const std::filesystem::path& folder);
    ~CFaultControl();
    CFaultControl(const CFaultControl&) = delete;
    CFaultControl& operator=(const CFaultControl&) = delete;

    /// What the host is started with.
    test::CProcess::Variables GetVariables() const;

    /// Counts from now on.
    void Count();
    /// Counts from now on, and ends the host in place of a call. @param nCall  from 1
    void EndAt(std::uint64_t nCall);
    /// Counts from now on, and has every call that can fail with an error do so. @param nCall  the first one, from 1
    void FailFrom(std::uint64_t nCall, int nError);
    /// Counts from now on, and leaves room on the disk for so many bytes.
    void LeaveRoom(std::uint64_t nBytes);
    /// Has every call go its usual way again.
    void Heal();

    std::uint64_t GetCalls() const { return m_pBoard->nCalls; }
    std::uint64_t GetBytes() const { return m_pBoard->nBytes; }
    std::uint64_t GetFailed() const { return m_pBoard->nFailed; }
    /// The first call that went wrong.
    std::string GetFirst() const { return m_pBoard->szFirst; }

private:
    void Begin(std::uint64_t nFirst, std::uint64_t nRoom, int nError);

    const std::filesystem::path m_pathBoard;
    const std::filesystem::path m_pathFiles;
    FaultBoard* m_pBoard;
};

}  // namespace qvant::proof

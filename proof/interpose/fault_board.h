/// The page of memory by which a proof tells a process's file calls how to go, while the process runs.
#pragma once

#include <atomic>
#include <cstdint>

namespace qvant::proof {

/// Names the file that the board lies in, and the folders whose files count, joined by ":".
constexpr const char* BOARD_VARIABLE = "QV_FAULT_BOARD";
constexpr const char* FOLDERS_VARIABLE = "QV_FAULT_FOLDERS";

/// Status of a process that its board ended.
constexpr int ENDED_BY_BOARD = 86;

/// Shared by both processes; a new one is all zeros, with which every call goes its usual way and none is counted.
struct FaultBoard {
    std::atomic<std::uint32_t> bCounting;  ///< calls are counted, and go wrong when their turn comes
    std::atomic<std::uint32_t> nError;     ///< what a call fails with; 0: the process ends in place of the call
    std::atomic<std::uint64_t> nCalls;     ///< writes, flushes, renames, removals, cuts and creations so far
    std::atomic<std::uint64_t> nFirst;     ///< the call, from 1, that goes wrong, with all that follow; 0: none
    std::atomic<std::uint64_t> nBytes;     ///< bytes written so far
    std::atomic<std::uint64_t> nRoom;      ///< bytes after which writes fail with `nError`; 0: there is no such bound
    std::atomic<std::uint64_t> nFailed;    ///< calls that went wrong
    char szFirst[256];                     ///< the first call that went wrong, with the file that it was for
};

static_assert(std::atomic<std::uint64_t>::is_always_lock_free && std::atomic<std::uint32_t>::is_always_lock_free);

}  // namespace qvant::proof

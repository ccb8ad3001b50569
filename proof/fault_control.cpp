#include "fault_control.h"

#include <cerrno>
#include <cstring>
#include <new>
#include <stdexcept>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace qvant::proof {

CFaultControl::CFaultControl(const std::filesystem::path& folder)
    : m_pathBoard(folder / "board"), m_pathFiles(folder / "try") {
    const int nFile = open(m_pathBoard.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    const bool bMade = nFile >= 0 && ftruncate(nFile, sizeof(FaultBoard)) == 0;
    void* const pMemory =
        bMade ? mmap(nullptr, sizeof(FaultBoard), PROT_READ | PROT_WRITE, MAP_SHARED, nFile, 0) : MAP_FAILED;
    close(nFile);
    if (pMemory == MAP_FAILED) throw std::runtime_error("there is no board");
    m_pBoard = new (pMemory) FaultBoard();
}

CFaultControl::~CFaultControl() { munmap(m_pBoard, sizeof(FaultBoard)); }

test::CProcess::Variables CFaultControl::GetVariables() const {
    return {{"LD_PRELOAD", test::LibraryPath("libqvinterpose.so")},
            {BOARD_VARIABLE, m_pathBoard.string()},
            {FOLDERS_VARIABLE, m_pathFiles.string()}};
}

void CFaultControl::Begin(std::uint64_t nFirst, std::uint64_t nRoom, int nError) {
    FaultBoard& board = *m_pBoard;
    board.bCounting = 0;
    board.nCalls = board.nBytes = board.nFailed = 0;
    board.nFirst = nFirst;
    board.nRoom = nRoom;
    board.nError = static_cast<std::uint32_t>(nError);
    std::memset(board.szFirst, 0, sizeof board.szFirst);
    board.bCounting = 1;
}

void CFaultControl::Count() { Begin(0, 0, 0); }

void CFaultControl::EndAt(std::uint64_t nCall) { Begin(nCall, 0, 0); }

void CFaultControl::FailFrom(std::uint64_t nCall, int nError) { Begin(nCall, 0, nError); }

void CFaultControl::LeaveRoom(std::uint64_t nBytes) { Begin(0, nBytes, ENOSPC); }

void CFaultControl::Heal() { m_pBoard->bCounting = 0; }

}  // namespace qvant::proof

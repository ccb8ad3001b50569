#include "world_keeper.h"

#include <utility>

#include <sys/stat.h>

namespace qvant::refserver {

namespace {

std::int64_t ToNs(const timespec& time) {
    return static_cast<std::int64_t>(time.tv_sec) * 1'000'000'000 + static_cast<std::int64_t>(time.tv_nsec);
}

}  // namespace

CWorldKeeper::CWorldKeeper(std::filesystem::path folder, std::function<void(const std::string&)> log)
    : m_folder(std::move(folder)), m_log(std::move(log)), m_arMarks(MarkFiles()), m_pWorld(Read()) {}

std::shared_ptr<const World> CWorldKeeper::GetWorld() {
    CLock lock(m_mutex);
    if (m_bReading) return m_pWorld;
    auto arMarks = MarkFiles();
    if (arMarks == m_arMarks) return m_pWorld;
    // The marks were taken before the reading, so an edit made during it is met by the next request.
    m_arMarks = std::move(arMarks);
    m_bReading = true;
    lock.unlock();
    std::shared_ptr<const World> pWorld;
    try {
        pWorld = Read();
    } catch (const std::exception& error) {
        m_log(std::string(error.what()) + "; the last good data stand");
    }
    lock.lock();
    m_bReading = false;
    if (pWorld) m_pWorld = std::move(pWorld);
    return m_pWorld;
}

std::vector<CWorldKeeper::FileMark> CWorldKeeper::MarkFiles() const {
    std::vector<FileMark> arMarks;
    std::vector<std::filesystem::path> arFiles;
    try {
        arFiles = ListWorldFiles(m_folder);
    } catch (const std::exception&) {
        return arMarks;  // no world: reading it tells why
    }
    for (auto& file : arFiles) {
        struct stat state {};
        if (stat(file.c_str(), &state) != 0) state = {};
        arMarks.push_back({std::move(file), state.st_ino, state.st_size, ToNs(state.st_ctim), ToNs(state.st_mtim)});
    }
    return arMarks;
}

std::shared_ptr<const World> CWorldKeeper::Read() {
    auto pWorld = std::make_shared<const World>(ReadWorld(m_folder));
    m_log("data: version " + pWorld->GetDocument(AllSecurities).strVersion + ", " +
          std::to_string(pWorld->nSecurities) + " securities in " + std::to_string(pWorld->nFiles) + " files");
    return pWorld;
}

}  // namespace qvant::refserver

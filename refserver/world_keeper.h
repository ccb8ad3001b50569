/// The world as the data folder has it now, or as it last was whole.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/mutex.h"
#include "world.h"

namespace qvant::refserver {

/// Any thread. A changed folder is noticed by the next request, from the marks that the file system keeps of each file.
class CWorldKeeper {
public:
    /// Reads the folder.
    /// @param log  told of each change of the data and of each broken edit
    /// @throw CWorldError  there is no world to begin with
    CWorldKeeper(std::filesystem::path folder, std::function<void(const std::string&)> log);

    /// The world of the moment. The request that first meets a change reads the folder, and has the new world; others
    /// are served from the old one meanwhile. A folder that can't be served leaves the old world in place, and is tried
    /// again when it changes.
    std::shared_ptr<const World> GetWorld();

private:
    struct FileMark {
        std::filesystem::path file;
        std::uint64_t nInode;
        std::int64_t nSize;
        std::int64_t nChangedNs;
        std::int64_t nWrittenNs;
        bool operator==(const FileMark&) const = default;
    };

    std::vector<FileMark> MarkFiles() const;
    std::shared_ptr<const World> Read();

    const std::filesystem::path m_folder;
    const std::function<void(const std::string&)> m_log;
    CMutex m_mutex;
    std::vector<FileMark> m_arMarks QV_GUARDED_BY(m_mutex);
    std::shared_ptr<const World> m_pWorld QV_GUARDED_BY(m_mutex);
    bool m_bReading QV_GUARDED_BY(m_mutex) = false;
};

}  // namespace qvant::refserver

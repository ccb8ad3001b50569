/// The servers of a soak: three of the sample world, which changes while they run, and which die and come back.
#pragma once

#include <array>
#include <filesystem>
#include <memory>
#include <string>

#include "base/text.h"
#include "system/server_process.h"

namespace qvant::test {

class CSoakWorld {
public:
    static constexpr std::size_t SERVERS = 3;

    /// @param folder  gets a copy of the sample world
    explicit CSoakWorld(const std::filesystem::path& folder);

    /// The base URLs, joined by "|"; they stay the same for the whole soak.
    Text GetUrls() const;

    void Kill(std::size_t nServer) { m_arServers.at(nServer).reset(); }
    /// Has a server that is dead come back at its address; another lets go of its access log.
    void Revive(std::size_t nServer);
    void ReviveAll();

    /// Has no server answer requests whose path holds the text any more.
    void HangAt(const std::string& strPath) const;
    /// Waits until a server has taken a request whose path holds the text.
    /// @return false when none has after half a minute
    bool WaitForRequest(const std::string& strPath) const;

    /// Gives a document a new version, as its publisher does it.
    /// @param strDocument  as `lumivale-refserver publish` takes it
    void Publish(const std::string& strDocument) const;

private:
    const std::filesystem::path m_pathWorld;
    std::array<std::unique_ptr<CServerProcess>, SERVERS> m_arServers;
    std::array<int, SERVERS> m_arPorts{};
};

}  // namespace qvant::test

/// The reference-data servers in trial order, and the one that answered last.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

#include "base/text.h"

namespace qvant {

/// Owned by the service. Any thread may walk; the list is replaced at the start and at sign-in.
class CServerList {
public:
    /// Takes a list of base URLs joined by "|"; with more than one the list is rotated by `nRandom` modulo its length,
    /// so that its cyclic order stays. The walk then starts at the head, which becomes the server in use.
    /// @param random  asked once, and only with more than one server
    /// @throw CFailure  invalid argument when the text names no server at all
    void Assign(TextView strUrls, const std::function<unsigned()>& random);

    /// Asks each server in turn, from the one that answered last, until `ask` accepts a reply. `ask` is called outside
    /// the list's lock, with the base URL of one server, which is then the server in use.
    /// @return true when a server was accepted; the position then moves there, otherwise it stays
    bool Walk(const std::function<bool(const Text& strServer)>& ask);

    std::size_t GetCount() const;
    std::size_t GetIndex() const;
    Text GetServer() const;

private:
    void SetServer(const Text& strServer, std::uint64_t nGeneration);
    void MoveTo(std::size_t nPosition, std::uint64_t nGeneration);

    mutable std::mutex m_mutex;
    std::vector<Text> m_arServers;
    Text m_strServer;
    std::size_t m_nServerIndex = 0;
    std::uint64_t m_nGeneration = 0;  ///< counts the lists, so that a walk knows whether its own still stands
};

}  // namespace qvant

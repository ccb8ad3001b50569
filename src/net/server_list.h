/// The reference-data servers in trial order, and the one that answered last.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "base/mutex.h"
#include "base/text.h"
#include "net/latency_test.h"
#include "store/host.h"

namespace qvant {

/// A server as its list shows it.
struct ServerRow {
    /// What the last test of the list found.
    struct Measured {
        std::int32_t nLatency;   ///< as ranked, handicap included; `LATENCY_FAILED`, `LATENCY_UNREPORTED`
        std::int32_t nInterval;  ///< the handicap that its place in the list cost it
    };

    Text strServer;
    std::optional<Measured> measured;  ///< nothing while the list is untested, as one with a single server stays
    bool bInUse = false;
};

/// The list at one moment.
struct ServerListing {
    std::vector<ServerRow> arServers;  ///< in trial order
    std::size_t nIndex = 0;            ///< where the next walk starts
};

/// Owned by the service. Any thread may walk; the list is replaced at the start and at sign-in, and put in order by
/// the latency test that follows.
class CServerList {
public:
    /// Takes a list of base URLs joined by "|"; with more than one the list is rotated by `nRandom` modulo its length,
    /// so that its cyclic order stays. The walk then starts at the head, which becomes the server in use.
    /// @param random  asked once, and only with more than one server
    /// @throw CFailure  invalid argument when the text names no server at all
    void Assign(TextView strUrls, const std::function<unsigned()>& random);

    /// Puts the servers in order, fastest first; the head becomes the server in use. The position of the walk isn't
    /// touched. Blocks for ten seconds at most, and leaves the list as it is when a stop cuts the test short.
    ///
    /// A single server isn't measured. A list with a server twice keeps its order: the measurements are one short.
    void StartLatencyTest(CLatencyTest& test, IHost& host);

    /// Asks each server in turn, from the one that answered last, until `ask` accepts a reply. `ask` is called outside
    /// the list's lock, with the base URL of one server, which is then the server in use.
    /// @return true when a server was accepted; the position then moves there, otherwise it stays
    bool Walk(const std::function<bool(const Text& strServer)>& ask);

    std::size_t GetCount() const;
    std::size_t GetIndex() const;
    Text GetServer() const;
    ServerListing GetListing() const;

private:
    std::optional<Text> TakeResult(LatencyResult result, std::uint64_t nGeneration);
    void SetServer(const Text& strServer, std::uint64_t nGeneration);
    void MoveTo(std::size_t nPosition, std::uint64_t nGeneration);

    mutable CMutex m_mutex;
    std::vector<Text> m_arServers QV_GUARDED_BY(m_mutex);
    Text m_strServer QV_GUARDED_BY(m_mutex);
    std::size_t m_nServerIndex QV_GUARDED_BY(m_mutex) = 0;
    LatencyResult m_result QV_GUARDED_BY(m_mutex);  ///< of the last test of this list; empty before it
    /// Counts the lists, so that a walk knows whether its own still stands.
    std::uint64_t m_nGeneration QV_GUARDED_BY(m_mutex) = 0;
};

}  // namespace qvant

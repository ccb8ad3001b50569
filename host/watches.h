/// The tables whose events the host shows.
#pragma once

#include <map>
#include <memory>

#include "dispatch_sink.h"
#include "event_log.h"
#include "tables.h"

namespace qvant::host {

/// Belongs to the host thread; the events come on the store's threads. A watch that ends has shown the events of every
/// commit that was answered before.
class CWatches {
public:
    explicit CWatches(CEventLog& log) : m_log(log) {}

    /// Shows the events of the table from now on. A table that is watched already stays so.
    void Watch(const TablePath& path, const CStoreTable& table);

    /// @return false when the table isn't watched
    bool Unwatch(const TablePath& path);

    /// Ends the watches on a table and on those below it.
    void Forget(TextView strTable);

    /// Ends all watches.
    void Clear() { m_mapConnections.clear(); }

private:
    using Key = std::pair<Text, std::vector<Text>>;

    CEventLog& m_log;
    std::map<Key, std::unique_ptr<CConnection>> m_mapConnections;
};

}  // namespace qvant::host

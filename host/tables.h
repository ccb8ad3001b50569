/// The host's tables by name.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <vector>

#include "base/mutex.h"
#include "store_table.h"

namespace qvant::host {

/// A table, or a table below it.
struct TablePath {
    Text strTable;
    std::vector<Text> arPath;
};

/// Owns the tables. Any thread may call: the service opens tables on its own threads.
class CTables {
public:
    /// Levels below a table that a path may name.
    static constexpr std::size_t PATH_LIMIT = 64;

    /// @param pathStorage  file that keeps the table "STORAGE", whenever that is made
    explicit CTables(std::filesystem::path pathStorage) : m_pathStorage(std::move(pathStorage)) {}
    CTables(const CTables&) = delete;
    CTables& operator=(const CTables&) = delete;
    ~CTables();

    /// The tables that a service finds when the terminal starts it.
    void MakeStartTables();

    /// The table of that name, made when it is missing.
    CStoreTable Make(TextView strName);

    /// Cookie of a table, 0 when there is none of that name.
    DWORD GetCookie(TextView strName) const;

    /// Forgets a table; those who hold it keep it. @return false when there is none of that name
    bool Drop(TextView strName);

    /// All names, sorted.
    std::vector<Text> GetNames() const;

    /// The table, if there is one of that name.
    std::optional<CStoreTable> Find(TextView strName) const;

    /// The table or sub-table. @throws CFailure when it isn't there
    CStoreTable Open(const TablePath& path) const;

    /// The table or sub-table, with all that is missing on the way to it made.
    CStoreTable OpenOrMake(const TablePath& path);

private:
    struct Entry {
        CStoreTable table;
        DWORD dwCookie;
    };

    void Persist(const CStoreTable& table) const;

    const std::filesystem::path m_pathStorage;
    mutable CMutex m_mutex;
    std::map<Text, Entry, std::less<>> m_mapTables QV_GUARDED_BY(m_mutex);
};

}  // namespace qvant::host

#include "home_content.h"

#include <algorithm>
#include <fstream>
#include <functional>
#include <set>
#include <stdexcept>

#include <sqlite3.h>

#include "support/scratch_folder.h"

namespace qvant::proof {

namespace {

namespace fs = std::filesystem;

std::string ReadFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// One database, opened as the next start would open it.
class CDatabase {
public:
    explicit CDatabase(const fs::path& path) : m_strName(path.filename().string()) {
        if (sqlite3_open(path.c_str(), &m_pDatabase) != SQLITE_OK) throw Failure("can't be opened");
    }
    ~CDatabase() { sqlite3_close(m_pDatabase); }
    CDatabase(const CDatabase&) = delete;
    CDatabase& operator=(const CDatabase&) = delete;

    using Row = std::vector<std::string>;
    /// Hands over each row of a query, empty values as empty texts.
    void ForEachRow(const std::string& strSql, const std::function<void(const Row&)>& visit) const {
        sqlite3_stmt* pStatement = nullptr;
        if (sqlite3_prepare_v2(m_pDatabase, strSql.c_str(), -1, &pStatement, nullptr) != SQLITE_OK) {
            throw Failure(sqlite3_errmsg(m_pDatabase));
        }
        int nStep = SQLITE_ROW;
        while ((nStep = sqlite3_step(pStatement)) == SQLITE_ROW) {
            Row row;
            for (int i = 0; i < sqlite3_column_count(pStatement); ++i) {
                // When a row was written is another moment in each home.
                if (sqlite3_column_name(pStatement, i) == std::string("TimeStamp")) continue;
                const auto* const pText = sqlite3_column_text(pStatement, i);
                row.emplace_back(pText ? reinterpret_cast<const char*>(pText) : "");
            }
            visit(row);
        }
        sqlite3_finalize(pStatement);
        if (nStep != SQLITE_DONE) throw Failure(sqlite3_errmsg(m_pDatabase));
    }

    void CheckIntegrity() const {
        std::string strReport;
        ForEachRow("PRAGMA integrity_check", [&](const Row& row) { strReport += row[0] + "\n"; });
        if (strReport != "ok\n") throw Failure(strReport);
    }

private:
    std::runtime_error Failure(const std::string& strWhat) const {
        return std::runtime_error(m_strName + ": " + strWhat);
    }

    const std::string m_strName;
    sqlite3* m_pDatabase = nullptr;
};

std::string Join(const CDatabase::Row& row) {
    std::string strRow;
    for (const std::string& strValue : row) strRow += strValue + '\x1f';
    return strRow + '\n';
}

void AddTables(const CDatabase& database, const std::string& strFile, HomeContent& content) {
    std::vector<std::string> arTables;
    database.ForEachRow("SELECT name FROM sqlite_master WHERE type = 'table'",
                        [&](const CDatabase::Row& row) { arTables.push_back(row[0]); });
    for (const std::string& strTable : arTables) {
        std::multiset<std::string> setRows;
        database.ForEachRow("SELECT * FROM \"" + strTable + '"',
                            [&](const CDatabase::Row& row) { setRows.insert(Join(row)); });
        std::string& strRows = content[strFile + ':' + strTable];
        for (const std::string& strRow : setRows) strRows += strRow;
    }
}

/// The key of a sub-table is its number in the file, which is a matter of the order of making.
void AddStorage(const CDatabase& database, const std::string& strFile, HomeContent& content) {
    std::vector<std::string> arViews;
    database.ForEachRow("SELECT name FROM sqlite_master WHERE name = 'content'",
                        [&](const CDatabase::Row& row) { arViews.push_back(row[0]); });
    if (arViews.empty()) return;  // the file is made before its schema
    database.ForEachRow("SELECT path, section, \"key\", value FROM content", [&](const CDatabase::Row& row) {
        content[strFile + '|' + row[0] + '|' + row[1] + '|' + row[2]] = row[1] == "table" ? "" : row[3];
    });
}

void AddDatabase(const fs::path& path, const std::string& strName, HomeContent& content) {
    const test::CScratchFolder scratch;
    const fs::path copy = scratch.GetPath() / path.filename();
    for (const char* pszEnd : {"", "-wal", "-journal"}) {
        std::error_code ignored;
        fs::copy_file(path.string() + pszEnd, copy.string() + pszEnd, ignored);
    }
    const CDatabase database(copy);
    database.CheckIntegrity();
    if (path.filename() == "STORAGE.db") {
        AddStorage(database, strName, content);
    } else {
        AddTables(database, strName, content);
    }
}

bool IsLeftover(const fs::path& path) { return path.filename().string().starts_with(".lumivale-"); }

/// The database that a table's unit is of; empty for other units.
std::string FileOf(const std::string& strUnit) {
    const std::size_t nColon = strUnit.find(".db:");
    return nColon == std::string::npos ? "" : strUnit.substr(0, nColon + 3);
}

bool IsSame(const HomeContent& left, const HomeContent& right, const std::string& strUnit) {
    const auto inLeft = left.find(strUnit);
    const auto inRight = right.find(strUnit);
    if (inLeft == left.end() || inRight == right.end()) return inLeft == left.end() && inRight == right.end();
    return inLeft->second == inRight->second;
}

std::set<std::string> ListUnits(const std::vector<const HomeContent*>& arContents) {
    std::set<std::string> setUnits;
    for (const HomeContent* const pContent : arContents) {
        for (const auto& [strUnit, strText] : *pContent) setUnits.insert(strUnit);
    }
    return setUnits;
}

}  // namespace

HomeContent ReadHome(const fs::path& folder) {
    HomeContent content;
    for (const char* pszPart : {"terminal/Configs", "terminal/Data", "common"}) {
        if (!fs::exists(folder / pszPart)) continue;
        for (const auto& entry : fs::recursive_directory_iterator(folder / pszPart)) {
            if (!entry.is_regular_file() || IsLeftover(entry.path())) continue;
            const std::string strName = fs::relative(entry.path(), folder).string();
            const std::string strExtension = entry.path().extension().string();
            if (strExtension == ".db") {
                AddDatabase(entry.path(), strName, content);
            } else if (!strExtension.starts_with(".db-")) {
                content[strName] = ReadFile(entry.path());
            }
        }
    }
    return content;
}

std::vector<std::string> FindHalves(const HomeContent& found, const std::vector<const HomeContent*>& arStates) {
    std::vector<const HomeContent*> arAll = arStates;
    arAll.push_back(&found);
    std::vector<std::string> arHalves;
    std::map<std::string, std::set<const HomeContent*>> mapFiles;  // database to the states that all its tables are of
    for (const std::string& strUnit : ListUnits(arAll)) {
        std::set<const HomeContent*> setOf;
        for (const HomeContent* const pState : arStates) {
            if (IsSame(found, *pState, strUnit)) setOf.insert(pState);
        }
        if (setOf.empty()) arHalves.push_back(strUnit);
        const std::string strFile = FileOf(strUnit);
        if (strFile.empty()) continue;
        const auto [it, bNew] = mapFiles.try_emplace(strFile, setOf);
        if (!bNew) std::erase_if(it->second, [&](const HomeContent* pState) { return !setOf.contains(pState); });
    }
    for (const auto& [strFile, setOf] : mapFiles) {
        if (setOf.empty()) arHalves.push_back(strFile + " (tables of different states)");
    }
    return arHalves;
}

std::vector<std::string> FindDifferences(const HomeContent& found, const HomeContent& expected) {
    std::vector<std::string> arUnits;
    for (const std::string& strUnit : ListUnits({&found, &expected})) {
        if (!IsSame(found, expected, strUnit)) arUnits.push_back(strUnit);
    }
    return arUnits;
}

std::vector<std::string> FindLeftovers(const fs::path& folder) {
    std::vector<std::string> arFiles;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (IsLeftover(entry.path())) arFiles.push_back(fs::relative(entry.path(), folder).string());
    }
    return arFiles;
}

}  // namespace qvant::proof

/// A home folder with record databases in it, and clients of them.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/sqlite.h"
#include "store/db_api_obj.h"
#include "store/record_results.h"
#include "support/scratch_folder.h"

namespace qvant::test {

/// Keeps the log lines of the databases.
class CDataBaseLog : public CDataBaseEventReceiver {
public:
    void OnWriteLog(const Text& strLine) override {
        const std::lock_guard lock(m_mutex);
        m_arLines.push_back(Narrow(strLine));
    }
    std::vector<std::string> GetLines() const {
        const std::lock_guard lock(m_mutex);
        return m_arLines;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_arLines;
};

class DatabaseTest : public ::testing::Test {
protected:
    using Rows = std::vector<std::string>;

    DatabaseTest() { EXPECT_TRUE(m_results.Create()); }

    /// A client that has opened the system.
    std::unique_ptr<DbAPIObj> Open(TextView strSystem = u"Test") {
        auto pDatabase = std::make_unique<DbAPIObj>();
        EXPECT_TRUE(pDatabase->Create(&m_log, m_folder / "home/"));
        EXPECT_EQ(pDatabase->OpenSystem(u".", strSystem), 1);
        return pDatabase;
    }

    /// A client with the table "Words" (Key, Text) in the database "Test".
    std::unique_ptr<DbAPIObj> OpenWords() {
        auto pDatabase = Open();
        EXPECT_EQ(pDatabase->CreateTable(u"Test", u"Words", u"Key,Text"), 1);
        return pDatabase;
    }

    /// The result of a query, a line "field|field" for each row; "failed" when it fails.
    Rows Query(DbAPIObj& database, TextView strTable, const std::vector<Text>& arFields, TextView strField = {},
               TextView strValue = {}) {
        CRecordQuery query(database, m_results, strTable, strField, strValue);
        if (!query.Succeeded()) return {"failed"};
        Rows rows;
        for (std::int32_t i = 0; i < query.GetCount(); ++i) {
            rows.emplace_back(query.Fetch(i) ? "" : "unfetched");
            for (const Text& strName : arFields) {
                if (&strName != &arFields.front()) rows.back() += '|';
                rows.back() += Narrow(query.GetField(strName));
            }
        }
        return rows;
    }
    Rows Words(DbAPIObj& database, TextView strField = {}, TextView strValue = {}) {
        return Query(database, u"Words", {u"Key", u"Text"}, strField, strValue);
    }

    std::string GetFile(const std::string& strName = "Test") const {
        return (m_folder.GetPath() / "home/Data/API" / (strName + ".db")).string();
    }
    /// What another tool does to a file, or reads from it.
    void Execute(const char* pszSql) const { common::CSqlite(GetFile()).Execute(pszSql); }
    std::int64_t Count(const char* pszSql) const { return common::CSqlite(GetFile(), false).QueryInteger(pszSql); }

    CScratchFolder m_folder;
    CEnvironment m_home{"LUMIVALE_HOME", (m_folder.GetPath() / "home").string()};
    CEnvironment m_common{"LUMIVALE_COMMON_DATA", (m_folder.GetPath() / "common").string()};
    CDataBaseLog m_log;
    CRecordResults m_results;
};

}  // namespace qvant::test

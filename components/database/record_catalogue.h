/// Which database file a table is in.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "record_file.h"

namespace qvant::database {

/// The databases and tables that one database object knows: those that were declared, and those that its folder has.
/// Used under its database's lock.
class CRecordCatalogue {
public:
    explicit CRecordCatalogue(CLockWaits& waits);

    /// Takes the folder that the plain names live below ("." is the home folder), and looks through its databases.
    /// @return a line for each file that can't be read
    std::vector<Text> OpenSystem(TextView strFolder, TextView strSystem);

    /// The file of a database, whether or not it is there. Throws `CSqliteError` for a name that can't be one.
    CRecordFile& GetFile(TextView strDatabase);

    /// From now on the table is that of this file.
    void Declare(TextView strTable, CRecordFile& file) {
        m_mapTables.insert_or_assign(Text(strTable), SPlace{&file, true});
    }
    /// The table is gone from this file; all of its tables are when the name is empty.
    void Forget(TextView strTable, const CRecordFile& file);

    /// The file that has the table. One that nobody declared is looked for in the folder. @return null when there is
    /// none
    CRecordFile* Find(TextView strTable);

    template <class Visit>
    void ForEachFile(const Visit& visit) {
        for (auto& [strPath, pFile] : m_mapFiles) visit(strPath, *pFile);
    }

private:
    struct SPlace {
        CRecordFile* pFile;
        bool bDeclared;
    };

    CRecordFile& GetFileAt(Text strPath);
    Text MakePath(TextView strDatabase) const;
    void Scan(std::vector<Text>& arFaults);

    CLockWaits& m_waits;
    Text m_strHome;
    Text m_strDatabases;  ///< the folder "Data/API", with a slash behind
    Text m_strSystem;
    bool m_bOpened = false;
    std::map<Text, std::unique_ptr<CRecordFile>> m_mapFiles;  ///< by their paths
    std::unordered_map<Text, SPlace, TextHash, std::equal_to<>> m_mapTables;
};

}  // namespace qvant::database

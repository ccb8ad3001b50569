#include "record_catalogue.h"

#include <algorithm>

#include "platform/files.h"

namespace qvant::database {
namespace {

constexpr TextView SUFFIX = u".db";
constexpr TextView COMMON_DATA = u"C:/ProgramData";

Text GetHomeFolder() {
    const Text strProgram = platform::GetExecutablePath();
    return strProgram.substr(0, strProgram.rfind(u'/') + 1);
}

bool IsPlainName(TextView strName) {
    return !strName.empty() && strName.find_first_of(TextView(u"/\\\0", 3)) == TextView::npos;
}

/// The absolute path behind a "*".
Text MakeAbsolutePath(TextView strName) {
    Text strPath(strName);
    std::replace(strPath.begin(), strPath.end(), u'\\', u'/');
    const TextView strRest = TextView(strPath).substr(std::min(strPath.size(), COMMON_DATA.size()));
    if (EqualsNoCase(TextView(strPath).substr(0, COMMON_DATA.size()), COMMON_DATA) && strRest.starts_with(u'/')) {
        const auto strCommon = platform::GetCommonDataFolder();
        if (!strCommon) return {};
        strPath = Text(*strCommon).append(strRest);
    }
    const bool bGood = strPath.starts_with(u'/') && strPath.size() > 1 && !Contains(strPath, TextView(u"\0", 1));
    return bGood ? strPath : Text();
}

}  // namespace

CRecordCatalogue::CRecordCatalogue(CLockWaits& waits)
    : m_waits(waits), m_strHome(GetHomeFolder()), m_strDatabases(m_strHome + u"Data/API/") {}

std::vector<Text> CRecordCatalogue::OpenSystem(TextView strFolder, TextView strSystem) {
    Text strBase = strFolder.starts_with(u'/') ? Text() : m_strHome;
    if (strFolder != u"." && !strFolder.empty())
        strBase.append(strFolder).append(strFolder.ends_with(u'/') ? u"" : u"/");
    m_strDatabases = strBase + u"Data/API/";
    m_strSystem = strSystem;
    m_bOpened = true;
    std::vector<Text> arFaults;
    Scan(arFaults);
    return arFaults;
}

Text CRecordCatalogue::MakePath(TextView strDatabase) const {
    if (strDatabase.starts_with(u'*')) return MakeAbsolutePath(strDatabase.substr(1));
    return IsPlainName(strDatabase) ? Text(m_strDatabases).append(strDatabase).append(SUFFIX) : Text();
}

CRecordFile& CRecordCatalogue::GetFile(TextView strDatabase) {
    Text strPath = MakePath(strDatabase);
    if (strPath.empty()) throw common::CSqliteError(SQLITE_CANTOPEN, "a name that can't be a database's");
    return GetFileAt(std::move(strPath));
}

CRecordFile& CRecordCatalogue::GetFileAt(Text strPath) {
    auto& pFile = m_mapFiles[strPath];
    if (!pFile) pFile = std::make_unique<CRecordFile>(std::move(strPath), m_waits);
    return *pFile;
}

void CRecordCatalogue::Forget(TextView strTable, const CRecordFile& file) {
    std::erase_if(m_mapTables, [&](const auto& entry) {
        return entry.second.pFile == &file && (strTable.empty() || entry.first == strTable);
    });
}

CRecordFile* CRecordCatalogue::Find(TextView strTable) {
    auto found = m_mapTables.find(strTable);
    if (found == m_mapTables.end() && m_bOpened) {
        std::vector<Text> ignored;  // told when the system was opened
        Scan(ignored);
        found = m_mapTables.find(strTable);
    }
    return found == m_mapTables.end() ? nullptr : found->second.pFile;
}

/// What isn't declared is looked up anew, the system's own databases before the others.
void CRecordCatalogue::Scan(std::vector<Text>& arFaults) {
    std::erase_if(m_mapTables, [](const auto& entry) { return !entry.second.bDeclared; });
    std::vector<Text> arNames = platform::ListFiles(m_strDatabases);
    std::erase_if(arNames, [](const Text& strName) { return !strName.ends_with(SUFFIX); });
    const Text strOwn = Text(u"_").append(m_strSystem).append(SUFFIX);
    std::stable_partition(arNames.begin(), arNames.end(), [&](const Text& s) { return s.ends_with(strOwn); });
    for (const Text& strName : arNames) {
        CRecordFile& file = GetFileAt(m_strDatabases + strName);
        const bool bWasOpen = file.IsOpen();
        try {
            for (Text& strTable : file.ListTables()) m_mapTables.try_emplace(std::move(strTable), SPlace{&file, false});
        } catch (const common::CSqliteError& error) {
            arFaults.push_back(strName + u": " + Widen(error.what()));
        }
        if (!bWasOpen) file.Close();
    }
}

}  // namespace qvant::database

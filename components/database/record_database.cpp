#include "record_database.h"

#include <functional>
#include <utility>

#include "base/format.h"

namespace qvant::database {

using common::CSqliteError;

void CRecordDatabase::Log(TextView strOperation, TextView strSubject, TextView strText) {
    m_arLog.push_back(Format(u"DataBaseAPI %s(%s): %s", strOperation, strSubject, strText));
    m_bHasLog = true;
}

std::vector<Text> CRecordDatabase::TakeLog() {
    if (!m_bHasLog) return {};
    const CLock lock(m_mutex);
    m_bHasLog = false;
    return std::exchange(m_arLog, {});
}

template <class Call>
bool CRecordDatabase::Run(TextView strOperation, TextView strSubject, const Call& call) {
    const CLock lock(m_mutex);
    m_waits.BeginCall();
    try {
        std::invoke(call);  // not by itself: the lock that it wants is taken for one of the call's own
        m_strLastFault.clear();
        return true;
    } catch (const CSqliteError& error) {
        Text strFault = Widen(error.what());
        if (strFault != m_strLastFault) Log(strOperation, strSubject, strFault);
        m_strLastFault = std::move(strFault);
        return false;
    }
}

CRecordFile& CRecordDatabase::FindFile(TextView strTable) {
    CRecordFile* const pFile = m_catalogue.Find(strTable);
    if (!pFile) throw CSqliteError(SQLITE_ERROR, "no such table");
    return *pFile;
}

bool CRecordDatabase::OpenSystem(TextView strFolder, TextView strSystem) {
    return Run(u"OpenSystem", strSystem, [&]() QV_REQUIRES(m_mutex) {
        for (const Text& strFault : m_catalogue.OpenSystem(strFolder, strSystem)) {
            Log(u"OpenSystem", strSystem, strFault);
        }
    });
}

/// The table belongs to the file from now on, even when the file refuses: nothing may go to another one in its place.
bool CRecordDatabase::CreateTable(TextView strDatabase, TextView strTable, TextView strFields) {
    return Run(u"CreateTable", strTable, [&]() QV_REQUIRES(m_mutex) {
        CRecordFile& file = m_catalogue.GetFile(strDatabase);
        m_catalogue.Declare(strTable, file);
        file.CreateTable(strTable, strFields, m_bBatch);
    });
}

bool CRecordDatabase::DropDatabase(TextView strDatabase, TextView strTable) {
    return Run(u"DropDatabase", strDatabase, [&]() QV_REQUIRES(m_mutex) {
        CRecordFile& file = m_catalogue.GetFile(strDatabase);
        file.Drop(strTable, m_bBatch);
        m_catalogue.Forget(strTable, file);
    });
}

bool CRecordDatabase::InsertRecord(TextView strTable, TextView strFields, TextView strValues) {
    return Run(u"InsertRecord", strTable, [&]() QV_REQUIRES(m_mutex) {
        CRecordFile& file = FindFile(strTable);
        if (file.Insert(strTable, strFields, m_values.Split(strValues), m_bBatch)) return;
        Log(u"InsertRecord", strTable, Text(u"more values than fields: ").append(strValues));
    });
}

bool CRecordDatabase::DeleteRecord(TextView strTable, TextView strField, TextView strValue) {
    return Run(u"DeleteRecord", strTable, [&]() QV_REQUIRES(m_mutex) {
        if (strField.empty() && !strValue.empty()) throw CSqliteError(SQLITE_MISUSE, "a value without a field");
        FindFile(strTable).Delete(strTable, strField, strValue, m_bBatch);
    });
}

/// A table that isn't there yet is no fault worth a line: that is how a caller learns that it must make one.
std::optional<SQueryResult> CRecordDatabase::QueryRecords(TextView strTable, TextView strField, TextView strValue) {
    std::optional<SQueryResult> result;
    Run(u"QueryRecords", strTable, [&]() QV_REQUIRES(m_mutex) {
        if (strField.empty() && !strValue.empty()) throw CSqliteError(SQLITE_MISUSE, "a value without a field");
        CRecordFile* const pFile = m_catalogue.Find(strTable);
        if (pFile) result = pFile->Query(strTable, strField, strValue);
    });
    return result;
}

void CRecordDatabase::BeginBatch() {
    const CLock lock(m_mutex);
    m_bBatch = true;
}

bool CRecordDatabase::EndBatch() {
    bool bWhole = true;
    std::vector<std::pair<Text, CRecordFile*>> arFiles;
    {
        const CLock lock(m_mutex);
        m_bBatch = false;
        m_catalogue.ForEachFile([&](const Text& strPath, CRecordFile& file) { arFiles.emplace_back(strPath, &file); });
    }
    for (const auto& [strPath, pFile] : arFiles) {
        const TextView strName = TextView(strPath).substr(strPath.rfind(u'/') + 1);
        if (!Run(u"EndBatch", strName, [file = pFile] { file->EndBatch(); })) bWhole = false;
    }
    return bWhole;
}

std::shared_ptr<const SRecordBlock> CRecordDatabase::ReadBlock(const SQueryResult& result, std::size_t nFirst) {
    std::shared_ptr<const SRecordBlock> pBlock;
    Run(u"ReadRecords", result.strTable,
        [&]() QV_REQUIRES(m_mutex) { pBlock = FindFile(result.strTable).ReadBlock(result, nFirst); });
    return pBlock;
}

}  // namespace qvant::database

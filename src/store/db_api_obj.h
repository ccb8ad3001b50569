/// Client of the record database.
///
/// Operations do nothing and give 0 on a client without a database object. What the database can't do gives 0 (or
/// false) as well, and its reason comes through `CDataBaseEventReceiver::OnWriteLog`. A failed call of the component
/// itself is raised as `CFailure` with its code.
#pragma once

#include <cstdint>

#include "base/text.h"
#include "qvant/database.h"

namespace qvant {

class CDataBaseSink;
class CRecordSet;

/// Receives the events of a database object, on any thread.
class CDataBaseEventReceiver {
public:
    virtual ~CDataBaseEventReceiver() = default;
    virtual void OnCommandMsg(std::int32_t nFirst, std::int32_t nSecond, const Text& strText);
    virtual void OnWriteLog(const Text& strLine);
};

class DbAPIObj {
public:
    DbAPIObj() = default;
    virtual ~DbAPIObj();
    DbAPIObj(const DbAPIObj&) = delete;
    DbAPIObj& operator=(const DbAPIObj&) = delete;

    /// Makes the database object, from the component's file below the base folder, else by its ProgID, and connects the
    /// sink to its events. A sink that can't be connected leaves a working, silent client.
    /// @param pSink             receiver of the events, which outlives the client; null for none
    /// @param strBaseDirectory  with a slash behind; empty: the folder of the process's executable
    /// @return false when no database object could be made
    bool Create(CDataBaseEventReceiver* pSink, TextView strBaseDirectory);

    /// Comes before anything else. @param strDirectory  "." @param strSystemName  the setting `SystemName`
    std::int32_t OpenSystem(TextView strDirectory, TextView strSystemName);

    /// Makes the table unless it is there. @param strFields  joined by ","
    std::int32_t CreateTable(TextView strDatabase, TextView strTable, TextView strFields);

    /// @param strValues  joined by "," in the order of the fields; with an ending of "||" and a separator, by that one
    /// @return 1; 0 when the row wasn't taken
    std::int32_t InsertRecord(TextView strTable, TextView strFields, TextView strValues);

    /// Deletes the rows whose field equals the value; every row when both are empty.
    std::int32_t DeleteRecord(TextView strTable, TextView strField = {}, TextView strValue = {});

    /// Puts the rows whose field equals the value (all, when both are empty) into the record set. Prefer
    /// `CRecordQuery` for the two result objects that the service's queries share.
    /// @return false when the query failed; the record set is left as it was
    bool QueryRecords(TextView strTable, TextView strField, TextView strValue, CRecordSet& records);

    /// From `BeginBatch` to `EndBatch` all writes are one transaction.
    void BeginBatch();
    /// @return 1; 0 when the file didn't take the batch, and then nothing of it is there
    std::int32_t EndBatch();

    /// Removes a table of a database, or all of them when the name is empty.
    std::int32_t DropDatabase(TextView strDatabase, TextView strTable);

private:
    bool LoadComponent(TextView strBaseDirectory);
    bool CreateFromProgId();
    void Connect(CDataBaseEventReceiver& sink);
    void Disconnect();
    void Invoke(DISPID nMethod, VARIANT* pArguments, UINT nCount, VARIANT& result);
    void AllowWaits(BOOL bAllow) const;
    std::int32_t CallWithTexts(DISPID nMethod, TextView strA, TextView strB);
    std::int32_t CallWithTexts(DISPID nMethod, TextView strA, TextView strB, TextView strC);

    void* m_hModule = nullptr;  ///< the component's module when this client loaded it
    IDispatch* m_pDatabase = nullptr;
    IQvantDataBase* m_pWaits = nullptr;  ///< the same object, for a stop that ends its waits
    CDataBaseSink* m_pConnection = nullptr;
    std::uint32_t m_nAdviseCookie = 0;
};

}  // namespace qvant

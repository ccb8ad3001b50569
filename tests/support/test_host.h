/// A host for tests: real store tables, and a record of everything that the service says.
#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "store/base_data.h"
#include "store/host.h"

namespace qvant::test {

class CTestHost : public IHost {
public:
    /// Makes a table that the service can open from now on.
    CBaseData& MakeTable(TextView strName);
    void DropTable(TextView strName);
    /// Writes keyed values in one transaction; makes the table if need be.
    void Set(TextView strTable, const std::map<Text, Text>& values);
    void SetRows(TextView strTable, const std::vector<Text>& rows);
    /// The whole text of a keyed value; empty when the table or the value isn't there.
    Text Get(TextView strTable, TextView strKey);
    std::unique_ptr<CBaseData> Open(TextView strTable);

    /// All that was said, one line each: "RegisterTable orderExchange", "WriteLog ...", "ReportError 13 0 ...".
    std::vector<std::string> GetSaid() const;
    /// The log lines, without their mark.
    std::vector<std::string> GetLog() const;
    bool HasLogged(std::string_view strLine) const;
    /// Waits until a log line contains the text. @return false after the limit
    bool WaitForLog(std::string_view strPart, std::chrono::milliseconds limit = std::chrono::seconds(20));
    void Forget();

    void RegisterTable(TextView strTable) override;
    void RegisterTopic(TextView strTopic) override;
    void SendTopic(TextView strTopic, std::int32_t nType, std::int32_t nParameter, TextView strText,
                   VARIANT* pData) override;
    void ReportError(std::int32_t nCode, std::int32_t nParameter, TextView strText) override;
    void LogMessage(TextView strText) override;
    std::unique_ptr<CBaseData> OpenTable(TextView strName, CBaseDataEventReceiver* pSink) override;

private:
    void Say(std::string strLine);

    mutable std::mutex m_mutex;
    std::condition_variable m_said;
    std::vector<std::string> m_arSaid;
    std::map<Text, std::unique_ptr<CBaseData>, std::less<>> m_mapTables;
};

}  // namespace qvant::test

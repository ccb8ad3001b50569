/// A host of real store tables, for what runs inside the service.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "base/split.h"
#include "store/base_data.h"
#include "store/host.h"

namespace qvant {

/// The keyed values of a table, or its sub-tables' keys, in the order of their text.
inline std::map<Text, Text> ReadValues(const CBaseData& table) {
    std::map<Text, Text> mapValues;
    for (const Text& strEntry : SplitTokens(table.GetKeys().value_or(Text()), u";")) {
        const Text strKey = strEntry.substr(2);
        mapValues[strKey] = table.GetString(strKey);
    }
    return mapValues;
}

inline std::vector<Text> ReadRows(const CBaseData& table) {
    std::vector<Text> arRows;
    for (std::int32_t i = 0; i < table.GetCount(); ++i) arRows.push_back(table.GetKeyAt(i));
    return arRows;
}

/// Keeps its tables and its log; sends nothing anywhere.
class CTestHost : public IHost {
public:
    void RegisterTable(TextView) override {}
    void RegisterTopic(TextView) override {}
    void SendTopic(TextView, std::int32_t, std::int32_t, TextView, VARIANT*) override {}
    void ReportError(std::int32_t, std::int32_t, TextView) override {}
    void LogMessage(TextView strText) override {
        m_arLog.emplace_back(strText);
        if (m_onLog) m_onLog(strText);
    }

    std::unique_ptr<CBaseData> OpenTable(TextView strName, CBaseDataEventReceiver* pSink) override {
        const auto pFound = m_mapTables.find(strName);
        return pFound == m_mapTables.end() ? nullptr : CBaseData::WrapCookie(pFound->second->GlobalCookie(), pSink);
    }

    /// A table of the host, made when it isn't there.
    CBaseData& operator[](TextView strName) {
        auto& pTable = m_mapTables[Text(strName)];
        if (!pTable) pTable = CBaseData::CreateNew();
        return *pTable;
    }

    void Drop(TextView strName) { m_mapTables.erase(m_mapTables.find(strName)); }

    std::vector<Text> m_arLog;
    std::function<void(TextView)> m_onLog;  ///< looks at the tables as they stand when a line is written

private:
    std::map<Text, std::unique_ptr<CBaseData>, std::less<>> m_mapTables;
};

}  // namespace qvant

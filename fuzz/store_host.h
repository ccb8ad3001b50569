/// A host of real tables for one input. It is silent.
#pragma once

#include <map>
#include <memory>

#include "store/base_data.h"
#include "store/host.h"

namespace qvant::fuzz {

/// Belongs to one thread.
class CStoreHost : public IHost {
public:
    void RegisterTable(TextView) override {}
    void RegisterTopic(TextView) override {}
    void SendTopic(TextView, std::int32_t, std::int32_t, TextView, VARIANT*) override {}
    void ReportError(std::int32_t, std::int32_t, TextView) override {}
    void LogMessage(TextView) override {}
    std::unique_ptr<CBaseData> OpenTable(TextView strName, CBaseDataEventReceiver* pSink) override {
        return CBaseData::WrapCookie((*this)[strName].GlobalCookie(), pSink);
    }

    /// A table, made when it is asked for.
    CBaseData& operator[](TextView strName) {
        auto& pTable = m_mapTables[Text(strName)];
        if (!pTable) pTable = CBaseData::CreateNew();
        return *pTable;
    }

private:
    std::map<Text, std::unique_ptr<CBaseData>, std::less<>> m_mapTables;
};

}  // namespace qvant::fuzz

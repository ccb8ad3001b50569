#include "support/test_host.h"

#include <algorithm>

#include "base/format.h"

namespace qvant::test {

namespace {

constexpr std::string_view LOG_MARK = "WriteLog ";

}  // namespace

CBaseData& CTestHost::MakeTable(TextView strName) {
    const std::lock_guard lock(m_mutex);
    auto& pTable = m_mapTables[Text(strName)];
    if (!pTable) pTable = CBaseData::CreateNew();
    return *pTable;
}

void CTestHost::DropTable(TextView strName) {
    const std::lock_guard lock(m_mutex);
    m_mapTables.erase(Text(strName));
}

void CTestHost::Set(TextView strTable, const std::map<Text, Text>& values) {
    CTransaction transaction(MakeTable(strTable));
    for (const auto& [strKey, strValue] : values) transaction.SetValue(strKey, strValue);
    transaction.Commit();
}

void CTestHost::SetRows(TextView strTable, const std::vector<Text>& rows) {
    CTransaction transaction(MakeTable(strTable));
    transaction.Clear(store::MASK_ROWS);
    for (std::size_t i = 0; i < rows.size(); ++i) transaction.SetRow(static_cast<std::int32_t>(i), rows[i]);
    transaction.Commit();
}

Text CTestHost::Get(TextView strTable, TextView strKey) {
    const auto pTable = Open(strTable);
    return pTable ? pTable->GetString(strKey) : Text();
}

std::unique_ptr<CBaseData> CTestHost::Open(TextView strTable) {
    const std::lock_guard lock(m_mutex);
    const auto it = m_mapTables.find(strTable);
    return it == m_mapTables.end() ? nullptr : CBaseData::WrapCookie(it->second->GlobalCookie(), nullptr);
}

std::vector<std::string> CTestHost::GetSaid() const {
    const std::lock_guard lock(m_mutex);
    return m_arSaid;
}

std::vector<std::string> CTestHost::GetLog() const {
    std::vector<std::string> arLog;
    for (const std::string& strLine : GetSaid()) {
        if (strLine.starts_with(LOG_MARK)) arLog.push_back(strLine.substr(LOG_MARK.size()));
    }
    return arLog;
}

bool CTestHost::HasLogged(std::string_view strLine) const {
    const auto arLog = GetLog();
    return std::find(arLog.begin(), arLog.end(), strLine) != arLog.end();
}

bool CTestHost::WaitForLog(std::string_view strPart, std::chrono::milliseconds limit) {
    std::unique_lock lock(m_mutex);
    return m_said.wait_for(lock, limit, [&] {
        return std::any_of(m_arSaid.begin(), m_arSaid.end(), [&](const std::string& strLine) {
            return strLine.starts_with(LOG_MARK) && strLine.find(strPart) != std::string::npos;
        });
    });
}

void CTestHost::Forget() {
    const std::lock_guard lock(m_mutex);
    m_arSaid.clear();
}

void CTestHost::Say(std::string strLine) {
    const std::lock_guard lock(m_mutex);
    m_arSaid.push_back(std::move(strLine));
    m_said.notify_all();
}

void CTestHost::RegisterTable(TextView strTable) { Say("RegisterTable " + Narrow(strTable)); }

void CTestHost::RegisterTopic(TextView strTopic) { Say("RegisterTopic " + Narrow(strTopic)); }

void CTestHost::SendTopic(TextView strTopic, std::int32_t nType, std::int32_t nParameter, TextView strText, VARIANT*) {
    Say(Narrow(Format(u"SendTopic %s %d %d %s", strTopic, nType, nParameter, strText)));
}

void CTestHost::ReportError(std::int32_t nCode, std::int32_t nParameter, TextView strText) {
    Say(Narrow(Format(u"ReportError %d %d %s", nCode, nParameter, strText)));
}

void CTestHost::LogMessage(TextView strText) { Say(std::string(LOG_MARK) + Narrow(strText)); }

std::unique_ptr<CBaseData> CTestHost::OpenTable(TextView strName, CBaseDataEventReceiver* pSink) {
    std::uint32_t nCookie = 0;
    {
        const std::lock_guard lock(m_mutex);
        const auto it = m_mapTables.find(strName);
        if (it == m_mapTables.end()) return nullptr;
        nCookie = it->second->GlobalCookie();
    }
    return CBaseData::WrapCookie(nCookie, pSink);
}

}  // namespace qvant::test

/// A world for the fetching of rolls: one server with both paths, a common data folder, a host that keeps what is said.
#pragma once

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "documents/answering_server.h"
#include "rolls/rolling_data.h"
#include "support/listening_host.h"
#include "support/quote_line.h"
#include "support/scratch_folder.h"
#include "symbols/manual_clock.h"

namespace qvant::test {

inline constexpr int HOT_DATE = 22;
inline constexpr int EXPIRE_DATE = 104;

/// A reply line of a contract and a date.
inline std::string MakeRollLine(int nDateField, std::int64_t nDate, std::string_view strMonth) {
    return CQuoteLine().String(14, "LUM.CME.ES." + std::string(strMonth)).Integer(nDateField, nDate).Get();
}

class RollingDataTest : public ::testing::Test {
protected:
    RollingDataTest() {
        m_session.SetSessionQuery(u"&KEY=k1");
        m_session.SetMachineId(u"M1");
        m_resetTimes.Set(u"QV.F.CME.ES", u"210000");
    }

    void UseServer() {
        AppendServers(m_server.GetUrl() + u"HotChange.do?", m_server.GetUrl() + u"ExpireDate.do?");
        m_server.SetAnswers([this](const std::string& strTarget) {
            return strTarget.starts_with("/HotChange.do") ? m_strHotReply : m_strExpireReply;
        });
    }
    void AppendServers(TextView strHotChange, TextView strExpire) {
        m_servers.Append(CRollServers::List::HotChange, strHotChange);
        m_servers.Append(CRollServers::List::Expire, strExpire);
    }

    void Enqueue(TextView strSymbol) { m_data.EnqueueRequery(u"HOTCHANGE.REQUEST", strSymbol); }
    /// Waits until both queries for a symbol have come to their ends.
    bool WaitForServed(TextView strSymbol) {
        return m_host.WaitForLog(Narrow(u"QueryExpireDate End. strSymbol=" + Text(strSymbol) + u"."));
    }

    std::string ReadHotChange(const std::string& strKey = "QV.F.CME.ES") const {
        return m_folder.Read("Qvant/HotChange/" + strKey + ".HOT.txt");
    }
    std::string ReadExpireDate(const std::string& strKey = "QV.F.CME.ES") const {
        return m_folder.Read("Qvant/ExpireDate/" + strKey + ".txt");
    }
    void WriteHotChange(const std::string& strBytes, const std::string& strKey = "QV.F.CME.ES") const {
        m_folder.Write("Qvant/HotChange/" + strKey + ".HOT.txt", strBytes);
    }
    std::string GetPath(const std::string& strBelow) const { return (m_folder.GetPath() / strBelow).string(); }
    /// Paths of all files and folders below the scratch folder.
    std::vector<std::string> ListAll() const {
        std::vector<std::string> arPaths;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(m_folder.GetPath())) {
            arPaths.push_back(std::filesystem::relative(entry.path(), m_folder.GetPath()).string());
        }
        return arPaths;
    }

    const CScratchFolder m_folder;
    const CEnvironment m_common{"LUMIVALE_COMMON_DATA", m_folder.GetPath().string()};
    const CEnvironment m_zone{"TZ", "UTC"};
    std::string m_strHotReply = MakeRollLine(HOT_DATE, 20201211, "202103") + "\n";
    std::string m_strExpireReply = MakeRollLine(EXPIRE_DATE, 20210319, "202103") + "\n";
    CAnsweringServer m_server;
    CManualClock m_clock{2026, 11, 20, 13, 45, 1};
    CListeningHost m_host;
    CSession m_session{m_clock};
    CRollServers m_servers;
    CResetTimes m_resetTimes;
    std::vector<HotMonth> m_arHotMonths;
    CRollingData m_data{{m_host, m_session, m_servers, m_resetTimes}, [this] { return m_arHotMonths; }};
};

}  // namespace qvant::test

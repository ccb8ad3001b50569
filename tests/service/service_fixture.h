/// The service in a terminal's folder of its own, with real tables and a real server.
#pragma once

#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/clock.h"
#include "platform/profile.h"
#include "qvant/lumivale.h"
#include "service/lumivale.h"
#include "support/document_server.h"
#include "support/scratch_folder.h"
#include "support/test_host.h"

namespace qvant::test {

inline constexpr const char* TWO_SECURITIES =
    R"({"LastVersion":"7","SecuritiesInfo":{)"
    R"("QV.F.TWF.TXF":{"TimeZone":"Asia/Taipei","OpenCloseTime":"08:45~13:45","ResetTime":"08:30","EXG":"TWF","EXG.mo":"x","Name.ENG":"TAIEX"},)"
    R"("QV.O.TWF.TXO":{"TimeZone":"Asia/Taipei","OpenCloseTime":"08:45~13:45","Underlying":"QV.F.TWF.TXF","OptionStyle":"European","EXG.mo":"x"}}})";

class ServiceTest : public ::testing::Test {
protected:
    ServiceTest() {
        m_folder.Write("terminal/ComShared/cities.txt", "Taipei,Taipei Standard Time\r\n");
        for (const auto* pszTable : {u"QvantSystemTime", u"CQYZ", u"LUMIVALE.REQUEST", u"STORAGE"}) {
            m_host.MakeTable(pszTable);
        }
        for (const auto* pszTable : {u"orderExchange", u"AppsTradePermission", u"OpenTimeExchange", u"Security.Info",
                                     u"Underlying.List", u"Underlying.F.List", u"OptionStyle", u"CurrencyMapping"}) {
            m_host.MakeTable(pszTable);
        }
        m_host.Set(u"GeneralService", {{u"AppsLanguage", u"ENG"}, {u"AppManager_Culture", u"en-US"}});
        m_host.Set(u"PERMISSIONS.General", {{u"Username", u"user1"}, {u"SessionKey", u"k1"}, {u"Region", u"TWN"}});
        Permit(m_server.GetUrl());
        m_server.Publish("7", TWO_SECURITIES);
        Load();
    }

    /// The servers that the user's permissions name.
    void Permit(const Text& strServers, const Text& strListType = u"ALL") {
        m_host.Set(u"PERMISSIONS.LUMIVale", {{u"LUMIValeURL", strServers}, {u"InfoListType", strListType}});
    }

    /// A new service object, as after a restart of the terminal; the store's tables stay.
    void Load() {
        m_service.reset();
        m_service.emplace(m_host, *m_pClock);
    }

    HRESULT Status(SubStatus nSubStatus) { return m_service->OnSystemStatus(SYSTEM_STATUS, nSubStatus); }

    void SignIn() {
        EXPECT_EQ(Status(SYSTEM_STATUS_INIT), S_OK);
        EXPECT_EQ(Status(SYSTEM_STATUS_START), S_OK);
        EXPECT_EQ(Status(SYSTEM_STATUS_LOGIN), S_OK);
    }

    void Leave() {
        EXPECT_EQ(Status(SYSTEM_STATUS_STOP), S_OK);
        EXPECT_EQ(Status(SYSTEM_STATUS_EXIT), S_OK);
    }

    Text ReadSetting(TextView strKey) {
        return platform::GetProfileText(u"LUMIVale", strKey, u"?", 256, m_folder / "terminal/Configs/LUMIVale.ini");
    }

    CScratchFolder m_folder;
    CEnvironment m_home{"LUMIVALE_HOME", (m_folder.GetPath() / "terminal").string()};
    CEnvironment m_common{"LUMIVALE_COMMON_DATA", (m_folder.GetPath() / "common").string()};
    CTestHost m_host;
    const platform::IClock* m_pClock = &platform::MachineClock();  ///< of the next service object
    CDocumentServer m_server;
    std::optional<CLumivale> m_service;
};

}  // namespace qvant::test

// Which request gets which document.
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include "system/refserver_fixture.h"

namespace qvant::test {
namespace {

class RefserverDocuments : public testing::Test {
protected:
    CSmallWorld m_world;
    std::unique_ptr<CServerProcess> m_pServer = CServerProcess::Serve(m_world.GetPath());
};

TEST_F(RefserverDocuments, SendsTheWholeDocumentToAClientThatHoldsNothing) {
    const auto answer = Get(*m_pServer, MainForm("-1"));
    ASSERT_EQ(answer.nStatus, 200);
    const auto document = ToJson(answer.strBody);
    ASSERT_TRUE(document.IsObject());
    EXPECT_EQ(document["LastVersion"].GetString(), LastVersion(*m_pServer));
    EXPECT_STREQ(document["Broker"].GetString(), "B");
    const auto& securities = document["SecuritiesInfo"];
    ASSERT_EQ(securities.MemberCount(), 3U);
    EXPECT_STREQ(securities["QV.F.CME.ES"]["TradeTime"].GetString(), "17:00~16:00");
    EXPECT_STREQ(securities["QV.F.TWF.TXF"]["Name.CHT"].GetString(), "台指");
}

TEST_F(RefserverDocuments, SendsNoSecuritiesToAClientThatHoldsTheVersion) {
    const std::string strVersion = LastVersion(*m_pServer);
    ASSERT_FALSE(strVersion.empty());
    const auto answer = Get(*m_pServer, MainForm(strVersion));
    EXPECT_EQ(answer.nStatus, 200);
    EXPECT_EQ(answer.strBody, "{\"LastVersion\":\"" + strVersion + "\",\"Broker\":\"\"}");
}

TEST_F(RefserverDocuments, ComparesVersionsAsTextSoThatAnyDifferenceIsNews) {
    const std::string strVersion = LastVersion(*m_pServer);
    for (const auto& strOther : {strVersion + "0", std::string("99999999"), std::string()}) {
        EXPECT_TRUE(ToJson(Get(*m_pServer, MainForm(strOther)).strBody).HasMember("SecuritiesInfo")) << strOther;
    }
}

TEST_F(RefserverDocuments, CompressesOnlyForAClientThatAsksForIt) {
    const auto plain = Get(*m_pServer, MainForm("-1"), false);
    const auto gzip = Get(*m_pServer, MainForm("-1"), true);
    EXPECT_EQ(plain.strEncoding, "");
    EXPECT_EQ(gzip.strEncoding, "gzip");
    EXPECT_EQ(gzip.strBody.substr(0, 2), "\x1f\x8b");
    EXPECT_EQ(Gunzip(gzip.strBody), plain.strBody);
}

TEST_F(RefserverDocuments, AnswersTheProbeWithTheVersionAlone) {
    const auto document = ToJson(Get(*m_pServer, "/OutsideData_getMainLastVer.do").strBody);
    ASSERT_TRUE(document.IsObject());
    EXPECT_EQ(document.MemberCount(), 1U);
    EXPECT_EQ(document["LastVersion"].GetString(), std::string("v1-").append(LastVersion(*m_pServer), 3));
    EXPECT_EQ(Get(*m_pServer, "/OutsideData_getMainLastVer.do", true).strBody,
              Get(*m_pServer, "/OutsideData_getMainLastVer.do").strBody);
}

TEST_F(RefserverDocuments, FiltersByListTypeUnderAVersionOfItsOwn) {
    const auto futures = ToJson(Get(*m_pServer, MainForm("-1", "FUTURES")).strBody);
    ASSERT_TRUE(futures.IsObject());
    EXPECT_EQ(futures["SecuritiesInfo"].MemberCount(), 2U);
    EXPECT_FALSE(futures["SecuritiesInfo"].HasMember("QV.O.CME.ES"));
    EXPECT_NE(futures["LastVersion"].GetString(), LastVersion(*m_pServer));
}

TEST_F(RefserverDocuments, AnswersAnUnknownListTypeWithEverything) {
    for (const std::string strType : {"", "NONE"}) {
        const auto document = ToJson(Get(*m_pServer, MainForm("-1", strType)).strBody);
        ASSERT_TRUE(document.IsObject());
        EXPECT_EQ(document["SecuritiesInfo"].MemberCount(), 3U) << strType;
    }
}

TEST_F(RefserverDocuments, SendsTheCurrencyRatesAsTheFileHasThemWhateverTheClientHolds) {
    constexpr const char* RATES = "/OutsideData_getDocument.do?doc=Currency&lastVersion=";
    EXPECT_EQ(Get(*m_pServer, std::string(RATES) + "-1").nStatus, 404);
    m_world.Write("currency.json",
                  R"({ "RF": {"USD": 3.875}, "FX": {"USD": {"TWD": "31.2"}}, "LastVersion": 20261120 })");
    for (const char* pszVersion : {"-1", "20261120", ""}) {
        const auto answer = Get(*m_pServer, std::string(RATES) + pszVersion);
        EXPECT_EQ(answer.nStatus, 200);
        EXPECT_EQ(answer.strBody, R"({"RF":{"USD":3.875},"FX":{"USD":{"TWD":"31.2"}},"LastVersion":20261120})");
    }
    m_world.Write("currency.json", R"({"RF":{"USD":")" + std::string(1000, '1') + R"("}})");
    EXPECT_EQ(Gunzip(Get(*m_pServer, std::string(RATES) + "-1", true).strBody),
              Get(*m_pServer, std::string(RATES) + "-1").strBody);
    EXPECT_EQ(Get(*m_pServer, "/OutsideData_getDocument.do?doc=Other").nStatus, 404);
    EXPECT_EQ(Get(*m_pServer, "/OutsideData_getDocument.do").nStatus, 404);
}

TEST_F(RefserverDocuments, TakesAnEditOfTheCurrencyRatesUpAndLeavesTheOthersTheirVersions) {
    const auto rate = [this] {
        return Get(*m_pServer, "/OutsideData_getDocument.do?doc=Currency&lastVersion=-1").strBody;
    };
    const std::string strVersion = LastVersion(*m_pServer);
    m_world.Write("currency.json", R"({"FX":{"USD":{"TWD":1}}})");
    EXPECT_EQ(rate(), R"({"FX":{"USD":{"TWD":1}}})");
    m_world.Write("currency.json", R"({"FX":{"USD":{"TWD":22}}})");
    EXPECT_EQ(rate(), R"({"FX":{"USD":{"TWD":22}}})");
    m_world.Write("currency.json", R"({"FX":)");
    EXPECT_EQ(rate(), R"({"FX":{"USD":{"TWD":22}}})");
    EXPECT_NE(m_pServer->GetErrors().WaitForText("currency.json"), "");
    EXPECT_EQ(LastVersion(*m_pServer), strVersion);
}

TEST_F(RefserverDocuments, ServesTheHolidayTextByItsNameUncompressedWithLinesThatEndInCrLf) {
    const std::string strTarget = "/hx-bin/File.cgi?ARG=/Velmora/Hexquote/bin/OBHoliday.txt";
    EXPECT_EQ(Get(*m_pServer, strTarget).nStatus, 404);
    m_world.Write("OBHoliday.txt", "# days\n20260101\tH\tCME\r\n20260102\tH\tCBOT");
    const auto answer = Get(*m_pServer, strTarget, true);
    EXPECT_EQ(answer.nStatus, 200);
    EXPECT_EQ(answer.strBody, "# days\r\n20260101\tH\tCME\r\n20260102\tH\tCBOT");
    EXPECT_EQ(answer.strEncoding, "");
    m_world.Write("OBHoliday.txt", std::string("\xFF\xFE\n\0x\0", 6));
    EXPECT_EQ(Get(*m_pServer, strTarget).strBody, std::string("\xFF\xFE\n\0x\0", 6));
    EXPECT_EQ(Get(*m_pServer, "/hx-bin/File.cgi?ARG=/etc/passwd").nStatus, 404);
    EXPECT_EQ(Get(*m_pServer, "/hx-bin/File.cgi").nStatus, 404);
}

TEST_F(RefserverDocuments, RefusesOtherPathsAndMethods) {
    EXPECT_EQ(Get(*m_pServer, "/other.do").nStatus, 404);
    httplib::Client client("127.0.0.1", m_pServer->GetPort());
    EXPECT_EQ(client.Post("/OutsideData_getMainForm.do", "x", "text/plain")->status, 405);
}

TEST_F(RefserverDocuments, ServesManyRequestsOnOneConnection) {
    httplib::Client client("127.0.0.1", m_pServer->GetPort());
    client.set_keep_alive(true);
    for (int n = 0; n < 50; ++n) {
        const auto result = client.Get("/OutsideData_getMainLastVer.do");
        ASSERT_TRUE(result);
        EXPECT_EQ(result->status, 200);
    }
}

TEST_F(RefserverDocuments, SurvivesBytesThatAreNoRequest) {
    for (const std::string& strTarget : {std::string("no-slash"), std::string("/a b"), std::string(70'000, '/')}) {
        CRawClient client(*m_pServer, strTarget);
        EXPECT_EQ(client.ReadAll().find("200 OK"), std::string::npos);
    }
    EXPECT_EQ(Get(*m_pServer, MainForm("-1")).nStatus, 200);
}

TEST_F(RefserverDocuments, KeepsAFixedVersionAsItIs) {
    m_world.Write("world.json", R"({"fixedVersion": 20261121001})");
    const auto document = ToJson(Get(*m_pServer, MainForm("-1")).strBody);
    ASSERT_TRUE(document.IsObject());
    EXPECT_EQ(document["LastVersion"].GetInt64(), 20261121001);
    EXPECT_FALSE(ToJson(Get(*m_pServer, MainForm("20261121001")).strBody).HasMember("SecuritiesInfo"));
}

}  // namespace
}  // namespace qvant::test

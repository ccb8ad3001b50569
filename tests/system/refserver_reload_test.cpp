// A data folder that is edited while the server runs.
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include "system/refserver_fixture.h"

namespace qvant::test {
namespace {

class RefserverReload : public testing::Test {
protected:
    std::size_t CountSecurities() const {
        const auto document = ToJson(Get(*m_pServer, MainForm("-1")).strBody);
        return document.IsObject() ? document["SecuritiesInfo"].MemberCount() : 0;
    }

    CSmallWorld m_world;
    std::unique_ptr<CServerProcess> m_pServer = CServerProcess::Serve(m_world.GetPath());
};

TEST_F(RefserverReload, ServesAnEditUnderANewVersionFromTheNextRequestOn) {
    const std::string strOld = LastVersion(*m_pServer);
    m_world.Write("securities/TWF.json", R"({"QV.F.TWF.TXF": {"Name.CHT": "台股指數"}})");
    const auto document = ToJson(Get(*m_pServer, MainForm(strOld)).strBody);
    ASSERT_TRUE(document.HasMember("SecuritiesInfo"));
    EXPECT_STREQ(document["SecuritiesInfo"]["QV.F.TWF.TXF"]["Name.CHT"].GetString(), "台股指數");
    EXPECT_NE(document["LastVersion"].GetString(), strOld);
}

TEST_F(RefserverReload, GivesTheOldVersionBackWhenAnEditIsTakenBack) {
    const std::string strOld = LastVersion(*m_pServer);
    const std::string strText = m_world.Read("securities/TWF.json");
    m_world.Write("securities/TWF.json", "{}");
    EXPECT_NE(LastVersion(*m_pServer), strOld);
    m_world.Write("securities/TWF.json", strText);
    EXPECT_EQ(LastVersion(*m_pServer), strOld);
}

TEST_F(RefserverReload, KeepsTheVersionWhenOnlyTheLayoutOfAFileChanges) {
    const std::string strOld = LastVersion(*m_pServer);
    m_world.Write("securities/TWF.json", "{ \"QV.F.TWF.TXF\" :\n\n { \"Name.CHT\" : \"台指\" } }\n");
    EXPECT_EQ(LastVersion(*m_pServer), strOld);
}

TEST_F(RefserverReload, TakesInNewFilesAndLetsGoOfRemovedOnes) {
    m_world.Write("securities/SSE.json", R"({"QV.S.SSE.600000": {}})");
    EXPECT_EQ(CountSecurities(), 4U);
    std::filesystem::remove(m_world.GetPath() / "securities/CME.json");
    EXPECT_EQ(CountSecurities(), 2U);
}

TEST_F(RefserverReload, LooksAtNothingButJsonFiles) {
    const std::string strOld = LastVersion(*m_pServer);
    m_world.Write("securities/CME.json~", "{");
    m_world.Write("securities/notes.txt", "later");
    EXPECT_EQ(LastVersion(*m_pServer), strOld);
    EXPECT_EQ(CountSecurities(), 3U);
}

/// What a broken file holds, and a part of what the server says of it.
struct BrokenEdit {
    const char* pName;
    std::string strText;
    const char* pNote;
};

void PrintTo(const BrokenEdit& edit, std::ostream* pStream) { *pStream << edit.pName; }

class RefserverBrokenEdit : public RefserverReload, public testing::WithParamInterface<BrokenEdit> {};

TEST_P(RefserverBrokenEdit, IsNotedAndTheLastGoodDataStandUntilItIsMended) {
    const std::string strOld = LastVersion(*m_pServer);
    const std::string strGood = m_world.Read("securities/CME.json");
    m_world.Write("securities/CME.json", GetParam().strText);
    EXPECT_EQ(LastVersion(*m_pServer), strOld);
    EXPECT_EQ(CountSecurities(), 3U);
    const std::string strNote = m_pServer->GetErrors().WaitForText("CME.json");
    EXPECT_NE(strNote.find(GetParam().pNote), std::string::npos) << strNote;
    EXPECT_NE(strNote.find("the last good data stand"), std::string::npos) << strNote;
    m_world.Write("securities/CME.json", R"({"QV.F.CME.NQ": {}})");
    EXPECT_EQ(CountSecurities(), 2U);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, RefserverBrokenEdit,
    testing::Values(BrokenEdit{"CutOff", R"({"QV.F.CME.ES": {"Name)", "byte 22"}, BrokenEdit{"Empty", "", "empty"},
                    BrokenEdit{"NoObject", "[1,2]", "isn't an object of securities"},
                    BrokenEdit{"SecurityOfAnotherType", R"({"QV.F.CME.ES": "text"})",
                               "\"QV.F.CME.ES\" isn't an object"},
                    BrokenEdit{"KeyTwice", R"({"QV.F.TWF.TXF": {}, "QV.F.TWF.TXF": {}})", "stands twice"},
                    BrokenEdit{"NotUtf8", "{\"QV.F.CME.ES\": {\"Name.ENG\": \"\xff\xfe\"}}", "byte"},
                    BrokenEdit{"AMillionDeep", "{\"QV.F.CME.ES\":{\"a\":" + std::string(1'000'000, '['), "byte"}),
    [](const auto& kind) { return kind.param.pName; });

TEST_F(RefserverReload, NotesABrokenWorldFile) {
    const std::string strOld = LastVersion(*m_pServer);
    m_world.Write("world.json", R"({"broker": 7})");
    EXPECT_EQ(LastVersion(*m_pServer), strOld);
    EXPECT_NE(m_pServer->GetErrors().WaitForText("\"broker\" isn't a string"), "");
    std::filesystem::remove(m_world.GetPath() / "world.json");
    EXPECT_EQ(LastVersion(*m_pServer), strOld);
    EXPECT_NE(m_pServer->GetErrors().WaitForText("no such file"), "");
}

TEST_F(RefserverReload, CarriesValuesOfAnyTypeAsTheyAre) {
    m_world.Write("securities/CME.json", R"({"QV.F.CME.ES":{"a":1,"b":-2,"c":[1.5,null,{"d":true}],"e":"x\"\u0001"}})");
    const std::string strBody = Get(*m_pServer, MainForm("-1")).strBody;
    EXPECT_NE(strBody.find(R"("QV.F.CME.ES":{"a":1,"b":-2,"c":[1.5,null,{"d":true}],"e":"x\"\u0001"})"),
              std::string::npos)
        << strBody;
}

}  // namespace
}  // namespace qvant::test

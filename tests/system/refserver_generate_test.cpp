// The generator: worlds of any size.
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <sys/resource.h>

#include "system/history_client.h"
#include "system/quote_line_reader.h"

namespace qvant::test {
namespace {

using testing::HasSubstr;

/// Counts the contracts of the leaves below a node, those of hot categories apart.
std::size_t CountContracts(const rapidjson::Value& node) {
    if (node.HasMember("Contracts")) return node["Contracts"].Size();
    if (!node.HasMember("Node") || (node.HasMember("ENG") && node["ENG"] == "HOT")) return 0;
    std::size_t nCount = 0;
    for (const auto& child : node["Node"].GetArray()) nCount += CountContracts(child);
    return nCount;
}

std::size_t CountContracts(const CServerProcess& server, const std::string& strName) {
    const auto document = ToJson(Get(server, "/Classification_getClassification.do?cname=" + strName).strBody);
    return document.IsObject() && document.HasMember("Classification") ? CountContracts(document["Classification"]) : 0;
}

class RefserverGenerate : public testing::Test {
protected:
    int Generate(const std::string& strOut, int nProducts, int nContracts, int nSeed, int nListed = 0) {
        CServerProcess process({"generate", "--products", std::to_string(nProducts), "--contracts",
                                std::to_string(nContracts), "--listed", std::to_string(nListed), "--seed",
                                std::to_string(nSeed), "--out", (m_folder.GetPath() / strOut).string()});
        return process.Wait();
    }

    /// All files of a world, each behind its name.
    std::string ReadAll(const std::string& strOut) const {
        std::set<std::filesystem::path> setFiles;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(m_folder.GetPath() / strOut)) {
            if (entry.is_regular_file()) setFiles.insert(entry.path());
        }
        std::string strAll;
        for (const auto& file : setFiles) {
            strAll += file.lexically_relative(m_folder.GetPath() / strOut).string() + m_folder.Read(file.string());
        }
        return strAll;
    }

    CScratchFolder m_folder;
};

TEST_F(RefserverGenerate, MakesAWorldOfTheSizeAskedFor) {
    ASSERT_EQ(Generate("w", 100, 3000, 1), 0);
    const auto pServer = CServerProcess::Serve(m_folder.GetPath() / "w");
    const std::string strBody = Get(*pServer, MainForm("-1")).strBody;
    const auto document = ToJson(strBody);
    ASSERT_TRUE(document.IsObject());
    const auto& securities = document["SecuritiesInfo"];
    EXPECT_EQ(securities.MemberCount(), 3000U);
    int nStocks = 0;
    for (const auto& member : securities.GetObject()) {
        if (std::string_view(member.name.GetString()).starts_with("QV.S.")) ++nStocks;
        EXPECT_TRUE(member.value.HasMember("OpenCloseTime"));
    }
    EXPECT_EQ(nStocks, 2900);
    EXPECT_GT(strBody.size() / 3000, 300U);
    EXPECT_LT(strBody.size() / 3000, 400U);
}

TEST_F(RefserverGenerate, GivesTheSameFilesForTheSameSeedOnly) {
    ASSERT_EQ(Generate("a", 80, 500, 7, 4000), 0);
    ASSERT_EQ(Generate("b", 80, 500, 7, 4000), 0);
    ASSERT_EQ(Generate("c", 80, 500, 8, 4000), 0);
    EXPECT_EQ(ReadAll("a"), ReadAll("b"));
    for (const std::string strFile : {"securities/CME.json", "contracts/CME.json", "stkinfo/sse.json", "bars/CME.json",
                                      "factors/SSE.json", "OBHoliday.txt", "world.json"}) {
        EXPECT_NE(m_folder.Read("a/" + strFile), m_folder.Read("c/" + strFile)) << strFile;
    }
}

TEST_F(RefserverGenerate, PutsEveryOptionOnAFutureThatIsThere) {
    ASSERT_EQ(Generate("w", 300, 300, 3), 0);
    const auto pServer = CServerProcess::Serve(m_folder.GetPath() / "w");
    const auto document = ToJson(Get(*pServer, MainForm("-1")).strBody);
    ASSERT_TRUE(document.IsObject());
    int nOptions = 0;
    for (const auto& member : document["SecuritiesInfo"].GetObject()) {
        if (!member.value.HasMember("Underlying.F")) continue;
        ++nOptions;
        EXPECT_TRUE(document["SecuritiesInfo"].HasMember(member.value["Underlying.F"]));
    }
    EXPECT_GT(nOptions, 50);
}

TEST_F(RefserverGenerate, NeverOverwritesAWorld) {
    ASSERT_EQ(Generate("w", 5, 5, 1), 0);
    EXPECT_EQ(Generate("w", 6, 6, 2), 1);
    EXPECT_THAT(m_folder.Read("w/world.json"), HasSubstr("seed1"));
}

TEST_F(RefserverGenerate, ListsExactlyTheContractsAskedForAndEveryStock) {
    int nWorld = 0;
    for (const auto& [nProducts, nListed] :
         {std::pair(100, 5000), std::pair(100, 4999), std::pair(100, 31), std::pair(3, 100), std::pair(60, 0)}) {
        const std::string strOut = std::to_string(nWorld++);
        ASSERT_EQ(Generate(strOut, nProducts, nProducts + 10, 1, nListed), 0);
        const auto pServer = CServerProcess::Serve(m_folder.GetPath() / strOut);
        const auto nFutures = CountContracts(*pServer, "FUTURES");
        EXPECT_EQ(nFutures + CountContracts(*pServer, "OPTIONS"), static_cast<std::size_t>(nListed)) << nProducts;
        EXPECT_EQ(CountContracts(*pServer, "STOCKS"), 10U);
    }
}

TEST_F(RefserverGenerate, GivesStockInfoToEveryStockOfBothChineseExchanges) {
    ASSERT_EQ(Generate("w", 10, 50, 1), 0);
    const auto pServer = CServerProcess::Serve(m_folder.GetPath() / "w");
    const auto shanghai = ToJson(Get(*pServer, "/stkinfo.do?exg=sse").strBody);
    const auto shenzhen = ToJson(Get(*pServer, "/stkinfo.do?exg=szse").strBody);
    EXPECT_EQ(shanghai["cpxx"].Size(), 10U);
    EXPECT_EQ(shenzhen["cashauctionparams"].Size(), 10U);
    EXPECT_EQ(shenzhen["securities"].Size(), 10U);
    EXPECT_EQ(Get(*pServer, "/AppsTradePermission.do").nStatus, 200);
}

TEST_F(RefserverGenerate, GivesRatesOfTheDollarAndARiskFreeRateToEachCurrency) {
    ASSERT_EQ(Generate("w", 10, 50, 1), 0);
    ASSERT_EQ(Generate("other", 10, 50, 2), 0);
    EXPECT_NE(m_folder.Read("w/currency.json"), m_folder.Read("other/currency.json"));
    const auto pServer = CServerProcess::Serve(m_folder.GetPath() / "w");
    const auto rates = ToJson(Get(*pServer, "/OutsideData_getDocument.do?doc=Currency&lastVersion=-1").strBody);
    ASSERT_TRUE(rates.IsObject());
    EXPECT_EQ(rates["LastVersion"].GetInt(), 20261120);
    EXPECT_EQ(rates["FX"]["USD"].MemberCount() + 1, rates["RF"].MemberCount());
    EXPECT_NEAR(std::stod(rates["FX"]["USD"]["TWD"].GetString()), 31.2, 1);
    EXPECT_NEAR(std::stod(rates["RF"]["USD"].GetString()), 3.9, 1);
}

TEST_F(RefserverGenerate, GivesRollsAndFactorsToTheProductsThatListContractsAndFactorsToSomeStocks) {
    ASSERT_EQ(Generate("w", 60, 300, 1, 3000), 0);
    const auto pServer = CServerProcess::Serve(m_folder.GetPath() / "w");
    const auto arRolls = ReadQuoteLines(Get(*pServer, "/HotChange.do?p=LUM.CME.AA.HOT").strBody);
    ASSERT_EQ(arRolls.size(), 37U);
    EXPECT_EQ(arRolls.front().mapStrings.at(14), "LUM.CME.AA.202612");
    EXPECT_EQ(arRolls.front().mapIntegers.at(22), 20261117);
    EXPECT_EQ(ReadQuoteLines(Get(*pServer, "/ExpireDate.do?p=LUM.CME.AA").strBody).size(), 36U + 12U);
    EXPECT_EQ(AskFactors(*pServer, "I.F.CME.AA").json["data"].Size(), 36U);
    EXPECT_EQ(AskCloses(*pServer, "\"I.F.CME.AA.202612\":[202611211200]").json["data"].Size(), 1U);
    EXPECT_EQ(AskFactors(*pServer, "I.S.SSE.600020").json["data"].Size(), 3U);
    EXPECT_FALSE(AskFactors(*pServer, "I.S.SSE.600021").bData);
}

TEST_F(RefserverGenerate, RefusesMoreContractsThanTheProductsCanHaveAndLeavesNothing) {
    EXPECT_EQ(Generate("w", 1, 1, 1, 601), 1);
    EXPECT_FALSE(std::filesystem::exists(m_folder.GetPath() / "w"));
    EXPECT_EQ(Generate("w", 1, 1, 1, 600), 0);
}

TEST_F(RefserverGenerate, MakesAndServesAMillionContractsInLittleMemory) {
    ASSERT_EQ(Generate("w", 500, 2000, 1, 1'000'000), 0);
    {
        const auto pServer = CServerProcess::Serve(m_folder.GetPath() / "w");
        const auto answer = Get(*pServer, "/Classification_getClassification.do?cname=OPTIONS&lastVersion=-1", true);
        EXPECT_EQ(answer.nStatus, 200);
        EXPECT_EQ(pServer->Stop(), 0);
    }
    // Of the largest child that was waited for, in kilobytes; the document alone has seventy thousand.
    rusage usage{};
    ASSERT_EQ(getrusage(RUSAGE_CHILDREN, &usage), 0);
    EXPECT_LT(usage.ru_maxrss, 1'000'000);
}

}  // namespace
}  // namespace qvant::test

/// The currency rates and the machine report where the service's life has them.

#include <algorithm>
#include <future>

#include "platform/machine_identity.h"
#include "service_fixture.h"

namespace qvant::test {

using ::testing::Contains;
using ::testing::HasSubstr;

class RatesAndMachineTest : public ServiceTest {
protected:
    RatesAndMachineTest() {
        m_host.MakeTable(u"CurrencyExchangeRate");
        m_server.PublishList("Currency", "20261120",
                             R"({"FX":{"USD":{"TWD":"31.2","RMB":"7.09"}},"LastVersion":20261120})");
    }
    ~RatesAndMachineTest() override { m_service.reset(); }

    void PermitPairs(const Text& strPairs) { m_host.SetRows(u"PERMISSIONS.LUMIVale", {u"CurrencyRate=" + strPairs}); }
    Text GetRate(TextView strKey) { return m_host.Get(u"CurrencyExchangeRate", strKey); }
    Text GetMachine(TextView strKey) { return m_host.Get(u"PERMISSIONS.General", strKey); }
    std::ptrdiff_t CountRateQueries() const {
        const auto arTargets = m_server.GetTargets();
        return std::count(arTargets.begin(), arTargets.end(),
                          "/OutsideData_getDocument.do?doc=Currency&lastVersion=-1");
    }
    /// The report ends the sign-in on a thread of its own.
    void AwaitReport() { EXPECT_TRUE(m_host.WaitForLog("QueryHardwareInformation HD_SerialNumber:")); }
    std::unique_ptr<CBaseData> OpenRecord() { return m_host.Open(u"STORAGE")->GetSubTable(u"Lumivale", nullptr); }
    /// What a machine that tells everything would have left in the record today.
    void KeepMachine() {
        const auto pRecord = OpenRecord();
        CTransaction transaction(*pRecord);
        for (const auto* pszKey : {u"HDModel", u"HDSerialNo", u"CPUSerialNo"}) transaction.SetValue(pszKey, u"kept");
        transaction.Commit();
    }
    std::ptrdiff_t CountCollections() const {
        const auto arLog = m_host.GetLog();
        return std::count(arLog.begin(), arLog.end(), "GetHardwareInformation");
    }
};

TEST_F(RatesAndMachineTest, TheFirstSignInPublishesTheRatesBehindTheContracts) {
    PermitPairs(u"cny:rmb;");
    SignIn();
    EXPECT_EQ(GetRate(u"USD"), u"1");
    EXPECT_EQ(GetRate(u"RMB"), u"7.09");
    EXPECT_EQ(GetRate(u"CNY"), u"7.09");
    EXPECT_EQ(m_host.Get(u"CurrencyMapping", u"CNY"), u"RMB");
    EXPECT_EQ(CountRateQueries(), 1);
    const auto arLog = m_host.GetLog();
    const auto pQuery = std::find(arLog.begin(), arLog.end(), "Do QueryCurrency.");
    const auto pContracts = std::find(arLog.begin(), arLog.end(), "LoadContractList-End");
    EXPECT_LT(pContracts, pQuery);
    EXPECT_NE(pQuery, arLog.end());
    Leave();
}

TEST_F(RatesAndMachineTest, AFirstLoadEndsWithTheRatesAndUsesThePairsOfTheLastRun) {
    PermitPairs(u"CNY:RMB;USD:TWD");
    SignIn();
    Leave();
    for (const auto* pszTable : {u"CurrencyExchangeRate", u"CurrencyMapping"}) {
        m_host.DropTable(pszTable);
        m_host.MakeTable(pszTable);
    }
    Load();
    Status(SYSTEM_STATUS_INIT);
    Status(SYSTEM_STATUS_LOGIN);
    EXPECT_TRUE(m_host.HasLogged("LonginOk InitContractList return = 0 "));
    EXPECT_EQ(CountRateQueries(), 2) << "the sign-in finds the same pairs and asks no more";
    EXPECT_EQ(GetRate(u"CNY"), u"7.09");
    EXPECT_EQ(m_host.Get(u"CurrencyMapping", u"CNY"), u"RMB");
    EXPECT_EQ(m_host.Get(u"CurrencyMapping", u"USD"), u"TWD");
    Leave();
}

TEST_F(RatesAndMachineTest, OtherPairsAloneHaveOnlyTheRatesAskedForAgain) {
    SignIn();
    PermitPairs(u"CNY:RMB");
    m_host.Forget();
    const auto nTargets = m_server.GetTargets().size();
    Status(SYSTEM_STATUS_LOGIN);
    EXPECT_EQ(m_server.GetTargets().size(), nTargets + 1);
    EXPECT_EQ(CountRateQueries(), 2);
    EXPECT_EQ(GetRate(u"CNY"), u"7.09");
    const auto arLog = m_host.GetLog();
    const auto pBit =
        std::find(arLog.begin(), arLog.end(), "LonginOk InitContractList return = L_REQUERY_CURRENCYRATE ");
    EXPECT_LT(pBit, std::find(arLog.begin(), arLog.end(), "Do QueryCurrency."));
    Leave();
}

TEST_F(RatesAndMachineTest, OtherPairsAndAnotherClassificationHaveContractsAndRatesAskedFor) {
    SignIn();
    m_host.SetRows(u"PERMISSIONS.LUMIVale", {u"Classification=FUT", u"CurrencyRate=CNY:RMB"});
    m_host.Forget();
    Status(SYSTEM_STATUS_LOGIN);
    EXPECT_TRUE(m_host.HasLogged("LonginOk InitContractList return = L_REQUERY_CLASSOFOCATION "));
    EXPECT_TRUE(m_host.HasLogged("LonginOk InitContractList return = L_REQUERY_CURRENCYRATE "));
    EXPECT_EQ(CountRateQueries(), 2);
    Leave();
}

TEST_F(RatesAndMachineTest, AStopEndsAQueryOfRatesThatHangsAndTheNextSignInAsksAgain) {
    SignIn();
    PermitPairs(u"CNY:RMB");
    m_host.Forget();
    m_server.Hang();
    auto signIn = std::async(std::launch::async, [this] { return Status(SYSTEM_STATUS_LOGIN); });
    ASSERT_TRUE(m_host.WaitForLog("Do QueryCurrency."));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Status(SYSTEM_STATUS_STOP), S_OK);
    EXPECT_EQ(signIn.get(), S_OK);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    EXPECT_EQ(GetRate(u"RMB"), u"7.09") << "the table stays";
    EXPECT_EQ(GetRate(u"CNY"), u"");
    m_server.Release();
    Status(SYSTEM_STATUS_LOGIN);
    EXPECT_EQ(GetRate(u"CNY"), u"7.09");
    Leave();
}

TEST_F(RatesAndMachineTest, WithEveryServerDownTheRatesStay) {
    SignIn();
    Leave();
    m_server.AnswerAlways("down", 503);
    Load();
    SignIn();
    EXPECT_EQ(GetRate(u"TWD"), u"31.2");
    Leave();
}

TEST_F(RatesAndMachineTest, TheMachineIsToldToTheOtherModulesAndToTheServers) {
    SignIn();
    AwaitReport();
    const platform::MachineIdentity identity = platform::ReadMachineIdentity();
    m_host.SetRows(u"PERMISSIONS.LUMIVale", {u"Classification=FUT"});
    Permit(m_server.GetUrl() + u"|" + m_server.GetUrl());
    Status(SYSTEM_STATUS_LOGIN);
    EXPECT_THAT(m_server.GetTargets(),
                Contains(HasSubstr("&Z=MakeContractList_" + Narrow(identity.strProcessorId) + "_")));
    Status(SYSTEM_STATUS_STOP);
    EXPECT_EQ(GetMachine(u"CPUSerialNo"), identity.strProcessorId);
    EXPECT_EQ(OpenRecord()->GetString(u"HDModel"), identity.disk.strModel);
    EXPECT_EQ(OpenRecord()->GetString(u"CheckkDate").size(), 8u);
    Status(SYSTEM_STATUS_EXIT);
}

TEST_F(RatesAndMachineTest, ASecondSignInOnTheSameDayCollectsNothingAndPublishesWhatIsKept) {
    SignIn();
    AwaitReport();
    KeepMachine();
    m_host.Forget();
    Status(SYSTEM_STATUS_LOGIN);
    AwaitReport();
    Leave();
    EXPECT_EQ(CountCollections(), 0);
    EXPECT_EQ(GetMachine(u"HDSerialNo"), u"kept");
    EXPECT_EQ(OpenRecord()->GetString(u"HDModel"), u"kept");
}

TEST_F(RatesAndMachineTest, OtherExchangesHaveTheMachineForgottenAndCollectedAgain) {
    SignIn();
    AwaitReport();
    KeepMachine();
    m_host.Forget();
    m_host.SetRows(u"PERMISSIONS.EXCHANGES", {u"QV.F.TWF=1"});
    Status(SYSTEM_STATUS_LOGIN);
    AwaitReport();
    Leave();
    EXPECT_EQ(CountCollections(), 1);
    EXPECT_NE(OpenRecord()->GetString(u"HDModel"), u"kept");
    EXPECT_EQ(OpenRecord()->GetString(u"Version"), u"7") << "the rebuild beside the report loses nothing either";
}

TEST_F(RatesAndMachineTest, SignInsOneAfterTheOtherNeverLoseAVersionToTheReport) {
    SignIn();
    for (int n = 0; n < 20; ++n) {
        m_host.Forget();
        m_host.SetRows(u"PERMISSIONS.EXCHANGES", {n % 2 == 0 ? u"QV.F.TWF=1" : u"QV.O.TWF=1"});
        EXPECT_EQ(Status(SYSTEM_STATUS_LOGIN), S_OK);
        EXPECT_EQ(OpenRecord()->GetString(u"Version"), u"7");
    }
    AwaitReport();
    Leave();
    EXPECT_EQ(OpenRecord()->GetString(u"CPUSerialNo"), platform::ReadProcessorId());
}

}  // namespace qvant::test

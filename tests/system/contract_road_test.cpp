/// Contracts, rights and the symbol search on the road with the real programs: the sample world and its two users.

#include <algorithm>
#include <csignal>
#include <fstream>
#include <map>
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/scratch_folder.h"
#include "system/host_process.h"
#include "system/server_process.h"

namespace qvant::test {

namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

const fs::path SAMPLE = LUMIVALE_SAMPLE;
constexpr const char* STATUS_LOGIN = R"({"do":"status","status":1,"sub":9})";
constexpr const char* STATUS_STOP = R"({"do":"status","status":1,"sub":4})";
constexpr const char* SYMBOLS_READY =
    R"({"do":"wait","event":"WriteLog","match":{"line":"MakeSymbolLookupList End."},"after":0,"timeout_ms":30000})";
constexpr const char* HOLIDAYS_READY =
    R"({"do":"wait","event":"WriteLog","match":{"line":"GetHoliday End"},"after":0,"timeout_ms":30000})";
constexpr const char* RIGHTS_READY =
    R"({"do":"wait","event":"WriteLog","match":{"line":"QueryAppsTradePermission-End"},"after":0,"timeout_ms":30000})";
constexpr const char* ALL_LISTS = R"("FUTURES,期货|OPTIONS,期权|STOCKS,股票")";

std::string ReadBytes(const fs::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

bool HoldsText(std::string_view strLine, std::string_view strText) {
    return strLine.find(strText) != std::string_view::npos;
}

void ReplaceAll(std::string& strText, const std::string& strOld, const std::string& strNew) {
    for (std::size_t n = 0; (n = strText.find(strOld, n)) != std::string::npos; n += strNew.size()) {
        strText.replace(n, strOld.size(), strNew);
    }
}

}  // namespace

class ContractRoadTest : public ::testing::Test {
protected:
    ContractRoadTest() {
        fs::create_directories(Terminal());
        fs::copy(SAMPLE / "home" / "ComShared", Terminal() / "ComShared", fs::copy_options::recursive);
        fs::copy(SAMPLE / "world", World(), fs::copy_options::recursive);
        Serve({});
    }

    fs::path Terminal() const { return m_folder.GetPath() / "terminal"; }
    fs::path World() const { return m_folder.GetPath() / "world"; }
    fs::path SearchDatabase() const { return Terminal() / "Data" / "API" / "Lumivale_Sample.db"; }

    void Serve(const std::vector<std::string>& arMore) { m_server = CServerProcess::Serve(World(), arMore); }
    /// Another server at the same address, so that its requests are those of one start.
    void ServeAnew() {
        const int nPort = m_server->GetPort();
        m_server->Stop();
        Serve({"--port", std::to_string(nPort)});
    }

    /// A start of the terminal, up to a user who is about to sign in.
    void StartHost(const std::string& strUser, const std::string& strLanguage = "-CN") {
        m_host.reset();
        m_host.emplace(std::vector<std::string>{"--home", Terminal().string(), "--common-data",
                                                (m_folder.GetPath() / "common").string()});
        // At once: the names of local exchanges take their own form from the start of the system on.
        m_host->Send("{\"do\":\"status\",\"status\":1,\"sub\":1}\n{\"do\":\"status\",\"status\":1,\"sub\":2}\n");
        EXPECT_EQ(m_host->ReadReply()["result"].GetInt(), 0);
        EXPECT_EQ(m_host->ReadReply()["result"].GetInt(), 0);
        std::ifstream requests(SAMPLE / "users" / (strUser + ".jsonl"));
        for (std::string strRequest; std::getline(requests, strRequest);) {
            ReplaceAll(strRequest, "@SERVER@", m_server->GetUrl());
            EXPECT_EQ(m_host->AskForError(strRequest), "");
        }
        m_host->Ask(R"({"do":"set","table":"GeneralService","values":{"AppsLanguage":")" + strLanguage + R"("}})");
    }
    /// Up to the end of the sign-in, and of what comes behind it.
    void SignIn(const std::string& strUser, const std::string& strLanguage = "-CN") {
        StartHost(strUser, strLanguage);
        SignIn();
    }
    void SignIn() {
        EXPECT_EQ(m_host->AskFor(STATUS_LOGIN, "result"), "0");
        EXPECT_EQ(m_host->AskForError(SYMBOLS_READY), "");
        EXPECT_EQ(m_host->AskForError(HOLIDAYS_READY), "");
    }
    /// Signs in with a host that is killed at a line of the log.
    void KillAt(std::string_view strText) {
        m_host->Send(std::string(STATUS_LOGIN) + "\n");
        while (true) {
            const auto line = m_host->ReadNext();
            ASSERT_FALSE(line.IsNull() || line.HasMember("result")) << strText;
            if (line.HasMember("line") && HoldsText(line["line"].GetString(), strText)) break;
        }
        m_host->GetProcess().Signal(SIGKILL);
        m_host->GetProcess().Wait();
    }
    void RunOnce(const std::string& strUser = "full") {
        SignIn(strUser);
        EXPECT_EQ(m_host->Finish(), 0);
    }

    std::string Get(const std::string& strTable, const std::string& strKey) {
        return m_host->AskFor(R"({"do":"get","table":")" + strTable + R"(","key":")" + strKey + "\"}", "value");
    }
    int Count(const std::string& strText) {
        const auto reply = m_host->Ask(R"({"do":"find","first":0,"text":")" + strText + "\"}");
        return reply["ok"].GetBool() ? reply["symbols"]["total"].GetInt() : -1;
    }
    std::string First(const std::string& strText) {
        const auto reply = m_host->Ask(R"({"do":"find","first":1,"text":")" + strText + "\"}");
        if (!reply["ok"].GetBool() || reply["symbols"]["rows"].Empty()) return {};
        return reply["symbols"]["rows"][0]["symbol"].GetString();
    }
    std::string Tree(const std::string& strPath) {
        return m_host->AskFor(R"({"do":"tree","path":")" + strPath + "\"}", "names");
    }
    std::string Card(const std::string& strSymbol) {
        return m_host->AskFor(R"({"do":"card","symbol":")" + strSymbol + "\"}", "card");
    }
    std::vector<std::string> Log() { return m_host->GetEvents("WriteLog"); }
    /// What the server was asked for, the version that the client holds included.
    std::vector<std::string> Requests() const { return m_server->GetOutput().GetLines(); }

    /// The requests for documents that a client which holds nothing gets; the rates are asked for so each time.
    std::vector<std::string> FullRequests() const {
        std::vector<std::string> arFull;
        for (const std::string& strRequest : Requests()) {
            if (HoldsText(strRequest, "astVersion=-1") && !HoldsText(strRequest, "doc=Currency")) {
                arFull.push_back(strRequest);
            }
        }
        return arFull;
    }

    /// The files of the run and their content.
    std::map<std::string, std::string> Files() const {
        std::map<std::string, std::string> mapFiles;
        for (const char* pszFolder : {"Configs", "Data/API"}) {
            for (const auto& entry : fs::directory_iterator(Terminal() / pszFolder)) {
                mapFiles[entry.path().filename().string()] = ReadBytes(entry.path());
            }
        }
        return mapFiles;
    }

    /// What the table and its version say, as the user's pairs have it.
    void ExpectRates() {
        EXPECT_EQ(Get("CurrencyExchangeRate", "USD"), R"("1")");
        EXPECT_EQ(Get("CurrencyExchangeRate", "RMB"), R"("7.0925")");
        EXPECT_EQ(Get("CurrencyExchangeRate", "CNY"), R"("7.0925")");
        EXPECT_EQ(Get("CurrencyExchangeRate", "JPYRMB"), R"("0.0458")");
        EXPECT_EQ(Get("CurrencyExchangeRate", "RF_TWD"), R"("1.6250")");
        EXPECT_EQ(Get("CurrencyMapping", "CNY"), R"("RMB")");
        EXPECT_THAT(m_host->AskFor(R"({"do":"dump","table":"CurrencyExchangeRate"})", "dump"),
                    HasSubstr(R"("rows":["20261120"])"));
    }

    void ExpectContracts() {
        EXPECT_EQ(Get("Contract.List", "CLASSIFY"), ALL_LISTS);
        EXPECT_EQ(Get("ExpireDate", "QV.F.CME.ES.202612"), R"("20261218")");
        EXPECT_EQ(Get("LongMarginRate", "QV.F.CME.ES.202612"), R"("21500")");
        EXPECT_EQ(Get("HOTMONTHTABLE", "QV.F.CME.ES.HOT"), R"("QV.F.CME.ES.202612")");
        EXPECT_EQ(Get("HOTMONTHTABLE", "QV.F.CME.ES.202612"), R"("QV.F.CME.ES.HOT")");
        EXPECT_EQ(Get("NEARMONTHTABLE", "QV.F.CME.ES.Front1"), R"("QV.F.CME.ES.202612")");
        EXPECT_EQ(Get("NearbyMonth", "QV.F.CFFEX.IF.202612"), R"("QV.F.CFFEX.IF.202612")");
        EXPECT_EQ(Get("Symbol.Search.Name", "600000"), R"("QV.S.SSE.600000")");
        EXPECT_EQ(First("es"), "QV.F.CME.ES.202612");
        EXPECT_EQ(First("沪深"), "QV.S.SSE.510300");
        EXPECT_EQ(First("gzmt"), "QV.S.SSE.600519");
        EXPECT_EQ(First("if2612"), "QV.F.CFFEX.IF.202612");
        EXPECT_THAT(Tree("FUTURES.HOT.CFFEX"), HasSubstr(R"({"symbol":"QV.F.CFFEX.IF.202612","name":"IF2612"})"));
    }

    CScratchFolder m_folder;
    std::unique_ptr<CServerProcess> m_server;
    std::optional<CHostProcess> m_host;
};

TEST_F(ContractRoadTest, TheFirstSignInPublishesTheContractsAndMakesThemSearchable) {
    SignIn("full");
    ExpectContracts();
    EXPECT_THAT(Card("QV.F.CME.ES.202612"),
                AllOf(HasSubstr(R"("underlying":"SPX")"), HasSubstr(R"("hot_symbol":"QV.F.CME.ES.HOT")"),
                      HasSubstr(R"("near_symbol":"QV.F.CME.ES.Front1")"), HasSubstr(R"("hours_utc":)")));
    EXPECT_THAT(Card("QV.S.SSE.600519"),
                AllOf(HasSubstr(R"("buy_limit":"1000000")"), HasSubstr(R"("buy_unit":"100")")));
    EXPECT_EQ(Get("AppsTradePermission", "AllAppsTrade"), R"("1")");
    EXPECT_EQ(Count("QV."), 8882);
    EXPECT_THAT(m_host->GetEvents("ReportError"), IsEmpty());
    EXPECT_EQ(m_host->Finish(), 0);
}

TEST_F(ContractRoadTest, ASecondStartDownloadsNothingAndWritesNothing) {
    RunOnce();
    const auto mapFiles = Files();
    ServeAnew();
    SignIn("full");
    ExpectContracts();
    EXPECT_EQ(m_host->Finish(), 0);
    EXPECT_THAT(Log(), Not(Contains(ContainsRegex("have SecuritiesInfo|SaveVer|Update MakeSymbolLookupList"))));
    EXPECT_THAT(FullRequests(), IsEmpty());
    EXPECT_THAT(Requests(), Not(Contains(HasSubstr("stkinfo"))));
    EXPECT_THAT(Requests(), Contains(HasSubstr("cname=OPTIONS&lastVersion=2026.11-")));
    EXPECT_EQ(Files(), mapFiles);
}

TEST_F(ContractRoadTest, TheRatesAreThereAfterEachSignInAndAnEditArrivesWithTheNextStart) {
    SignIn("full");
    ExpectRates();
    EXPECT_EQ(m_host->Finish(), 0);
    ServeAnew();
    SignIn("full");
    ExpectRates();
    EXPECT_EQ(m_host->Finish(), 0);
    const auto arRequests = Requests();
    EXPECT_EQ(std::count_if(arRequests.begin(), arRequests.end(),
                            [](const std::string& str) { return HoldsText(str, "doc=Currency"); }),
              1);

    m_folder.Write("world/currency.json", R"({"FX":{"USD":{"RMB":"7.5"}},"LastVersion":20261123})");
    SignIn("full");
    EXPECT_EQ(m_host->AskFor(R"({"do":"dump","table":"CurrencyExchangeRate"})", "dump"),
              R"({"values":{"CNY":"7.5","RMB":"7.5","USD":"1"},"rows":["20261123"],"tables":{}})");
    EXPECT_EQ(m_host->Finish(), 0);
}

TEST_F(ContractRoadTest, AServerWhoseRatesFailLeavesThemAsTheyWere) {
    SignIn("full");
    for (const char* pszKind : {R"("status","code":500)", R"("empty")", R"("garbage")", R"("wrong-gzip")", R"("reset")",
                                R"("cut","bytes":40)"}) {
        ASSERT_TRUE(PostFaults(*m_server, std::string(R"([{"match":"getDocument","kind":)") + pszKind + "}]"));
        m_host->Ask(R"({"do":"rows","table":"PERMISSIONS.LUMIVale","rows":["CurrencyRate=)" +
                    std::string(pszKind).substr(1, 5) + R"("]})");
        EXPECT_EQ(m_host->AskFor(STATUS_LOGIN, "result"), "0") << pszKind;
        ExpectRates();
    }
    const auto arLog = Log();
    EXPECT_EQ(std::count_if(arLog.begin(), arLog.end(),
                            [](const std::string& str) { return HoldsText(str, "Do QueryCurrency."); }),
              7);
    EXPECT_EQ(m_host->Finish(), 0);
}

TEST_F(ContractRoadTest, ASecondSignInOnTheSameDayCollectsNothingOfTheMachineAndTellsWhatWasKept) {
    constexpr const char* pszReported =
        R"({"do":"wait","event":"WriteLog","match":{"line":"QueryHardwareInformation HD_SerialNumber:"},"after":0})";
    SignIn("full");
    EXPECT_EQ(m_host->AskForError(pszReported), "");
    // A machine needn't tell everything; what it doesn't is asked for again.
    m_host->Ask(R"({"do":"set","table":"STORAGE","path":["Lumivale"],)"
                R"("values":{"HDModel":"M","HDSerialNo":"S","CPUSerialNo":"C"}})");
    EXPECT_THAT(Log(), Contains(HasSubstr("GetHardwareInformation")));
    EXPECT_EQ(m_host->Finish(), 0);

    SignIn("full");
    EXPECT_EQ(m_host->AskForError(R"({"do":"wait","event":"WriteLog","match":{"line":"HD_SerialNumber:S"},"after":0})"),
              "");
    EXPECT_EQ(m_host->AskFor(STATUS_STOP, "result"), "0");
    EXPECT_EQ(Get("PERMISSIONS.General", "HDModel"), R"("M")");
    EXPECT_EQ(Get("PERMISSIONS.General", "HDSerialNo"), R"("S")");
    EXPECT_EQ(Get("PERMISSIONS.General", "CPUSerialNo"), R"("C")");
    EXPECT_EQ(m_host->Finish(), 0);
    EXPECT_THAT(Log(), Not(Contains(HasSubstr("GetHardwareInformation"))));
}

TEST_F(ContractRoadTest, AStartWithoutAServerServesTheContractsFromTheDisk) {
    RunOnce();
    const auto mapFiles = Files();
    m_server->Stop();
    SignIn("full");
    ExpectContracts();
    EXPECT_THAT(m_host->GetEvents("ReportError"), Contains(HasSubstr("-108")));
    EXPECT_EQ(m_host->Finish(), 0);
    EXPECT_EQ(Files(), mapFiles);
}

TEST_F(ContractRoadTest, AUserWithFewerExchangesSeesFewerContractsAndOnlyHisRights) {
    SignIn("limited");
    EXPECT_EQ(m_host->AskForError(RIGHTS_READY), "");
    EXPECT_EQ(Get("Contract.List", "CLASSIFY"), R"("FUTURES,期货|SHARES,股票")");
    EXPECT_EQ(Count("QV.O."), 0);
    EXPECT_EQ(Tree("FUTURES.HOT.CME"),
              R"({"total":2,"rows":[{"symbol":"QV.F.CME.ES.202612","name":"迷你标普500202612"},)"
              R"({"symbol":"QV.F.CME.NQ.202612","name":"迷你纳斯达克100202612"}]})");
    EXPECT_THAT(Tree("FUTURES"), Not(HasSubstr("Europe")));
    EXPECT_EQ(Get("AppsTradePermission", "AllAppsTrade"), "null");
    EXPECT_EQ(Get("AppsTradePermission", "EASTERN"), R"("CFFEX;CZCE;DCE;GFEX;INE;SHFE;")");
    EXPECT_EQ(Get("AppsTradePermission", "HARBOUR"), "null");
    EXPECT_EQ(m_host->Finish(), 0);
}

TEST_F(ContractRoadTest, AnotherUsersExchangesHaveEverythingFetchedAndBuiltAnew) {
    RunOnce("limited");
    ServeAnew();
    SignIn("full");
    ExpectContracts();
    EXPECT_THAT(Log(), Contains(HasSubstr("Exg chg:QV.F.CFFEX||")));
    for (const char* pszDocument : {"getMainForm.do?lastVersion=-1", "cname=FUTURES&lastVersion=-1",
                                    "cname=OPTIONS&lastVersion=-1", "cname=STOCKS&lastVersion=-1"}) {
        EXPECT_THAT(Requests(), Contains(HasSubstr(pszDocument)));
    }
    EXPECT_EQ(Count("QV."), 8882);
    EXPECT_EQ(m_host->Finish(), 0);

    ServeAnew();
    SignIn("full");
    EXPECT_THAT(FullRequests(), IsEmpty());
    EXPECT_EQ(m_host->Finish(), 0);
}

TEST_F(ContractRoadTest, AnEditedFileOfContractsArrivesWithTheNextStartAndTheOtherListsStay) {
    RunOnce();
    const fs::path file = World() / "contracts" / "CME.json";
    std::string strContracts = ReadBytes(file);
    ReplaceAll(strContracts, R"("long": "21500")", R"("long": "31500")");
    m_folder.Write("world/contracts/CME.json", strContracts);
    ServeAnew();
    SignIn("full");
    EXPECT_EQ(Get("LongMarginRate", "QV.F.CME.ES.202612"), R"("31500")");
    EXPECT_THAT(Card("QV.F.CME.ES.202612"), HasSubstr(R"("long_margin":"31500")"));
    EXPECT_THAT(Log(), Contains(HasSubstr("QueryContractList-ServerVer:2026.11-")));
    EXPECT_THAT(Log(), Not(Contains(HasSubstr("have SecuritiesInfo"))));
    EXPECT_EQ(m_host->Finish(), 0);
}

TEST_F(ContractRoadTest, AnotherLanguageRenamesTheContractsWithoutADownload) {
    RunOnce();
    ServeAnew();
    SignIn("full", "ENG");
    EXPECT_EQ(First("kweichow"), "QV.S.SSE.600519");
    EXPECT_EQ(First("沪深"), "");
    EXPECT_THAT(FullRequests(), IsEmpty());
    EXPECT_EQ(m_host->Finish(), 0);
}

TEST_F(ContractRoadTest, ASearchDatabaseOfJunkOrOneThatIsGoneIsMadeAnew) {
    RunOnce();
    for (const char* pszJunk : {"junk", ""}) {
        fs::remove(SearchDatabase());
        if (*pszJunk) std::ofstream(SearchDatabase()) << std::string(5000, *pszJunk);
        SignIn("full");
        EXPECT_THAT(Log(), Contains(HasSubstr("SymbolSearch Db isDrop")));
        ExpectContracts();
        EXPECT_EQ(m_host->Finish(), 0);
    }
}

TEST_F(ContractRoadTest, ASearchDatabaseThatIsDamagedInTheMiddleIsMendedByTheNextBuild) {
    RunOnce();
    {
        std::fstream stream(SearchDatabase(), std::ios::in | std::ios::out | std::ios::binary);
        stream.seekp(static_cast<std::streamoff>(fs::file_size(SearchDatabase()) / 2));
        stream << std::string(200'000, 'x');
    }
    SignIn("full");
    EXPECT_EQ(Count("QV."), -1);
    EXPECT_EQ(m_host->Finish(), 0);
    SignIn("full", "ENG");
    EXPECT_THAT(Log(), Contains(HasSubstr("MakeSymbolLookupList delete db file!")));
    EXPECT_EQ(Count("QV."), 8882);
    EXPECT_EQ(m_host->Finish(), 0);
}

TEST_F(ContractRoadTest, AHostKilledInTheMiddleOfABuildStartsWell) {
    for (const char* pszLine : {"MakeInitData-Start", "QueryContractList-SaveVer", "LoadStkInfo-end",
                                "Update MakeSymbolLookupList m_arAllContract"}) {
        fs::remove_all(Terminal() / "Configs");
        fs::remove_all(Terminal() / "Data");
        RunOnce("limited");
        StartHost("full");
        KillAt(pszLine);
        SignIn("full");
        ExpectContracts();
        EXPECT_EQ(Count("QV."), 8882) << pszLine;
        EXPECT_EQ(m_host->Finish(), 0);
    }
}

TEST_F(ContractRoadTest, SymbolsOfAnotherUserThatAKillPreventedAreBuiltByTheNextStart) {
    constexpr const char* pszOneExchange = R"({"do":"rows","table":"PERMISSIONS.EXCHANGES","rows":["QV.F.CME=1"]})";
    RunOnce();
    for (const char* pszLine : {"MakeInitData-Start", "LoadStkInfo-begin"}) {
        StartHost("full");
        m_host->Ask(pszOneExchange);
        KillAt(pszLine);
        StartHost("full");
        m_host->Ask(pszOneExchange);
        SignIn();
        EXPECT_THAT(Log(), Not(Contains(HasSubstr("Exg chg")))) << pszLine;
        EXPECT_THAT(Log(), Contains(HasSubstr("Update MakeSymbolLookupList GetRecordCount:8882"))) << pszLine;
        EXPECT_EQ(m_host->Finish(), 0);
        RunOnce();
    }
}

}  // namespace qvant::test

/// What the service leaves to others: files for the user alone, in its own folders, and no secret in what it says.

#include <filesystem>
#include <map>
#include <mutex>

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/shared_memory.h"
#include "qvant/message_box.h"
#include "service_fixture.h"

namespace qvant::test {

using ::testing::Contains;
using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

namespace fs = std::filesystem;

namespace {

constexpr const char* KEY = "key-of-the-session";
constexpr const char* PASSWORD = "password-of-the-proxy";

/// The mask that takes nothing: what is made with it shows the mode that it was given.
class COpenMask {
public:
    COpenMask() : m_nOld(umask(0)) {}
    ~COpenMask() { umask(m_nOld); }
    COpenMask(const COpenMask&) = delete;
    COpenMask& operator=(const COpenMask&) = delete;

private:
    const mode_t m_nOld;
};

/// Collects the message boxes of the process.
class CMessageBoxes {
public:
    CMessageBoxes() { QvantSetMessageBoxSink(&CMessageBoxes::OnBox, this); }
    ~CMessageBoxes() { QvantSetMessageBoxSink(nullptr, nullptr); }
    CMessageBoxes(const CMessageBoxes&) = delete;
    CMessageBoxes& operator=(const CMessageBoxes&) = delete;

    std::vector<std::string> Get() const {
        const std::lock_guard lock(m_mutex);
        return m_arBoxes;
    }

private:
    static void OnBox(void* pContext, LPCOLESTR pszTitle, LPCOLESTR pszText) {
        auto& boxes = *static_cast<CMessageBoxes*>(pContext);
        const std::lock_guard lock(boxes.m_mutex);
        boxes.m_arBoxes.push_back(Narrow(pszTitle) + ": " + Narrow(pszText));
    }

    mutable std::mutex m_mutex;
    std::vector<std::string> m_arBoxes;
};

}  // namespace

class SecurityTest : public ServiceTest {
protected:
    SecurityTest() {
        for (const auto* pszTable :
             {u"Contract.List", u"Contract.List.Name", u"HOTMONTHTABLE", u"NearbyMonth", u"ExpireDate",
              u"LongMarginRate", u"ShortMarginRate", u"NEARMONTHTABLE", u"Symbol.Search.Name", u"CurrencyExchangeRate",
              u"HOTCHANGE.REQUEST", u"EXPIREDATE.REQUEST", u"CQYZ.REQUEST"}) {
            m_host.MakeTable(pszTable);
        }
        fs::create_directories(m_folder.GetPath() / "tmp");
    }
    ~SecurityTest() override { m_service.reset(); }

    fs::path Home() const { return m_folder.GetPath() / "terminal"; }

    /// A start, a sign-in, and the work of a short day.
    void Live() {
        Load();
        SignIn();
        for (const TextView strTopic : {u"HOTCHANGE.REQUEST", u"EXPIREDATE.REQUEST"})
            for (const Text& strSymbol : m_arSymbols) m_service->OnTopicCommand(strTopic, 5, 0, strSymbol, nullptr);
        for (const Text& strSymbol : m_arSymbols) {
            m_service->OnTopicCommand(u"CQYZ.REQUEST", 5, 0, strSymbol, nullptr);
            m_service->OnTopicCommand(u"API_UpdateUDHotMonth", 5, 1, strSymbol, nullptr);
        }
        EXPECT_TRUE(m_host.WaitForLog("WM_QUERY_BA. msg.wParam=" + Narrow(m_arSymbols.back())));
    }

    CEnvironment m_temporary{"TMPDIR", (m_folder.GetPath() / "tmp").string()};
    std::vector<Text> m_arSymbols{u"QV.F.TWF.TXF.202612"};
};

TEST_F(SecurityTest, EverythingThatALifeLeavesIsTheUsersAlone) {
    const COpenMask mask;
    m_host.SetRows(u"PERMISSIONS.LUMIVale", {u"Classification=FUT:fut"});
    m_server.PublishList("FUT", "1", R"({"LastVersion":"1","Classification":{"ENG":"Futures"}})");
    Load();
    fs::permissions(Home(), fs::perms::owner_all);
    m_folder.Write("terminal/Configs/LUMIVale.ini", "[LUMIVale]\r\n");
    m_folder.Write("terminal/Configs/LumivaleInfo.dat", "old");
    ASSERT_EQ(chmod((Home() / "Configs").c_str(), 0700), 0);
    ASSERT_EQ(chmod((Home() / "Configs/LUMIVale.ini").c_str(), 0666), 0);
    ASSERT_EQ(chmod((Home() / "Configs/LumivaleInfo.dat").c_str(), 0644), 0);

    Live();

    int nFiles = 0;
    for (const fs::path& folder : {Home() / "Configs", Home() / "Data", m_folder.GetPath() / "common"}) {
        EXPECT_EQ(fs::status(folder).permissions(), fs::perms::owner_all) << folder;
        for (const auto& entry : fs::recursive_directory_iterator(folder)) {
            const auto expected = entry.is_directory() ? fs::perms::owner_all : fs::perms(0600);
            EXPECT_EQ(entry.status().permissions(), expected) << entry.path();
            if (!entry.is_directory()) ++nFiles;
        }
    }
    EXPECT_GE(nFiles, 4) << "settings, securities, the search database and that of the factors at least";
    const std::string strBlock = "/dev/shm/" + Narrow(m_host.Get(u"Contract.List.Name", u"ContractListName"));
    struct stat status {};
    EXPECT_EQ(stat(strBlock.c_str(), &status), 0) << strBlock;
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    Leave();
}

TEST_F(SecurityTest, NamesThatLeadElsewhereMakeAndChangeNothingOutsideOfTheFolders) {
    const std::string strRoot = m_folder.GetPath().string();
    const auto listOutside = [&] {
        std::map<std::string, std::string> mapFiles;
        for (const auto& entry : fs::recursive_directory_iterator(strRoot)) {
            const std::string strName = fs::relative(entry.path(), strRoot).string();
            const bool bOwn = strName.starts_with("terminal/Configs") || strName.starts_with("terminal/Data") ||
                              strName.starts_with("common") || strName.starts_with("tmp");
            if (!bOwn) mapFiles[strName] = entry.is_regular_file() ? m_folder.Read(strName) : "";
        }
        return mapFiles;
    };
    for (const char* pszVictim : {"VICTIM.ini", "VICTIM.dat", "VICTIM.txt", "VICTIM.ba", "VICTIM.db", "VICTIM.HOT.txt",
                                  "terminal/VICTIM.ini", "terminal/ContractList_VICTIM.ini", "terminal/VICTIM.HOT.txt"})
        m_folder.Write(pszVictim, "mine");
    const Text strAbsolute = m_folder / "VICTIM";
    const std::vector<Text> arEvil{u"../VICTIM",
                                   u"../../VICTIM",
                                   u"../../../VICTIM",
                                   u"x/../../../VICTIM",
                                   strAbsolute,
                                   u"..\\..\\VICTIM",
                                   u"file://" + strAbsolute,
                                   u"$(touch VICTIM)",
                                   u"`touch VICTIM`",
                                   u"; touch VICTIM ;",
                                   u"| touch VICTIM",
                                   u"%s%s%n",
                                   u"."};
    std::vector<Text> arRights{u"Classification=FUT:fut", u"CurrencyRate=../VICTIM:" + strAbsolute};
    std::string strGroups;
    for (const Text& strEvil : arEvil) {
        arRights.push_back(u"Classification=" + strEvil);
        arRights.push_back(u"Classification=" + strEvil + u":fut");
        std::string strName = Narrow(strEvil);
        for (std::size_t n = 0; (n = strName.find('\\', n)) != std::string::npos; n += 2) strName.insert(n, "\\");
        strGroups += ",\"QV.F." + strName + ".X\":{\"TimeZone\":\"" + strName +
                     "\",\"OpenCloseTime\":\"08:45~13:45\",\"EXG\":\"" + strName + "\",\"EXG.mo\":\"" + strName + "\"}";
        for (const char* pszStart : {"", "QV.F.", "QV.F.TWF."}) m_arSymbols.push_back(Widen(pszStart) + strEvil);
    }
    m_host.SetRows(u"PERMISSIONS.LUMIVale", arRights);
    m_host.SetRows(u"PERMISSIONS.EXCHANGES", {u"../../VICTIM", strAbsolute});
    m_host.Set(u"PERMISSIONS.LUMIVale",
               {{u"LUMIValeURL", m_server.GetUrl()},
                {u"InfoListType", u"../../VICTIM"},
                {u"HotChangeURL", m_server.GetUrl() + u"OutsideData_getDocument.do?doc=ROLLS&"},
                {u"ExpireURL", m_server.GetUrl() + u"OutsideData_getDocument.do?doc=ROLLS&"},
                {u"SS2Cmd", m_server.GetUrl() + u"OutsideData_getDocument.do?doc=ROLLS&"}});
    m_server.Publish("../../VICTIM", R"({"LastVersion":"../../VICTIM","SecuritiesInfo":{)"
                                     R"("QV.F.TWF.TXF":{"TimeZone":"Asia/Taipei","EXG":"TWF"})" +
                                         strGroups + "}}");
    for (const char* pszList : {"FUT", "fut"})
        m_server.PublishList(pszList, "../../VICTIM",
                             R"({"LastVersion":"../../VICTIM","Classification":{"ENG":"../../VICTIM","cls":{)"
                             R"("../../VICTIM":{"ENG":"../../VICTIM","symbol":"../../VICTIM"}}}})");
    const auto mapBefore = listOutside();

    Live();
    Leave();

    EXPECT_THAT(m_host.GetLog(), Contains("QueryContractList Fill Open Fail. GetLastError=22.")) << "the lists came";
    EXPECT_EQ(listOutside(), mapBefore);
    for (const auto& entry : fs::recursive_directory_iterator(strRoot))
        EXPECT_FALSE(entry.is_symlink()) << entry.path();
    EXPECT_TRUE(fs::exists(Home() / "Configs/LUMIVale.ini"));
}

/// The lines that name the user's sign-in or the URL of a fetch that failed; who reads the log reads the key.
bool MayHoldTheKey(const std::string& strLine) {
    constexpr const char* LINES[] = {"WriteLog LoginID:",
                                     "WriteLog QuerySecuritiesInfo Fail:",
                                     "WriteLog QuerySecuritiesInfo-URlError:",
                                     "WriteLog QueryContractList Fail:",
                                     "WriteLog QueryContractList-URlError:",
                                     "WriteLog QueryHotChange URL=",
                                     "WriteLog PostErrorMsg:DoGetHttpQuery Fail, Info :"};
    return std::any_of(std::begin(LINES), std::end(LINES),
                       [&](const char* pszStart) { return strLine.starts_with(pszStart); });
}

TEST_F(SecurityTest, TheSessionKeyAndTheProxysPasswordAreSaidInNoOtherLine) {
    const CMessageBoxes boxes;
    m_host.Set(u"PERMISSIONS.General", {{u"Username", u"user1"}, {u"SessionKey", Widen(KEY)}, {u"Region", u"TWN"}});
    m_host.Set(u"GeneralService", {{u"AppsProxyAddress", u"127.0.0.1"},
                                   {u"AppsProxyPort", u"0"},
                                   {u"AppsProxyAccount", u"account"},
                                   {u"AppsProxyPassword", Widen(PASSWORD)}});
    m_host.SetRows(u"PERMISSIONS.LUMIVale", {u"Classification=FUT:fut", u"CurrencyRate=CNY:RMB"});
    const Text strRolls = m_server.GetUrl() + u"OutsideData_getDocument.do?doc=ROLLS&";
    m_host.Set(u"PERMISSIONS.LUMIVale", {{u"LUMIValeURL", m_server.GetUrl()},
                                         {u"InfoListType", u"ALL"},
                                         {u"HotChangeURL", strRolls},
                                         {u"ExpireURL", strRolls},
                                         {u"SS2Cmd", strRolls}});
    const auto live = [&] {
        Live();
        Leave();
    };
    live();
    m_server.AnswerAlways("no document at all");
    live();
    m_server.AnswerAlways("busy", 503);
    live();
    m_server.AnswerAlways("");
    live();
    m_host.Set(u"GeneralService", {{u"AppsProxyPort", u"1"}});  // nobody listens there
    live();

    std::size_t nKeys = 0;
    for (const std::string& strLine : m_host.GetSaid()) {
        EXPECT_THAT(strLine, Not(HasSubstr(PASSWORD)));
        if (strLine.find(KEY) == std::string::npos) continue;
        ++nKeys;
        EXPECT_TRUE(MayHoldTheKey(strLine)) << strLine;
    }
    EXPECT_GE(nKeys, 5u) << "a line for each sign-in at least";
    EXPECT_THAT(boxes.Get(), Each(Not(HasSubstr(PASSWORD))));
    EXPECT_THAT(boxes.Get(), Each(Not(HasSubstr(KEY))));
}

}  // namespace qvant::test

#include <fstream>
#include <random>

#include "archive_of_map.h"
#include "base/format.h"
#include "contract_list_fixture.h"
#include "store/scripted_table.h"
#include "store/string_argument.h"
#include "support/limits.h"

namespace qvant::test {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

constexpr TextView FUTURES =
    u"{\"ENG\":\"Futures\",\"Node\":[{\"ENG\":\"HOT\",\"Node\":[{\"ENG\":\"Index\","
    u"\"Contracts\":[\"QV.F.CME.ES.202612\",\"QV.F.CFFEX.IF.202612\"],"
    u"\"LongMarginRate\":[\"0.1\",\"0.2\"],\"ShortMarginRate\":[\"0.3\"]}]}]}";
constexpr TextView OPTIONS = u"{\"ENG\":\"Options\",\"Node\":[{\"ENG\":\"Index\"},{\"ENG\":\"Metal\"}]}";

/// A call of a table's method; its arguments stand in reverse.
std::string DescribeCall(DISPID nMethod, const DISPPARAMS& parameters) {
    if (nMethod == store::METHOD_BEGIN) return " begin";
    if (nMethod == store::METHOD_COMMIT) return " commit";
    if (nMethod != store::METHOD_OPERATE) return " something else";
    if (parameters.rgvarg[2].lVal == store::OPERATION_CLEAR) {
        return " clear " + std::to_string(parameters.rgvarg[1].lVal) + (parameters.rgvarg[0].vt == VT_EMPTY ? "" : "?");
    }
    return " set " + Narrow(ToText(parameters.rgvarg[1].bstrVal));
}

class ContractListLoad : public ContractListTest {
protected:
    /// Bytes of a published block, as a reader finds them by its name.
    static std::string ReadBlock(const Text& strName) {
        std::ifstream file("/dev/shm/" + Narrow(strName), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    static bool HasBlock(const Text& strName) { return std::filesystem::exists("/dev/shm/" + Narrow(strName)); }
    Text BlockName() { return m_host.Get(u"Contract.List.Name", u"ContractListName"); }
    CVariant BlockLength() { return m_host.Open(u"Contract.List.Name")->GetVariant(u"ContractListNameLen"); }
    Text Classify() { return m_host.Get(u"Contract.List", u"CLASSIFY"); }
    /// The names that a load tries, in their order.
    std::vector<Text> NamesToCome(std::size_t nCount) const {
        std::minstd_rand random(static_cast<std::uint32_t>(m_clock.nSecond));
        std::vector<Text> arNames(nCount);
        for (Text& strName : arNames) {
            strName =
                Format(u"ContractListName_%d_%x", random() % 10000, reinterpret_cast<std::uintptr_t>(&m_document));
        }
        return arNames;
    }
    /// Tables with something in them that a load replaces.
    void FillTables() {
        m_host.Set(u"HOTMONTHTABLE", {{u"old", u"1"}});
        m_host.Set(u"NearbyMonth", {{u"old", u"1"}});
        m_host.Set(u"Contract.List.Name", {{u"old", u"1"}});
        m_host.Set(u"Contract.List", {{u"CLASSIFY", u"OLD"}});
        m_host.Set(u"LongMarginRate", {{u"old", u"1"}});
    }
};

TEST_F(ContractListLoad, AListBecomesTablesAndABlock) {
    FillTables();
    WriteList("FUT", FUTURES);
    Load();
    EXPECT_EQ(m_host.Get(u"HOTMONTHTABLE", u"QV.F.CME.ES.202612"), u"QV.F.CME.ES.HOT");
    EXPECT_EQ(m_host.Get(u"HOTMONTHTABLE", u"QV.F.CME.ES.HOT"), u"QV.F.CME.ES.202612");
    EXPECT_EQ(m_host.Get(u"HOTMONTHTABLE", u"old"), u"");
    EXPECT_EQ(m_host.Get(u"NearbyMonth", u"QV.F.CFFEX.IF.202612"), u"QV.F.CFFEX.IF.202612");
    EXPECT_EQ(m_host.Get(u"NearbyMonth", u"old"), u"");
    EXPECT_EQ(m_host.Get(u"LongMarginRate", u"QV.F.CFFEX.IF.202612"), u"0.2");
    EXPECT_EQ(m_host.Get(u"LongMarginRate", u"old"), u"1") << "margins are added, never cleared";
    EXPECT_EQ(m_host.Get(u"ShortMarginRate", u"QV.F.CME.ES.202612"), u"0.3");
    EXPECT_EQ(m_host.Get(u"ShortMarginRate", u"QV.F.CFFEX.IF.202612"), u"");
    EXPECT_EQ(m_host.Get(u"Contract.List.Name", u"old"), u"");
    EXPECT_EQ(BlockName(), NamesToCome(1).front());
    const std::string strBlock = ReadBlock(BlockName());
    EXPECT_THAT(strBlock, HasSubstr("\xFF\xFE\xFF\x07" + ToUtf16Bytes(u"FUT.HOT") + "\xFF\xFE\xFF\x0B" +
                                    ToUtf16Bytes(u"Index,Index")));
    const CVariant length = BlockLength();
    EXPECT_EQ(length.vt, VT_I4);
    EXPECT_EQ(length.lVal, static_cast<std::int32_t>(strBlock.size()));
    EXPECT_EQ(Classify(), u"FUT,FUTURES");
    EXPECT_THAT(m_builder.m_mapContractListName, IsEmpty());
    EXPECT_THAT(m_builder.m_mapSymbolToName, Not(IsEmpty())) << "the symbol build needs it";
    EXPECT_THAT(m_host.GetSaid(), ElementsAre("WriteLog LoadContractList-Start", "WriteLog LoadContractList-FUT",
                                              "WriteLog LoadContractList-End"));
}

TEST_F(ContractListLoad, TheBlockIsTheNameTreeOfAllLists) {
    m_state.m_arClassification = {u"OPT", u"MET:CN-MET"};
    WriteList("OPT", OPTIONS);
    WriteList("MET", u"{\"ENG\":\"Metals\",\"Node\":[{\"ENG\":\"Gold\"}]}");
    Load();
    CTextMap expected;
    expected.insert_or_assign(u"OPT", u"Index,Index|Metal,Metal");
    expected.insert_or_assign(u"MET", u"Gold,Gold");
    EXPECT_EQ(ReadBlock(BlockName()), ArchiveMap(expected));
    EXPECT_EQ(Classify(), u"OPT,OPTIONS|MET,METALS");
}

TEST_F(ContractListLoad, NoClassificationStillGivesABlockAndAnEmptyList) {
    FillTables();
    m_host.DropTable(u"LongMarginRate");
    m_state.m_arClassification.clear();
    Load();
    EXPECT_EQ(ReadBlock(BlockName()), std::string(2, '\0'));
    EXPECT_EQ(BlockLength().lVal, 2);
    const CVariant classify = m_host.Open(u"Contract.List")->GetVariant(u"CLASSIFY");
    EXPECT_EQ(classify.vt, VT_BSTR);
    EXPECT_EQ(classify.GetText(), u"");
    EXPECT_EQ(m_host.Get(u"HOTMONTHTABLE", u"old"), u"");
    EXPECT_THAT(m_host.GetLog(), ElementsAre("LoadContractList-Start", "LoadContractList-End"));
}

TEST_F(ContractListLoad, AMissingFileIsToldAtTheEndAndTheOthersLoad) {
    m_state.m_arClassification = {u"FUT:CN-FUT", u"OPT"};
    WriteList("OPT", OPTIONS);
    Load();
    EXPECT_EQ(Classify(), u"OPT,OPTIONS");
    const auto arSaid = m_host.GetSaid();
    ASSERT_EQ(arSaid.size(), 6u);
    EXPECT_EQ(arSaid[1], "WriteLog LoadContractList open file fail:" + (m_folder.GetPath() / FileOf("FUT")).string());
    EXPECT_EQ(arSaid[2], "WriteLog LoadContractList-FUT");
    EXPECT_EQ(arSaid[3], "WriteLog LoadContractList-OPT");
    EXPECT_EQ(arSaid[4], "WriteLog LoadContractList-End");
    EXPECT_THAT(arSaid[5], HasSubstr("\"MsgCode\" : -2,"));
    EXPECT_THAT(arSaid[5], Not(HasSubstr("MsgText")));
}

TEST_F(ContractListLoad, AFolderInPlaceOfAFileCountsAsMissing) {
    std::filesystem::create_directories(m_folder.GetPath() / FileOf("FUT"));
    Load();
    EXPECT_THAT(m_host.GetLog(), Contains(StartsWith("LoadContractList open file fail:")));
    EXPECT_THAT(m_host.GetSaid(), Contains(HasSubstr("\"MsgCode\" : -2,")));
}

TEST_F(ContractListLoad, ABrokenFileAddsNothingAndSaysNothing) {
    m_state.m_arClassification = {u"FUT:CN-FUT", u"OPT"};
    WriteList("OPT", OPTIONS);
    std::string strJunk;
    for (unsigned i = 0; i < 70'000; ++i) strJunk.push_back(static_cast<char>(i * i / 7));
    const std::string strWhole = ListBytes(FUTURES);
    for (const std::string& strBytes :
         {strWhole.substr(0, strWhole.size() / 2), strJunk, std::string(), strWhole.substr(0, 1),
          ListBytes(Text(100'000, u'[')), ListBytes(Text(10, u'\0'))}) {
        m_folder.Write(FileOf("FUT"), strBytes);
        ++m_clock.nSecond;
        m_host.Forget();
        Load();
        EXPECT_EQ(Classify(), u"OPT,OPTIONS");
        EXPECT_THAT(m_host.GetSaid(), ElementsAre("WriteLog LoadContractList-Start", "WriteLog LoadContractList-FUT",
                                                  "WriteLog LoadContractList-OPT", "WriteLog LoadContractList-End"));
    }
}

TEST_F(ContractListLoad, LinesAreJoinedWithNothingBetweenThem) {
    Text strLines(OPTIONS);
    for (const TextView strEnd : {u"\r\n", u"\n"}) {
        ReplaceAll(strLines, u"Index", Text(u"In").append(strEnd).append(u"dex"));
        strLines.append(strEnd);
    }
    m_state.m_arClassification = {u"OPT"};
    for (const std::string& strBytes : {ListBytes(strLines), ListBytes(u"\n\r\n" + strLines + u"\r"), Narrow(strLines),
                                        "\xEF\xBB\xBF" + Narrow(strLines)}) {
        m_folder.Write(FileOf("OPT"), strBytes);
        Load();
        EXPECT_EQ(Classify(), u"OPT,OPTIONS");
        EXPECT_THAT(ReadBlock(BlockName()), HasSubstr(ToUtf16Bytes(u"Index,Index|Metal,Metal")));
    }
}

TEST_F(ContractListLoad, ANameThatLeadsOutOfTheFolderIsNotOpened) {
    m_folder.Write("Secret.ini", ListBytes(OPTIONS));
    std::filesystem::create_directories(m_folder.GetPath() / "Configs/ContractList_A");
    m_folder.Write("Configs/ContractList_A/B.ini", ListBytes(OPTIONS));
    m_folder.Write("Configs/ContractList_OPT.ini", ListBytes(OPTIONS));
    m_state.m_arClassification = {u"A/../../Secret", u"A/B:X", Text(u"OPT.ini\0", 8)};
    Load();
    EXPECT_EQ(Classify(), u"");
    for (const char* pszName : {"A/../../Secret", "A/B"}) {
        EXPECT_TRUE(m_host.HasLogged("LoadContractList open file fail:" + Narrow(m_folder / "Configs/ContractList_") +
                                     pszName + ".ini"));
        EXPECT_TRUE(m_host.HasLogged(std::string("LoadContractList-") + pszName));
    }
    EXPECT_THAT(m_host.GetSaid(), Contains(HasSubstr("\"MsgCode\" : -2,")));
}

TEST_F(ContractListLoad, TablesAreBegunAndCommittedInTheirOrder) {
    std::vector<std::string> arCalls;
    CScriptedTable arScripts[4];
    CBaseData arTables[4];
    for (std::size_t i = 0; i < 4; ++i) {
        arScripts[i].answer = [&arCalls, i](DISPID nMethod, const DISPPARAMS& parameters, VARIANT* pResult) {
            constexpr const char* NAMES[] = {"Name", "Hot", "Nearby", "List"};
            arCalls.push_back(std::string(NAMES[i]) + DescribeCall(nMethod, parameters));
            if (pResult) *pResult = NumberArgument(1);
            return S_OK;
        };
        ASSERT_TRUE(arTables[i].Create(nullptr, &arScripts[i]));
    }
    m_state.m_bFirstSymbolBuild = false;
    m_makeSymbolLookupList = [&] { arCalls.emplace_back("makeSymbolLookupList"); };
    m_state.m_arClassification = {u"OPT"};
    WriteList("OPT", OPTIONS);
    m_document.LoadContractList({&arTables[0], &arTables[1], &arTables[2], &arTables[3]});
    EXPECT_THAT(arCalls,
                ElementsAre("Name begin", "Name clear 4", "Hot begin", "Hot clear 4", "Nearby begin", "Nearby clear 4",
                            "Nearby commit", "Hot commit", "Name set ContractListName", "Name set ContractListNameLen",
                            "Name commit", "List begin", "List set CLASSIFY", "makeSymbolLookupList", "List commit"));
}

TEST_F(ContractListLoad, ReadersSeeAllOfATableOrNothing) {
    FillTables();
    WriteList("FUT", FUTURES);
    int nLooked = 0;
    m_host.onLog = [&](TextView strLine) {
        if (strLine != u"LoadContractList-FUT") return;
        EXPECT_EQ(m_host.Get(u"HOTMONTHTABLE", u"old"), u"1");
        EXPECT_EQ(m_host.Get(u"NearbyMonth", u"old"), u"1");
        ++nLooked;
    };
    m_clock.onAsked = [&] {
        EXPECT_EQ(m_host.Get(u"HOTMONTHTABLE", u"old"), u"");
        EXPECT_EQ(m_host.Get(u"LongMarginRate", u"QV.F.CFFEX.IF.202612"), u"0.2");
        EXPECT_EQ(m_host.Get(u"Contract.List.Name", u"old"), u"1");
        EXPECT_EQ(Classify(), u"OLD");
        ++nLooked;
    };
    Load();
    EXPECT_EQ(nLooked, 2);
}

TEST_F(ContractListLoad, TheOldBlockGoesOnlyWhenTheLoadHasEnded) {
    WriteList("FUT", FUTURES);
    Load();
    const Text strFirst = BlockName();
    m_makeSymbolLookupList = [&] {
        EXPECT_NE(BlockName(), strFirst);
        EXPECT_TRUE(HasBlock(strFirst)) << "for whoever took its name a moment ago";
        EXPECT_TRUE(HasBlock(BlockName()));
    };
    Load();
    EXPECT_FALSE(HasBlock(strFirst));
    EXPECT_TRUE(HasBlock(BlockName()));
    m_document.CloseBlock();
    EXPECT_FALSE(HasBlock(BlockName()));
}

TEST_F(ContractListLoad, NoBlockOutlivesTheService) {
    Text strName;
    {
        CContractListDocument document({m_host, m_session, m_servers, m_errors, m_storage, m_builder, m_state, m_clock},
                                       {[] { return false; }, [] {}, [] {}});
        const auto pName = m_host.Open(u"Contract.List.Name");
        document.LoadContractList({.pContractListName = pName.get()});
        strName = BlockName();
        EXPECT_TRUE(HasBlock(strName));
    }
    EXPECT_FALSE(HasBlock(strName));
}

TEST_F(ContractListLoad, ANameThatIsTakenIsLeftToItsOwner) {
    const auto arNames = NamesToCome(3);
    int nError = 0;
    const auto pFirst = platform::CSharedMemory::Create(arNames[0], 1, nError);
    const auto pSecond = platform::CSharedMemory::Create(arNames[1], 1, nError);
    Load();
    EXPECT_EQ(BlockName(), arNames[2]);
    EXPECT_EQ(ReadBlock(arNames[0]).size(), 1u);
    EXPECT_TRUE(m_host.HasLogged("CreateFileMapping ERROR_ALREADY_EXISTS : " + Narrow(arNames[0])));
    EXPECT_TRUE(m_host.HasLogged("CreateFileMapping ERROR_ALREADY_EXISTS : " + Narrow(arNames[1])));
}

TEST_F(ContractListLoad, ABlockThatCantBeMadeLeavesItsNameWithoutABlock) {
    WriteList("FUT", FUTURES);
    Load();
    const Text strOld = BlockName();
    std::optional<CLimit> limit;
    ++m_clock.nSecond;
    m_clock.onAsked = [&] { limit.emplace(RLIMIT_NOFILE, 0); };
    m_queryStkInfo = [&] {
        limit.reset();
        return false;
    };
    Load();
    EXPECT_NE(BlockName(), strOld);
    EXPECT_FALSE(HasBlock(BlockName()));
    EXPECT_FALSE(HasBlock(strOld));
    EXPECT_GT(BlockLength().lVal, 2);
    EXPECT_EQ(Classify(), u"FUT,FUTURES");
}

TEST_F(ContractListLoad, ABlockThatCantBeMappedStaysEmpty) {
    constexpr std::size_t UNITS = 8U << 20U;
    m_state.m_arClassification = {u"OPT"};
    WriteList("OPT", u"{\"ENG\":\"Options\",\"Node\":[{\"ENG\":\"" + Text(UNITS, u'x') + u"\"}]}");
    std::optional<CLimit> limit;
    m_clock.onAsked = [&] {
        std::size_t nPages = 0;
        std::ifstream("/proc/self/statm") >> nPages;
        limit.emplace(RLIMIT_AS, nPages * static_cast<std::size_t>(getpagesize()) + (8U << 20U));
    };
    m_queryStkInfo = [&] {
        limit.reset();
        return false;
    };
    Load();
    EXPECT_TRUE(m_host.HasLogged("MapViewOfFileEx pMapViewBuf=NULL, ErrorCode:12"));
    EXPECT_EQ(std::filesystem::file_size("/dev/shm/" + Narrow(BlockName())),
              static_cast<std::uintmax_t>(BlockLength().lVal));
    std::ifstream block("/dev/shm/" + Narrow(BlockName()), std::ios::binary);
    EXPECT_EQ(block.get(), 0);
    EXPECT_EQ(block.get(), 0);
}

TEST_F(ContractListLoad, TheFirstSymbolBuildComesAfterTheListAndAlwaysLoadsTheLimits) {
    m_state.m_arClassification = {u"OPT"};
    WriteList("OPT", OPTIONS);
    std::string strCalls;
    m_queryStkInfo = [&] {
        EXPECT_EQ(Classify(), u"OPT,OPTIONS");
        strCalls += "query ";
        return false;
    };
    m_loadStkInfo = [&] { strCalls += "load "; };
    m_makeSymbolLookupList = [&] {
        EXPECT_THAT(m_host.GetLog(), Not(Contains("LoadContractList-End")));
        strCalls += "make";
    };
    Load();
    EXPECT_EQ(strCalls, "query load make");
}

TEST_F(ContractListLoad, TheFirstLoadOfAStartLeavesTheSymbolsToSignIn) {
    FillTables();
    m_state.m_bPreProcessing = true;
    m_state.m_arClassification = {u"OPT", u"FUT"};
    WriteList("OPT", OPTIONS);
    m_queryStkInfo = [] { return ADD_FAILURE(), false; };
    m_loadStkInfo = [] { ADD_FAILURE(); };
    m_makeSymbolLookupList = [] { ADD_FAILURE(); };
    Load();
    EXPECT_EQ(Classify(), u"OPT,OPTIONS");
    EXPECT_TRUE(m_host.HasLogged("LoadContractList-End"));
    EXPECT_THAT(m_host.GetSaid(), Contains(HasSubstr("\"MsgCode\" : -2,")));
    EXPECT_THAT(m_builder.m_mapContractListName, IsEmpty());
    EXPECT_TRUE(HasBlock(BlockName()));
}

TEST_F(ContractListLoad, LaterSymbolsAreReadyBeforeTheListIsSeen) {
    FillTables();
    m_state.m_bFirstSymbolBuild = false;
    m_state.m_bPreProcessing = true;
    m_state.m_arClassification = {u"OPT"};
    WriteList("OPT", OPTIONS);
    for (const bool bNews : {false, true}) {
        m_host.Set(u"Contract.List", {{u"CLASSIFY", u"OLD"}});
        std::string strCalls;
        m_queryStkInfo = [&] { return strCalls += "query ", bNews; };
        m_loadStkInfo = [&] { strCalls += "load "; };
        m_makeSymbolLookupList = [&] {
            EXPECT_EQ(Classify(), u"OLD");
            strCalls += "make";
        };
        Load();
        EXPECT_EQ(strCalls, bNews ? "query load make" : "query make");
        EXPECT_EQ(Classify(), u"OPT,OPTIONS");
    }
}

TEST_F(ContractListLoad, AHostWithoutTheTablesIsNoFailure) {
    WriteList("FUT", FUTURES);
    for (const char16_t* pszTable : {u"LongMarginRate", u"ShortMarginRate"}) m_host.DropTable(pszTable);
    for (const bool bFirst : {true, false}) {
        m_state.m_bFirstSymbolBuild = bFirst;
        m_document.LoadContractList({});
    }
    EXPECT_TRUE(m_host.HasLogged("LoadContractList-End"));
    EXPECT_TRUE(HasBlock(NamesToCome(2).back())) << "beside the block of the first load";
}

TEST_F(ContractListLoad, EachLoadStartsAfreshUnlessItKeeps) {
    m_state.m_arClassification = {u"FUT", u"OPT"};
    WriteList("FUT", FUTURES);
    WriteList("OPT", OPTIONS);
    Load();
    m_builder.m_listChangedClassification = {u"OPT"};
    m_state.m_arClassification = {u"OPT"};
    Load(true);
    EXPECT_THAT(m_builder.m_listChangedClassification, ElementsAre(u"OPT"));
    EXPECT_TRUE(m_builder.m_mapSymbolToName.contains(u"QV.F.CME.ES.202612"));
    EXPECT_THAT(m_builder.m_arContractInsertData, IsEmpty());
    Load();
    EXPECT_THAT(m_builder.m_listChangedClassification, IsEmpty());
    EXPECT_THAT(m_builder.m_mapSymbolToName, IsEmpty());
    EXPECT_EQ(Classify(), u"OPT,OPTIONS");
}

TEST_F(ContractListLoad, AStopBetweenTwoListsLeavesEverythingAndTheNextSignInLoadsAnew) {
    m_state.m_arClassification = {u"FUT", u"OPT"};
    m_state.m_strClassification = u"FUT|OPT|";
    WriteList("FUT", FUTURES);
    WriteList("OPT", OPTIONS);
    Load();
    const Text strBlock = BlockName();
    const std::string strContent = ReadBlock(strBlock);
    std::stop_source stop;
    const platform::CStopScope scope(stop.get_token());
    m_folder.Write(FileOf("FUT"), ListBytes(OPTIONS));
    m_host.onLog = [&](TextView strLine) {
        if (strLine == u"LoadContractList-FUT") stop.request_stop();
    };
    m_makeSymbolLookupList = [] { ADD_FAILURE(); };
    m_host.Forget();
    Load();
    EXPECT_EQ(m_host.Get(u"HOTMONTHTABLE", u"QV.F.CME.ES.HOT"), u"QV.F.CME.ES.202612");
    EXPECT_EQ(m_host.Get(u"NearbyMonth", u"QV.F.CFFEX.IF.202612"), u"QV.F.CFFEX.IF.202612");
    EXPECT_EQ(Classify(), u"FUT,FUTURES|OPT,OPTIONS");
    EXPECT_EQ(BlockName(), strBlock);
    EXPECT_EQ(ReadBlock(strBlock), strContent);
    EXPECT_THAT(m_host.GetSaid(), ElementsAre("WriteLog LoadContractList-Start", "WriteLog LoadContractList-FUT"));
    EXPECT_EQ(m_state.m_strClassification, u"");
    EXPECT_THAT(m_builder.m_mapSymbolToName, IsEmpty());
    EXPECT_THAT(m_builder.m_mapContractListName, IsEmpty());
}

TEST_F(ContractListLoad, AStopBehindTheListsLeavesAllTablesNew) {
    FillTables();
    m_state.m_bFirstSymbolBuild = false;
    WriteList("FUT", FUTURES);
    std::stop_source stop;
    const platform::CStopScope scope(stop.get_token());
    m_queryStkInfo = [&] { return stop.request_stop(); };
    m_loadStkInfo = [] { ADD_FAILURE(); };
    m_makeSymbolLookupList = [] { ADD_FAILURE(); };
    Load();
    EXPECT_EQ(Classify(), u"FUT,FUTURES");
    EXPECT_TRUE(HasBlock(BlockName()));
    EXPECT_EQ(m_host.Get(u"HOTMONTHTABLE", u"QV.F.CME.ES.HOT"), u"QV.F.CME.ES.202612");
}

TEST_F(ContractListLoad, AStopEndsTheSearchForAFreeName) {
    WriteList("FUT", FUTURES);
    int nError = 0;
    const auto pTaken = platform::CSharedMemory::Create(NamesToCome(1).front(), 1, nError);
    std::stop_source stop;
    const platform::CStopScope scope(stop.get_token());
    m_clock.onAsked = [&] { stop.request_stop(); };
    Load();
    EXPECT_EQ(BlockName(), NamesToCome(2).back());
    EXPECT_FALSE(HasBlock(BlockName())) << "nor is it the block of somebody else";
    EXPECT_EQ(Classify(), u"FUT,FUTURES");
}

TEST_F(ContractListLoad, AFailureBehindThePublicationLeavesTheBlockToTheNextLoad) {
    WriteList("FUT", FUTURES);
    m_makeSymbolLookupList = [] { throw std::bad_alloc(); };
    EXPECT_THROW(Load(), std::bad_alloc);
    const Text strBroken = BlockName();
    EXPECT_TRUE(HasBlock(strBroken));
    m_makeSymbolLookupList = [&] {
        EXPECT_TRUE(HasBlock(strBroken));
        EXPECT_TRUE(HasBlock(BlockName()));
    };
    Load();
    EXPECT_FALSE(HasBlock(strBroken));
    EXPECT_TRUE(HasBlock(BlockName()));
}

}  // namespace qvant::test

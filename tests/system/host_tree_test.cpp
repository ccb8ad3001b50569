#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "base/text.h"
#include "system/host_fixture.h"

namespace qvant::test {

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

/// A block of shared memory with these bytes, for the life of the object.
class CBlock {
public:
    explicit CBlock(std::string_view strBytes) {
        m_nFile = shm_open(('/' + m_strName).c_str(), O_RDWR | O_CREAT | O_EXCL, 0600);
        if (m_nFile < 0 || write(m_nFile, strBytes.data(), strBytes.size()) != static_cast<ssize_t>(strBytes.size()))
            throw std::runtime_error("no shared memory");
    }
    CBlock(const CBlock&) = delete;
    CBlock& operator=(const CBlock&) = delete;
    ~CBlock() {
        close(m_nFile);
        shm_unlink(('/' + m_strName).c_str());
    }
    const std::string& GetName() const { return m_strName; }

private:
    const std::string m_strName = "HostTreeTest_" + std::to_string(getpid());
    int m_nFile = -1;
};

std::string Number(std::size_t nNumber, int nBytes) {
    std::string strBytes;
    for (int i = 0; i < nBytes; ++i) strBytes += static_cast<char>(nNumber >> 8 * i & 0xFF);
    return strBytes;
}

std::string Archive(const std::string& strUtf8) {
    const Text strText = Widen(strUtf8);
    std::string strBytes = "\xFF\xFE\xFF";
    if (strText.size() < 0xFF) {
        strBytes += Number(strText.size(), 1);
    } else if (strText.size() < 0xFFFE) {
        strBytes.append("\xFF").append(Number(strText.size(), 2));
    } else {
        strBytes.append("\xFF\xFF\xFF").append(Number(strText.size(), 4));
    }
    for (const char16_t ch : strText) strBytes += Number(ch, 2);
    return strBytes;
}

using Pairs = std::vector<std::pair<std::string, std::string>>;

std::string Archive(const Pairs& arPairs) {
    std::string strBytes = arPairs.size() < 0xFFFF ? "" : "\xFF\xFF";
    strBytes += Number(arPairs.size(), arPairs.size() < 0xFFFF ? 2 : 4);
    for (const auto& [strKey, strValue] : arPairs) strBytes += Archive(strKey) + Archive(strValue);
    return strBytes;
}

const Pairs NAMES = {{"FUT", "CME Group,芝商所|Empty,空|HOT,热门"},
                     {"FUT.CME Group", "ES,迷你标普|Grains, Oilseeds,谷物"},
                     {"FUT.CME Group.ES", "QV.F.CME.ES.202612,迷你标普 2612|QV.F.CME.ES.202703,迷你标普 2703"},
                     {"FUT.CME Group.ES-Instrument", "ESZ6|ESH7"},
                     {"FUT.CME Group.Grains, Oilseeds", "QV.F.CBOT.ZC.202612,Corn, yellow"},
                     {"FUT.CME Group.Grains, Oilseeds-Instrument", ""},
                     {"FUT.HOT", "U.S.,美国"},
                     {"FUT.HOT.U.S.", "QV.F.CME.ES.202612,迷你标普 2612"},
                     {"FUT.HOT.U.S.-Instrument", "ESZ6"},
                     {"FUT.Hidden-Instrument", "unknow"},
                     {"STK", ""}};

class HostTree : public HostTest {
protected:
    static void Publish(CHostProcess& host, const std::string& strName, std::size_t nSize) {
        host.Ask("set Contract.List.Name ContractListName " + strName + " ContractListNameLen " +
                 std::to_string(nSize));
    }
    /// A host that finds the bytes in the block.
    CHostProcess& StartWith(const std::string& strBytes) {
        m_block.emplace(strBytes);
        CHostProcess& host = Start();
        Publish(host, m_block->GetName(), strBytes.size());
        return host;
    }
    std::string ErrorFor(const std::string& strBytes) {
        m_block.reset();
        return StartWith(strBytes).AskForError("tree");
    }

    std::optional<CBlock> m_block;
};

TEST_F(HostTree, ShowsTheClassificationsWithoutAPath) {
    EXPECT_EQ(StartWith(Archive(NAMES)).AskFor("tree", "names"),
              R"({"total":2,"rows":[{"name":"FUT","count":3},{"name":"STK","count":0}]})");
}

TEST_F(HostTree, ShowsGroupsWithBothNamesAndContractsWithTheirs) {
    CHostProcess& host = StartWith(Archive(NAMES));
    EXPECT_EQ(host.AskFor("tree FUT", "names"),
              R"({"total":3,"rows":[{"name":"CME Group","local_name":"芝商所","count":2},)"
              R"({"name":"Empty","local_name":"空","count":0},{"name":"HOT","local_name":"热门","count":1}]})");
    EXPECT_EQ(host.AskFor(R"({"do":"tree","path":"FUT.CME Group.ES"})", "names"),
              R"({"total":2,"rows":[{"symbol":"QV.F.CME.ES.202612","name":"迷你标普 2612"},)"
              R"({"symbol":"QV.F.CME.ES.202703","name":"迷你标普 2703"}]})");
}

TEST_F(HostTree, FollowsNamesWithBlanksDotsAndCommas) {
    CHostProcess& host = StartWith(Archive(NAMES));
    EXPECT_EQ(host.AskFor("tree FUT.CME Group", "names"),
              R"({"total":2,"rows":[{"name":"ES","local_name":"迷你标普","count":2},)"
              R"({"name":"Grains, Oilseeds","local_name":"谷物","count":1}]})");
    EXPECT_EQ(host.AskFor("tree \"FUT.CME Group.Grains, Oilseeds\"", "names"),
              R"({"total":1,"rows":[{"symbol":"QV.F.CBOT.ZC.202612","name":"Corn, yellow"}]})");
    EXPECT_EQ(host.AskFor("tree FUT.HOT", "names"),
              R"({"total":1,"rows":[{"name":"U.S.","local_name":"美国","count":1}]})");
    EXPECT_EQ(host.Ask("tree FUT.HOT.U.S.")["names"]["total"].GetInt(), 1);
}

TEST_F(HostTree, ShowsNothingBelowAnEmptyGroup) {
    CHostProcess& host = StartWith(Archive(NAMES));
    EXPECT_EQ(host.AskFor("tree FUT.Empty", "names"), R"({"total":0,"rows":[]})");
    EXPECT_EQ(host.AskFor("tree STK", "names"), R"({"total":0,"rows":[]})");
}

TEST_F(HostTree, KnowsNoPathThatIsntThere) {
    CHostProcess& host = StartWith(Archive(NAMES));
    for (const char* pszPath : {"fut", "FUT.", "FUT.Emp", "FUT.CME Group.ES.QV.F.CME.ES.202612", "Nothing", "."})
        EXPECT_EQ(host.AskForError(std::string("tree ") + pszPath), std::string("unknown path \"") + pszPath + '"');
    EXPECT_EQ(host.AskForError(R"({"do":"tree","path":["FUT"]})"), R"("path" isn't a string)");
}

TEST_F(HostTree, AlignsTheNames) {
    const std::string strBytes = Archive(NAMES);
    m_block.emplace(strBytes);
    EXPECT_EQ(RunWords("set Contract.List.Name ContractListName " + m_block->GetName() + " ContractListNameLen " +
                       std::to_string(strBytes.size()) + "\ntree\ntree FUT\ntree FUT.CME Group.ES\ntree FUT.Empty\n"),
              "ok\n"
              "2 classifications\n"
              "  name  count\n"
              "  FUT   3\n"
              "  STK   0\n"
              "3 groups\n"
              "  name       local name  count\n"
              "  CME Group  芝商所      2\n"
              "  Empty      空          0\n"
              "  HOT        热门        1\n"
              "2 contracts\n"
              "  symbol              name\n"
              "  QV.F.CME.ES.202612  迷你标普 2612\n"
              "  QV.F.CME.ES.202703  迷你标普 2703\n"
              "0 groups\n");
}

TEST_F(HostTree, ReadsLongTextsAndManyPairs) {
    Pairs arPairs = {{"A", std::string(254, 'x')},
                     {"B", std::string(255, 'x')},
                     {"C", std::string(0xFFFD, 'x')},
                     {"D", std::string(0xFFFE, 'x') + ",end"}};
    CHostProcess& host = StartWith(Archive(arPairs));
    EXPECT_EQ(host.Ask("tree")["names"]["total"].GetInt(), 4);
    EXPECT_THAT(host.AskFor("tree D", "names"), HasSubstr("xx\",\"local_name\":\"end\""));
    m_block.reset();
    arPairs.clear();
    for (int i = 0; i < 70'000; ++i) arPairs.emplace_back(std::to_string(i), "");
    EXPECT_EQ(StartWith(Archive(arPairs)).Ask("tree")["names"]["total"].GetInt(), 70'000);
    m_block.reset();
    EXPECT_EQ(StartWith(Archive(Pairs())).AskFor("tree", "names"), R"({"total":0,"rows":[]})");
}

TEST_F(HostTree, TellsWhenThereIsNoBlock) {
    CHostProcess& host = Start();
    EXPECT_EQ(host.AskForError("tree"), R"(unknown table "Contract.List.Name")");
    host.Ask("set Contract.List.Name other 1");
    EXPECT_EQ(host.AskForError("tree"), R"("Contract.List.Name" names no shared block)");
    Publish(host, "ContractListName", 7);
    host.Ask("set Contract.List.Name ContractListNameLen soon");
    EXPECT_EQ(host.AskForError("tree"), R"("Contract.List.Name" names no shared block)");
    Publish(host, "lumivale-no-such-block", 7);
    EXPECT_EQ(host.AskForError("tree"),
              R"(can't open the shared block "lumivale-no-such-block": No such file or directory)");
    for (const char* pszName : {"../etc/passwd", "a/b", "/"}) {
        Publish(host, pszName, 7);
        EXPECT_THAT(host.AskForError("tree"), StartsWith("can't open the shared block ")) << pszName;
    }
    Publish(host, std::string(5000, 'n'), 7);
    EXPECT_THAT(host.AskForError("tree"), StartsWith("can't open the shared block "));
}

TEST_F(HostTree, TellsWhenTheBlockIsShorterThanTold) {
    const std::string strBytes = Archive(NAMES);
    m_block.emplace(strBytes);
    CHostProcess& host = Start();
    Publish(host, m_block->GetName(), strBytes.size() + 1);
    EXPECT_THAT(host.AskForError("tree"), AllOf(StartsWith("the shared block \"HostTreeTest_"),
                                                HasSubstr("is shorter than " + std::to_string(strBytes.size() + 1))));
    Publish(host, m_block->GetName(), 0x7FFFFFFF);
    EXPECT_THAT(host.AskForError("tree"), HasSubstr("is shorter than 2147483647 bytes"));
    host.Ask("set Contract.List.Name ContractListNameLen -1");
    EXPECT_EQ(host.AskForError("tree"), R"("Contract.List.Name" names no shared block)");
    // A block may be rounded up; what is told counts.
    Publish(host, m_block->GetName(), 2);
    EXPECT_THAT(host.AskForError("tree"), HasSubstr("is damaged at byte 2"));
}

TEST_F(HostTree, TellsWhereTheBlockIsDamaged) {
    EXPECT_EQ(ErrorFor(""), "the shared block is damaged at byte 0");
    EXPECT_EQ(ErrorFor("\x01"), "the shared block is damaged at byte 0");
    EXPECT_EQ(ErrorFor("\xFF\xFF\xFF\xFF\xFF\xFF"), "the shared block is damaged at byte 6");
    EXPECT_EQ(ErrorFor(Number(1, 2) + "abc"), "the shared block is damaged at byte 5");
    EXPECT_EQ(ErrorFor(Number(1, 2) + "\xFF\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x7F"),
              "the shared block is damaged at byte 12");
    EXPECT_EQ(ErrorFor(Archive(Pairs{{"A", "b"}}) + "x"), "the shared block is damaged at byte 14");
    const std::string strWhole = Archive(Pairs{{"A", "b,c"}, {"AB", "d,e"}});
    for (std::size_t n = 0; n < strWhole.size(); ++n)
        EXPECT_THAT(ErrorFor(strWhole.substr(0, n)), StartsWith("the shared block is damaged at byte ")) << n;
}

}  // namespace

}  // namespace qvant::test

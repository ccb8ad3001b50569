#include <csignal>

#include "system/host_fixture.h"
#include "system/terminal.h"

namespace qvant::test {

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class HostPrompt : public HostTest {
protected:
    std::vector<std::string> MakeCommand() const {
        std::vector<std::string> arCommand = MakeOptions();
        arCommand.insert(arCommand.begin(), ProgramPath("lumivale-host"));
        return arCommand;
    }
};

TEST_F(HostPrompt, TakesWordsAndShowsTheirReplies) {
    CTerminal terminal(MakeCommand());
    terminal.ReadTo(PROMPT);
    terminal.Type("set T k \"漢字 é\"\n");
    EXPECT_THAT(terminal.ReadTo(PROMPT), HasSubstr("\r\nok\r\n"));
    terminal.Type("get T k\n");
    EXPECT_THAT(terminal.ReadTo(PROMPT), HasSubstr("\r\n漢字 é\r\n"));
    terminal.Type("quit\n");
    EXPECT_EQ(terminal.Wait(), 0) << terminal.GetRest();
}

TEST_F(HostPrompt, OpensBehindAScriptThatShowsOnlyWhatFailed) {
    m_home.Write("script", "set T k v\nstatus init\ndance\n");
    std::vector<std::string> arCommand = MakeCommand();
    arCommand.insert(arCommand.end(), {"--script", (m_home.GetPath() / "script").string(), "--prompt"});
    CTerminal terminal(arCommand);
    const std::string strScript = terminal.ReadTo(PROMPT);
    EXPECT_THAT(strScript, HasSubstr("dance"));
    EXPECT_THAT(strScript, Not(HasSubstr("ok")));
    EXPECT_THAT(strScript, Not(HasSubstr("result")));
    terminal.Type("get T k\n");
    EXPECT_THAT(terminal.ReadTo(PROMPT), HasSubstr("\r\nv\r\n"));
    terminal.Type("quit\n");
    EXPECT_EQ(terminal.Wait(), 0);
}

TEST_F(HostPrompt, CompletesWordsAndTableNames) {
    CTerminal terminal(MakeCommand());
    terminal.ReadTo(PROMPT);
    terminal.Type("du\tQv\t\n");
    EXPECT_THAT(terminal.ReadTo(PROMPT), HasSubstr("\r\n(empty)\r\n"));
    terminal.Type("status i\t\n");
    EXPECT_THAT(terminal.ReadTo("result 0"), HasSubstr("status 1 1"));
}

TEST_F(HostPrompt, CompletesProductsSeriesAndTitles) {
    m_home.Write("Data/UserDefHotMonth/QV.F.CME.ES.HOT_MINE.udhm", "20260918->202612\n");
    m_home.Write("script",
                 "set Security.Info/QV.F.CME QV.F.CME.ES {}\nset Security.Info/QV.S.SSE QV.S.SSE.600000 {}\n");
    std::vector<std::string> arCommand = MakeCommand();
    arCommand.insert(arCommand.end(), {"--script", (m_home.GetPath() / "script").string(), "--prompt"});
    CTerminal terminal(arCommand);
    terminal.ReadTo(PROMPT);
    // A product has rolls, a series of it or a stock has factors, and a title is one of the user's own series.
    terminal.Type("rolls Q\ttimeout 1\n");
    terminal.ReadTo("no rolls of \"QV.F.CME.ES\"");
    terminal.Type("factors QV.F\ttimeout 1\n");
    terminal.ReadTo("no factors of \"QV.F.CME.ES.HOT\"");
    terminal.Type("factors QV.S\ttimeout 1\n");
    terminal.ReadTo("no factors of \"QV.S.SSE.600000\"");
    terminal.Type("myrolls Q\ttimeout 1\n");
    terminal.ReadTo("1 definition");
    terminal.ReadTo("update no answer in 1 ms");
}

TEST_F(HostPrompt, ListsWhatAWordCanBecome) {
    CTerminal terminal(MakeCommand());
    terminal.ReadTo(PROMPT);
    terminal.Type("wa\t");
    EXPECT_THAT(terminal.ReadTo("lumivale> wa"), HasSubstr("watch\r\nwait\r\n"));
}

TEST_F(HostPrompt, RemembersWhatWasTyped) {
    CTerminal terminal(MakeCommand());
    terminal.ReadTo(PROMPT);
    terminal.Type("set T key first\n");
    terminal.ReadTo(PROMPT);
    terminal.Type("set T key second\n");
    terminal.ReadTo(PROMPT);
    // Twice up: the older of the two lines is carried out again.
    terminal.Type("\033[A\033[A\n");
    terminal.ReadTo(PROMPT);
    terminal.Type("get T key\n");
    EXPECT_THAT(terminal.ReadTo(PROMPT), HasSubstr("\r\nfirst\r\n"));
}

TEST_F(HostPrompt, LetsTheLogScrollAboveTheLineThatIsBeingTyped) {
    CTerminal terminal(MakeCommand());
    terminal.ReadTo(PROMPT);
    terminal.Type("clock tick on\nwatch QvantSystemTime\n");
    terminal.ReadTo("watch QvantSystemTime\r\nok\r\n");
    terminal.ReadTo(PROMPT);
    terminal.Type("get CQ");
    // The event clears the line, and the line is drawn again below it.
    terminal.ReadTo("key=SystemTime\r\n");
    terminal.ReadTo("lumivale> get CQ");
    terminal.Type("YZ nothing\n");
    terminal.ReadTo("(none)\r\n");
}

TEST_F(HostPrompt, ClearsEveryRowOfALongLineForTheLog) {
    CTerminal terminal(MakeCommand());
    terminal.ReadTo(PROMPT);
    terminal.Type("clock tick on\nwatch QvantSystemTime\n");
    terminal.ReadTo("watch QvantSystemTime\r\nok\r\n");
    terminal.ReadTo(PROMPT);
    terminal.Type(std::string(200, 'x'));
    // Ten columns of prompt and two hundred of text: the cursor stands two rows below the first one.
    terminal.ReadTo("\033[2A\r\033[J");
    terminal.ReadTo("key=SystemTime\r\n");
    terminal.ReadTo(PROMPT);
}

TEST_F(HostPrompt, EndsTheServiceAtAnInterruptAndAtTheEndOfTheInput) {
    for (const char* pszKey : {"\x03", "\x04"}) {
        CTerminal terminal(MakeCommand());
        terminal.ReadTo(PROMPT);
        terminal.Type("status init\n");
        terminal.ReadTo("result 0");
        terminal.ReadTo(PROMPT);
        SCOPED_TRACE(pszKey[0] == '\x03' ? "an interrupt" : "the end of the input");
        terminal.Type(pszKey);
        terminal.ReadTo("status 1 4");
        terminal.ReadTo("status 1 5");
        EXPECT_EQ(terminal.Wait(), 0) << terminal.GetRest();
    }
}

}  // namespace

}  // namespace qvant::test

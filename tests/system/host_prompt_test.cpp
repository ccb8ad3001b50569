#include <csignal>

#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include "system/host_fixture.h"

namespace qvant::test {

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr int PATIENCE = 30'000;
const char* const PROMPT = "lumivale> ";

/// The host at a terminal of its own, 80 columns wide.
class CTerminal {
public:
    explicit CTerminal(std::vector<std::string> arCommand) {
        const winsize size{24, 80, 0, 0};
        m_nProcess = forkpty(&m_nTerminal, nullptr, nullptr, &size);
        if (m_nProcess != 0) return;
        setenv("TERM", "xterm", 1);
        std::vector<char*> arPointers;
        for (std::string& strWord : arCommand) arPointers.push_back(strWord.data());
        arPointers.push_back(nullptr);
        execv(arPointers[0], arPointers.data());
        _exit(127);
    }
    CTerminal(const CTerminal&) = delete;
    CTerminal& operator=(const CTerminal&) = delete;
    ~CTerminal() {
        if (m_nProcess > 0) {
            kill(m_nProcess, SIGKILL);
            waitpid(m_nProcess, nullptr, 0);
        }
        close(m_nTerminal);
    }

    void Type(std::string_view strKeys) const {
        ASSERT_EQ(write(m_nTerminal, strKeys.data(), strKeys.size()), static_cast<ssize_t>(strKeys.size()));
    }

    /// What the program shows up to the first place where the text stands; without the text at the end of it all.
    std::string ReadTo(std::string_view strText) {
        std::size_t nFound = std::string::npos;
        while ((nFound = m_strShown.find(strText)) == std::string::npos && Fill()) {
        }
        EXPECT_NE(nFound, std::string::npos) << "no \"" << strText << "\" in: " << m_strShown;
        const std::size_t nEnd = nFound == std::string::npos ? m_strShown.size() : nFound + strText.size();
        std::string strRead = m_strShown.substr(0, nEnd);
        m_strShown.erase(0, nEnd);
        return strRead;
    }

    /// @return the exit status, once the program has ended
    int Wait() {
        while (Fill()) {
        }
        int nStatus = 0;
        waitpid(std::exchange(m_nProcess, -1), &nStatus, 0);
        return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -WTERMSIG(nStatus);
    }
    const std::string& GetRest() const { return m_strShown; }

private:
    bool Fill() {
        pollfd file{m_nTerminal, POLLIN, 0};
        char szBytes[4096];
        if (poll(&file, 1, PATIENCE) <= 0) return false;
        const ssize_t nRead = read(m_nTerminal, szBytes, sizeof szBytes);
        if (nRead > 0) m_strShown.append(szBytes, static_cast<std::size_t>(nRead));
        return nRead > 0;
    }

    pid_t m_nProcess = -1;
    int m_nTerminal = -1;
    std::string m_strShown;
};

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

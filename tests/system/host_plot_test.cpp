// The word that draws the adjustment factors.
#include <regex>

#include "system/answers.h"
#include "system/host_fixture.h"
#include "system/terminal.h"

namespace qvant::test {

namespace {

using ::testing::AllOf;
using ::testing::Each;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr const char* REQUEST = "API_CQYZ.REQUEST";
constexpr const char* STEPS =
    R"({"data":[{"od":20240101,"sxd":1.0},{"od":20240701,"sxd":3.0},{"od":20250101,"sxd":2}]})";

std::string AnswerWith(const std::string& strJson) { return AnswerTo(REQUEST, {Send("API_CQYZ.INFO", 1, strJson)}); }

std::size_t CountColumns(std::string_view strLine) {
    return static_cast<std::size_t>(
        std::count_if(strLine.begin(), strLine.end(), [](char ch) { return (ch & 0xC0) != 0x80; }));
}

/// Whether the tags of an XML text close each other in their order and nothing stands raw that mustn't.
bool IsWellFormed(const std::string& strXml) {
    static const std::regex TAG(R"(<(\?|/?)([A-Za-z]+)((?:\s+[A-Za-z0-9:-]+="[^"<&]*")*)\s*(/|\?)?>)");
    std::vector<std::string> arOpen;
    std::size_t nEnd = 0;
    const std::regex entity("&(amp|lt|gt);");
    for (std::sregex_iterator it(strXml.begin(), strXml.end(), TAG), end; it != end; ++it) {
        const std::string strBetween = strXml.substr(nEnd, static_cast<std::size_t>(it->position()) - nEnd);
        if (std::regex_replace(strBetween, entity, "").find_first_of("<&") != std::string::npos) return false;
        nEnd = static_cast<std::size_t>(it->position() + it->length());
        if ((*it)[1] == "/") {
            if (arOpen.empty() || arOpen.back() != (*it)[2]) return false;
            arOpen.pop_back();
        } else if ((*it)[4].length() == 0) {
            arOpen.push_back((*it)[2]);
        }
    }
    return arOpen.empty() && strXml.substr(nEnd) == "\n";
}

class HostPlot : public HostTest {
protected:
    CHostProcess& StartGiving(const std::string& strJson) {
        CHostProcess& host = Start();
        host.Ask("clock 20250701 0");
        host.Ask(AnswerWith(strJson));
        return host;
    }
    /// The drawing's lines below each other.
    static std::string DrawnBy(CHostProcess& host, const std::string& strRequest) {
        const rapidjson::Document reply = host.Ask(strRequest);
        if (!reply.HasMember("plot")) return ToJson(reply);
        std::string strLines;
        for (const auto& line : reply["plot"].GetArray()) strLines += std::string(line.GetString()) + '\n';
        return strLines;
    }
    std::string SvgPath() const { return (m_home.GetPath() / "factors.svg").string(); }
};

TEST_F(HostPlot, DrawsTheFactorsAsStepsOverTheDates) {
    EXPECT_EQ(DrawnBy(StartGiving(STEPS), R"({"do":"plot","what":"factors","symbol":"QV.F.CME.ES.HOT","width":80})"),
              "QV.F.CME.ES.HOT: adjustment factors, 2024-01-01 to 2025-07-01, 3 steps\n"
              "3.0 ┤                        ┌────────────────────────┐\n"
              "    │                        │                        │\n"
              "    │                        │                        │\n"
              "    │                        │                        │\n"
              "2.5 ┤                        │                        │\n"
              "    │                        │                        │\n"
              "    │                        │                        │\n"
              "2.0 ┤                        │                        └────────────────────────\n"
              "    │                        │\n"
              "    │                        │\n"
              "    │                        │\n"
              "1.5 ┤                        │\n"
              "    │                        │\n"
              "    │                        │\n"
              "    │                        │\n"
              "1.0 ┤────────────────────────┘\n"
              "    └┬───────────────────────┬────────────────────────┬───────────────────────┬\n"
              "  2024-01                 2024-07                  2025-01              2025-07\n");
}

TEST_F(HostPlot, DrawsOneStepAsALevelLine) {
    const std::string strDrawn = DrawnBy(StartGiving(R"({"data":[{"od":20250101,"sxd":1.5}]})"), "plot factors A");
    EXPECT_THAT(strDrawn, AllOf(HasSubstr("A: adjustment factors, 2025-01-01 to 2025-07-01, 1 step\n"),
                                Not(HasSubstr("┐")), Not(HasSubstr("┘")), HasSubstr("────")));
}

TEST_F(HostPlot, FillsTheTerminalAndNoMore) {
    for (const int nWidth : {40, 80, 133, 400}) {
        const std::string strDrawn =
            DrawnBy(StartGiving(STEPS),
                    R"({"do":"plot","what":"factors","symbol":"A","width":)" + std::to_string(nWidth) + "}");
        std::size_t nMost = 0;
        std::istringstream lines(strDrawn);
        for (std::string strLine; std::getline(lines, strLine);) nMost = std::max(nMost, CountColumns(strLine));
        EXPECT_EQ(nMost, static_cast<std::size_t>(nWidth - 1));
    }
}

TEST_F(HostPlot, TakesTheWidthOfTheTerminal) {
    std::vector<std::string> arCommand = MakeOptions();
    arCommand.insert(arCommand.begin(), ProgramPath("lumivale-host"));
    m_home.Write("script", "clock 20250701 0\n" + AnswerWith(STEPS));
    arCommand.insert(arCommand.end(), {"--script", (m_home.GetPath() / "script").string(), "--prompt"});
    CTerminal terminal(arCommand);
    terminal.ReadTo(PROMPT);
    terminal.Type("pl\tfa\tA\n");
    terminal.ReadTo("3 steps\r\n");
    terminal.ReadTo("\r\n    └");
    // Five columns stand before it, and the last one stays free.
    EXPECT_EQ(CountColumns(terminal.ReadTo("\r\n")), 80u - 5 - 1 + 2);
}

TEST_F(HostPlot, LeavesOutRowsWithoutADateOrAFactor) {
    CHostProcess& host = StartGiving(R"({"data":[{"od":20240101},{"sxd":1},{"od":20249999,"sxd":2},null,)"
                                     R"({"od":20240101,"sxd":"1"},{"d":20240201,"t":99999999999,"sxd":3}]})");
    EXPECT_THAT(DrawnBy(host, "plot factors A"), HasSubstr("2024-02-01 to 2025-07-01, 1 step\n"));
    EXPECT_EQ(StartGiving(R"({"data":[]})").AskForError("plot factors A"), "there is nothing to draw");
}

TEST_F(HostPlot, PutsTheDatesInTheirOrder) {
    CHostProcess& host =
        StartGiving(R"({"data":[{"od":20250101,"sxd":2},{"od":20240101,"sxd":1.0},{"od":20240701,"sxd":3.0}]})");
    const std::string strRequest = R"({"do":"plot","what":"factors","symbol":"A","width":50})";
    EXPECT_EQ(DrawnBy(host, strRequest), DrawnBy(StartGiving(STEPS), strRequest));
}

TEST_F(HostPlot, StandsValuesAndDatesOfAnySize) {
    const char* const CASES[] = {
        R"({"data":[{"od":10101,"sxd":1e-300},{"od":99991231,"sxd":-1e-300}]})",
        R"({"data":[{"od":20240101,"sxd":1e300},{"od":20240102,"sxd":-1e300}]})",
        R"({"data":[{"od":20240101,"sxd":0},{"od":20240101,"sxd":0.0}]})",
        R"({"data":[{"od":20240101,"sxd":1000000},{"od":20240102,"sxd":1000000.0000000001}]})",
        R"({"data":[{"od":20240101,"sxd":123456789.123456789},{"od":20240102,"sxd":123456790}]})",
        R"({"data":[{"od":20300101,"sxd":5e-324}]})",
    };
    for (const char* pszJson : CASES) {
        CHostProcess& host = StartGiving(pszJson);
        EXPECT_THAT(DrawnBy(host, R"({"do":"plot","what":"factors","symbol":"A","width":0})"), HasSubstr("─"))
            << pszJson;
        host.Ask("plot factors A --svg " + SvgPath());
        EXPECT_TRUE(IsWellFormed(m_home.Read("factors.svg"))) << pszJson;
        EXPECT_THAT(m_home.Read("factors.svg"), AllOf(Not(HasSubstr("nan")), Not(HasSubstr("inf")))) << pszJson;
    }
    EXPECT_EQ(StartGiving(R"({"data":[{"od":20240101,"sxd":1.7e308}]})").AskForError("plot factors A"),
              "the values are too far apart to be drawn");
}

TEST_F(HostPlot, DrawsThousandsOfSteps) {
    std::string strRows;
    for (int i = 0; i < 5000; ++i) {
        strRows += std::string(i > 0 ? "," : "") + R"({"od":20240101,"t":)" + std::to_string(i * 1000) + R"(,"sxd":)" +
                   std::to_string(i % 7) + "}";
    }
    CHostProcess& host = StartGiving(R"({"data":[)" + strRows + "]}");
    EXPECT_THAT(DrawnBy(host, "plot factors A"), HasSubstr("5000 steps"));
}

TEST_F(HostPlot, WritesASvgFile) {
    CHostProcess& host = StartGiving(STEPS);
    m_home.Write("factors.svg", "old");
    const rapidjson::Document reply = host.Ask("plot factors QV.F.CME.ES.HOT --svg " + SvgPath());
    EXPECT_EQ(std::string(reply["svg"].GetString()), SvgPath());
    EXPECT_TRUE(reply.HasMember("plot"));
    const std::string strSvg = m_home.Read("factors.svg");
    EXPECT_TRUE(IsWellFormed(strSvg)) << strSvg;
    EXPECT_THAT(strSvg, AllOf(StartsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns="),
                              HasSubstr("<title>QV.F.CME.ES.HOT: adjustment factors, 2024-01-01 to 2025-07-01, 3 "
                                        "steps</title>"),
                              HasSubstr(">2025-01</text>"), HasSubstr(">2.0</text>"), EndsWith("</svg>\n")));
    // From the first step on level lines and upright ones alone.
    std::smatch path;
    ASSERT_TRUE(std::regex_search(strSvg, path, std::regex("class=\"steps\" d=\"([^\"]*)\"")));
    EXPECT_TRUE(std::regex_match(path[1].str(), std::regex("M[0-9. ]+( H[0-9.]+ V[0-9.]+){2} H930\\.00"))) << path[1];
    EXPECT_THAT(strSvg, Not(HasSubstr("href")));
}

TEST_F(HostPlot, WritesASymbolOfAnyKindIntoValidXml) {
    CHostProcess& host = StartGiving(STEPS);
    host.Ask(R"({"do":"plot","what":"factors","symbol":"<&>\"']]>\u001b\u0000\uffff漢","svg":)" + QuoteJson(SvgPath()) +
             "}");
    const std::string strSvg = m_home.Read("factors.svg");
    EXPECT_TRUE(IsWellFormed(strSvg)) << strSvg;
    EXPECT_THAT(strSvg, AllOf(HasSubstr("<title>&lt;&amp;&gt;\"']]&gt;\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD漢:"),
                              Not(HasSubstr("\x1b"))));
    host.Ask("plot factors " + std::string(10'000, '&') + " --svg " + SvgPath());
    EXPECT_TRUE(IsWellFormed(m_home.Read("factors.svg")));
}

TEST_F(HostPlot, KeepsTheScreenWholeForASymbolOfAnyKind) {
    const std::string strShown = RunWords(AnswerWith(STEPS) + "plot factors \x1b[2J" + std::string(10'000, 'y') + "\n");
    EXPECT_THAT(strShown, Not(HasSubstr("\x1b")));
    // The drawing comes behind the lines of the log.
    std::istringstream lines(strShown.substr(strShown.find("\n [2Jyyy") + 1));
    std::vector<std::size_t> arColumns;
    for (std::string strLine; std::getline(lines, strLine);) arColumns.push_back(CountColumns(strLine));
    EXPECT_THAT(arColumns, Each(::testing::Le(79u)));
}

TEST_F(HostPlot, LeavesNothingBehindWhereItCantWrite) {
    m_home.Write("folder.svg/file", "");
    CHostProcess& host = StartGiving(STEPS);
    const std::string strFolder = (m_home.GetPath() / "folder.svg").string();
    EXPECT_THAT(host.AskForError("plot factors A --svg " + strFolder), HasSubstr("Is a directory"));
    EXPECT_THAT(host.AskForError("plot factors A --svg " + strFolder + "/none/x.svg"),
                AllOf(StartsWith("can't write \"/"), HasSubstr("No such file or directory")));
    for (const auto& entry : std::filesystem::directory_iterator(m_home.GetPath()))
        EXPECT_THAT(entry.path().string(), Not(HasSubstr(".tmp")));
    EXPECT_FALSE(std::filesystem::exists(SvgPath()));
}

TEST_F(HostPlot, IsRefusedForAnythingElseThanFactors) {
    CHostProcess& host = StartGiving(STEPS);
    EXPECT_EQ(host.AskForError("plot rates USD"), R"(there is no plot of "rates")");
    EXPECT_THAT(host.AskForError("plot factors"), StartsWith("usage: plot factors SYMBOL"));
    EXPECT_THAT(host.AskForError("plot factors A --svg"), StartsWith("usage: plot factors SYMBOL"));
    EXPECT_THAT(host.AskForError("plot factors A B"), StartsWith("usage: plot factors SYMBOL"));
    host.Ask(AnswerTo(REQUEST, {Send("API_CQYZ.INFO", 0)}));
    EXPECT_EQ(host.AskForError("plot factors A --svg " + SvgPath()), R"(no factors of "A": the server gave nothing)");
    EXPECT_FALSE(std::filesystem::exists(SvgPath()));
}

}  // namespace

}  // namespace qvant::test

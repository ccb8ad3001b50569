#include "words.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "failure.h"
#include "qvant/lumivale.h"

namespace qvant::host {

namespace {

struct Token {
    Text strText;
    bool bQuoted = false;
    std::vector<std::size_t> arSlashes;  ///< places of each "/" outside of quotes
};

/// Raised by a word's reader when what follows the word isn't its usage.
struct UsageFault {};

class CTokenizer {
public:
    explicit CTokenizer(TextView strLine) : m_strLine(strLine) {}

    std::vector<Token> Run() {
        std::vector<Token> arTokens;
        while (SkipBlanks()) arTokens.push_back(ReadToken());
        return arTokens;
    }

private:
    static bool IsBlank(char16_t ch) { return ch == u' ' || ch == u'\t'; }

    bool SkipBlanks() {
        while (m_n < m_strLine.size() && IsBlank(m_strLine[m_n])) ++m_n;
        return m_n < m_strLine.size();
    }

    Token ReadToken() {
        Token token;
        while (m_n < m_strLine.size() && !IsBlank(m_strLine[m_n])) {
            if (m_strLine[m_n] == u'"') {
                token.bQuoted = true;
                ReadQuoted(token.strText);
            } else {
                if (m_strLine[m_n] == u'/') token.arSlashes.push_back(token.strText.size());
                token.strText += m_strLine[m_n++];
            }
        }
        return token;
    }

    void ReadQuoted(Text& strText) {
        for (++m_n; m_n < m_strLine.size() && m_strLine[m_n] != u'"'; ++m_n) {
            if (m_strLine[m_n] == u'\\' && m_n + 1 < m_strLine.size()) ++m_n;
            strText += m_strLine[m_n];
        }
        if (m_n == m_strLine.size()) throw CFailure("a quote isn't closed");
        ++m_n;
    }

    const TextView m_strLine;
    std::size_t m_n = 0;
};

/// The words behind the first one, taken from the left.
class CArguments {
public:
    explicit CArguments(std::span<const Token> arTokens) : m_arTokens(arTokens) {}

    bool IsEmpty() const { return m_arTokens.empty(); }
    const Token& Take() {
        if (IsEmpty()) throw UsageFault();
        const Token& token = m_arTokens.front();
        m_arTokens = m_arTokens.subspan(1);
        return token;
    }
    const Text& TakeText() { return Take().strText; }
    std::int64_t TakeNumber() {
        const auto nNumber = ParseInteger(TakeText());
        if (!nNumber) throw UsageFault();
        return *nNumber;
    }
    /// Takes the last two words if they are this one and a number.
    std::optional<std::int64_t> TakeEnding(TextView strWord) {
        if (m_arTokens.size() != 2 || m_arTokens[0].bQuoted || m_arTokens[0].strText != strWord) return std::nullopt;
        const auto nNumber = ParseInteger(m_arTokens[1].strText);
        if (nNumber) m_arTokens = {};
        return nNumber;
    }
    /// Whether the next word is one of these, and isn't quoted.
    bool IsNext(std::initializer_list<TextView> arWords) const {
        return !IsEmpty() && !m_arTokens.front().bQuoted &&
               std::ranges::find(arWords, m_arTokens.front().strText) != arWords.end();
    }
    /// Takes the next word if it is this one.
    bool TakeIf(TextView strWord) {
        if (!IsNext({strWord})) return false;
        Take();
        return true;
    }

private:
    std::span<const Token> m_arTokens;
};

/// Builds the request, member by member.
class CRequestMaker {
public:
    explicit CRequestMaker(TextView strWord) : m_document(rapidjson::kObjectType) { AddText(u"do", strWord); }

    void AddText(TextView strName, TextView strText) { Add(strName, Copy(strText)); }
    void AddNumber(TextView strName, std::int64_t nNumber) { Add(strName, JsonValue(nNumber)); }
    void AddFlag(TextView strName, bool bFlag) { Add(strName, JsonValue(bFlag)); }
    void Add(TextView strName, JsonValue value) { AddTo(m_document, strName, std::move(value)); }
    void AddTo(JsonValue& object, TextView strName, JsonValue value) {
        object.AddMember(Copy(strName), value, m_document.GetAllocator());
    }
    void Append(JsonValue& array, JsonValue value) { array.PushBack(value, m_document.GetAllocator()); }

    JsonValue Copy(TextView strText) {
        return JsonValue(strText.data(), static_cast<rapidjson::SizeType>(strText.size()), m_document.GetAllocator());
    }

    JsonValue MakeValue(const Token& token) {
        const auto nNumber = token.bQuoted ? std::nullopt : ParseInteger(token.strText);
        const bool bFits = nNumber && *nNumber >= std::numeric_limits<std::int32_t>::min() &&
                           *nNumber <= std::numeric_limits<std::int32_t>::max();
        return bFits ? JsonValue(static_cast<int>(*nNumber)) : Copy(token.strText);
    }

    /// TABLE/SUB/SUB; in quotes a "/" is one of the name's own.
    void AddTable(const Token& token) {
        const TextView strText = token.strText;
        const auto& arSlashes = token.arSlashes;
        AddText(u"table", arSlashes.empty() ? strText : strText.substr(0, arSlashes.front()));
        if (arSlashes.empty()) return;
        JsonValue path(rapidjson::kArrayType);
        for (std::size_t i = 0; i < arSlashes.size(); ++i) {
            const std::size_t nEnd = i + 1 < arSlashes.size() ? arSlashes[i + 1] : strText.size();
            Append(path, Copy(strText.substr(arSlashes[i] + 1, nEnd - arSlashes[i] - 1)));
        }
        Add(u"path", std::move(path));
    }

    JsonDocument Finish() { return std::move(m_document); }

private:
    JsonDocument m_document;
};

constexpr std::pair<std::string_view, SubStatus> STATUSES[] = {{"init", SYSTEM_STATUS_INIT},
                                                               {"start", SYSTEM_STATUS_START},
                                                               {"login", SYSTEM_STATUS_LOGIN},
                                                               {"stop", SYSTEM_STATUS_STOP},
                                                               {"exit", SYSTEM_STATUS_EXIT}};

void ReadNothing(CArguments&, CRequestMaker&) {}

void ReadStatus(CArguments& arguments, CRequestMaker& maker) {
    const Text& strWord = arguments.TakeText();
    const auto it = std::ranges::find(STATUSES, Narrow(strWord), &std::pair<std::string_view, SubStatus>::first);
    if (it != std::end(STATUSES)) {
        maker.AddNumber(u"status", SYSTEM_STATUS);
        maker.AddNumber(u"sub", it->second);
        return;
    }
    const auto nStatus = ParseInteger(strWord);
    if (!nStatus) throw UsageFault();
    maker.AddNumber(u"status", *nStatus);
    maker.AddNumber(u"sub", arguments.TakeNumber());
}

void ReadTopic(CArguments& arguments, CRequestMaker& maker) {
    maker.AddText(u"topic", arguments.TakeText());
    if (!arguments.IsEmpty()) maker.AddNumber(u"type", arguments.TakeNumber());
    if (!arguments.IsEmpty()) maker.AddNumber(u"param", arguments.TakeNumber());
    if (!arguments.IsEmpty()) maker.AddText(u"text", arguments.TakeText());
    if (!arguments.IsEmpty()) maker.Add(u"data", maker.MakeValue(arguments.Take()));
}

void ReadSet(CArguments& arguments, CRequestMaker& maker) {
    maker.AddTable(arguments.Take());
    JsonValue values(rapidjson::kObjectType);
    do {
        const Text& strKey = arguments.TakeText();
        maker.AddTo(values, strKey, maker.MakeValue(arguments.Take()));
    } while (!arguments.IsEmpty());
    maker.Add(u"values", std::move(values));
}

void ReadRows(CArguments& arguments, CRequestMaker& maker) {
    maker.AddTable(arguments.Take());
    JsonValue rows(rapidjson::kArrayType);
    while (!arguments.IsEmpty()) maker.Append(rows, maker.MakeValue(arguments.Take()));
    maker.Add(u"rows", std::move(rows));
}

void ReadClear(CArguments& arguments, CRequestMaker& maker) {
    maker.AddTable(arguments.Take());
    maker.AddNumber(u"mask", arguments.IsEmpty() ? std::int64_t{store::MASK_ALL} : arguments.TakeNumber());
}

void ReadTable(CArguments& arguments, CRequestMaker& maker) { maker.AddTable(arguments.Take()); }

void ReadDrop(CArguments& arguments, CRequestMaker& maker) { maker.AddText(u"table", arguments.TakeText()); }

void ReadGet(CArguments& arguments, CRequestMaker& maker) {
    maker.AddTable(arguments.Take());
    maker.AddText(u"key", arguments.TakeText());
}

void ReadDump(CArguments& arguments, CRequestMaker& maker) {
    maker.AddTable(arguments.Take());
    if (arguments.TakeIf(u"all")) {
        maker.AddNumber(u"first", std::numeric_limits<std::int64_t>::max());
    } else if (!arguments.IsEmpty()) {
        maker.AddNumber(u"first", arguments.TakeNumber());
    }
}

void ReadFind(CArguments& arguments, CRequestMaker& maker) {
    Text strText = arguments.TakeText();
    while (!arguments.IsEmpty()) {
        if (const auto nFirst = arguments.TakeEnding(u"first")) {
            maker.AddNumber(u"first", *nFirst);
        } else {
            strText.append(u" ").append(arguments.TakeText());
        }
    }
    maker.AddText(u"text", strText);
}

void ReadCard(CArguments& arguments, CRequestMaker& maker) { maker.AddText(u"symbol", arguments.TakeText()); }

/// A path has names of several words in it as a rule, so that it needs no quotes.
void ReadTree(CArguments& arguments, CRequestMaker& maker) {
    if (arguments.IsEmpty()) return;
    Text strPath = arguments.TakeText();
    while (!arguments.IsEmpty()) strPath.append(u" ").append(arguments.TakeText());
    maker.AddText(u"path", strPath);
}

void ReadName(CArguments& arguments, CRequestMaker& maker) { maker.AddText(u"name", arguments.TakeText()); }

void ReadClock(CArguments& arguments, CRequestMaker& maker) {
    if (arguments.IsEmpty()) return;
    if (arguments.TakeIf(u"tick")) {
        const bool bOn = arguments.TakeIf(u"on");
        if (!bOn && !arguments.TakeIf(u"off")) throw UsageFault();
        maker.AddFlag(u"tick", bOn);
        return;
    }
    maker.AddNumber(u"date", arguments.TakeNumber());
    maker.AddNumber(u"time", arguments.TakeNumber());
}

void ReadHolidays(CArguments& arguments, CRequestMaker& maker) {
    bool bExchange = false;
    bool bYear = false;
    while (!arguments.IsEmpty()) {
        if (const auto nFirst = arguments.TakeEnding(u"first")) {
            maker.AddNumber(u"first", *nFirst);
            return;
        }
        const Token& token = arguments.Take();
        if (!token.bQuoted && token.strText == u"first") throw UsageFault();
        const auto nYear = token.bQuoted ? std::nullopt : ParseInteger(token.strText);
        if (std::exchange(nYear ? bYear : bExchange, true)) throw UsageFault();
        if (nYear) {
            maker.AddNumber(u"year", *nYear);
        } else {
            maker.AddText(u"exchange", token.strText);
        }
    }
}

void ReadRates(CArguments& arguments, CRequestMaker& maker) {
    if (!arguments.IsEmpty()) maker.AddText(u"name", arguments.TakeText());
}

/// What may stand at the end of a word that asks the service: how many rows, and how long to wait.
void ReadEnding(CArguments& arguments, CRequestMaker& maker) {
    while (!arguments.IsEmpty()) {
        if (arguments.TakeIf(u"first")) {
            maker.AddNumber(u"first", arguments.TakeNumber());
        } else if (arguments.TakeIf(u"timeout")) {
            maker.AddNumber(u"timeout_ms", arguments.TakeNumber());
        } else {
            throw UsageFault();
        }
    }
}

void ReadSymbol(CArguments& arguments, CRequestMaker& maker) {
    maker.AddText(u"symbol", arguments.TakeText());
    ReadEnding(arguments, maker);
}

void ReadMyRolls(CArguments& arguments, CRequestMaker& maker) {
    if (!arguments.IsEmpty() && !arguments.IsNext({u"first", u"timeout"}))
        maker.AddText(u"title", arguments.TakeText());
    ReadEnding(arguments, maker);
}

void ReadPlot(CArguments& arguments, CRequestMaker& maker) {
    maker.AddText(u"what", arguments.TakeText());
    maker.AddText(u"symbol", arguments.TakeText());
    if (arguments.TakeIf(u"--svg")) maker.AddText(u"svg", arguments.TakeText());
    ReadEnding(arguments, maker);
}

void ReadField(const Text& strField, JsonValue& match, CRequestMaker& maker) {
    const std::size_t nEquals = strField.find(u'=');
    if (nEquals == Text::npos) throw UsageFault();
    maker.AddTo(match, TextView(strField).substr(0, nEquals), maker.Copy(TextView(strField).substr(nEquals + 1)));
}

void ReadWait(CArguments& arguments, CRequestMaker& maker) {
    maker.AddText(u"event", arguments.TakeText());
    JsonValue match(rapidjson::kObjectType);
    while (!arguments.IsEmpty()) {
        if (arguments.TakeIf(u"after")) {
            maker.AddNumber(u"after", arguments.TakeNumber());
        } else if (arguments.TakeIf(u"timeout")) {
            maker.AddNumber(u"timeout_ms", arguments.TakeNumber());
        } else {
            ReadField(arguments.TakeText(), match, maker);
        }
    }
    maker.Add(u"match", std::move(match));
}

void ReadSleep(CArguments& arguments, CRequestMaker& maker) { maker.AddNumber(u"ms", arguments.TakeNumber()); }

void ReadHelp(CArguments& arguments, CRequestMaker& maker) {
    if (!arguments.IsEmpty()) maker.AddText(u"word", arguments.TakeText());
}

using Reader = void (*)(CArguments&, CRequestMaker&);

struct Word {
    WordHelp help;
    Reader pReader = nullptr;
};

constexpr Word WORDS[] = {
    {{"status", "init|start|login|stop|exit, or STATUS SUB", "tell the service where the system stands",
      Argument::Status},
     ReadStatus},
    {{"topic", "TOPIC [TYPE [PARAM [TEXT [DATA]]]]", "hand a request to the service", Argument::None}, ReadTopic},
    {{"set", "TABLE[/SUB...] KEY VALUE [KEY VALUE ...]", "write keyed values", Argument::Table}, ReadSet},
    {{"rows", "TABLE[/SUB...] [VALUE ...]", "replace the indexed rows", Argument::Table}, ReadRows},
    {{"clear", "TABLE[/SUB...] [MASK]", "clear sections: 2 rows, 4 values, 16 tables; 255, or nothing, for all",
      Argument::Table},
     ReadClear},
    {{"drop", "TABLE", "forget a table", Argument::Table}, ReadDrop},
    {{"get", "TABLE[/SUB...] KEY", "show one keyed value", Argument::Table}, ReadGet},
    {{"keys", "TABLE[/SUB...]", "show the keys in one text", Argument::Table}, ReadTable},
    {{"dump", "TABLE[/SUB...] [COUNT|all]", "show a table, of each section the first 20 or COUNT or all",
      Argument::Table},
     ReadDump},
    {{"tables", "", "list the tables", Argument::None}, ReadNothing},
    {{"find", "TEXT ... [first N]", "find symbols by id, name, pinyin or instrument; all the words must occur",
      Argument::None},
     ReadFind},
    {{"card", "SYMBOL", "show all that is known of a symbol, with its trading hours today in local time",
      Argument::None},
     ReadCard},
    {{"tree", "[PATH]", "show what the pickers show below a path; of no path the classifications", Argument::None},
     ReadTree},
    {{"watch", "TABLE[/SUB...]", "show the events of a table from now on", Argument::Table}, ReadTable},
    {{"unwatch", "TABLE[/SUB...]", "show them no more", Argument::Table}, ReadTable},
    {{"hold", "NAME", "open a named event and show its signals from now on", Argument::None}, ReadName},
    {{"release", "NAME", "show them no more", Argument::None}, ReadName},
    {{"clock", "[DATE TIME, or tick on|off]",
      "show the system's clock, set it, as yyyymmdd and hhmmss, or let it run in UTC", Argument::Clock},
     ReadClock},
    {{"timers", "", "show what the service does by the clock: its timers and refresh passes", Argument::None},
     ReadNothing},
    {{"servers", "", "show the servers in trial order, with what the last test of them found", Argument::None},
     ReadNothing},
    {{"holidays", "[EXCHANGE] [YEAR] [first N]", "list the holidays of a year, or those from today on", Argument::None},
     ReadHolidays},
    {{"rates", "[NAME]", "list exchange rates and risk-free rates", Argument::None}, ReadRates},
    {{"rolls", "SYMBOL [first N] [timeout MS]", "ask for the rolls of a product's hot month", Argument::Product},
     ReadSymbol},
    {{"expiry", "SYMBOL [first N] [timeout MS]", "ask for the expiry dates of a product's months", Argument::Product},
     ReadSymbol},
    {{"factors", "SYMBOL [first N] [timeout MS]", "ask for the adjustment factors of a hot series or a stock",
      Argument::Series},
     ReadSymbol},
    {{"myrolls", "[TITLE] [first N] [timeout MS]",
      "list the user's own hot-month series with their price gaps; one by its title is brought up to date first",
      Argument::Title},
     ReadMyRolls},
    {{"plot", "factors SYMBOL [--svg FILE] [timeout MS]", "draw the adjustment factors over the dates", Argument::Plot},
     ReadPlot},
    {{"wait", "KIND [FIELD=TEXT ...] [after N] [timeout MS]", "wait for an event whose fields contain the texts",
      Argument::Kind},
     ReadWait},
    {{"sleep", "MS", "wait for some milliseconds", Argument::None}, ReadSleep},
    {{"help", "[WORD]", "list the words", Argument::Word}, ReadHelp},
    {{"quit", "", "stop the service and end the program", Argument::None}, ReadNothing},
};

const Word& FindWord(TextView strWord) {
    const std::string strNarrow = Narrow(strWord);
    const auto it = std::ranges::find_if(WORDS, [&](const Word& word) { return word.help.strWord == strNarrow; });
    if (it == std::end(WORDS)) throw CFailure("unknown request " + Quote(strWord));
    return *it;
}

std::string UsageOf(const WordHelp& word) {
    return std::string(word.strWord) + (word.strUsage.empty() ? "" : " ") + std::string(word.strUsage);
}

}  // namespace

std::span<const WordHelp> GetWords() {
    static const std::vector<WordHelp> s_arWords = [] {
        std::vector<WordHelp> arWords;
        for (const Word& word : WORDS) arWords.push_back(word.help);
        return arWords;
    }();
    return s_arWords;
}

std::vector<Text> MakeHelp(TextView strWord) {
    std::span<const WordHelp> arWords = GetWords();
    if (!strWord.empty()) arWords = {&FindWord(strWord).help, 1};
    std::size_t nWidth = 0;
    for (const WordHelp& word : arWords) nWidth = std::max(nWidth, UsageOf(word).size());
    std::vector<Text> arLines;
    for (const WordHelp& word : arWords) {
        std::string strUsage = UsageOf(word);
        strUsage.resize(nWidth + 2, ' ');
        arLines.push_back(Widen(strUsage + std::string(word.strHelp)));
    }
    return arLines;
}

std::span<const std::string_view> GetStatusNames() {
    static constexpr std::string_view NAMES[] = {STATUSES[0].first, STATUSES[1].first, STATUSES[2].first,
                                                 STATUSES[3].first, STATUSES[4].first};
    return NAMES;
}

JsonDocument ParseWords(std::string_view strLine) {
    const Text strWide = Widen(strLine);
    const std::vector<Token> arTokens = CTokenizer(strWide).Run();
    const Word& word = FindWord(arTokens.empty() ? Text() : arTokens.front().strText);
    CArguments arguments{std::span<const Token>(arTokens).subspan(1)};
    CRequestMaker maker(arTokens.front().strText);
    try {
        word.pReader(arguments, maker);
        if (!arguments.IsEmpty()) throw UsageFault();
    } catch (const UsageFault&) {
        throw CFailure("usage: " + UsageOf(word.help));
    }
    return maker.Finish();
}

}  // namespace qvant::host

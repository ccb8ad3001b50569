#include "prompt.h"

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <system_error>

#include <histedit.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "cell.h"
#include "event.h"
#include "screen.h"

namespace qvant::host {

namespace {

constexpr char PROMPT[] = "lumivale> ";
constexpr std::size_t PROMPT_WIDTH = sizeof PROMPT - 1;
constexpr int HISTORY_SIZE = 1000;

CPrompt* PromptOf(EditLine* pEdit) {
    void* pPrompt = nullptr;
    el_get(pEdit, EL_CLIENTDATA, &pPrompt);
    return static_cast<CPrompt*>(pPrompt);
}

void Print(std::string_view strText) {
    while (!strText.empty()) {
        const ssize_t nWritten = write(STDOUT_FILENO, strText.data(), strText.size());
        if (nWritten < 0 && errno != EINTR) return;
        strText.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(nWritten, 0)));
    }
}

std::size_t CountCharacters(const char* pStart, const char* pEnd) {
    return static_cast<std::size_t>(std::count_if(pStart, pEnd, [](char ch) { return (ch & 0xC0) != 0x80; }));
}

template <typename Range>
std::vector<std::string> ToStrings(const Range& range) {
    return {range.begin(), range.end()};
}

std::vector<std::string> WordNames() {
    std::vector<std::string> arNames;
    for (const WordHelp& word : GetWords()) arNames.emplace_back(word.strWord);
    return arNames;
}

/// What all the texts begin with.
std::string CommonStart(const std::vector<std::string>& arTexts) {
    std::string strStart = arTexts.front();
    for (const std::string& strText : arTexts) {
        const auto nSame = std::ranges::mismatch(strStart, strText).in1 - strStart.begin();
        strStart.resize(static_cast<std::size_t>(nSame));
    }
    return strStart;
}

}  // namespace

CPrompt::CPrompt(CStop& stop, Names names)
    : m_stop(stop), m_names(std::move(names)), m_nWake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (m_nWake < 0) throw std::system_error(errno, std::generic_category());
    std::setlocale(LC_CTYPE, "C.UTF-8");
    m_pEdit = el_init("lumivale-host", stdin, stdout, stderr);
    m_pHistory = history_init();
    HistEvent event;
    ::history(m_pHistory, &event, H_SETSIZE, HISTORY_SIZE);
    ::history(m_pHistory, &event, H_SETUNIQUE, 1);
    el_set(m_pEdit, EL_CLIENTDATA, this);
    el_set(
        m_pEdit, EL_PROMPT, +[](EditLine*) { return const_cast<char*>(PROMPT); });
    el_set(m_pEdit, EL_EDITOR, "emacs");
    el_set(m_pEdit, EL_HIST, &::history, m_pHistory);
    el_set(
        m_pEdit, EL_GETCFN, +[](EditLine* pEdit, wchar_t* pKey) { return PromptOf(pEdit)->ReadKey(pKey); });
    // In its wide form: the narrow one copies the two texts and never frees them.
    el_wset(
        m_pEdit, EL_ADDFN, L"complete", L"Completes the word",
        +[](EditLine* pEdit, int) -> unsigned char { return PromptOf(pEdit)->Complete(); });
    el_set(m_pEdit, EL_BIND, "\t", "complete", nullptr);
}

CPrompt::~CPrompt() {
    el_end(m_pEdit);
    history_end(m_pHistory);
    close(m_nWake);
}

std::optional<std::string> CPrompt::Read() {
    el_resize(m_pEdit);
    SetEditing(true);
    // By itself the editor takes the terminal over only behind the prompt, and a Ctrl-D typed between the two is lost.
    el_set(m_pEdit, EL_PREP_TERM, 1);
    int nCount = 0;
    const char* pszLine = el_gets(m_pEdit, &nCount);
    std::optional<std::string> strLine;
    if (pszLine && nCount > 0) strLine.emplace(pszLine, static_cast<std::size_t>(nCount));
    if (!strLine) Print("\n");
    SetEditing(false);
    if (!strLine) return std::nullopt;
    while (strLine->ends_with('\n') || strLine->ends_with('\r')) strLine->pop_back();
    HistEvent event;
    if (strLine->find_first_not_of(" \t") != std::string::npos)
        ::history(m_pHistory, &event, H_ENTER, strLine->c_str());
    return strLine;
}

void CPrompt::SetEditing(bool bEditing) {
    const CLock lock(m_mutex);
    m_bEditing = bEditing;
    Print(m_strPending);
    m_strPending.clear();
    m_bProgress = false;
    if (bEditing) ShowProgress();
}

void CPrompt::Write(std::string_view strLines) {
    const CLock lock(m_mutex);
    if (!m_bEditing) {
        Print(strLines);
        return;
    }
    m_strPending += strLines;
    Wake();
}

void CPrompt::SetProgress(Text strLine) {
    const CLock lock(m_mutex);
    if (strLine == m_strProgress) return;
    m_strProgress = std::move(strLine);
    if (m_bEditing) Wake();
}

void CPrompt::Wake() {
    const std::uint64_t nOne = 1;
    [[maybe_unused]] const auto nWritten = write(m_nWake, &nOne, sizeof nOne);
}

/// Waits for the next key, and shows meanwhile what others write. @return 1; 0 at the end of the input or the stop
int CPrompt::ReadKey(wchar_t* pKey) {
    pollfd arFiles[] = {{STDIN_FILENO, POLLIN, 0}, {m_nWake, POLLIN, 0}, {m_stop.GetFile(), POLLIN, 0}};
    while (true) {
        if (poll(arFiles, 3, -1) < 0 && errno != EINTR) return 0;
        if (m_stop.IsRequested()) return 0;
        if (arFiles[1].revents) ShowPending();
        if (!arFiles[0].revents) continue;
        char ch = 0;
        const ssize_t nRead = read(STDIN_FILENO, &ch, 1);
        if (nRead == 0 || (nRead < 0 && errno != EINTR)) return 0;
        if (nRead == 1 && DecodeKey(ch, pKey)) return 1;
    }
}

/// @return true when the byte makes a character whole
bool CPrompt::DecodeKey(char ch, wchar_t* pKey) {
    const std::size_t nUsed = std::mbrtowc(pKey, &ch, 1, &m_partial);
    if (nUsed == static_cast<std::size_t>(-1)) m_partial = {};
    return nUsed <= 1;
}

void CPrompt::ShowPending() {
    std::uint64_t nCount = 0;
    [[maybe_unused]] const auto nRead = read(m_nWake, &nCount, sizeof nCount);
    const CLock lock(m_mutex);
    ShowAbove(m_strPending);
    m_strPending.clear();
}

/// Clears the progress and the rows of the line that is being typed, writes over them, and has both drawn again below.
void CPrompt::ShowAbove(std::string_view strLines) {
    const LineInfo* pLine = el_line(m_pEdit);
    const std::size_t nRows =
        (PROMPT_WIDTH + CountCharacters(pLine->buffer, pLine->cursor)) / TerminalWidth() + (m_bProgress ? 1 : 0);
    if (nRows > 0) Print("\033[" + std::to_string(nRows) + "A");
    Print("\r\033[J");
    Print(strLines);
    ShowProgress();
    el_set(m_pEdit, EL_REFRESH);
}

/// In one row, so that it can be found again and cleared.
void CPrompt::ShowProgress() {
    m_bProgress = !m_strProgress.empty();
    if (m_bProgress) Print(MakeCell(m_strProgress, TerminalWidth() - 2).strText + '\n');
}

unsigned char CPrompt::Complete() {
    const LineInfo* pLine = el_line(m_pEdit);
    const std::string strBefore(pLine->buffer, pLine->cursor);
    const std::string strStart = strBefore.substr(strBefore.find_last_of(" \t") + 1);
    std::vector<std::string> arCandidates = GetCandidates(strBefore);
    std::erase_if(arCandidates, [&strStart](const std::string& str) { return !str.starts_with(strStart); });
    if (arCandidates.empty()) return CC_ERROR;
    std::string strRest = CommonStart(arCandidates).substr(strStart.size());
    if (arCandidates.size() == 1) strRest += ' ';
    if (!strRest.empty()) return el_insertstr(m_pEdit, strRest.c_str()) == 0 ? CC_REFRESH : CC_ERROR;
    std::string strList;
    for (const std::string& strCandidate : arCandidates) strList += strCandidate + '\n';
    const CLock lock(m_mutex);
    ShowAbove(strList);
    return CC_NORM;
}

/// What can stand at the cursor, given the line before it.
std::vector<std::string> CPrompt::GetCandidates(std::string_view strBefore) const {
    const std::size_t nEnd = strBefore.find_first_of(" \t");
    if (nEnd == std::string_view::npos) return WordNames();
    if (strBefore.find_first_not_of(" \t", nEnd) != std::string_view::npos &&
        strBefore.find_first_of(" \t", strBefore.find_first_not_of(" \t", nEnd)) != std::string_view::npos)
        return {};
    const auto arWords = GetWords();
    const auto it = std::ranges::find(arWords, strBefore.substr(0, nEnd), &WordHelp::strWord);
    const Argument nArgument = it == arWords.end() ? Argument::None : it->nArgument;
    switch (nArgument) {
        case Argument::Status:
            return ToStrings(GetStatusNames());
        case Argument::Table:
        case Argument::Product:
        case Argument::Series:
        case Argument::Title:
            return m_names(nArgument);
        case Argument::Plot:
            return {"factors"};
        case Argument::Kind:
            return ToStrings(std::span(kind::ALL));
        case Argument::Word:
            return WordNames();
        case Argument::Clock:
            return {"tick"};
        case Argument::None:
            break;
    }
    return {};
}

}  // namespace qvant::host

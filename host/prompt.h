/// The prompt at a terminal: line editing, history, completion, and a log that scrolls above it.
#pragma once

#include <cwchar>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/mutex.h"
#include "input.h"
#include "refresh_progress.h"
#include "words.h"

struct editline;
struct history;

namespace qvant::host {

/// Reading belongs to the host thread; any thread may write. While a line is being typed, what is written appears
/// above it and leaves it as it is.
class CPrompt final : public ILineSource, public ILineWriter, public IProgressLine {
public:
    /// Gives what can stand behind a word, for completion.
    using Names = std::function<std::vector<std::string>(Argument)>;

    CPrompt(CStop& stop, Names names);
    CPrompt(const CPrompt&) = delete;
    CPrompt& operator=(const CPrompt&) = delete;
    ~CPrompt() override;

    std::optional<std::string> Read() override;
    void Write(std::string_view strLines) override;
    void SetProgress(Text strLine) override;

private:
    int ReadKey(wchar_t* pKey);
    bool DecodeKey(char ch, wchar_t* pKey);
    unsigned char Complete();
    void ShowPending();
    void ShowAbove(std::string_view strLines) QV_REQUIRES(m_mutex);
    void ShowProgress() QV_REQUIRES(m_mutex);
    void Wake();
    void SetEditing(bool bEditing);
    std::vector<std::string> GetCandidates(std::string_view strBefore) const;

    CStop& m_stop;
    const Names m_names;
    editline* m_pEdit = nullptr;
    history* m_pHistory = nullptr;
    int m_nWake = -1;
    std::mbstate_t m_partial{};  ///< of a character whose bytes haven't all come

    CMutex m_mutex;
    bool m_bEditing QV_GUARDED_BY(m_mutex) = false;
    /// Lines that wait for the host thread to show them above the prompt.
    std::string m_strPending QV_GUARDED_BY(m_mutex);
    Text m_strProgress QV_GUARDED_BY(m_mutex);        ///< the line that stands right above the prompt
    bool m_bProgress QV_GUARDED_BY(m_mutex) = false;  ///< there is one on the screen
};

}  // namespace qvant::host

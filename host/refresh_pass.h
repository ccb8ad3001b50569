/// A refresh pass of the service, read from the lines that it logs.
#pragma once

#include <optional>
#include <vector>

#include "text.h"

namespace qvant::host {

/// What one pass has asked for so far, and what came of it.
class CRefreshPass {
public:
    /// The timer that a line tells of; none for any other line. The timer may have nothing to do, or something else.
    static std::optional<std::int64_t> FindTimer(TextView strLine);

    explicit CRefreshPass(std::int64_t nTimer) : m_nTimer(nTimer) {}

    /// Takes the next line of the thread that the timer runs on.
    void Take(TextView strLine);

    /// Whether the timer has turned out to run a pass.
    bool HasBegun() const { return m_bBegun; }

    /// What a person reads: "refresh by timer 101: securities version up, FUTURES no news, OPTIONS ...".
    /// @param bEnded  the pass is over, so that what was asked for has its answer
    Text Show(bool bEnded) const;

private:
    enum class Answer { None, News, Failed };
    struct Document {
        Text strName;
        Answer nAnswer = Answer::None;
    };

    void Ask(TextView strName);
    void SetAnswer(Answer nAnswer);

    std::int64_t m_nTimer;
    bool m_bBegun = false;
    bool m_bFailed = false;
    TextView m_strDoing;  ///< what goes on besides the questions; a literal
    std::vector<Document> m_arDocuments;
};

}  // namespace qvant::host

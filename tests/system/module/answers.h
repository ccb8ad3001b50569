/// What the module does when a topic comes for which a test has prepared an answer.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace qvant::test {

/// One thing to do. In its words "$" stands for the text of the topic that came.
///
/// | verb | words | does |
/// |---|---|---|
/// | "log" | line | writes to the log |
/// | "send" | topic, parameter (one digit), data | sends a topic about the same text |
/// | "write" | path, content | writes a file, with the folder that it is in |
struct AnswerStep {
    std::u16string strVerb;
    std::vector<std::u16string> arWords;

    std::u16string At(std::size_t nWord) const { return nWord < arWords.size() ? arWords[nWord] : u""; }
};

/// Between the steps of an answer stands U+001E, between the words of a step U+001F.
///
/// The calls belong to the caller's thread. The steps are carried out on a thread of their own, as a service does that
/// must ask a server first.
class CAnswers {
public:
    using CarryOut = std::function<void(const AnswerStep&, const std::u16string& strText)>;

    /// @param carryOut  does the steps that need the host
    explicit CAnswers(CarryOut carryOut) : m_carryOut(std::move(carryOut)) {}

    void Keep(const std::u16string& strTopic, const std::u16string& strSteps, bool bOnce);

    /// Logs a topic that is to be answered, and begins its answer.
    void Give(const std::u16string& strTopic, long nType, long nParameter, const std::u16string& strText);

    /// Waits for the answers that have begun.
    void Finish();

private:
    struct Answer {
        std::u16string strSteps;
        bool bOnce;
        bool bGiven = false;
    };

    void Run(const std::u16string& strSteps, const std::u16string& strText) const;

    const CarryOut m_carryOut;
    std::map<std::u16string, Answer> m_mapAnswers;
    std::vector<std::thread> m_arThreads;
};

}  // namespace qvant::test

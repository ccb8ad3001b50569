#include "system/module/answers.h"

#include <filesystem>
#include <fstream>

namespace qvant::test {

namespace {

std::vector<std::u16string> Split(const std::u16string& strText, char16_t chSeparator) {
    std::vector<std::u16string> arPieces(1);
    for (const char16_t ch : strText) {
        if (ch == chSeparator) {
            arPieces.emplace_back();
        } else {
            arPieces.back() += ch;
        }
    }
    return arPieces;
}

AnswerStep MakeStep(const std::u16string& strStep, const std::u16string& strText) {
    std::vector<std::u16string> arWords = Split(strStep, u'\x1F');
    for (std::u16string& strWord : arWords) {
        std::size_t nPlace = strWord.find(u'$');
        if (nPlace != std::u16string::npos) strWord.replace(nPlace, 1, strText);
    }
    return {arWords.front(), {arWords.begin() + 1, arWords.end()}};
}

void WriteFile(const std::filesystem::path& path, const std::u16string& strContent) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    for (const char16_t ch : strContent) file << static_cast<char>(ch);
}

}  // namespace

void CAnswers::Keep(const std::u16string& strTopic, const std::u16string& strSteps, bool bOnce) {
    m_mapAnswers[strTopic] = {strSteps, bOnce};
}

void CAnswers::Give(const std::u16string& strTopic, long nType, long nParameter, const std::u16string& strText) {
    const auto it = m_mapAnswers.find(strTopic);
    if (it == m_mapAnswers.end()) return;
    const auto Digits = [](long n) {
        const std::string strDigits = std::to_string(n);
        return std::u16string(strDigits.begin(), strDigits.end());
    };
    m_carryOut({u"log",
                {u"<Lumivale> strTopic=" + strTopic + u", lMsgTYPE=" + Digits(nType) + u", lParam=" +
                 Digits(nParameter) + u", strParam=" + strText + u"."}},
               strText);
    if (it->second.bOnce && std::exchange(it->second.bGiven, true)) return;
    m_arThreads.emplace_back([this, strSteps = it->second.strSteps, strText] { Run(strSteps, strText); });
}

void CAnswers::Finish() {
    for (std::thread& thread : m_arThreads) thread.join();
    m_arThreads.clear();
}

void CAnswers::Run(const std::u16string& strSteps, const std::u16string& strText) const {
    for (const std::u16string& strStep : Split(strSteps, u'\x1E')) {
        const AnswerStep step = MakeStep(strStep, strText);
        if (step.strVerb == u"write") {
            WriteFile(step.At(0), step.At(1));
        } else {
            m_carryOut(step, strText);
        }
    }
}

}  // namespace qvant::test

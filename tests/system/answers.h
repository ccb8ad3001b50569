/// What the test module answers in the service's place.
#pragma once

#include <initializer_list>
#include <string>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace qvant::test {

/// A text as it stands in JSON, with its quotes.
inline std::string QuoteJson(const std::string& strText) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    writer.String(strText.data(), static_cast<rapidjson::SizeType>(strText.size()));
    return {buffer.GetString(), buffer.GetSize()};
}

/// Steps of an answer; "$" in them stands for the text of the topic that is answered.
inline std::string Log(const std::string& strLine) { return "log\x1F<Lumivale> " + strLine; }
inline std::string Send(const std::string& strTopic, int nParameter, const std::string& strData = "") {
    return "send\x1F" + strTopic + "\x1F" + std::to_string(nParameter) + "\x1F" + strData;
}
inline std::string WriteFile(const std::string& strPath, const std::string& strContent) {
    return "write\x1F" + strPath + "\x1F" + strContent;
}

enum class Times { Always, Once };

/// The request that has the module answer a topic from now on.
inline std::string AnswerTo(const std::string& strTopic, std::initializer_list<std::string> arSteps,
                            Times times = Times::Always) {
    std::string strSteps;
    for (const std::string& strStep : arSteps) strSteps += (strSteps.empty() ? "" : "\x1E") + strStep;
    return R"({"do":"topic","topic":"answer","type":)" + std::string(times == Times::Once ? "1" : "0") + R"(,"text":)" +
           QuoteJson(strTopic) + R"(,"data":)" + QuoteJson(strSteps) + "}\n";
}

}  // namespace qvant::test

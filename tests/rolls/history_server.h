/// A history server on loopback that knows the closes of contracts, and what it was asked.
#pragma once

#include <atomic>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include "documents/answering_server.h"
#include "support/history_reply.h"

namespace qvant::test {

/// The command in the target of a query.
inline std::string DecodeCommand(const std::string& strTarget) {
    const std::size_t nStart = strTarget.find("cmdLine=");
    std::string strCommand;
    for (std::size_t i = nStart + 8; nStart != std::string::npos && i < strTarget.size(); ++i) {
        if (strTarget[i] != '%') {
            strCommand.push_back(strTarget[i] == '+' ? ' ' : strTarget[i]);
            continue;
        }
        strCommand.push_back(static_cast<char>(std::stoi(strTarget.substr(i + 1, 2), nullptr, 16)));
        i += 2;
    }
    return strCommand;
}

class CHistoryServer {
public:
    /// Closes as a reply writes them, by contract and minute in China time.
    using Closes = std::map<std::pair<std::string, std::int64_t>, std::string>;

    explicit CHistoryServer(Closes mapCloses = {})
        : m_mapCloses(std::move(mapCloses)), m_server([this](const std::string& strTarget) {
              return MakeHistoryReply(Answer(DecodeCommand(strTarget)));
          }) {}

    /// What stands before "cmdLine=".
    Text GetUrl() const { return m_server.GetUrl() + u"History.do?"; }
    CAnsweringServer& GetServer() { return m_server; }
    std::vector<std::string> GetCommands() const {
        std::vector<std::string> arCommands;
        for (const std::string& strTarget : m_server.GetTargets()) arCommands.push_back(DecodeCommand(strTarget));
        return arCommands;
    }

private:
    /// All that it knows of what the command asks for, however odd the moments.
    std::string Answer(const std::string& strCommand) const {
        rapidjson::Document command;
        EXPECT_FALSE(command.Parse(strCommand.c_str()).HasParseError()) << strCommand;
        if (command.HasParseError()) return {};
        std::string strBars;
        for (const auto& contract : std::as_const(command)["d"]["s"].GetObject()) {
            for (const auto& minute : contract.value.GetArray()) {
                const auto found = m_mapCloses.find({contract.name.GetString(), minute.GetInt64()});
                if (found == m_mapCloses.end()) continue;
                if (!strBars.empty()) strBars.push_back(',');
                strBars.append("{\"s\":\"").append(found->first.first);
                strBars.append("\",\"dm\":").append(std::to_string(found->first.second));
                strBars.append(",\"c\":").append(found->second).append("}");
            }
        }
        return std::string("{\"data\":[").append(strBars).append("]}");
    }

    const Closes m_mapCloses;
    CAnsweringServer m_server;
};

}  // namespace qvant::test

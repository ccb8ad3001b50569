/// A client of the history commands.
#pragma once

#include <string>

#include <rapidjson/document.h>

#include "system/refserver_fixture.h"

namespace qvant::test {

/// The command as a query's value.
std::string EncodeCommand(const std::string& strCommand);

/// What is in a reply's BSON document.
struct HistoryReply {
    int nStatus = 0;
    std::string strError;    // of a status other than 200: the body
    std::string strCommand;  // "c"
    std::string strId;       // "r"
    bool bData = false;      // whether "d.gzip" is there
    std::string strJson;     // what it unpacks to
    rapidjson::Document json;
};

/// Sends a command and takes the reply apart.
/// @throw std::runtime_error  the reply has another form
HistoryReply AskHistory(const CServerProcess& server, const std::string& strCommand);

/// The factors of a quote class.
HistoryReply AskFactors(const CServerProcess& server, const std::string& strClass);

/// The last closes; `strMoments` is the inside of the object of contracts.
HistoryReply AskCloses(const CServerProcess& server, const std::string& strMoments);

}  // namespace qvant::test

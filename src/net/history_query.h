/// The history servers: a command in JSON as a parameter of a URL, and a reply that holds JSON in gzip in BSON.
///
/// A request of either kind is `QueryHistory`, then `UnpackHistoryReply` of its bytes:
///
///     const auto arServers = servers.Get(CRollServers::List::History);
///     Text strError;
///     const HistoryReply reply = QueryHistory({host, session, arServers, u"Fail : ", makeRequest}, strError);
///     const HistoryText text = UnpackHistoryReply(reply.GetBytes());   // empty without a reply, too
#pragma once

#include <functional>
#include <span>
#include <string_view>

#include "base/text.h"
#include "net/http_query.h"
#include "net/session.h"
#include "store/host.h"

namespace qvant {

/// A command as the value of a query parameter. Of its UTF-8 bytes ASCII letters and digits stay, each CR and each LF
/// becomes "%0A", any other white space "+", every other byte "%" and two upper-case hexadecimal digits.
Text EncodeCmdLine(TextView strCommand);

/// What one walk over the history servers asks, and of whom; borrowed for the call.
struct HistoryQuery {
    IHost& host;
    const CSession& session;
    std::span<const Text> arServers;    ///< what stands before "cmdLine=", asked from the first on
    TextView strFailure;                ///< begins the log line of a server that fails
    std::function<Text()> makeRequest;  ///< gives the JSON of the command, anew for each server
};

/// The raw reply of a history server.
struct HistoryReply {
    ReplyBuffer pBytes;  ///< null when no server answered
    std::uint32_t nLength = 0;

    explicit operator bool() const { return pBytes != nullptr; }
    /// The reply without the NUL that was added to it; empty when there is none.
    std::string_view GetBytes() const {
        return pBytes ? std::string_view(reinterpret_cast<const char*>(pBytes.get()), nLength - 1) : std::string_view();
    }
};

/// Asks the history servers in turn until one answers. Each URL is logged, and each failure with its text. A stop of
/// the calling thread ends the transfer and the walk.
/// @param strError  out: why the last server that failed did so; empty when none failed
HistoryReply QueryHistory(const HistoryQuery& query, Text& strError);

/// The text in a reply of a history server, and the memory that it lies in.
struct HistoryText {
    ReplyBuffer pMemory;
    std::string_view strUtf8;  ///< up to its first NUL, and with one behind it when it isn't empty
};

/// Takes a reply apart: "B", a BSON document, its binary field "d.gzip", of which the first byte is a marker, and gzip
/// behind that. What lies behind the document isn't looked at. Reads in place and never throws but for memory,
/// whatever the bytes are; the text is as long as `GunzipBuffer` allows.
/// @return empty for a reply that isn't made so or whose gzip is broken. Bytes that are no gzip at all are the text
///         themselves, as the file interface of zlib has it.
HistoryText UnpackHistoryReply(std::string_view strReply);

}  // namespace qvant

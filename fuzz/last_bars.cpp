/// The JSON of last bars, in replies as the history servers make them.

#include "rolls/last_bars.h"

#include <algorithm>

#include "require.h"
#include "store_host.h"
#include "support/history_reply.h"
#include "symbols/symbol_grammar.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    using namespace qvant;
    fuzz::CStoreHost host;
    CSession session(platform::MachineClock());
    const CRollServers servers;
    CSymbolMapping mapping(host);
    CLastBars bars({host, session, servers, mapping}, [] { return std::int64_t{20261120120000}; });

    // A marker and no gzip: such bytes are the text themselves, and the fuzzer sees through to it.
    const std::string strReply = test::MakeReplyOfGzip(fuzz::AsReply(pData, nSize));
    ReplyBuffer pReply(new std::uint8_t[strReply.size() + 1]());
    std::copy(strReply.begin(), strReply.end(), pReply.get());
    const Text strJson = bars.ParseLastK(std::move(pReply), static_cast<std::uint32_t>(strReply.size() + 1));
    JsonDocument document;
    fuzz::Require(strJson.empty() || ParseUtf16(document, ToUtf16Bytes(strJson)), "what was read is JSON");
    bars.GetClose(u"QV.F.CME.ES.202612", 20261210224500);
    // The names of this input aren't kept for the next one.
    g_mapISymbolToQV.RemoveAll();
    return 0;
}

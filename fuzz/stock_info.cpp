/// The documents of order limits: each of their kinds has to bear any document, and all fill one map.

#include "documents/stock_info_parser.h"
#include "require.h"
#include "store_host.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    using namespace qvant;
    JsonDocument document;
    if (!ParseUtf8(document, fuzz::AsReply(pData, nSize))) return 0;
    fuzz::CStoreHost host;
    StockLimitMap mapLimits;
    for (const TextView strCode : {u"sse", u"szse", u"szse-2", u"other"}) {
        ParseJsonStkInofData(document, strCode, mapLimits, host);
    }
    for (const auto& [strSymbol, limits] : mapLimits) {
        fuzz::Require(strSymbol.starts_with(u"QV.S."), "a stock's symbol");
    }
    return 0;
}

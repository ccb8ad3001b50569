/// Documents of trade permissions, which stand in all sorts of text.

#include "documents/trade_permissions.h"

#include "require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    using namespace qvant;
    const Text strDocument = CutPermissionDocument(Widen(fuzz::AsReply(pData, nSize)));
    const std::size_t nBrace = strDocument.find(u'{');
    fuzz::Require(nBrace == 0 || nBrace == Text::npos, "a document begins with its brace");
    CJsonValue document;
    if (ParseValue(document, strDocument.data(), static_cast<std::int32_t>(strDocument.size())) > 0) {
        document.Find(u"TWN");
    }
    return 0;
}

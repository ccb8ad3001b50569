/// Replies of the history servers, from their bytes to the factors that are published.

#include "net/history_query.h"
#include "platform/files.h"
#include "require.h"
#include "rolls/factor_text.h"
#include "support/scratch_folder.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    using namespace qvant;
    // A reply whose gzip is broken leaves it behind.
    static const test::CScratchFolder folder;
    static const test::CEnvironment environment("TMPDIR", folder.GetPath().string());
    HistoryText text = UnpackHistoryReply(fuzz::AsBytes(pData, nSize));
    const char* pszEnd = text.strUtf8.data() + text.strUtf8.size();
    fuzz::Require(text.strUtf8.empty() || *pszEnd == '\0', "a text ends in a NUL");
    EnrichFactors(std::move(text), false);
    for (const Text& strName : platform::ListFiles(folder / "")) platform::DeleteFile((folder / "") + strName);
    return 0;
}

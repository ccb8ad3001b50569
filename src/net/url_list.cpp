#include "net/url_list.h"

#include "platform/stop.h"

namespace qvant {

std::optional<std::size_t> AskInTurn(std::span<const Text> arUrls, const std::function<bool(const Text& strUrl)>& ask,
                                     std::size_t nStart) {
    std::size_t nPosition = nStart < arUrls.size() ? nStart : 0;
    for (std::size_t nLeft = arUrls.size(); nLeft > 0; --nLeft) {
        if (platform::StopRequested()) return std::nullopt;
        if (ask(arUrls[nPosition])) return nPosition;
        if (++nPosition == arUrls.size()) nPosition = 0;
    }
    return std::nullopt;
}

}  // namespace qvant

#include "platform/files.h"

namespace qvant::platform {

std::optional<Text> ReadWholeText(TextView strPath) {
    const auto strFile = ReadWholeFile(strPath);
    if (!strFile) return std::nullopt;
    return WidenMarked(*strFile);
}

}  // namespace qvant::platform

/// The archive of a map as a string.
#pragma once

#include <string>

#include "documents/text_archive.h"

namespace qvant::test {

inline std::string ArchiveMap(const CTextMap& map) {
    std::string strArchive(MeasureArchive(map), '?');
    WriteArchive(map, strArchive.data());
    return strArchive;
}

}  // namespace qvant::test

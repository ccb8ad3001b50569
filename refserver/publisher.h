/// Publishing: a document of a data folder gets a new version, which a running server has from the next request on.
#pragma once

#include <string>
#include <vector>

#include "options.h"

namespace qvant::refserver {

/// What became of one document.
struct Publication {
    std::string strDocument;
    std::string strOldVersion;
    std::string strNewVersion;
};

/// Changes the data folder, file by file whole, so that a server never reads half of it. Several may run at once: they
/// wait for each other.
/// @throw CWorldError  the folder can't be served as it is, has no such document, or would keep its version
std::vector<Publication> Publish(const PublishOptions& options);

}  // namespace qvant::refserver

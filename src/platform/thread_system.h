/// What a thread asks of the system for itself.
#pragma once

#include <string>

namespace qvant::platform {

/// Names the calling thread for the system's tools, which may show the start of the name only.
void NameCurrentThread(const std::string& strName);

}  // namespace qvant::platform

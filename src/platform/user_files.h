/// Keeping files that others made, or that lie there from before, to the user.
#pragma once

#include "base/text.h"

namespace qvant::platform {

/// Takes from everybody but the user what they may do with a file of the user's. What is a link, or another one's, or
/// not there stays as it is, and so do the locks on the file.
void NarrowToUser(TextView strPath);

}  // namespace qvant::platform

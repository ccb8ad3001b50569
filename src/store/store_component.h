/// How a new store object is made.
#pragma once

#include "base/text.h"
#include "qvant/store.h"

namespace qvant {

/// The component's file when the module lies in a release tree; empty otherwise.
/// @param strModule  path of the module
Text GetReleaseComponentPath(TextView strModule);

/// A new store object from the component's file in the release tree that this module runs out of.
/// @return null when it doesn't run out of one, or the file gives none
IDispatch* CreateStoreFromFile();

/// A new store object by its ProgID, else null.
IDispatch* CreateStoreFromProgId();

}  // namespace qvant

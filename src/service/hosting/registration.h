/// Registration of the service's class.
#pragma once

#include "base/text.h"
#include "qvant/component.h"

namespace qvant {

/// An identifier in the form of the registration: {8-4-4-4-12}, in capitals.
Text FormatGuid(REFGUID guid);

/// Writes the class, its two names and its type library into the registry file.
/// @param bPerUser       the user's own file instead of the machine's
/// @param strModulePath  the library that holds the class
/// @return S_OK, or SELFREG_E_CLASS when the file can't be written
HRESULT RegisterServer(bool bPerUser, TextView strModulePath);

/// Removes what `RegisterServer` wrote.
HRESULT UnregisterServer(bool bPerUser);

}  // namespace qvant

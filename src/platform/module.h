/// Shared libraries, component registration and the threads' component apartments.
#pragma once

#include <optional>
#include <vector>

#include "base/text.h"

namespace qvant::platform {

/// Path of the shared library (or program) that holds `pAddress`.
Text GetModulePath(const void* pAddress);

/// Loads a shared library for the rest of the process; null when it can't be loaded.
void* LoadModule(TextView strPath);

/// Gives a module back that was loaded; its code stays. Null does nothing.
void FreeModule(void* hModule);

/// Address of an exported function, or null.
void* FindExport(void* hModule, const char* pszName);

/// One value of the registration of components: "HKCR", the key's path, the value's name ("" for the default).
struct RegistryValue {
    Text strKey;
    Text strName;
    Text strValue;
};

/// Path of the registry file: the machine's, or the user's own.
std::optional<Text> GetRegistryPath(bool bPerUser);

/// Reads a value from the user's registry file, then from the machine's.
std::optional<Text> ReadRegistry(TextView strKey, TextView strName);

/// Sets the values, in one replacement of the file. @return false when it can't be written; the old file stands then
bool WriteRegistry(bool bPerUser, const std::vector<RegistryValue>& arValues);

/// Removes the keys with all that is below them, in one replacement of the file.
bool RemoveRegistryKeys(bool bPerUser, const std::vector<Text>& arKeys);

/// Enters the multithreaded apartment for the life of the object. Where there are no apartments it does nothing.
class CApartment {
public:
    CApartment();
    ~CApartment();
    CApartment(const CApartment&) = delete;
    CApartment& operator=(const CApartment&) = delete;
};

}  // namespace qvant::platform

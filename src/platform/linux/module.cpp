#include "platform/module.h"

#include <cstdlib>
#include <memory>

#include <dlfcn.h>
#include <link.h>

#include "platform/linux/environment.h"

namespace qvant::platform {

Text GetModulePath(const void* pAddress) {
    Dl_info info{};
    link_map* pMap = nullptr;
    if (dladdr1(pAddress, &info, reinterpret_cast<void**>(&pMap), RTLD_DL_LINKMAP) == 0 || !pMap) return {};
    // The program itself has no name in the list of the libraries.
    if (!pMap->l_name || !*pMap->l_name) return Widen(GetProgramPath());
    const std::unique_ptr<char, void (*)(void*)> pszWhole(realpath(pMap->l_name, nullptr), std::free);
    return Widen(pszWhole ? pszWhole.get() : pMap->l_name);
}

void* LoadModule(TextView strPath) {
    // No name would mean the program itself.
    if (strPath.empty() || Contains(strPath, TextView(u"\0", 1))) return nullptr;
    // Never unloaded: its threads may still run code of it when the last user has let it go.
    return dlopen(Narrow(strPath).c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
}

void FreeModule(void* hModule) {
    if (hModule) dlclose(hModule);
}

void* FindExport(void* hModule, const char* pszName) { return hModule ? dlsym(hModule, pszName) : nullptr; }

}  // namespace qvant::platform

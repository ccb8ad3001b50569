#include "net/hanging_names.h"

#include <condition_variable>
#include <cstring>
#include <mutex>

#include <dlfcn.h>
#include <netdb.h>

namespace {

std::mutex g_mutex;
std::condition_variable g_changed;
int g_nHanging = 0;
bool g_bReleased = false;

int Hang() {
    std::unique_lock lock(g_mutex);
    g_bReleased = false;
    ++g_nHanging;
    g_changed.notify_all();
    g_changed.wait(lock, [] { return g_bReleased; });
    --g_nHanging;
    g_changed.notify_all();
    return EAI_AGAIN;
}

}  // namespace

// Stands before the system's own, which it calls for every other name.
extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char* pszName, const char* pszService,
                                                                  const addrinfo* pHints, addrinfo** ppResult) {
    if (pszName && std::strcmp(pszName, qvant::test::HANGING_NAME) == 0) return Hang();
    using Function = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
    static const auto pSystem = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "getaddrinfo"));
    return pSystem(pszName, pszService, pHints, ppResult);
}

namespace qvant::test {

void WaitForHangingLookUp() {
    std::unique_lock lock(g_mutex);
    g_changed.wait(lock, [] { return g_nHanging > 0; });
}

void ReleaseHangingLookUps() {
    std::unique_lock lock(g_mutex);
    g_bReleased = true;
    g_changed.notify_all();
    g_changed.wait(lock, [] { return g_nHanging == 0; });
}

}  // namespace qvant::test

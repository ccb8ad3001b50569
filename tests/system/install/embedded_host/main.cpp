/// The smallest host: loads the installed service, starts it, ends it. Exits with 0 when every step went well.
#include <cstdio>
#include <initializer_list>

#include <dlfcn.h>

#include "qvant/lumivale.h"
#include "qvant/named_event.h"

int main() {
    void* const hModule = dlopen(LUMIVALE_MODULE, RTLD_NOW);
    if (!hModule) return 1;
    const auto pGetClassObject = reinterpret_cast<decltype(&DllGetClassObject)>(dlsym(hModule, "DllGetClassObject"));
    IClassFactory* pFactory = nullptr;
    IQvantManager* pManager = nullptr;
    if (FAILED(pGetClassObject(CLSID_Lumivale, IID_IClassFactory, reinterpret_cast<void**>(&pFactory)))) return 2;
    if (FAILED(pFactory->CreateInstance(nullptr, IID_IQvantManager, reinterpret_cast<void**>(&pManager)))) return 3;
    BSTR strGreeting = SysAllocString(u"ready");
    std::printf("created, %u units\n", SysStringLen(strGreeting));
    SysFreeString(strGreeting);
    const QvantNamedEvent hEvent = QvantCreateNamedEvent(u"Ready", QVANT_RESET_MANUAL, TRUE, nullptr);
    if (QvantWaitNamedEvent(hEvent, 0) != QVANT_WAIT_SIGNALLED || !QvantCloseNamedEvent(hEvent)) return 4;
    for (const LONG nSub : {qvant::SYSTEM_STATUS_INIT, qvant::SYSTEM_STATUS_STOP, qvant::SYSTEM_STATUS_EXIT})
        std::printf("status %d: %d\n", nSub, pManager->OnSystemStatus(qvant::SYSTEM_STATUS, nSub));
    pManager->Release();
    pFactory->Release();
    return 0;
}

#include "service/hosting/registration.h"

#include "base/format.h"
#include "platform/module.h"
#include "qvant/lumivale.h"

namespace qvant {

namespace {

constexpr const char16_t* PROGID = u"Qvant.Lumivale.1";
constexpr const char16_t* PROGID_ANY_VERSION = u"Qvant.Lumivale";
constexpr const char16_t* DESCRIPTION = u"Lumivale Class";

Text ClassKey() { return u"HKCR\\CLSID\\" + FormatGuid(CLSID_Lumivale); }

Text LibraryKey() { return u"HKCR\\TypeLib\\" + FormatGuid(LIBID_Lumivale); }

Text NameKey(TextView strName) { return u"HKCR\\" + Text(strName); }

}  // namespace

Text FormatGuid(REFGUID guid) {
    const auto& d = guid.Data4;
    return Format(u"{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", guid.Data1, guid.Data2, guid.Data3, d[0], d[1],
                  d[2], d[3], d[4], d[5], d[6], d[7]);
}

HRESULT RegisterServer(bool bPerUser, TextView strModulePath) {
    const Text strClass = FormatGuid(CLSID_Lumivale);
    const Text strClassKey = ClassKey();
    const Text strModule(strModulePath);
    const std::vector<platform::RegistryValue> arValues = {
        {NameKey(PROGID), u"", DESCRIPTION},
        {NameKey(PROGID) + u"\\CLSID", u"", strClass},
        {NameKey(PROGID_ANY_VERSION), u"", DESCRIPTION},
        {NameKey(PROGID_ANY_VERSION) + u"\\CurVer", u"", PROGID},
        {strClassKey, u"", DESCRIPTION},
        {strClassKey + u"\\ProgID", u"", PROGID},
        {strClassKey + u"\\VersionIndependentProgID", u"", PROGID_ANY_VERSION},
        {strClassKey + u"\\Programmable", u"", u""},
        {strClassKey + u"\\InprocServer32", u"", strModule},
        {strClassKey + u"\\InprocServer32", u"ThreadingModel", u"Free"},
        {strClassKey + u"\\TypeLib", u"", FormatGuid(LIBID_Lumivale)},
        {strClassKey + u"\\Version", u"", u"1.0"},
        {LibraryKey() + u"\\1.0\\0", u"", strModule + u"/1"},
    };
    return platform::WriteRegistry(bPerUser, arValues) ? S_OK : SELFREG_E_CLASS;
}

HRESULT UnregisterServer(bool bPerUser) {
    const bool bRemoved = platform::RemoveRegistryKeys(
        bPerUser, {NameKey(PROGID), NameKey(PROGID_ANY_VERSION), ClassKey(), LibraryKey()});
    return bRemoved ? S_OK : SELFREG_E_CLASS;
}

}  // namespace qvant

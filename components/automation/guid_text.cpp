/// Identifiers as text: "{00000000-0000-0000-0000-000000000000}".
#include <cstdio>
#include <string_view>

#include "qvant/component.h"

namespace {

constexpr std::size_t GUID_UNITS = 38;
/// Where the 32 digits of the 16 bytes stand, in the order of the record's fields.
constexpr std::size_t DIGIT_POSITIONS[16] = {1, 3, 5, 7, 10, 12, 15, 17, 20, 22, 25, 27, 29, 31, 33, 35};

int DigitOf(OLECHAR ch) {
    if (ch >= u'0' && ch <= u'9') return ch - u'0';
    if (ch >= u'A' && ch <= u'F') return ch - u'A' + 10;
    if (ch >= u'a' && ch <= u'f') return ch - u'a' + 10;
    return -1;
}

bool HasFrame(std::u16string_view strText) {
    return strText.size() == GUID_UNITS && strText[0] == u'{' && strText[9] == u'-' && strText[14] == u'-' &&
           strText[19] == u'-' && strText[24] == u'-' && strText[37] == u'}';
}

bool ReadBytes(std::u16string_view strText, unsigned (&arBytes)[16]) {
    if (!HasFrame(strText)) return false;
    for (std::size_t i = 0; i < 16; ++i) {
        const int nHigh = DigitOf(strText[DIGIT_POSITIONS[i]]);
        const int nLow = DigitOf(strText[DIGIT_POSITIONS[i] + 1]);
        if (nHigh < 0 || nLow < 0) return false;
        arBytes[i] = static_cast<unsigned>(nHigh * 16 + nLow);
    }
    return true;
}

}  // namespace

HRESULT CLSIDFromString(LPCOLESTR lpsz, CLSID* pclsid) {
    if (!pclsid) return E_POINTER;
    *pclsid = GUID_NULL;
    unsigned arBytes[16];
    if (!lpsz || !ReadBytes(lpsz, arBytes)) return CO_E_CLASSSTRING;
    pclsid->Data1 = arBytes[0] << 24 | arBytes[1] << 16 | arBytes[2] << 8 | arBytes[3];
    pclsid->Data2 = static_cast<std::uint16_t>(arBytes[4] << 8 | arBytes[5]);
    pclsid->Data3 = static_cast<std::uint16_t>(arBytes[6] << 8 | arBytes[7]);
    for (std::size_t i = 0; i < 8; ++i) pclsid->Data4[i] = static_cast<std::uint8_t>(arBytes[8 + i]);
    return S_OK;
}

int StringFromGUID2(REFGUID rguid, LPOLESTR lpsz, int cchMax) {
    if (!lpsz || cchMax < static_cast<int>(GUID_UNITS + 1)) return 0;
    char szText[GUID_UNITS + 1];
    const std::uint8_t* p = rguid.Data4;
    std::snprintf(szText, sizeof szText, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", rguid.Data1,
                  unsigned{rguid.Data2}, unsigned{rguid.Data3}, unsigned{p[0]}, unsigned{p[1]}, unsigned{p[2]},
                  unsigned{p[3]}, unsigned{p[4]}, unsigned{p[5]}, unsigned{p[6]}, unsigned{p[7]});
    for (std::size_t i = 0; i <= GUID_UNITS; ++i) lpsz[i] = static_cast<OLECHAR>(szText[i]);
    return static_cast<int>(GUID_UNITS + 1);
}

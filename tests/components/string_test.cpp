#include <string>

#include <gtest/gtest.h>

#include "qvant/component.h"

namespace {

TEST(ComponentString, CarriesItsLengthInFrontAndANulBehind) {
    const BSTR bstr = SysAllocString(u"QV.F.CME");

    EXPECT_EQ(SysStringLen(bstr), 8u);
    std::uint32_t nBytes = 0;
    std::memcpy(&nBytes, reinterpret_cast<const char*>(bstr) - 4, 4);
    EXPECT_EQ(nBytes, 16u);
    EXPECT_EQ(bstr[8], u'\0');
    EXPECT_EQ(std::u16string(bstr), u"QV.F.CME");
    SysFreeString(bstr);
}

TEST(ComponentString, KeepsNulsInsideALengthOfItsOwn) {
    const BSTR bstr = SysAllocStringLen(u"a\0b", 3);
    EXPECT_EQ(SysStringLen(bstr), 3u);
    EXPECT_EQ(std::u16string(bstr, 3), std::u16string(u"a\0b", 3));
    SysFreeString(bstr);
}

TEST(ComponentString, IsNullForNullAndEmptyForEmpty) {
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    SysFreeString(nullptr);

    const BSTR bstr = SysAllocString(u"");
    ASSERT_NE(bstr, nullptr);
    EXPECT_EQ(SysStringLen(bstr), 0u);
    SysFreeString(bstr);
}

TEST(ComponentString, LeavesTheUnitsToTheCallerWhenThereIsNoSource) {
    const BSTR bstr = SysAllocStringLen(nullptr, 2);
    ASSERT_NE(bstr, nullptr);
    bstr[0] = u'x';
    bstr[1] = u'y';
    EXPECT_EQ(std::u16string(bstr), u"xy");
    SysFreeString(bstr);
}

TEST(ComponentString, RefusesALengthThatNoByteCountHolds) {
    EXPECT_EQ(SysAllocStringLen(nullptr, 0xFFFFFFFFu), nullptr);
}

TEST(Identifier, GoesToTextAndBack) {
    const CLSID clsid{0x7B950E2F, 0xD7B1, 0x4718, {0xA8, 0xC3, 0xF3, 0x5A, 0xB5, 0xE2, 0x6E, 0x94}};
    OLECHAR szText[39];

    ASSERT_EQ(StringFromGUID2(clsid, szText, 39), 39);
    EXPECT_EQ(std::u16string(szText), u"{7B950E2F-D7B1-4718-A8C3-F35AB5E26E94}");

    CLSID back;
    EXPECT_EQ(CLSIDFromString(szText, &back), S_OK);
    EXPECT_EQ(back, clsid);
    EXPECT_EQ(CLSIDFromString(u"{7b950e2f-d7b1-4718-a8c3-f35ab5e26e94}", &back), S_OK) << "small letters do as well";
    EXPECT_EQ(back, clsid);
}

TEST(Identifier, RefusesWhatIsNoIdentifier) {
    OLECHAR szText[38];
    EXPECT_EQ(StringFromGUID2(GUID_NULL, szText, 38), 0);

    CLSID clsid;
    for (const OLECHAR* psz : {u"", u"7B950E2F-D7B1-4718-A8C3-F35AB5E26E94", u"{7B950E2F-D7B1-4718-A8C3-F35AB5E26E9}",
                               u"{7B950E2F-D7B1-4718-A8C3-F35AB5E26E9G}", u"{7B950E2F+D7B1-4718-A8C3-F35AB5E26E94}"}) {
        EXPECT_EQ(CLSIDFromString(psz, &clsid), CO_E_CLASSSTRING);
        EXPECT_EQ(clsid, GUID_NULL);
    }
    EXPECT_EQ(CLSIDFromString(nullptr, &clsid), CO_E_CLASSSTRING);
    EXPECT_EQ(CLSIDFromString(u"", nullptr), E_POINTER);
}

}  // namespace

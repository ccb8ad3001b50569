/// Profile files: read by key, written, and read again from what was written.

#include "platform/profile_text.h"

#include "require.h"

namespace {

using namespace qvant;
using fuzz::Require;
using platform::CProfileText;

constexpr TextView SECTION = u"LUMIVale";
constexpr TextView KEY = u"ExgList";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    const std::string_view strBytes = fuzz::AsBytes(pData, nSize);
    const CProfileText untouched = CProfileText::Parse(strBytes);
    const std::string strSame = untouched.GetBytes();
    Require(nSize < 2 || strSame.size() >= nSize - 1, "nothing of a file is lost");
    Require(CProfileText::Parse(strSame).GetBytes() == strSame, "a file that is read and written stays the same");

    CProfileText text = CProfileText::Parse(strBytes);
    const auto strOther = untouched.Find(SECTION, u"Other");
    text.Set(SECTION, KEY, u"QV.F.CME||QV.F.CBOT");
    Require(text.Find(SECTION, KEY) == u"QV.F.CME||QV.F.CBOT", "what was set is found");
    Require(text.Find(SECTION, u"Other") == strOther, "the other keys stay");
    const CProfileText again = CProfileText::Parse(text.GetBytes());
    Require(again.Find(SECTION, KEY) == text.Find(SECTION, KEY), "what was set is found in the file");

    // Names and values that nobody would choose.
    const Text strOdd = WidenMarked(strBytes.substr(0, 24));
    text.Set(strOdd, KEY, strOdd);
    text.Set(SECTION, strOdd, u"");
    text.Find(strOdd, strOdd);
    text.RemoveSections([](TextView strName) { return EqualsNoCase(strName, SECTION); });
    Require(!text.Find(SECTION, KEY), "a section that was removed is gone");
    return 0;
}

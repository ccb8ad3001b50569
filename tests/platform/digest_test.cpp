#include "platform/digest.h"

#include <gtest/gtest.h>

namespace qvant::platform {

TEST(Md5Hex, GivesTheDigestsThatEverybodyGets) {
    EXPECT_EQ(Md5Hex(""), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(Md5Hex("abc"), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(Md5Hex("12345678901234567890123456789012345678901234567890123456789012345678901234567890"),
              "57edf4a22be3c955ac49da2e2107b67a");
}

TEST(Md5Hex, CountsEveryByteANulToo) {
    EXPECT_EQ(Md5Hex(std::string_view("\0", 1)), "93b885adfe0da089cdf634904fd59f71");
    EXPECT_NE(Md5Hex(std::string(1 << 20, 'a')), Md5Hex(std::string(1 << 20, 'a').replace(777, 1, "b")));
}

}  // namespace qvant::platform

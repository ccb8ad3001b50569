#include "platform/messages.h"

#include <cerrno>

#include <gtest/gtest.h>

namespace qvant::platform {
namespace {

TEST(DescribeSystemError, GivesTheSystemsText) {
    EXPECT_EQ(DescribeSystemError(ENOENT), u"No such file or directory");
    EXPECT_EQ(DescribeSystemError(EACCES), u"Permission denied");
}

TEST(DescribeSystemError, GivesNothingForANumberWithoutAText) {
    EXPECT_EQ(DescribeSystemError(12029), u"");
    EXPECT_EQ(DescribeSystemError(-1), u"");
}

}  // namespace
}  // namespace qvant::platform

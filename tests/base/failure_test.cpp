#include "base/failure.h"

#include <gtest/gtest.h>

namespace qvant {
namespace {

TEST(CFailure, CarriesItsCodeAsASignedResult) {
    try {
        throw CFailure(CFailure::UNSPECIFIED);
    } catch (const std::exception& failure) {
        const auto* pFailure = dynamic_cast<const CFailure*>(&failure);
        ASSERT_NE(pFailure, nullptr);
        EXPECT_EQ(pFailure->GetCode(), static_cast<std::int32_t>(0x80004005));
        EXPECT_STRNE(failure.what(), "");
    }
}

}  // namespace
}  // namespace qvant

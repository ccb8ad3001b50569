/// Which sanitizer a test runs under, for the few that ask more of the system than it leaves.
#pragma once

namespace qvant::test {

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define QV_THREAD_SANITIZER
#endif
#if __has_feature(address_sanitizer)
#define QV_ADDRESS_SANITIZER
#endif
#endif

#if defined(QV_THREAD_SANITIZER) || defined(__SANITIZE_THREAD__)
inline constexpr bool UNDER_THREAD_SANITIZER = true;
#else
inline constexpr bool UNDER_THREAD_SANITIZER = false;
#endif

#if defined(QV_ADDRESS_SANITIZER) || defined(__SANITIZE_ADDRESS__)
inline constexpr bool UNDER_ADDRESS_SANITIZER = true;
#else
inline constexpr bool UNDER_ADDRESS_SANITIZER = false;
#endif

/// What tests of a size call a million: under a sanitizer, where each step takes many times as long, a tenth of it.
inline constexpr int A_MILLION = UNDER_THREAD_SANITIZER || UNDER_ADDRESS_SANITIZER ? 100'000 : 1'000'000;

}  // namespace qvant::test

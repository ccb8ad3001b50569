/// A name service that never answers for one name, in place of the system's for the whole test program.
#pragma once

namespace qvant::test {

/// The name whose look-up hangs.
inline constexpr char HANGING_NAME[] = "hanging.example";

/// Waits until a look-up hangs.
void WaitForHangingLookUp();

/// Lets the look-ups that hang fail, and waits until they have.
void ReleaseHangingLookUps();

}  // namespace qvant::test

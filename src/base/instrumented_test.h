// Whether the sanitizers watch a test: they make it five to ten times slower, so that the longest
// ones take samples there of what they try whole elsewhere.
#ifndef PV_BASE_INSTRUMENTED_TEST_H_
#define PV_BASE_INSTRUMENTED_TEST_H_

namespace pv {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kInstrumented = true;
#else
constexpr bool kInstrumented = false;
#endif

// From one bit to the next that is turned over. Not a divisor of eight: every bit of a byte has its
// turn.
constexpr int kBitStep = kInstrumented ? 7 : 1;

}  // namespace pv

#endif  // PV_BASE_INSTRUMENTED_TEST_H_

// What a fuzz target says must hold, whatever its input: a target that finds otherwise dies, as it
// would of a crash.
#ifndef PV_FUZZ_REQUIRE_H_
#define PV_FUZZ_REQUIRE_H_

#include <cstdio>
#include <cstdlib>

#define PV_REQUIRE(condition)                                                             \
  do {                                                                                    \
    if (!(condition)) {                                                                   \
      std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                       \
    }                                                                                     \
  } while (false)

#endif  // PV_FUZZ_REQUIRE_H_

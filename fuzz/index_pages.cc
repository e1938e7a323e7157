// The input is damage to the index of a sound table.
#include "fuzz/table_work.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace pv::fuzz;  // NOLINT
  WorkOnTable(With(SoundTable(), kIndexFile, Patched(*SoundTable().Find(kIndexFile), data, size)),
              true);
  return 0;
}

// The input is a whole data file: header, fields and records are what it says.
#include "fuzz/table_work.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace pv::fuzz;  // NOLINT
  WorkOnTable(With(SoundTable(), kDataFile, std::string(data, data + size)), false);
  return 0;
}

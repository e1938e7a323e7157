// Compaction of the catalogue. Tested by catalogue_test.cc.
#include "groups/catalogue.h"

#include "platform/system.h"
#include "pvgroupman/automation/error.h"

namespace pv::groups {
namespace {

constexpr std::int32_t kFileBusy = -130;  // the engine's code for a table that somebody has open
constexpr int kTries = 40;
constexpr std::uint32_t kPauseMicroseconds = 50'000;

}  // namespace

void CompactCatalogue(const automation::Ref<tablestore::Database>& database,
                      const std::string& folder) {
  for (int left = kTries;; --left) {
    try {
      database->CompactTable(folder, kCatalogueFile);
      return;
    } catch (const automation::Error& e) {
      if (e.number() != kFileBusy || left == 1) throw;
    }
    platform::CurrentSystem().files->SleepMicroseconds(kPauseMicroseconds);
  }
}

}  // namespace pv::groups

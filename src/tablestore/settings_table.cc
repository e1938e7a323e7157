// Settings tables. Tested by the catalogue's tests and those of the ADO stores.
#include "tablestore/settings_table.h"

#include "base/text.h"
#include "platform/system.h"
#include "pvgroupman/automation/error.h"

namespace pv::tablestore {
namespace {

constexpr std::int32_t kFileBusy = -130;  // the engine's code for a table that somebody has open
constexpr int kTries = 40;
constexpr std::uint32_t kPauseMicroseconds = 50'000;

}  // namespace

const automation::Value& FieldOf(const automation::Ref<Recipients>& cursor, const char* field) {
  return cursor->GetFields()->Find(field)->Current();
}

std::string TextOf(const automation::Ref<Recipients>& cursor, const char* field) {
  return std::string(TrimBlanks(FieldOf(cursor, field).ToText()));
}

void SetField(const automation::Ref<Recipients>& cursor, const char* field,
              const automation::Value& value) {
  cursor->GetFields()->Find(field)->SetValue(value);
}

bool IsEmpty(const Recipients& cursor) { return cursor.IsBof() && cursor.IsEof(); }

void CompactSettingsTable(const automation::Ref<Database>& database, const std::string& folder,
                          const std::string& file) {
  for (int left = kTries;; --left) {
    try {
      database->CompactTable(folder, file);
      return;
    } catch (const automation::Error& e) {
      if (e.number() != kFileBusy || left == 1) throw;
    }
    platform::CurrentSystem().files->SleepMicroseconds(kPauseMicroseconds);
  }
}

}  // namespace pv::tablestore

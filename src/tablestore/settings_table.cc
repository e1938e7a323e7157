// Settings tables. Tested by the catalogue's tests and those of the ADO stores.
#include "tablestore/settings_table.h"

#include "base/text.h"
#include "platform/system.h"
#include "pvgroupman/automation/error.h"
#include "support/application.h"
#include "tablestore/engine/error_codes.h"

namespace pv::tablestore {
namespace {

constexpr std::uint64_t kLongestMicroseconds = 5'000'000;
constexpr std::uint32_t kPauseMicroseconds = 10'000;

// Does `work` again while the table is in use. It may wait for locks itself, which counts.
template <typename Work>
auto WaitingForOthers(const Work& work) {
  platform::FileSystem* const files = platform::CurrentSystem().files;
  const std::uint64_t begun = files->MonotonicMicroseconds();
  for (;;) {
    try {
      return work();
    } catch (const automation::Error& e) {
      const bool waited = files->MonotonicMicroseconds() - begun >= kLongestMicroseconds;
      if (e.number() != engine::kErrFileBusy || waited) throw;
    }
    files->SleepMicroseconds(kPauseMicroseconds);
  }
}

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

bool SettingsTableExists(const std::string& folder, const std::string& file) {
  const auto info = platform::CurrentSystem().files->Stat(support::WithSeparator(folder) + file);
  if (info.ok()) return !info->is_directory;
  if (info.status().code() == StatusCode::kNotFound) return false;
  throw automation::Error(support::kErrPathAccess, "FileExists", info.status().message());
}

automation::Ref<Recipients> OpenSettingsTable(const automation::Ref<Database>& database,
                                              const std::string& folder, const std::string& file,
                                              const char* tag) {
  return WaitingForOthers([&] { return database->OpenTable(folder, file, std::nullopt, tag); });
}

void EnsureSettingsTable(const std::string& folder, const std::string& file,
                         const std::vector<FieldStruct>& fields,
                         const std::vector<IndexStruct>& tags) {
  WaitingForOthers([&] {
    if (SettingsTableExists(folder, file)) return;
    support::EnsureFolder(folder);
    try {
      automation::MakeObject<Database>()->CreateTable(folder, file, fields, tags)->CloseTable();
    } catch (const automation::Error& e) {
      if (e.number() != engine::kErrFileExists) throw;
    }
  });
}

void CompactSettingsTable(const automation::Ref<Database>& database, const std::string& folder,
                          const std::string& file) {
  WaitingForOthers([&] { return database->CompactTable(folder, file); });
}

}  // namespace pv::tablestore

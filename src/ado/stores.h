// What the two ADO stores have in common: texts, error numbers, field checks.
#ifndef PV_ADO_STORES_H_
#define PV_ADO_STORES_H_

#include <cstdint>
#include <string>

#include "base/text.h"
#include "platform/system.h"
#include "pvgroupman/automation/error.h"
#include "pvgroupman/tablestore/recipients.h"
#include "support/application.h"
#include "tablestore/resource_strings.h"
#include "tablestore/settings_table.h"

namespace pv::ado {

// Errors of the ADO stores' own. Hosts know them: never change a number.
constexpr std::int32_t kErrCannotSave = 2304;
constexpr std::int32_t kErrNoSuchDefinition = 2306;
constexpr std::int32_t kErrBlankId = 2308;
constexpr std::int32_t kErrInUse = 2406;

constexpr std::size_t kLongestId = 32;

[[noreturn]] inline void Raise(std::int32_t number, tablestore::ResourceString text) {
  throw automation::Error(number, {}, tablestore::Text(text));
}

inline void RequireId(const std::string& id) {
  if (TrimBlanks(id).empty()) Raise(kErrBlankId, tablestore::kTextBlankId);
}

// The row of an ID. An ID that is wider than the field is no row's: the key would be cut to it.
inline bool SeekId(const automation::Ref<tablestore::Recipients>& rows, const std::string& id) {
  return Utf16Length(id) <= kLongestId && rows->SeekFirst(id, "ID");
}

// Whether a file of the stores is there. Unlike FileExists it takes no failure for an answer: a
// definition whose conditions or row were thought away would choose other recipients. Error 75.
inline bool IsThere(const std::string& file) {
  const auto info = platform::CurrentSystem().files->Stat(file);
  if (info.ok()) return !info->is_directory;
  if (info.status().code() == StatusCode::kNotFound) return false;
  throw automation::Error(support::kErrPathAccess, {}, info.status().message());
}

inline std::string Stored(const automation::Ref<tablestore::Recipients>& rows, const char* field) {
  return tablestore::FieldOf(rows, field).ToText();
}

}  // namespace pv::ado

#endif  // PV_ADO_STORES_H_

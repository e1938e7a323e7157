// What a table of the data folder is made of, as one text. Used by the tests of the stores.
#ifndef PV_TABLESTORE_TABLE_LAYOUT_TEST_H_
#define PV_TABLESTORE_TABLE_LAYOUT_TEST_H_

#include <cstdint>
#include <string>

#include "pvgroupman/tablestore/database.h"
#include "tablestore/engine/operations.h"

namespace pv::tablestore {

// Field names, letters, widths and tags of a table of "/data".
inline std::string LayoutOf(const char* file) {
  const auto database = automation::MakeObject<Database>();
  const auto rows = database->OpenTable("/data", file);
  const engine::Handle table = rows->GetTableHandle();
  std::string layout;
  for (std::int32_t j = 1; j <= engine::d4numFields(table); ++j) {
    const engine::Handle f = engine::d4fieldJ(table, j);
    layout += std::string(engine::f4name(f)) + " " + static_cast<char>(engine::f4type(f)) +
              std::to_string(engine::f4len_v(f)) + "." + std::to_string(engine::f4decimals(f)) +
              "; ";
  }
  for (const auto& tag : engine::d4info(table).tags) {
    layout += "tag " + tag.name + " on " + tag.expression + " for " + tag.filter +
              (tag.unique ? " unique" : "") + (tag.descending ? " descending" : "") + "; ";
  }
  return layout;
}

}  // namespace pv::tablestore

#endif  // PV_TABLESTORE_TABLE_LAYOUT_TEST_H_

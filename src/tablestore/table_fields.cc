// Describes a table's fields. Tested by database_test.cc.
#include "tablestore/table_fields.h"

#include "tablestore/engine/operations.h"
#include "tablestore/field_access.h"

namespace pv::tablestore {

std::vector<TableField> TableFields(std::int32_t table_handle) {
  std::vector<TableField> fields;
  const auto page = engine::d4codePage(table_handle);
  if (page == nullptr) return fields;
  const std::int32_t count = engine::d4numFields(table_handle);
  for (std::int32_t j = 1; j <= count; ++j) {
    const engine::Handle field = engine::d4fieldJ(table_handle, j);
    fields.push_back({FieldName(field, *page), static_cast<char>(engine::f4type(field)),
                      engine::f4len_v(field)});
  }
  return fields;
}

}  // namespace pv::tablestore

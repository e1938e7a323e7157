// What the fields of an open table are, for the layers that do not see the engine.
#ifndef PV_TABLESTORE_TABLE_FIELDS_H_
#define PV_TABLESTORE_TABLE_FIELDS_H_

#include <cstdint>
#include <string>
#include <vector>

namespace pv::tablestore {

// One field, as the engine describes it.
struct TableField {
  std::string name;         // upper case
  char letter = 0;          // the store's type letter
  std::int32_t length = 0;  // bytes
};

// The fields of the table that a cursor's TableHandle names, in order; none for a stale handle.
std::vector<TableField> TableFields(std::int32_t table_handle);

}  // namespace pv::tablestore

#endif  // PV_TABLESTORE_TABLE_FIELDS_H_

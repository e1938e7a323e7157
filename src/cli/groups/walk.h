// Printing the records of a table: what show, find, export and table show have in common.
#ifndef PV_CLI_GROUPS_WALK_H_
#define PV_CLI_GROUPS_WALK_H_

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/groups/group_cursor.h"
#include "cli/groups/table.h"
#include "cli/output/listing.h"
#include "cli/output/output_stream.h"

namespace pv::cli {

struct WalkOptions {
  ListOptions list;
  std::vector<std::string> fields;  // empty: all
  std::int64_t offset = 0;          // records to pass over
  std::int64_t limit = -1;          // records to print; -1: all
  bool deleted = false;             // deleted records too, with a column that tells them
};

// Calls `visit` for each record in the order of the table's selected tag, or in natural order,
// until it answers false.
void ForEachRecord(const Table& table, const std::function<bool()>& visit);

// Prints the rows for which `wanted` (when given) holds; returns their number.
std::uint64_t PrintRecords(GroupCursor* cursor, const WalkOptions& options, OutputStream* out,
                           const std::function<bool()>& wanted = nullptr);

// Prints one row: the one that the cursor stands on.
void PrintCurrentRecord(GroupCursor* cursor, const WalkOptions& options, OutputStream* out);

// The live record with an address, letter case ignored; the table stands on it. 0 when there is
// none. The tag is asked first; without a match in it every record is looked at.
std::int32_t FindAddress(Table* table, std::string_view address);

// The number of records that are not marked deleted.
std::int64_t CountLive(Table* table);

}  // namespace pv::cli

#endif  // PV_CLI_GROUPS_WALK_H_

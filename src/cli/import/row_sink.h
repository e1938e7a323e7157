// Where copy puts the rows of a group.
#ifndef PV_CLI_IMPORT_ROW_SINK_H_
#define PV_CLI_IMPORT_ROW_SINK_H_

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "cli/groups/group_cursor.h"
#include "cli/groups/sql_definition.h"
#include "cli/import/import_options.h"
#include "cli/output/listing.h"
#include "pvgroupman/automation/object.h"

namespace pv::cli {

// Takes rows one after the other and accounts for each. A sink may gather rows and write them
// together, so that what became of a row is known only later, at the latest with Finish.
//
// Cells hold what GroupCursor gives: numbers with a decimal point, true and false, dates as
// 2024-02-29, moments as 2024-02-29T13:45:10 (perhaps with a fraction), kNone for no value.
class RowSink {
 public:
  // Called for each row that was not taken, with its cells and the reason as a sentence.
  using OnRejected = std::function<void(const std::vector<Cell>& cells, const std::string& reason)>;

  virtual ~RowSink() = default;

  // Before the first row, once: makes what is missing to take rows of these fields. The cells of
  // every row stand in this order.
  virtual void Begin(const std::vector<CursorField>& fields, OnRejected on_rejected) = 0;

  // One row. A Failure means that nothing more can be taken; what was written before is kept.
  virtual void Put(const std::vector<Cell>& cells) = 0;

  // Writes what was gathered and makes it last.
  virtual void Finish() = 0;

  // Every row of which it is known what became of it.
  virtual const ImportCounts& counts() const = 0;

  // What Begin made or left out, in sentences for people.
  virtual const std::vector<std::string>& notes() const = 0;
};

// A table of a database to be filled.
struct DatabaseTarget {
  automation::Ref<automation::Object> connection;  // an open ADODB.Connection
  std::string secrets;  // the string that it was opened with, to be kept out of messages
  // Connects anew, to learn what became of rows when the connection broke. May throw Failure.
  std::function<automation::Ref<automation::Object>()> reconnect;
  SqlDialect dialect;
  std::vector<WrittenTable> tables;  // the ways in which its name may be written; the first one
                                     // that is there is filled
  bool may_create = false;           // otherwise it is made, where that is wanted
  std::string address_field;         // of the source; "" when it has none
  OnDuplicate on_duplicate = OnDuplicate::kSkip;  // for a row whose address the table has already
};

// A sink that makes the table when it is missing, writes its rows in batches inside transactions,
// and never takes a value that the table would not keep as it is. A row that the database refuses
// is rejected alone: the others of its batch are written without it.
std::unique_ptr<RowSink> MakeDatabaseSink(const DatabaseTarget& target);

}  // namespace pv::cli

#endif  // PV_CLI_IMPORT_ROW_SINK_H_

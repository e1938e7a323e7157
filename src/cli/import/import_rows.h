// Puts the rows of a source into a table.
#ifndef PV_CLI_IMPORT_IMPORT_ROWS_H_
#define PV_CLI_IMPORT_IMPORT_ROWS_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/record_set.h"
#include "cli/fields/record.h"
#include "cli/groups/table.h"
#include "cli/import/import_options.h"
#include "cli/import/import_plan.h"
#include "cli/import/rejects.h"
#include "cli/import/row_reader.h"

namespace pv::cli {

// One import into one open table. A dry run does everything but write records.
class RowImporter {
 public:
  // The table must be open exclusively when `bulk`: then its tags are not kept up to date while
  // rows are added, but made by Finish. All arguments must outlive the importer.
  RowImporter(const Session& session, Table* table, const ImportPlan& plan,
              const ImportOptions& options, bool bulk);

  // Learns which addresses the table has. Before the first row, for a table that is not empty.
  void LoadAddresses();

  void Reserve(std::uint64_t rows) { addresses_.Reserve(rows); }

  // Takes one row, whose key column must be that of the addresses: adds it, updates a record, skips
  // or rejects it, and counts it. Throws Failure when the table cannot be written; the row is not
  // counted then.
  void Take(const RowReader& row, Rejects* rejects);

  // Builds the tags and closes the table.
  void Finish();

  const ImportCounts& counts() const { return counts_; }

 private:
  enum class Outcome : std::uint8_t { kAdded, kUpdated, kSkipped, kRejected };

  Outcome Process(const RowReader& row);
  Outcome ProcessDuplicate(const RowReader& row, std::uint32_t record);
  // The record that has the address, or RecordSet::kNotFound. The table stands on it then.
  std::uint32_t FindRecord(std::uint64_t hash, std::string_view address);
  std::string_view Lower(std::string_view address);
  bool WriteColumns(const RowReader& row, bool address_too);
  Outcome Append(const RowReader& row, std::string_view address);
  bool AssignmentsFailed();

  const Session& session_;
  Table* table_;
  const ImportPlan& plan_;
  const ImportOptions& options_;
  bool bulk_;
  RecordReader reader_;
  const RecordField* address_field_;
  struct Target {
    std::size_t column;
    FieldWriter writer;
  };
  std::vector<Target> targets_;  // the address first
  RecordSet addresses_;
  ImportCounts counts_;
  std::string reason_;
  std::string lower_scratch_;
  char lower_buffer_[256];
};

}  // namespace pv::cli

#endif  // PV_CLI_IMPORT_IMPORT_ROWS_H_

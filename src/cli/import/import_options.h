// What `pvgroup import` was asked to do.
#ifndef PV_CLI_IMPORT_IMPORT_OPTIONS_H_
#define PV_CLI_IMPORT_IMPORT_OPTIONS_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/fields/infer.h"
#include "cli/import/sniff.h"
#include "cli/import/spooled_input.h"

namespace pv::cli {

enum class OnDuplicate : std::uint8_t { kSkip, kUpdate, kReject };

// --map COLUMN=FIELD or COLUMN=FIELD:TYPE; an empty field leaves the column out.
struct ColumnMapping {
  std::string column;  // a heading, or a column's number from 1
  std::string field;
  std::optional<FieldShape> shape;
  bool text = false;  // the values are texts, even those that look like numbers or dates
};

struct ImportOptions {
  std::string group;
  std::string file;  // "-": standard input; what people call it, when the rows are in `spool`
  std::shared_ptr<SpooledInput> spool;
  std::string encoding;
  DialectHints dialect;
  InferenceHints inference;
  std::vector<ColumnMapping> mappings;
  OnDuplicate on_duplicate = OnDuplicate::kSkip;
  bool dry_run = false;
  std::string rejects;  // file for rejected rows; "" is one beside the source
  std::string folder;   // for a new group
  bool json = false;
  bool yes = false;
  bool progress = false;  // even when standard error is no terminal
};

// Rows of the source by what became of them. Every row is counted exactly once.
struct ImportCounts {
  std::uint64_t read = 0, added = 0, updated = 0, skipped = 0, rejected = 0;
  bool AddUp() const { return read == added + updated + skipped + rejected; }
};

// Reads "COLUMN=FIELD", "COLUMN=FIELD:TYPE" or "COLUMN="; throws Failure kUsage.
ColumnMapping ParseMapping(const std::string& text);

// A field as create and --map take it: NAME, NAME:TYPE, NAME:TYPE(LENGTH), NAME:TYPE(LENGTH,DEC).
// TYPE is the table store's letter or one of its words (text, unicode, number, …). Without a type
// it is text of 50 bytes. Throws Failure kUsage.
struct FieldDefinition {
  std::string name;  // as written; at most ten letters, digits and underscores
  FieldShape shape;
};
FieldDefinition ParseFieldDefinition(const std::string& text);

}  // namespace pv::cli

#endif  // PV_CLI_IMPORT_IMPORT_OPTIONS_H_

// Lists in every form that pvgroup prints: an aligned table, plain lines, CSV, JSON and NDJSON.
#ifndef PV_CLI_OUTPUT_LISTING_H_
#define PV_CLI_OUTPUT_LISTING_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "cli/output/output_stream.h"

namespace pv::cli {

enum class CellKind : std::uint8_t {
  kText,
  kNumber,   // decimal digits as JSON writes them
  kBoolean,  // "true" or "false"
  kNone,     // no value: nothing in text, null in JSON
};

struct Cell {
  CellKind kind = CellKind::kText;
  std::string text;  // UTF-8

  void Set(CellKind new_kind, std::string_view new_text) {
    kind = new_kind;
    text.assign(new_text);
  }
};

struct Column {
  std::string name;
  bool right = false;  // aligned right in tables
};

enum class ListForm : std::uint8_t {
  kTable,   // aligned, for people at a terminal
  kPlain,   // one line a row, cells parted by tabs, control characters as escapes
  kCsv,     // RFC 4180 with "\n" line ends
  kJson,    // one array of objects
  kNdjson,  // one object a line
};

struct ListOptions {
  ListForm form = ListForm::kPlain;
  bool colors = false;      // kTable
  std::size_t columns = 0;  // kTable: of the terminal, 0 for as wide as it comes
  bool raw = false;         // kCsv: leave cells alone that a spreadsheet would run as formulas
  bool heading = true;      // kPlain: a first line with the names
};

// Takes rows one by one. Constant memory: kTable looks at its first rows to find the widths and
// lets wider cells of later rows stand out.
class Listing {
 public:
  static std::unique_ptr<Listing> Make(OutputStream* out, std::vector<Column> columns,
                                       const ListOptions& options);
  virtual ~Listing() = default;

  // As many cells as there are columns.
  virtual void Row(const std::vector<Cell>& cells) = 0;

  // After the last row.
  virtual void End() = 0;
};

// Appends a CSV field, quoted where it must be. Text that a spreadsheet would take for a formula
// (it begins with = + - @, a tab or a carriage return) gets an apostrophe before it unless `raw`.
void AppendCsvField(std::string* out, const Cell& cell, bool raw);

}  // namespace pv::cli

#endif  // PV_CLI_OUTPUT_LISTING_H_

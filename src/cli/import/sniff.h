// Finds out how a delimited source is written by looking at its beginning.
#ifndef PV_CLI_IMPORT_SNIFF_H_
#define PV_CLI_IMPORT_SNIFF_H_

#include <optional>
#include <string>
#include <string_view>

#include "cli/import/csv_reader.h"

namespace pv::cli {

// What the user gave; what is empty is sniffed.
struct DialectHints {
  std::optional<char> delimiter;
  std::optional<char> quote;  // 0: none
  std::optional<bool> header;
};

struct SniffedDialect {
  CsvDialect dialect;
  bool has_header = true;
};

// `sample` is the beginning of the source as CsvReader will see it (UTF-16 converted, without a
// byte-order mark). Its last line may be cut. The delimiter is the one of , ; tab and | that cuts
// the rows into most fields most evenly. A first row in which something reads as an address, a
// number or a date is no header row.
SniffedDialect SniffDialect(std::string_view sample, const DialectHints& hints);

}  // namespace pv::cli

#endif  // PV_CLI_IMPORT_SNIFF_H_

// The files in which an import hands back the rows that it could not take.
#ifndef PV_CLI_IMPORT_REJECTS_H_
#define PV_CLI_IMPORT_REJECTS_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "cli/import/import_source.h"
#include "cli/import/row_reader.h"
#include "cli/output/output_stream.h"

namespace pv::cli {

// "a/b.csv" becomes "a/b.reasons.csv".
std::string ReasonsPathFor(const std::string& rows_path);

// A name for rejected rows, and for their reasons, that no file has yet.
std::string FreeRejectsPath(const std::string& stem);

// Rows go, in their original bytes and behind the source's byte-order mark and header row, to one
// file that can be imported again once it is corrected; their lines, offsets and reasons to
// another. The files are made with the first rejected row and get their names with Finish.
class Rejects {
 public:
  // `path` is --rejects or "": then the files lie beside the source under its name with
  // ".rejected.csv" and ".rejected.reasons.csv" behind it, and with a number in between when
  // such files are there already, as when such a file is imported again: they may hold
  // somebody's corrections. A path that was given is
  // refused when it exists, unless `replace`.
  Rejects(const ImportSource& source, std::string path, bool replace);

  // The reader's current row.
  void Add(const RowReader& row, std::string_view reason);

  // Gives the files their names. Nothing happens without a rejected row.
  void Finish();

  const std::string& rows_path() const { return rows_path_; }
  const std::string& reasons_path() const { return reasons_path_; }

 private:
  void Start(const RowReader& row);

  const ImportSource& source_;
  bool replace_;
  std::string rows_path_;
  std::string reasons_path_;
  std::unique_ptr<OutputStream> rows_;
  std::unique_ptr<OutputStream> reasons_;
};

}  // namespace pv::cli

#endif  // PV_CLI_IMPORT_REJECTS_H_

// Rows into a table of a database.
#include "cli/failure.h"
#include "cli/row_sink.h"

namespace pv::cli {

std::unique_ptr<RowSink> MakeDatabaseSink(const DatabaseTarget& target) {
  throw Failure(kUnavailable, "rows cannot be written into " + target.left_brace + target.table +
                                  target.right_brace + " yet");
}

}  // namespace pv::cli

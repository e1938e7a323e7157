// The verb import.
#ifndef PV_CLI_IMPORT_IMPORT_H_
#define PV_CLI_IMPORT_IMPORT_H_

#include "cli/failure.h"
#include "cli/import/import_options.h"

namespace pv::cli {

// Imports a file into a group, which is made when it is new, and prints what it found, what it
// planned and what became of each row.
ExitCode RunImport(const ImportOptions& options);

}  // namespace pv::cli

#endif  // PV_CLI_IMPORT_IMPORT_H_

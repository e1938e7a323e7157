// The verbs below "book", in two families.
#ifndef PV_CLI_BOOK_VERBS_H_
#define PV_CLI_BOOK_VERBS_H_

#include "cli/verbs.h"

namespace pv::cli {

// Those that look into address books, saved or not: formats, scan, fields, lists.
void AddBookLookVerbs(CLI::App* books, CommonOptions* common, Action* action);

}  // namespace pv::cli

#endif  // PV_CLI_BOOK_VERBS_H_

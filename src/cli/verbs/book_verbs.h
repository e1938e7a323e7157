// The verbs below "book", in two families.
#ifndef PV_CLI_VERBS_BOOK_VERBS_H_
#define PV_CLI_VERBS_BOOK_VERBS_H_

#include "cli/verbs/verbs.h"

namespace pv::cli {

// Those that look into address books, saved or not: formats, scan, fields, lists.
void AddBookLookVerbs(Verb books, CommonOptions* common);

}  // namespace pv::cli

#endif  // PV_CLI_VERBS_BOOK_VERBS_H_

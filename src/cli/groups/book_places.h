// Where programs keep their address books.
#ifndef PV_CLI_GROUPS_BOOK_PLACES_H_
#define PV_CLI_GROUPS_BOOK_PLACES_H_

#include <string>
#include <string_view>
#include <vector>

namespace pv::cli {

// Something that may be an address book.
struct BookPlace {
  std::string format;
  std::string path;
};

// What lies in the usual places below a home folder, by format and path. Nothing is opened.
std::vector<BookPlace> FindBookPlaces(const std::string& home);

// Whether a name is what a pattern with "*" (any characters) says; letter case is ignored.
bool MatchesPattern(std::string_view name, std::string_view pattern);

}  // namespace pv::cli

#endif  // PV_CLI_GROUPS_BOOK_PLACES_H_

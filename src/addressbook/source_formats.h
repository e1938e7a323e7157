// The formats that a source may have.
#ifndef PV_ADDRESSBOOK_SOURCE_FORMATS_H_
#define PV_ADDRESSBOOK_SOURCE_FORMATS_H_

#include <array>
#include <string_view>

namespace pv::addressbook {

// Codes in the order in which they are compared. "MAB" stands twice; the first one counts. On
// disk: never change a code.
constexpr std::array<std::string_view, 19> kSourceFormats = {
    "PST",  "PAB", "WAB", "PFC", "AOL", "EUD", "MAPI", "DEFM", "GAL", "GW",
    "LDIF", "NSF", "MAB", "NS4", "MAB", "ADR", "PALM", "PINE", "TB"};

// What a format admits.
struct FormatAccess {
  bool write = false;
  bool update = false;
  bool silent = false;
};

// For one of the codes above.
FormatAccess AccessOf(std::string_view code);

}  // namespace pv::addressbook

#endif  // PV_ADDRESSBOOK_SOURCE_FORMATS_H_

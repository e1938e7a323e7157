// Field names made of column headings.
#ifndef PV_CLI_FIELDS_FIELD_NAMES_H_
#define PV_CLI_FIELDS_FIELD_NAMES_H_

#include <string>
#include <string_view>
#include <vector>

namespace pv::cli {

constexpr std::size_t kFieldNameLimit = 10;

// The name that a heading gives on its own: upper case, letters of other scripts spelled in Latin
// ones, everything else as "_", at most ten characters, beginning with a letter. Empty when the
// heading holds nothing that can be spelled.
std::string FieldNameOf(std::string_view heading);

// One name for each heading. A name that is empty becomes FIELD1, FIELD2, … after the column's
// number; one that an earlier column or `taken` has gets a number at its end.
std::vector<std::string> FieldNamesOf(const std::vector<std::string>& headings,
                                      const std::vector<std::string>& taken);

// The heading without anything but its letters and digits, in lower-case Latin: what is compared
// when a column is looked for by what it is called ("E-Mail-Adresse" is "emailadresse").
std::string PlainWord(std::string_view heading);

// True for a heading that names e-mail addresses in one of several languages. `certain` tells
// those that cannot mean anything else from those that can ("Adresse").
bool IsAddressHeading(std::string_view heading, bool* certain);

// True for a heading of codes that are written in digits but are no numbers: postal codes,
// telephone numbers.
bool IsCodeHeading(std::string_view heading);

}  // namespace pv::cli

#endif  // PV_CLI_FIELDS_FIELD_NAMES_H_

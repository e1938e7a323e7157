// E-mail addresses: which text is one, and when two are the same.
#ifndef PV_CLI_FIELDS_ADDRESS_H_
#define PV_CLI_FIELDS_ADDRESS_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace pv::cli {

// Why `text` (UTF-8, without blanks around it) is no address, as the end of a sentence; null when
// it is one: exactly one "@" with something before and after it, and no blanks, control
// characters or commas. More is not asked: the mailing program knows better.
const char* AddressFault(std::string_view text);

// The address in lower case. ASCII text of at most `buffer_size` bytes is written to `buffer`,
// other text to *scratch. Two addresses are the same when this is equal.
std::string_view LowerAddress(std::string_view address, char* buffer, std::size_t buffer_size,
                              std::string* scratch);

}  // namespace pv::cli

#endif  // PV_CLI_FIELDS_ADDRESS_H_

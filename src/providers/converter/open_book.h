// The formats by code, and how the address books of each are found and opened.
#ifndef PV_PROVIDERS_CONVERTER_OPEN_BOOK_H_
#define PV_PROVIDERS_CONVERTER_OPEN_BOOK_H_

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "providers/converter/model/book.h"

namespace pv::converter {

// What else an address book may want to be opened.
struct Access {
  std::optional<std::string> password;  // of a directory
};

struct Format {
  const char* code;
  const char* name;
  // Why books of the format cannot be read here; null when they can be. The reason is one for
  // people. A format without a reader has an `open` of null.
  Status (*available)();
  Result<std::unique_ptr<Book>> (*open)(const std::string& location, const Access& access);
};

// All of them, in the order in which hosts list them.
std::span<const Format> Formats();

// The format with a code, letter case and blanks around it ignored; null when there is none.
const Format* FindFormat(std::string_view code);

// The files that make up the address book at `location`: the file itself or, when it is a folder,
// those of its files that `admits` says yes to, by name. kNotFound, with `what` in the message,
// when there is none.
Result<std::vector<std::string>> FilesAt(const std::string& location, const char* what,
                                         bool (*admits)(std::string_view lower_name));

// Several books as one, in their order.
std::unique_ptr<Book> JoinBooks(std::vector<std::unique_ptr<Book>> books);

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_OPEN_BOOK_H_

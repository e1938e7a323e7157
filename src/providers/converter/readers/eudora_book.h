// Eudora's nickname files: lines of aliases and notes.
#ifndef PV_PROVIDERS_CONVERTER_READERS_EUDORA_BOOK_H_
#define PV_PROVIDERS_CONVERTER_READERS_EUDORA_BOOK_H_

#include <memory>
#include <string>
#include <vector>

#include "base/status.h"
#include "providers/converter/model/book.h"

namespace pv::converter {

// All files of a person are one book: nicknames of one may stand in lists of another.
Result<std::unique_ptr<Book>> OpenEudora(const std::vector<std::string>& paths);

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_READERS_EUDORA_BOOK_H_

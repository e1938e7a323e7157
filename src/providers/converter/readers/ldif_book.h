// LDIF files: the address books that mail programs export, and the spool of a directory search.
#ifndef PV_PROVIDERS_CONVERTER_READERS_LDIF_BOOK_H_
#define PV_PROVIDERS_CONVERTER_READERS_LDIF_BOOK_H_

#include <memory>
#include <string>

#include "base/status.h"
#include "platform/file_system.h"
#include "providers/converter/model/book.h"
#include "providers/converter/readers/ldif_names.h"

namespace pv::converter {

// Keeps eight bytes a contact, and the lists; entries are read from the file when they are asked
// for. `name` stands for the file in messages.
Result<std::unique_ptr<Book>> OpenLdif(std::unique_ptr<platform::File> file, std::string name,
                                       LdifProfile profile);

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_READERS_LDIF_BOOK_H_

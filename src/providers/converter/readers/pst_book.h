// Outlook's personal stores (*.pst) and address books (*.pab).
#ifndef PV_PROVIDERS_CONVERTER_READERS_PST_BOOK_H_
#define PV_PROVIDERS_CONVERTER_READERS_PST_BOOK_H_

#include <memory>
#include <string>

#include "base/status.h"
#include "platform/file_system.h"
#include "providers/converter/model/book.h"

namespace pv::converter {

// Why stores cannot be read here, if they cannot: the library for them is not installed.
Status PstAvailable();

// Contacts and lists of every folder but those of deleted items and of recent recipients; each is
// read from the file when it is asked for.
Result<std::unique_ptr<Book>> OpenPst(std::unique_ptr<platform::File> file, std::string name);

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_READERS_PST_BOOK_H_

// Palm address books: the handheld's AddressDB.pdb and the desktop's address.dat.
#ifndef PV_PROVIDERS_CONVERTER_READERS_PALM_BOOK_H_
#define PV_PROVIDERS_CONVERTER_READERS_PALM_BOOK_H_

#include <memory>
#include <string>

#include "base/status.h"
#include "platform/file_system.h"
#include "providers/converter/model/book.h"

namespace pv::converter {

// Which of the two it is, the first bytes say.
Result<std::unique_ptr<Book>> OpenPalm(platform::File* file, const std::string& name);

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_READERS_PALM_BOOK_H_

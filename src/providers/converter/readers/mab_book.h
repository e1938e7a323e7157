// MAB files: the address books of the mail programs that keep them in Mork.
#ifndef PV_PROVIDERS_CONVERTER_READERS_MAB_BOOK_H_
#define PV_PROVIDERS_CONVERTER_READERS_MAB_BOOK_H_

#include <memory>
#include <string>

#include "base/status.h"
#include "platform/file_system.h"
#include "providers/converter/model/book.h"

namespace pv::converter {

// Later changes in such a file may touch any contact, so its text is held in memory. `name` stands
// for the file in messages.
Result<std::unique_ptr<Book>> OpenMab(platform::File* file, std::string name);

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_READERS_MAB_BOOK_H_

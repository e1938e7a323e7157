// Pine's address book: lines of tab-separated fields.
#ifndef PV_PROVIDERS_CONVERTER_READERS_PINE_BOOK_H_
#define PV_PROVIDERS_CONVERTER_READERS_PINE_BOOK_H_

#include <memory>
#include <string>

#include "base/status.h"
#include "platform/file_system.h"
#include "providers/converter/model/book.h"

namespace pv::converter {

Result<std::unique_ptr<Book>> OpenPine(platform::File* file, const std::string& name);

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_READERS_PINE_BOOK_H_

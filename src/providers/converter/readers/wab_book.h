// The Windows address book (*.wab).
#ifndef PV_PROVIDERS_CONVERTER_READERS_WAB_BOOK_H_
#define PV_PROVIDERS_CONVERTER_READERS_WAB_BOOK_H_

#include <memory>
#include <string>

#include "base/status.h"
#include "platform/file_system.h"
#include "providers/converter/model/book.h"

namespace pv::converter {

Result<std::unique_ptr<Book>> OpenWab(platform::File* file, const std::string& name);

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_READERS_WAB_BOOK_H_

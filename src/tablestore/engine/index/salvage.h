// What can still be read of a damaged index file: its tags' definitions. The trees are of no
// interest, they are built anew from the records.
#ifndef PV_TABLESTORE_ENGINE_INDEX_SALVAGE_H_
#define PV_TABLESTORE_ENGINE_INDEX_SALVAGE_H_

#include <string>
#include <vector>

#include "base/status.h"
#include "platform/file_system.h"
#include "tablestore/engine/index/index_file.h"

namespace pv::engine {

// Every tag header that the file holds on a page boundary, in file order, whatever the directory
// says. A name comes from the directory's leaf where that can be read, and is empty otherwise;
// two tags may have the same.
// Expressions are text that stands where a header has them: the caller finds out whether they
// compile. kIoError when the file cannot be read.
Result<std::vector<TagDefinition>> SalvageTags(platform::File* file);

}  // namespace pv::engine

#endif  // PV_TABLESTORE_ENGINE_INDEX_SALVAGE_H_

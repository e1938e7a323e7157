// Makes a whole table out of a damaged one.
#ifndef PV_TABLESTORE_ENGINE_REPAIR_H_
#define PV_TABLESTORE_ENGINE_REPAIR_H_

#include <string>
#include <vector>

#include "base/status.h"
#include "tablestore/engine/operations.h"
#include "tablestore/engine/session.h"

namespace pv::engine {

// Reads the files of the table at `path`, which stay as they are and must be in nobody's use, and
// writes a whole table at `new_path`, where nothing may be. The data file's header must be
// readable: without it nobody knows where a field begins. A tag of `expected` whose definition the
// index has lost is made all the same. kExists, kBusy, kCorrupt, kInvalid for an expected tag.
Status RepairTable(Session* session, const std::string& path, const std::string& new_path,
                   const std::vector<TagRecord>& expected, RepairReport* report);

}  // namespace pv::engine

#endif  // PV_TABLESTORE_ENGINE_REPAIR_H_

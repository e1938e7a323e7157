// The engine's negative codes and their general messages (docs/engine-codes.md is made from this
// table). Hosts may keep them: never change a number.
#ifndef PV_TABLESTORE_ENGINE_ERROR_CODES_H_
#define PV_TABLESTORE_ENGINE_ERROR_CODES_H_

#include <cstdint>

#include "base/status.h"

namespace pv::engine {

// X(name, number, message)
#define PV_ENGINE_ERRORS(X)                                                           \
  X(kErrFileMissing, -110, "The file does not exist.")                                \
  X(kErrFileExists, -120, "The file exists already.")                                 \
  X(kErrFileBusy, -130, "The file is in use by another program.")                     \
  X(kErrFileDenied, -140, "Access to the file is denied.")                            \
  X(kErrReadOnly, -150, "The table is open for reading only.")                        \
  X(kErrDiskFull, -160, "The disk is full.")                                          \
  X(kErrInputOutput, -170, "Reading or writing the file failed.")                     \
  X(kErrNotTable, -210, "The file is not a table.")                                   \
  X(kErrDataDamaged, -220, "The data file is damaged.")                               \
  X(kErrTooLarge, -230, "The table has reached the largest size that can be locked.") \
  X(kErrNoRecord, -240, "There is no such record.")                                   \
  X(kErrIndexDamaged, -310, "The index file is damaged.")                             \
  X(kErrIndexReadOnly, -320,                                                          \
    "A tag of the index can be read only, so the table cannot be changed.")           \
  X(kErrTagLimit, -330, "A tag definition passes a limit.")                           \
  X(kErrExpression, -410, "The expression is not valid.")                             \
  X(kErrMemoDamaged, -510, "The memo file is damaged.")                               \
  X(kErrMemoMissing, -520, "The memo file does not exist.")                           \
  X(kErrFieldLimit, -610, "A field definition passes a limit.")                       \
  X(kErrFieldType, -620, "The field type is not known.")                              \
  X(kErrFieldValue, -630, "The value does not fit the field.")                        \
  X(kErrFieldReadOnly, -640, "The field can be read only.")                           \
  X(kErrUnexpected, -910, "Unexpected Information")                                   \
  X(kErrBadHandle, -920, "The handle is not valid.")                                  \
  X(kErrExclusiveNeeded, -930, "The operation needs the table opened exclusively.")   \
  X(kErrOutOfMemory, -940, "Out of memory.")

enum : std::int32_t {
#define PV_ENGINE_ERROR_ENUM(name, number, message) name = number,
  PV_ENGINE_ERRORS(PV_ENGINE_ERROR_ENUM)
#undef PV_ENGINE_ERROR_ENUM
};

// The general message of a code; null for a code that is not ours.
const char* ErrorMessage(std::int32_t code);

// The code for a failed Status: its own detail when that is one of the codes above, else by kind.
// kBusy becomes 50 when `locking`, kErrFileBusy when opening.
std::int32_t ErrorCodeOf(const Status& status, bool locking);

}  // namespace pv::engine

#endif  // PV_TABLESTORE_ENGINE_ERROR_CODES_H_

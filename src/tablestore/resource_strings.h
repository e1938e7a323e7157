// The component's numbered texts. Hosts show them: never change a number or a text.
#ifndef PV_TABLESTORE_RESOURCE_STRINGS_H_
#define PV_TABLESTORE_RESOURCE_STRINGS_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace pv::tablestore {

// X(name, number, text)
#define PV_RESOURCE_STRINGS(X)                                                        \
  X(kTextCannotSave, 2, "Cannot save DSN details to file.")                           \
  X(kTextNoSuchDefinition, 4, "DSN does not exist.")                                  \
  X(kTextBlankId, 7, "The DSN ID specified was blank.")                               \
  X(kTextNoEngine, 8, "Initialize of database engine failure.")                       \
  X(kTextNoSession, 9, "Database not initialised.")                                   \
  X(kTextOpenFailed, 10, "OpenTable failed.")                                         \
  X(kTextCompactFailed, 11, "CompactTable failed.")                                   \
  X(kTextCompactDuplicate, 12, "Compacting the table caused a unique key violation.") \
  X(kTextCompactLocked, 13,                                                           \
    "CompactTable could not obtain the necessary lock to complete the process.")      \
  X(kTextEmailTag, 14, "Email")                                                       \
  X(kTextInstanceExists, 40, "Table Instance already exists.")                        \
  X(kTextNotOpen, 41, "The table is not open.")                                       \
  X(kTextUpdateFailed, 42, "Update failed.")                                          \
  X(kTextNotLocked, 43, "The table could not be locked.")                             \
  X(kTextDuplicateKey, 44, "Duplicate Key Value.")                                    \
  X(kTextNoRecords, 45, "No records found.")                                          \
  X(kTextRecordLocked, 46, "Record is locked.")                                       \
  X(kTextMoveFirstFailed, 47, "MoveFirst failed.")                                    \
  X(kTextFindFailed, 48, "Find failed.")                                              \
  X(kTextSeekFirstFailed, 49, "SeekFirst failed.")                                    \
  X(kTextMoveFailed, 50, "Move failed.")                                              \
  X(kTextBeforeBof, 51, "Moved before BOF.")                                          \
  X(kTextPastEof, 52, "Moved past EOF")                                               \
  X(kTextMoveNextFailed, 53, "MoveNext failed.")                                      \
  X(kTextMovePrevFailed, 54, "MovePrev failed.")                                      \
  X(kTextMoveLastFailed, 55, "MoveLast failed.")                                      \
  X(kTextNoCurrentRecord, 56, "No current record.")                                   \
  X(kTextUnknownType, 57, "Data type not handled <%s> in RecordBuffer.")              \
  X(kTextCloseFailed, 58, "CloseTable failed.")                                       \
  X(kTextVerifyFailed, 59, "Key verify failed.")                                      \
  X(kTextUnsupportedType, 355, "Unsupported Field Data Type <%s>")                    \
  X(kTextDataSourceInUse, 356,                                                        \
    "The Data Source is in use by a Group. To delete the Data Source, please remove " \
    "the Group first.")                                                               \
  X(kTextGroupIsOpen, 357, "This Group is open, please close prior to deletion.")

enum ResourceString : std::int32_t {
#define PV_RESOURCE_STRING_ENUM(name, number, text) name = number,
  PV_RESOURCE_STRINGS(PV_RESOURCE_STRING_ENUM)
#undef PV_RESOURCE_STRING_ENUM
};

// The text of a number.
constexpr const char* Text(ResourceString string) {
  switch (string) {
#define PV_RESOURCE_STRING_CASE(name, number, text) \
  case name:                                        \
    return text;
    PV_RESOURCE_STRINGS(PV_RESOURCE_STRING_CASE)
#undef PV_RESOURCE_STRING_CASE
  }
  return "";
}

// The text of a number with `what` in place of its "%s".
inline std::string Text(ResourceString string, std::string_view what) {
  std::string text = Text(string);
  return text.replace(text.find("%s"), 2, what);
}

// Error numbers that the component gives to its own failures in this layer.
enum : std::int32_t {
  kErrNotOpen = 2400,        // no session, or no table
  kErrOpenFailed = 2401,     // the engine opened nothing and gave no reason
  kErrCompactFailed = 2402,  // likewise when compacting
  kErrNoEngine = 2403,       // the engine did not start
  kErrUnknownType = 2404,    // a field type that the cursor does not handle
  kErrNoCurrentRecord = -1,
};

}  // namespace pv::tablestore

#endif  // PV_TABLESTORE_RESOURCE_STRINGS_H_

// The engine's flat operations over 32-bit handles: what the cursor and session classes call, and
// the only part of the engine that they know. Handles are never pointers; a stale or foreign
// handle is refused with kBadHandle (functions that return a pointer then return null, those that
// return a handle 0). Nothing throws.
//
// Text arguments and results are bytes in the table's code page, except file names, which are
// UTF-8. Every failure leaves its code and message pending in the session (code4errorCode).
//
// One thread at a time.
#ifndef PV_TABLESTORE_ENGINE_OPERATIONS_H_
#define PV_TABLESTORE_ENGINE_OPERATIONS_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/code_page.h"

namespace pv::engine {

using Handle = std::int32_t;

// Return codes of the operations below (negative ones: error_codes.h).
enum : std::int32_t {
  kSuccess = 0,
  kNearMiss = 1,  // d4seek: the text is a proper prefix of the key stood on
  kAfter = 2,     // d4seek: stands on the first greater key
  kEndOfFile = 3,
  kBeginOfFile = 4,
  kNoEntry = 5,     // no tag is selected, or the entry's record is gone
  kUniqueKey = 20,  // a unique tag has the key already
  kDescendingTag = 10,
  kLocked = 50,  // a lock was not obtained within the bounded wait
};

// Element of d4create's field list.
struct FieldRecord {
  std::string name;          // ANSI
  std::int16_t type = 0;     // letter
  std::uint16_t length = 0;  // bytes; ignored for types of fixed width
  std::uint16_t decimals = 0;
  std::uint16_t nulls = 0;  // 1 when the field accepts nulls
};

// Element of d4create's tag list.
struct TagRecord {
  std::string name;
  std::string expression;
  std::string filter;
  std::int16_t unique = 0;       // kUniqueKey or 0
  std::uint16_t descending = 0;  // kDescendingTag or 0
};

// Sessions. A session uses the platform system that is in force on the thread when it starts.
Handle code4initVB();
std::int32_t code4initUndo(Handle session);
std::int32_t code4errOff(Handle session, std::int32_t off);
std::int32_t code4errDefaultUnique(Handle session, std::int32_t reaction);
std::int32_t code4compatibility(Handle session, std::int32_t level);
std::int32_t code4logOpenOff(Handle session);
std::int32_t u4switch();
std::int32_t code4safety(Handle session, std::int32_t on);        // returns the previous setting
std::int32_t code4accessMode(Handle session, std::int32_t mode);  // returns the previous mode
// The pending error code, which is then cleared (set to `new_code`); the pending message stays
// readable through error4text until the next failure.
std::int32_t code4errorCode(Handle session, std::int32_t new_code);
// The message of the latest failure when it had this code, else the code's general message; null
// for a code that does not exist. Valid until the session's next operation.
const char* error4text(Handle session, std::int32_t code);
// Our additions. The page of tables created in the session and of tables whose mark names none;
// Windows-1252 until set.
void code4codePage(Handle session, std::shared_ptr<const CodePage> page);
// How long any lock is waited for, in milliseconds; 10,000 until set.
void code4lockWait(Handle session, std::uint32_t milliseconds);
// Tables opened from now on are opened without their index: for reading only, in natural order.
// The way to the records when the index is missing or damaged.
void code4ignoreIndex(Handle session, std::int32_t on);
// A sentence for each noteworthy event (a rebuild after a crash, a compaction finished after an
// interruption, a header count corrected) since the last call, oldest first.
std::vector<std::string> code4takeNotices(Handle session);

// Tables.
Handle d4create(Handle session, std::string_view name, const std::vector<FieldRecord>& fields,
                const std::vector<TagRecord>& tags);
Handle d4open(Handle session, std::string_view name);
std::int32_t d4close(Handle table);
Handle d4tag(Handle table, std::string_view tag_name);
std::int32_t d4tagSelect(Handle table, Handle tag);
std::int32_t d4top(Handle table);
std::int32_t d4bottom(Handle table);
std::int32_t d4skip(Handle table, std::int32_t count);
std::int32_t d4go(Handle table, std::int32_t record_number);
std::int32_t d4bof(Handle table);
std::int32_t d4eof(Handle table);
std::int32_t d4goEof(Handle table);
std::int32_t d4seek(Handle table, std::string_view key_text);
std::int32_t d4seekNext(Handle table, std::string_view key_text);
std::int32_t d4recCountDo(Handle table);
std::int32_t d4recNoLow(Handle table);  // -1 when there is no current record
std::int32_t d4appendStart(Handle table, std::int32_t use_memo_entries);
std::int32_t d4append(Handle table);
std::int32_t d4writeVB(Handle table, std::int32_t record_number);
std::int32_t d4delete(Handle table);  // at once
// Takes the deletion mark off in the buffer; d4writeVB writes it, and refuses it with kUniqueKey
// when a live record has the key by now.
std::int32_t d4recall(Handle table);
std::int32_t d4pack(Handle table);
std::int32_t d4reindex(Handle table);
std::int32_t d4flush(Handle table);    // returns when everything written is on the medium
std::int32_t d4deleted(Handle table);  // nonzero when the current record is marked deleted
std::int32_t d4numFields(Handle table);
Handle d4fieldJ(Handle table, std::int32_t j);
Handle d4field(Handle table, std::string_view name);  // letter case ignored
// Our additions: the table's code page; the bytes of the current record (null without one) and
// their number; and appending without keeping the tags up to date: between d4bulkStart and
// d4bulkEnd (exclusive tables only) records go to the data file alone, the mark stands in the
// index, and d4bulkEnd builds the tags by sorting. Unique keys are then the caller's business;
// d4bulkEnd answers kUniqueKey (and indexes only the first) when two live records share a key.
std::shared_ptr<const CodePage> d4codePage(Handle table);
const std::uint8_t* d4record(Handle table, std::uint32_t* length);
std::int32_t d4bulkStart(Handle table);
std::int32_t d4bulkEnd(Handle table);

// Fields of the record buffer.
std::int32_t f4type(Handle field);  // letter
const char* f4name(Handle field);
std::int32_t f4len_v(Handle field);
std::int32_t f4decimals(Handle field);
const std::uint8_t* f4ptr(Handle field);
std::int32_t f4ncpy(Handle field, void* buffer, std::int32_t size);
double f4double(Handle field);
std::int64_t f4currency(Handle field);  // value x 10,000, exact for Y fields
std::int32_t f4long(Handle field);
std::int32_t f4true(Handle field);
const char* f4dateTime(Handle field);  // "yyyymmddhh:mm:ss", blanks when empty
std::int32_t f4memoLen(Handle field);
const std::uint8_t* f4memoPtr(Handle field);
std::int32_t f4nullable(Handle field);  // 1 when the field accepts nulls
std::int32_t f4null(Handle field);      // nonzero when the field is null
// Assigning to a field takes its null mark off; f4assignNull sets it (where the field accepts
// nulls) and blanks the bytes. A value that the field cannot hold leaves a negative code pending
// in the session and the field as it was; text longer than a character field is cut to its width.
void f4assignCharVB(Handle field, std::string_view text);
void f4assignNVB(Handle field, std::string_view text, std::int32_t length);
void f4assignDouble(Handle field, double value);
void f4assignCurrency(Handle field, std::string_view decimal_text);
void f4assignLong(Handle field, std::int32_t value);
void f4assignDateTime(Handle field, std::string_view yyyymmddhhmmss);
void f4assignUnicode(Handle field, const char16_t* zero_terminated);
std::int32_t f4memoAssign(Handle field, std::string_view bytes);
void f4assignNull(Handle field);

// Dates: Julian day of eight digits YYYYMMDD (0 for blanks, -1 for text that is no date), and
// back into a 9-byte buffer (blanks for 0).
std::int32_t date4long(std::string_view yyyymmdd);
void date4assignLow(char* buffer9, std::int32_t julian, std::int32_t unused);

// What a table is made of, for listings and checks.
struct TagInfo {
  std::string name, expression, filter;
  bool unique = false, descending = false;
  std::string unusable;  // why it can only be read, or not be used; empty when sound
};
struct TableInfo {
  std::string data_file, index_file, memo_file;  // system paths; empty when there is none
  std::uint8_t version = 0;
  int code_page = 0;         // number; 0 when the mark names none
  std::int32_t records = 0;  // deleted ones included
  std::int32_t header_length = 0, record_length = 0;
  std::uint64_t data_size = 0, index_size = 0, memo_size = 0;
  bool read_only = false;
  std::vector<TagInfo> tags;
};
TableInfo d4info(Handle table);

// Checks the whole table; each finding is one sentence that names the file, and the record or
// tag. `waste` says how much compaction would give back.
struct TableCheck {
  std::vector<std::string> findings;
  std::int64_t live_records = 0, deleted_records = 0;
  std::uint64_t memo_bytes_used = 0, memo_bytes_wasted = 0;
};
TableCheck d4check(Handle table);

// Makes a whole table at `new_name` out of the damaged one at `name`, which stays as it is and
// must be in nobody's use; nothing may be at `new_name`. Every record that the file holds comes
// along; the tags are built from their stored expressions, and those of `expected` that the index
// has no definition of as it says. 0, or a negative code when the header of the data file cannot
// be read or the new files cannot be written.
struct RepairReport {
  std::vector<std::string> losses;     // what could not be saved, a sentence each
  std::vector<std::string> notes;      // what was put right
  std::vector<std::string> remaining;  // what a check still finds, as repeated unique keys
  std::int64_t live_records = 0, deleted_records = 0;
  std::int64_t memos_saved = 0, memos_lost = 0;
  std::int32_t tags_rebuilt = 0;
};
std::int32_t d4repair(Handle session, std::string_view name, std::string_view new_name,
                      RepairReport* report, const std::vector<TagRecord>& expected = {});

}  // namespace pv::engine

#endif  // PV_TABLESTORE_ENGINE_OPERATIONS_H_

// The wrappers through which field values pass between the engine's bytes and our UTF-8 text. They
// raise nothing: a null engine pointer gives an empty text or an empty array.
#ifndef PV_TABLESTORE_FIELD_ACCESS_H_
#define PV_TABLESTORE_FIELD_ACCESS_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/code_page.h"
#include "tablestore/engine/operations.h"

namespace pv::tablestore {

// Most bytes that are taken of a text that the engine owns.
constexpr std::size_t kEngineTextBytes = 256;

// A memo that is longer could not be returned as a string.
constexpr std::int32_t kLongestMemo = 2147483647;

// A text that the engine owns: its first 256 bytes at most, in UTF-8 as the engine's messages are.
std::string EngineText(const char* text);

// The same for a text in a table's code page.
std::string EngineText(const char* text, const CodePage& page);

// The engine's message for a code.
std::string EngineErrorText(engine::Handle session, std::int32_t code);

// The name of a field.
std::string FieldName(engine::Handle field, const CodePage& page);

// The field's text over its full width, trailing blanks kept.
std::string FieldText(engine::Handle field, const CodePage& page);

// The field's bytes without trailing blanks, where the engine has them: valid until its next
// operation. `width` is the field's f4len_v.
std::string_view FieldBytesTrimmed(engine::Handle field, std::int32_t width);

// A date-time field as yyyymmddhh:mm:ss; blanks when it is empty.
std::string FieldDateTime(engine::Handle field);

// A Julian day as yyyymmdd; blanks for 0.
std::string DateText(std::int32_t julian);

// Stores text with its length. Characters that the page lacks become "?".
void AssignText(engine::Handle field, std::string_view utf8, const CodePage& page);

// Stores text in a Unicode field, up to its first zero character.
void AssignUnicode(engine::Handle field, std::string_view utf8);

// The field's bytes over its full width; none when the width is 0.
std::vector<std::uint8_t> FieldBytes(engine::Handle field);

// The text of a Unicode field, up to its first zero character.
std::string FieldUnicode(engine::Handle field);

// The text of a memo.
std::string MemoText(engine::Handle field, const CodePage& page);

}  // namespace pv::tablestore

#endif  // PV_TABLESTORE_FIELD_ACCESS_H_

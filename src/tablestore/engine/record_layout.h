// What one record of a table looks like: shared by the data file, which reads it from the header,
// and by expressions and field access, which use it.
#ifndef PV_TABLESTORE_ENGINE_RECORD_LAYOUT_H_
#define PV_TABLESTORE_ENGINE_RECORD_LAYOUT_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/code_page.h"

namespace pv::engine {

// The engine's one-letter field types. 'Z' and 'X' are stored on disk as 'C' and 'M' with the
// binary flag. On disk: never change the others.
enum class FieldLetter : char {
  kCharacter = 'C',
  kCharacterBinary = 'Z',
  kUnicode = 'W',
  kNumeric = 'N',
  kFloat = 'F',
  kInteger = 'I',
  kDouble = 'B',
  kCurrency = 'Y',
  kDate = 'D',
  kDateTime = 'T',
  kLogical = 'L',
  kMemo = 'M',
  kMemoBinary = 'X',
  kGeneral = 'G',
  kPicture = 'P',    // opened only; to the cursor as 'G'
  kVarchar = 'V',    // opened only, read-only
  kVarbinary = 'Q',  // opened only, read-only
};

struct FieldLayout {
  std::string name;  // upper case
  FieldLetter type = FieldLetter::kCharacter;
  std::uint32_t offset = 0;  // inside the record; the deletion byte is at 0
  std::uint16_t length = 0;  // bytes
  std::uint8_t decimals = 0;
  bool nullable = false;
  std::uint16_t null_bit = 0;    // bit in the _NullFlags field, when nullable
  std::uint16_t length_bit = 0;  // for V and Q: the bit that says "the last byte is the length"
  bool auto_increment = false;
  std::uint32_t descriptor_offset = 0;  // of its descriptor in the file

  // Its bytes are a block of the memo file, whose text is the field's value.
  bool is_memo() const { return type == FieldLetter::kMemo || type == FieldLetter::kMemoBinary; }
  // Other programs' objects: its bytes may lead into the memo file, and we never follow them.
  bool is_object() const { return type == FieldLetter::kGeneral || type == FieldLetter::kPicture; }
  bool is_var_length() const {
    return type == FieldLetter::kVarchar || type == FieldLetter::kVarbinary;
  }
};

struct RecordLayout {
  std::vector<FieldLayout> fields;      // visible fields only, in file order
  std::uint32_t record_length = 1;      // with the deletion byte
  std::uint32_t null_flags_offset = 0;  // of the hidden _NullFlags field; 0 when there is none
  std::uint16_t null_flags_length = 0;
  std::shared_ptr<const CodePage> page;  // the table's code page, never null

  bool IsNull(const FieldLayout& f, const std::uint8_t* record) const {
    return f.nullable &&
           ((record[null_flags_offset + f.null_bit / 8] >> (f.null_bit % 8)) & 1) != 0;
  }
};

constexpr std::uint8_t kLiveMark = 0x20;
constexpr std::uint8_t kDeletedMark = 0x2A;

}  // namespace pv::engine

#endif  // PV_TABLESTORE_ENGINE_RECORD_LAYOUT_H_

// Key and filter expressions: compiled once per tag, evaluated on a record's bytes.
//
//   text --parse--> tree --check types--> program --run on a record--> value or key bytes
//
// An expression reads the record it is given and nothing else (DATE() alone asks the clock, and
// is refused in keys and filters because an index on it would be wrong tomorrow).
#ifndef PV_TABLESTORE_ENGINE_EXPRESSION_EXPRESSION_H_
#define PV_TABLESTORE_ENGINE_EXPRESSION_EXPRESSION_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/status.h"
#include "tablestore/engine/record_layout.h"

namespace pv::engine {

namespace expr {
class CompiledExpression;
}

enum class ValueType : std::uint8_t { kCharacter, kNumeric, kDate, kDateTime, kLogical };

// How a value becomes key bytes.
enum class KeyKind : std::uint8_t {
  kCharacter,  // as stored, blank-padded; fill byte is a blank
  kNumeric,    // 8 bytes, also dates and date-times; fill byte is zero, as for the rest
  kInteger,    // 4 bytes, a bare I field
  kCurrency,   // 8 bytes, a bare Y field
  kDate,
  kDateTime,
  kLogical,  // 1 byte
};

constexpr std::size_t kMaxKeyLength = 240;

// A compiled expression. Immutable; refers to the layout it was compiled against, which must
// outlive it.
class Expression {
 public:
  // kInvalid names the text, the position and what is wrong: an unknown field or function, a
  // missing parenthesis, operands whose types do not go together, a memo or general field, more
  // than 64 levels of nesting.
  static Result<std::unique_ptr<Expression>> Compile(std::string_view text,
                                                     const RecordLayout& layout);
  virtual ~Expression() = default;

  virtual ValueType type() const = 0;
  // True when a field that accepts nulls is used. Without one a value can still be null (1/0):
  // such a key is that of the empty value.
  virtual bool can_be_null() const = 0;
  // Full width of a character expression, in bytes; 0 for other types.
  virtual std::size_t width() const = 0;

  // A logical expression on a record; null counts as false. `record_number` is what RECNO() gives.
  virtual Result<bool> EvaluateLogical(const std::uint8_t* record,
                                       std::uint32_t record_number) const = 0;

 private:
  friend class expr::CompiledExpression;  // the only implementation
  Expression() = default;
};

// Makes the keys of one tag.
class KeyMaker {
 public:
  // `stored_length` is the key length of an existing tag's header, which decides between the
  // integer and the numeric form of a bare I field (and tells the null byte); 0 for a new tag.
  // kLimit over 240 bytes; kInvalid when the expression has no type that a key can have, kCorrupt
  // when `stored_length` fits no form of it.
  static Result<KeyMaker> Create(std::unique_ptr<Expression> expression, std::size_t stored_length);

  std::size_t key_length() const { return key_length_; }  // with the null byte, if any
  bool nullable() const { return nullable_; }
  KeyKind kind() const { return kind_; }
  std::uint8_t fill_byte() const { return kind_ == KeyKind::kCharacter ? 0x20 : 0x00; }

  // Writes exactly key_length() bytes to `key`.
  Status MakeKey(const std::uint8_t* record, std::uint32_t record_number, std::uint8_t* key) const;

  // The key that `text` (bytes in the table's code page) stands for when seeking: character text
  // is cut to the width; on other kinds it is read as such a value first ("-12.5"; "20240229";
  // "2024022913:45:00"; "T"). `exact_length` gets the number of leading bytes of `key` that the
  // text determined: all of them, or fewer for a shorter character text, whose key is
  // blank-padded. False when the text is no such value; `key` is then that of 0, of the empty
  // date or of false.
  bool KeyFromText(std::string_view text, std::uint8_t* key, std::size_t* exact_length) const;

 private:
  std::shared_ptr<const Expression> expression_;
  std::size_t key_length_ = 0;
  bool nullable_ = false;
  KeyKind kind_ = KeyKind::kCharacter;
};

}  // namespace pv::engine

#endif  // PV_TABLESTORE_ENGINE_EXPRESSION_EXPRESSION_H_

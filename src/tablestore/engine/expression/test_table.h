// A record layout and records for the tests of expressions.
#ifndef PV_TABLESTORE_ENGINE_EXPRESSION_TEST_TABLE_H_
#define PV_TABLESTORE_ENGINE_EXPRESSION_TEST_TABLE_H_

#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/bytes.h"
#include "tablestore/engine/expression/compiled_expression.h"
#include "tablestore/engine/expression/expression.h"
#include "tablestore/engine/record_layout.h"

namespace pv::engine::expr {

// Fields are added first, then records are made. The _NullFlags field has room for 16 bits and
// lies after the visible fields.
class TestTable {
 public:
  explicit TestTable(std::shared_ptr<const CodePage> page = CodePage::Windows1252()) {
    layout_.page = std::move(page);
  }

  TestTable& Add(std::string name, FieldLetter type, std::uint16_t length, bool nullable = false,
                 std::uint8_t decimals = 0) {
    FieldLayout f;
    f.name = std::move(name);
    f.type = type;
    f.length = length;
    f.decimals = decimals;
    f.offset = end_;
    f.nullable = nullable;
    if (nullable) f.null_bit = next_bit_++;
    if (type == FieldLetter::kVarchar || type == FieldLetter::kVarbinary) {
      f.length_bit = next_bit_++;
    }
    end_ += length;
    layout_.fields.push_back(std::move(f));
    layout_.record_length = end_ + 2;
    layout_.null_flags_offset = end_;
    layout_.null_flags_length = 2;
    return *this;
  }

  RecordLayout& layout() { return layout_; }
  const RecordLayout& layout() const { return layout_; }
  const FieldLayout& field(std::string_view name) const {
    for (const FieldLayout& f : layout_.fields) {
      if (f.name == name) return f;
    }
    return layout_.fields.at(layout_.fields.size());  // fails the test
  }

  // A live record of blanks, with nothing null.
  std::vector<std::uint8_t> NewRecord() const {
    std::vector<std::uint8_t> record(layout_.record_length, ' ');
    record[layout_.null_flags_offset] = 0;
    record[layout_.null_flags_offset + 1] = 0;
    return record;
  }

  // Stored bytes, blank-padded.
  void Put(std::vector<std::uint8_t>* record, std::string_view name, std::string_view bytes) const {
    const FieldLayout& f = field(name);
    std::memset(record->data() + f.offset, ' ', f.length);
    std::memcpy(record->data() + f.offset, bytes.data(),
                std::min<std::size_t>(bytes.size(), f.length));
  }
  void PutInteger(std::vector<std::uint8_t>* record, std::string_view name, std::int32_t v) const {
    StoreLe32(record->data() + field(name).offset, static_cast<std::uint32_t>(v));
  }
  void PutCurrency(std::vector<std::uint8_t>* record, std::string_view name, std::int64_t v) const {
    StoreLe64(record->data() + field(name).offset, static_cast<std::uint64_t>(v));
  }
  void PutDouble(std::vector<std::uint8_t>* record, std::string_view name, double v) const {
    StoreLe64(record->data() + field(name).offset, std::bit_cast<std::uint64_t>(v));
  }
  void PutDateTime(std::vector<std::uint8_t>* record, std::string_view name, std::int32_t julian,
                   std::int32_t milliseconds) const {
    StoreLe32(record->data() + field(name).offset, static_cast<std::uint32_t>(julian));
    StoreLe32(record->data() + field(name).offset + 4, static_cast<std::uint32_t>(milliseconds));
  }
  void PutNull(std::vector<std::uint8_t>* record, std::string_view name, bool null = true) const {
    SetFlag(record, field(name).null_bit, null);
  }
  // The last byte of a V or Q field becomes its length.
  void PutLength(std::vector<std::uint8_t>* record, std::string_view name, std::uint8_t n) const {
    const FieldLayout& f = field(name);
    (*record)[f.offset + f.length - 1u] = n;
    SetFlag(record, f.length_bit, true);
  }

 private:
  void SetFlag(std::vector<std::uint8_t>* record, std::uint16_t bit, bool on) const {
    std::uint8_t& byte = (*record)[layout_.null_flags_offset + bit / 8u];
    const auto mask = static_cast<std::uint8_t>(1u << (bit % 8));
    byte = static_cast<std::uint8_t>(on ? byte | mask : byte & ~mask);
  }

  RecordLayout layout_;
  std::uint32_t end_ = 1;
  std::uint16_t next_bit_ = 0;
};

// The value of a compiled expression, with its own copy of the text.
struct PlainValue {
  bool null = false;
  double number = 0;
  std::string text;
};

inline PlainValue ValueOf(const Expression& e, const std::uint8_t* record,
                          std::uint32_t record_number) {
  return static_cast<const CompiledExpression&>(e).Evaluate(
      record, record_number, [&](const Value& v) {
        return PlainValue{v.null, v.number, std::string(v.text())};
      });
}

inline std::string Hex(const std::uint8_t* bytes, std::size_t size) {
  std::string out;
  for (std::size_t i = 0; i < size; ++i) {
    out += "0123456789ABCDEF"[bytes[i] >> 4];
    out += "0123456789ABCDEF"[bytes[i] & 15];
  }
  return out;
}

}  // namespace pv::engine::expr

#endif  // PV_TABLESTORE_ENGINE_EXPRESSION_TEST_TABLE_H_

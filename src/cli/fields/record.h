// The current record of a table as text, and text as the values of its fields.
#ifndef PV_CLI_FIELDS_RECORD_H_
#define PV_CLI_FIELDS_RECORD_H_

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "cli/fields/infer.h"
#include "cli/output/listing.h"
#include "tablestore/engine/operations.h"

namespace pv::cli {

struct RecordField {
  engine::Handle handle = 0;
  std::string name;
  FieldShape shape;
};

// The fields of a table in order.
std::vector<RecordField> FieldsOf(engine::Handle table);

// Null when there is no such field. Letter case is ignored.
const RecordField* FindField(const std::vector<RecordField>& fields, std::string_view name);

// Whether values of this type are right-aligned in tables.
bool IsNumeric(char type);

// An amount, given in 1/10,000, with at least two decimals.
std::string CurrencyText(std::int64_t units);

// Reads values of the current record. Text comes without the blanks that fill its field; dates as
// 2024-02-29, date-times as 2024-02-29T13:45:00, logical values as true and false; numbers as they
// are stored, with a decimal point.
class RecordReader {
 public:
  explicit RecordReader(engine::Handle table);

  const std::vector<RecordField>& fields() const { return fields_; }
  void Read(const RecordField& field, Cell* cell) const;
  // Only the text of a character field, as Read gives it.
  std::string_view ReadText(const RecordField& field, std::string* scratch) const;

 private:
  std::string_view Decode(std::string_view bytes, std::string* scratch) const;

  engine::Handle table_;
  std::vector<RecordField> fields_;
  std::shared_ptr<const CodePage> page_;
};

// Writes one field of the record buffer. Nothing is ever cut: a value that the field cannot hold
// as it is is refused.
class FieldWriter {
 public:
  // False when fields of this type are not written from text (general and var-length fields).
  static bool CanWrite(char type);

  FieldWriter(const RecordField& field, const ColumnReading& reading,
              std::shared_ptr<const PageEncoder> encoder)
      : field_(field), reading_(reading), encoder_(std::move(encoder)) {}

  // `text` is UTF-8; blank text gives an empty field. When the value does not fit,
  // *reason says why, as a sentence that begins with the field's name, and the record in the
  // buffer must not be written.
  bool Write(std::string_view text, std::string* reason);

  const RecordField& field() const { return field_; }

 private:
  bool Refuse(std::string* reason, const std::string& why) const;
  bool WriteCharacters(std::string_view text, std::string* reason);
  bool WriteUnicode(std::string_view text, std::string* reason);
  bool WriteNumber(std::string_view text, std::string* reason);
  bool WriteDecimal(std::string_view digits, const NumberShape& shape, std::string* reason);
  bool WriteMoment(std::string_view text, std::string* reason);
  bool WriteMemo(std::string_view text, std::string* reason);

  RecordField field_;
  ColumnReading reading_;
  std::shared_ptr<const PageEncoder> encoder_;
  std::string scratch_;
};

}  // namespace pv::cli

#endif  // PV_CLI_FIELDS_RECORD_H_

// Reads values out of records. Tested by record_test.cc.
#include "cli/fields/record.h"

#include <charconv>
#include <cmath>

#include "base/text.h"

namespace pv::cli {
namespace {

std::string_view BytesOf(const RecordField& field) {
  const std::uint8_t* p = engine::f4ptr(field.handle);
  if (p == nullptr) return {};
  return {reinterpret_cast<const char*>(p), field.shape.length};
}

bool AllZero(std::string_view bytes) { return bytes.find_first_not_of('\0') == bytes.npos; }

void ReadDecimal(std::string_view bytes, Cell* cell) {
  const std::string_view digits = TrimBlanks(bytes);
  if (digits.empty()) {
    cell->Set(CellKind::kNone, {});
    return;
  }
  cell->Set(CellKind::kNumber, digits);
  // Other programs leave out the zero before the point.
  std::string& text = cell->text;
  const std::size_t first = text[0] == '-' ? 1 : 0;
  if (first < text.size() && text[first] == '.') text.insert(first, 1, '0');
}

}  // namespace

std::string CurrencyText(std::int64_t value) {
  const bool negative = value < 0;
  const std::uint64_t size =
      negative ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
  std::string fraction = std::to_string(10000 + size % 10000).substr(1);
  while (fraction.size() > 2 && fraction.back() == '0') fraction.pop_back();
  return (negative ? "-" : "") + std::to_string(size / 10000) + "." + fraction;
}

namespace {

void ReadDouble(double value, Cell* cell) {
  std::array<char, 64> text;
  const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value);
  const bool finite = std::isfinite(value) && error == std::errc();
  cell->Set(finite ? CellKind::kNumber : CellKind::kText,
            {text.data(), static_cast<std::size_t>(end - text.data())});
}

// yyyymmdd and, in a date-time, hh:mm:ss behind it.
void ReadMoment(std::string_view digits, Cell* cell) {
  if (TrimBlanks(digits).empty()) {
    cell->Set(CellKind::kNone, {});
    return;
  }
  cell->kind = CellKind::kText;
  std::string& text = cell->text;
  text.assign(digits.substr(0, 4));
  text.append("-").append(digits.substr(4, 2));
  text.append("-").append(digits.substr(6, 2));
  if (digits.size() > 8) text.append("T").append(digits.substr(8));
}

}  // namespace

std::vector<RecordField> FieldsOf(engine::Handle table) {
  std::vector<RecordField> fields;
  const std::int32_t count = engine::d4numFields(table);
  for (std::int32_t j = 1; j <= count; ++j) {
    RecordField field;
    field.handle = engine::d4fieldJ(table, j);
    field.name = engine::f4name(field.handle);
    field.shape = {static_cast<char>(engine::f4type(field.handle)),
                   static_cast<std::size_t>(engine::f4len_v(field.handle)),
                   static_cast<std::size_t>(engine::f4decimals(field.handle))};
    fields.push_back(std::move(field));
  }
  return fields;
}

const RecordField* FindField(const std::vector<RecordField>& fields, std::string_view name) {
  for (const RecordField& field : fields) {
    if (EqualsIgnoreCase(field.name, name)) return &field;
  }
  return nullptr;
}

bool IsNumeric(char type) { return std::string_view("NFIBY").find(type) != std::string_view::npos; }

RecordReader::RecordReader(engine::Handle table)
    : table_(table), fields_(FieldsOf(table)), page_(engine::d4codePage(table)) {}

std::string_view RecordReader::Decode(std::string_view bytes, std::string* scratch) const {
  if (IsAscii(bytes)) return bytes;
  *scratch = page_->Decode(bytes);
  return *scratch;
}

std::string_view RecordReader::ReadText(const RecordField& field, std::string* scratch) const {
  return Decode(TrimRight(BytesOf(field)), scratch);
}

void RecordReader::Read(const RecordField& field, Cell* cell) const {
  thread_local std::string scratch;
  if (engine::f4null(field.handle) != 0) {
    cell->Set(CellKind::kNone, {});
    return;
  }
  const std::string_view bytes = BytesOf(field);
  switch (field.shape.type) {
    case 'W': {
      std::u16string units(bytes.size() / 2, u'\0');
      for (std::size_t i = 0; i < units.size(); ++i) {
        units[i] = static_cast<char16_t>(static_cast<unsigned char>(bytes[2 * i]) |
                                         static_cast<unsigned char>(bytes[2 * i + 1]) << 8);
      }
      units.resize(std::min(units.find(u'\0'), units.size()));
      cell->Set(CellKind::kText, Utf8FromUtf16(units));
      return;
    }
    case 'N':
    case 'F':
      ReadDecimal(bytes, cell);
      return;
    case 'I':
      cell->Set(CellKind::kNumber, std::to_string(engine::f4long(field.handle)));
      return;
    case 'B':
      ReadDouble(engine::f4double(field.handle), cell);
      return;
    case 'Y':
      cell->Set(CellKind::kNumber, CurrencyText(engine::f4currency(field.handle)));
      return;
    case 'D':
      ReadMoment(bytes, cell);
      return;
    case 'T': {
      const char* text = engine::f4dateTime(field.handle);
      ReadMoment(text != nullptr ? text : "", cell);
      return;
    }
    case 'L':
      if (bytes.empty() || std::string_view("TtYyFfNn").find(bytes[0]) == std::string_view::npos) {
        cell->Set(CellKind::kNone, {});
      } else {
        cell->Set(CellKind::kBoolean, engine::f4true(field.handle) != 0 ? "true" : "false");
      }
      return;
    case 'M':
    case 'X': {
      const std::int32_t size = engine::f4memoLen(field.handle);
      const std::uint8_t* p = engine::f4memoPtr(field.handle);
      const std::string_view memo =
          p == nullptr ? std::string_view()
                       : std::string_view(reinterpret_cast<const char*>(p),
                                          static_cast<std::size_t>(std::max(size, 0)));
      cell->Set(CellKind::kText, Decode(memo, &scratch));
      return;
    }
    case 'G':
      // A pointer to an embedded object; there is nothing in it to show as text.
      cell->Set(AllZero(bytes) || TrimBlanks(bytes).empty() ? CellKind::kNone : CellKind::kText,
                AllZero(bytes) || TrimBlanks(bytes).empty() ? "" : "(object)");
      return;
    default:
      cell->Set(CellKind::kText, Decode(TrimRight(bytes), &scratch));
      return;
  }
}

}  // namespace pv::cli

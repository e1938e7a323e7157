// Walks address books. Tested by contacts_cursor_test.cc and tests/cli.
#include "cli/groups/contacts_cursor.h"

#include "cli/failure.h"

namespace pv::cli {

using automation::Value;

namespace {

// Types in the low half of a property tag.
enum PropertyType : std::int32_t {
  kShort = 0x0002,
  kLong = 0x0003,
  kDouble = 0x0005,
  kBoolean = 0x000B,
  kTime = 0x0040,
};

constexpr std::int32_t kBirthday = 0x3A420040;
constexpr std::int32_t kWeddingAnniversary = 0x3A410040;

std::string Hexadecimal(const automation::Bytes& bytes) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

}  // namespace

void SetContactCell(const Value& value, Cell* cell) {
  if (value.IsEmpty() || value.IsNull()) {
    cell->Set(CellKind::kNone, "");
  } else if (const auto* texts = value.TryGet<automation::TextArray>()) {
    std::string joined;
    for (const std::string& text : *texts) joined += (joined.empty() ? "" : "; ") + text;
    cell->Set(CellKind::kText, joined);
  } else if (const auto* bytes = value.TryGet<automation::Bytes>()) {
    cell->Set(CellKind::kText, Hexadecimal(*bytes));
  } else if (const auto* date = value.TryGet<automation::Date>()) {
    std::string text = automation::FormatDate(*date, "yyyy-mm-dd hh:nn:ss");
    const bool whole_day = text.ends_with(" 00:00:00");
    if (whole_day) text.resize(text.find(' '));
    if (!whole_day) text[text.find(' ')] = 'T';
    cell->Set(CellKind::kText, text);
  } else if (const auto* yes = value.TryGet<bool>()) {
    cell->Set(CellKind::kBoolean, *yes ? "true" : "false");
  } else {
    cell->Set(value.IsNumeric() ? CellKind::kNumber : CellKind::kText, value.ToText());
  }
}

FieldShape ShapeOfProperty(std::int32_t tag) {
  if (tag == kBirthday || tag == kWeddingAnniversary) return {'D', 8, 0};
  switch (tag & 0xFFFF) {
    case kShort:
    case kLong:
      return {'I', 4, 0};
    case kDouble:
      return {'B', 8, 0};
    case kBoolean:
      return {'L', 1, 0};
    case kTime:
      return {'T', 8, 0};
    default:
      return {'C', 0, 0};
  }
}

ContactsCursor::ContactsCursor(automation::Ref<addressbook::AddressBookContacts> contacts)
    : contacts_(std::move(contacts)) {
  const auto& columns = contacts_->columns();
  const auto fields = contacts_->GetFields();
  for (std::int32_t i = 0; i < fields->Count(); ++i) {
    const auto field = fields->Item(Value(i));
    // The last field holds the categories and has no column.
    const FieldShape shape = i < columns->Count()
                                 ? ShapeOfProperty(columns->Item(Value(i + 1))->GetPropertyId())
                                 : FieldShape{'C', 0, 0};
    fields_.push_back({field->GetName(), shape});
  }
}

std::string ContactsCursor::address_field() const {
  return Find("Email").has_value() ? "Email" : "";
}

bool ContactsCursor::Next() {
  if (contacts_->MoveNext()) return true;
  if (!contacts_->read_error().empty()) throw Failure(kUnavailable, contacts_->read_error());
  return false;
}

void ContactsCursor::Read(std::size_t field, Cell* cell) {
  const auto value = contacts_->GetFields()->Item(Value(static_cast<std::int32_t>(field)));
  SetContactCell(value->Current(), cell);
}

bool ContactsCursor::FindAddress(std::string_view address) {
  return contacts_->SeekFirst(std::string(address), "Email");
}

}  // namespace pv::cli

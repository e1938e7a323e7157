// The record of the contacts cursor. Tested by address_book_contacts_test.cc and
// contact_search_test.cc.
#include "addressbook/contact_cursor.h"

#include <algorithm>

#include "base/text.h"

namespace pv::addressbook {

using automation::Object;
using automation::Ref;
using automation::Value;

namespace {

std::string Joined(const automation::TextArray& texts) {
  std::string joined;
  for (const std::string& text : texts) {
    if (!joined.empty()) joined += "; ";
    joined += text;
  }
  return joined;
}

bool SameText(std::string_view text, std::string_view wanted) {
  return EqualsIgnoreCase(TrimBlanks(text), wanted);
}

}  // namespace

Value FieldValue(Value value) {
  if (const auto* texts = value.TryGet<automation::TextArray>()) value = Joined(*texts);
  if (value.IsNull() || value.IsMissing()) return {};
  const auto* text = value.TryGet<std::string>();
  if (text != nullptr && text->empty()) return {};
  return value;
}

std::string DateDigits(const Value& value) {
  const auto* date = value.TryGet<automation::Date>();
  return date == nullptr ? "00000000" : automation::FormatDate(*date, "yyyymmdd");
}

bool IsSearched(const Value& value, std::string_view wanted) {
  if (const auto* text = value.TryGet<std::string>()) return SameText(*text, wanted);
  if (const auto* texts = value.TryGet<automation::TextArray>()) {
    return SameText(Joined(*texts), wanted) ||
           std::any_of(texts->begin(), texts->end(),
                       [wanted](const std::string& text) { return SameText(text, wanted); });
  }
  if (const auto* date = value.TryGet<automation::Date>()) {
    automation::Date day;
    return wanted == DateDigits(value) || (automation::ParseDate(wanted, &day) && day == *date);
  }
  if (value.IsEmpty() || value.IsNull()) return wanted.empty();
  // Binary identifiers and the like are no text that anybody could search for.
  return value.IsNumeric() && SameText(value.ToText(), wanted);
}

AddressBookContacts::Record::Record(Ref<tablestore::Fields> fields, const Ref<ABFields>& columns)
    : RecordView(std::move(fields)) {
  std::vector<std::string> names;
  for (std::int32_t i = 1; i <= columns->Count(); ++i) {
    const Ref<ABField> column = columns->Item(Value(i));
    names.push_back(column->GetName());
    properties_.emplace_back(column->GetName(), Value(column->GetPropertyId()));
  }
  names.emplace_back(kCategoriesField);
  properties_.emplace_back(kCategoriesField, Value(kCategoriesField));
  SetNames(std::move(names));
}

void AddressBookContacts::Record::Empty() {
  Clear();
  contact_ = nullptr;
  Show(Shows::kNewRecord);
}

void AddressBookContacts::Record::ShowContact(Ref<Object> contact) {
  Clear();
  contact_ = std::move(contact);
  Show(Shows::kRecord);
}

Value AddressBookContacts::Record::PropertyOf(std::string_view name) const {
  for (const auto& [field, property] : properties_) {
    if (EqualsIgnoreCase(field, name)) return property;
  }
  return {};
}

void AddressBookContacts::Record::Read(std::int32_t ordinal, Value* value) const {
  const auto i = static_cast<std::size_t>(ordinal);
  Value read = addressbook::PropertyOf(contact_, properties_[i].second);
  if (i + 1 < properties_.size()) {
    *value = FieldValue(std::move(read));
    return;
  }
  const auto* texts = read.TryGet<automation::TextArray>();
  *value = texts != nullptr && !texts->empty() ? std::move(read) : Value();
  if (texts == nullptr) *value = FieldValue(std::move(read));
}

}  // namespace pv::addressbook

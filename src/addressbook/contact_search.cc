// Find and SeekFirst of the contacts cursor. Tested by contact_search_test.cc.
#include "addressbook/contact_cursor.h"
#include "addressbook/contact_properties.h"
#include "base/text.h"
#include "tablestore/traced.h"

namespace pv::addressbook {

using automation::Value;
using tablestore::Traced;

namespace {

constexpr const char* kEmailField = "Email";

// Takes one character off each end where it stands there.
std::string_view WithoutQuote(std::string_view text, char quote) {
  if (!text.empty() && text.front() == quote) text.remove_prefix(1);
  if (!text.empty() && text.back() == quote) text.remove_suffix(1);
  return text;
}

}  // namespace

bool AddressBookContacts::Search(const std::string& field, const std::string& value,
                                 bool from_current, bool back) {
  const std::int32_t step = back ? -1 : 1;
  std::int64_t position = back ? count_ : 1;
  if (from_current) position = std::int64_t{current_} + step;
  ClearRecordBuffer();
  Value property = record_ ? record_->PropertyOf(field) : Value();
  // The address can be searched for even when none of the contacts looked at for columns had one.
  if (property.IsEmpty() && EqualsIgnoreCase(field, kEmailField)) {
    property = static_cast<std::int32_t>(kEmailTag);
  }
  const std::string_view wanted = TrimBlanks(value);
  for (; !property.IsEmpty() && position >= 1 && position <= count_; position += step) {
    const auto contact = ContactAt(static_cast<std::int32_t>(position));
    if (!IsSearched(PropertyOf(contact, property), wanted)) continue;
    current_ = static_cast<std::int32_t>(position);
    read_error_.clear();
    record_->ShowContact(contact);
    return true;
  }
  current_ = count_ + 1;
  read_error_.clear();
  return false;
}

Value AddressBookContacts::Find(const std::string& sCriteria,
                                const std::optional<std::int32_t>& lSkipRows,
                                const std::optional<std::int32_t>& lSearchDirection,
                                const std::optional<Value>&) {
  return Traced("Find", [&]() -> Value {
    const std::string_view criteria = sCriteria;
    const std::size_t equals = criteria.find('=');
    std::string_view field;
    std::string_view value = criteria;
    if (equals != std::string_view::npos) {
      field = TrimBlanks(criteria.substr(0, equals));
      value = criteria.substr(equals + 1);
    }
    if (field.empty()) field = kEmailField;
    value = WithoutQuote(WithoutQuote(TrimBlanks(value), '\''), '#');
    const bool found = Search(std::string(field), std::string(value), lSkipRows.value_or(0) != 0,
                              lSearchDirection.value_or(0) < 0);
    return found ? Value(true) : Value();
  });
}

bool AddressBookContacts::SeekFirst(const std::string& sValue, const std::string&) {
  return Traced("SeekFirst", [&] { return Search(kEmailField, sValue, false, false); });
}

}  // namespace pv::addressbook

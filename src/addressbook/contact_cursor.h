// What the contacts cursor is made of; shared by its sources.
#ifndef PV_ADDRESSBOOK_CONTACT_CURSOR_H_
#define PV_ADDRESSBOOK_CONTACT_CURSOR_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "addressbook/converter.h"
#include "pvgroupman/addressbook/address_book_contacts.h"
#include "tablestore/record_view.h"

namespace pv::addressbook {

// The column that every record has beside those of the catalogue.
constexpr const char* kCategoriesField = "Categories";

// A converter's value as a field shows it: Empty for what is empty, several texts joined.
automation::Value FieldValue(automation::Value value);

// A moment as eight digits, yyyymmdd; "00000000" when the value is no date.
std::string DateDigits(const automation::Value& value);

// Whether a field's value is the one searched for (without blanks at its ends): letter case
// ignored; for dates in any form that reads as that day, for categories any one of them.
bool IsSearched(const automation::Value& value, std::string_view wanted);

// Which contacts the cursor has: all of the address book, in its order, or those whose identifiers
// were added.
class AddressBookContacts::Selection {
 public:
  // All of `count` contacts; nothing needs to be known of them.
  explicit Selection(std::int32_t count) : count_(count) {}

  // None yet.
  Selection() = default;
  void Add(automation::Value id) {
    ids_.push_back(std::move(id));
    ++count_;
  }

  std::int32_t count() const { return count_; }

  // The identifier of the contact at a position; null when all contacts are selected, so that the
  // position is the address book's own.
  const automation::Value* IdAt(std::int32_t position) const {
    return ids_.empty() ? nullptr : &ids_[static_cast<std::size_t>(position) - 1];
  }

 private:
  std::int32_t count_ = 0;
  std::vector<automation::Value> ids_;
};

// The current contact as Fields shows it.
class AddressBookContacts::Record : public tablestore::RecordView {
 public:
  Record(automation::Ref<tablestore::Fields> fields, const automation::Ref<ABFields>& columns);
  ~Record() override { Finish(); }

  // Every field Empty.
  void Empty();

  // The fields of a contact.
  void ShowContact(automation::Ref<automation::Object> contact);

  // What identifies a field's property towards the converter; Empty when there is no such field.
  automation::Value PropertyOf(std::string_view name) const;

 private:
  void Read(std::int32_t ordinal, automation::Value* value) const override;

  std::vector<std::pair<std::string, automation::Value>> properties_;  // in the order of the fields
  automation::Ref<automation::Object> contact_;
};

}  // namespace pv::addressbook

#endif  // PV_ADDRESSBOOK_CONTACT_CURSOR_H_

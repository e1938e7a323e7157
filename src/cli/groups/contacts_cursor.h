// A walk over the contacts of an address book.
#ifndef PV_CLI_GROUPS_CONTACTS_CURSOR_H_
#define PV_CLI_GROUPS_CONTACTS_CURSOR_H_

#include <string>
#include <string_view>
#include <vector>

#include "cli/groups/group_cursor.h"
#include "pvgroupman/addressbook/address_book_contacts.h"

namespace pv::cli {

// A value of a contact as a cell: days as 2024-02-29, moments as 2024-02-29T13:45:10, several
// texts joined with "; ", bytes as hexadecimal digits.
void SetContactCell(const automation::Value& value, Cell* cell);

// The field of a table of ours that is closest to a property.
FieldShape ShapeOfProperty(std::int32_t tag);

class ContactsCursor : public GroupCursor {
 public:
  explicit ContactsCursor(automation::Ref<addressbook::AddressBookContacts> contacts);

  const std::vector<CursorField>& fields() const override { return fields_; }
  std::string address_field() const override;
  bool Next() override;
  void Read(std::size_t field, Cell* cell) override;
  bool FindAddress(std::string_view address) override;

 private:
  automation::Ref<addressbook::AddressBookContacts> contacts_;
  std::vector<CursorField> fields_;
};

}  // namespace pv::cli

#endif  // PV_CLI_GROUPS_CONTACTS_CURSOR_H_

// Opens address books.
#ifndef PVGROUPMAN_ADDRESSBOOK_ADDRESS_BOOK_H_
#define PVGROUPMAN_ADDRESSBOOK_ADDRESS_BOOK_H_

#include <string>

#include "pvgroupman/addressbook/address_book_contacts.h"
#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/object.h"

namespace pv::addressbook {

// Makes cursors over the contacts of saved sources.
class PV_API AddressBook : public automation::Object {
 public:
  static constexpr const char* kClassName = "AddressBook";

  // A new cursor over what the saved source with this ID selects, before its first contact. Errors
  // are those of AddressBookContacts::CreateInst, under the source "AddressBook::OpenAddressBook".
  automation::Ref<AddressBookContacts> OpenAddressBook(const std::string& sId);

  const automation::MemberTable& Members() const override;
};

}  // namespace pv::addressbook

#endif  // PVGROUPMAN_ADDRESSBOOK_ADDRESS_BOOK_H_

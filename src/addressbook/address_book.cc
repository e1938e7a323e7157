// AddressBook. Tested by address_book_contacts_test.cc.
#include "pvgroupman/addressbook/address_book.h"

#include "addressbook/labelled.h"
#include "pvgroupman/automation/member_table.h"
#include "support/trace.h"

namespace pv::addressbook {

automation::Ref<AddressBookContacts> AddressBook::OpenAddressBook(const std::string& sId) {
  return Labelled("AddressBook::OpenAddressBook", [&] {
    auto cursor = automation::MakeObject<AddressBookContacts>();
    try {
      cursor->CreateInst(sId);
    } catch (...) {
      support::PokeTrace("CreateInst failed");
      throw;
    }
    support::PokeTrace("CreateInst succeeded");
    return cursor;
  });
}

const automation::MemberTable& AddressBook::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Method("OpenAddressBook", &AddressBook::OpenAddressBook, {"sId"});
  return table;
}

}  // namespace pv::addressbook

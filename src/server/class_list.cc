// The public classes. Tested by class_list_test.cc.
#include "server/class_list.h"

#include "pvgroupman/addressbook/ab_fields.h"
#include "pvgroupman/addressbook/address_book.h"
#include "pvgroupman/addressbook/address_book_contacts.h"
#include "pvgroupman/addressbook/address_book_source.h"
#include "pvgroupman/ado/ado_group_properties.h"
#include "pvgroupman/ado/data_source.h"
#include "pvgroupman/ado/data_sources.h"
#include "pvgroupman/ado/filters.h"
#include "pvgroupman/groups/group_field_types.h"
#include "pvgroupman/groups/group_links.h"
#include "pvgroupman/groups/groups.h"
#include "pvgroupman/support/registry.h"
#include "pvgroupman/support/settings.h"
#include "pvgroupman/tablestore/database.h"
#include "pvgroupman/tablestore/field_defs.h"
#include "pvgroupman/tablestore/fields.h"
#include "pvgroupman/tablestore/index_defs.h"
#include "pvgroupman/tablestore/recipients.h"
#include "server/providers.h"

namespace pv::server {
namespace {

template <typename T>
constexpr PublicClass Entry() {
  return {T::kClassName,
          [] { return automation::Ref<automation::Object>(automation::MakeObject<T>()); }};
}

constexpr PublicClass kClasses[] = {
    Entry<groups::Groups>(),
    Entry<support::Settings>(),
    Entry<tablestore::Database>(),
    Entry<tablestore::Recipients>(),
    Entry<tablestore::Field>(),
    Entry<tablestore::Fields>(),
    Entry<tablestore::FieldDef>(),
    Entry<tablestore::FieldDefs>(),
    Entry<tablestore::IndexDef>(),
    Entry<tablestore::IndexDefs>(),
    Entry<groups::GroupLink>(),
    Entry<groups::GroupLinks>(),
    Entry<groups::GroupFieldType>(),
    Entry<groups::GroupFieldTypes>(),
    Entry<support::cRegistry>(),
    Entry<ado::CDataSource>(),
    Entry<ado::CDataSources>(),
    Entry<ado::CADOGroupProperties>(),
    Entry<ado::CFilter>(),
    Entry<ado::CFilters>(),
    Entry<addressbook::AddressBook>(),
    Entry<addressbook::AddressBookContacts>(),
    Entry<addressbook::CAddressBookSource>(),
    Entry<addressbook::ABField>(),
    Entry<addressbook::ABFields>(),
};

}  // namespace

std::span<const PublicClass> PublicClasses() { return kClasses; }

std::string ProgIdOf(const PublicClass& entry) { return std::string(kProgIdPrefix) + entry.name; }

void RegisterPublicClasses() {
  for (const PublicClass& entry : kClasses) {
    automation::RegisterClass(ProgIdOf(entry), entry.factory);
  }
  UseProviders();
}

}  // namespace pv::server

// Address books as the commands see them: a place that can be read, and what a group keeps of it.
#ifndef PV_CLI_GROUPS_ADDRESS_BOOKS_H_
#define PV_CLI_GROUPS_ADDRESS_BOOKS_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "addressbook/converter.h"
#include "cli/groups/catalogue.h"
#include "cli/groups/group_cursor.h"
#include "pvgroupman/addressbook/address_book_contacts.h"

namespace pv::cli {

// What a group reads: an address book and, unless both are empty, the names of the categories and
// distribution lists whose contacts it takes.
struct BookSettings {
  std::string format;
  std::string location;
  std::vector<std::string> categories;
  std::vector<std::string> lists;
};

// The code of a format in upper case; kUsage, naming them all, when there is no such format.
std::string FormatCode(std::string_view format);

// A location as it is kept: addresses ("ldap://…") as they are, paths from the root.
std::string KeptLocation(const std::string& location);

// A link to the address book at a place. Nothing is read yet; kUnavailable, with the reason, when
// the format cannot be read on this machine.
addressbook::ConverterLink LinkTo(const std::string& format, const std::string& location);

// kUsage, naming those that there are, for a category or list that the address book does not have.
void CheckNames(const addressbook::ConverterLink& link, const BookSettings& settings);

// Prints what the converter had to leave out.
void TellWarnings(const std::vector<std::string>& warnings);

// A group of a catalogue that is an address book; kUsage for another kind.
const GroupEntry& GetBook(const Catalogue& catalogue, const std::string& group);

// The ID under which the settings of such a group are saved.
std::string SourceIdOf(const GroupEntry& entry);

BookSettings SettingsOf(const GroupEntry& entry);

// The cursor over the contacts that a group has.
automation::Ref<addressbook::AddressBookContacts> OpenCursor(const GroupEntry& entry);

// The same as a walk; what the converter had to leave out is told.
std::unique_ptr<GroupCursor> OpenContacts(const GroupEntry& entry);

// How many those are.
std::uint64_t CountContacts(const GroupEntry& entry);

// Saves settings under an ID, in place of what is there.
void SaveSettings(const std::string& source_id, const BookSettings& settings);

// Removes a group's settings unless another group reads them too.
void RemoveSettings(const Catalogue& catalogue, const GroupEntry& entry);

// Several names as one text.
std::string Joined(const std::vector<std::string>& names);

}  // namespace pv::cli

#endif  // PV_CLI_GROUPS_ADDRESS_BOOKS_H_

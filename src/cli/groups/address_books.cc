// Settings of address-book groups. Tested end to end by tests/cli.
#include "cli/groups/address_books.h"

#include <algorithm>
#include <cstdlib>

#include "addressbook/source_formats.h"
#include "addressbook/text_collection.h"
#include "base/text.h"
#include "cli/failure.h"
#include "cli/groups/contacts_cursor.h"
#include "cli/output/terminal.h"
#include "cli/paths.h"
#include "platform/system.h"
#include "pvgroupman/addressbook/address_book.h"
#include "pvgroupman/addressbook/address_book_source.h"
#include "pvgroupman/automation/call.h"

namespace pv::cli {

using addressbook::CAddressBookSource;
using addressbook::ConverterLink;
using automation::MakeObject;
using automation::Value;

std::string Joined(const std::vector<std::string>& names) {
  std::string joined;
  for (const std::string& name : names) joined += (joined.empty() ? "" : "; ") + name;
  return joined;
}

std::string FormatCode(std::string_view format) {
  const std::string upper = ToUpper(format);
  const std::string_view code = TrimBlanks(upper);
  const auto& codes = addressbook::kSourceFormats;
  if (std::find(codes.begin(), codes.end(), code) != codes.end()) return std::string(code);
  std::string known;
  for (auto at = codes.begin(); at != codes.end(); ++at) {
    if (std::find(codes.begin(), at, *at) != at) continue;
    known += (known.empty() ? "" : ", ") + std::string(*at);
  }
  throw Failure(kUsage, "there is no format \"" + std::string(format) + "\"; there are " + known);
}

std::string KeptLocation(const std::string& location) {
  if (location.find("://") != std::string::npos) return location;
  return AbsolutePath(location);
}

namespace {

constexpr const char* kPasswordVariable = "PVGROUP_LDAP_PASSWORD";

// The converter takes the password for a directory that is told who asks from the environment.
// Where it is not there and somebody is there to be asked, he is.
void AskForPassword(const std::string& format, const std::string& location) {
  if (format != "GAL" || ToLower(location).find("bindname=") == std::string::npos) return;
  if (platform::CurrentSystem().process->Environment(kPasswordVariable)) return;
  if (!InputIsTerminal() || !ErrorsAreTerminal()) return;
  const std::string password = AskSecret("Password for " + location + ": ");
#ifdef _WIN32
  ::_putenv_s(kPasswordVariable, password.c_str());
#else
  ::setenv(kPasswordVariable, password.c_str(), 1);
#endif
}

}  // namespace

ConverterLink LinkTo(const std::string& format, const std::string& location) {
  ConverterLink link;
  std::string reason = "the converter does not know the format";
  const std::int32_t count = link.FormatCount();
  for (std::int32_t i = 0; i < count; ++i) {
    const addressbook::ConverterFormat offered = link.FormatAt(i);
    if (offered.code != format) continue;
    if (offered.readable && offered.installed) {
      AskForPassword(format, location);
      link.SetSource(format, location, true);
      return link;
    }
    reason = link.FormatReason(i);
  }
  throw Failure(kUnavailable, "address books of the format " + format + " cannot be read here" +
                                  (reason.empty() ? "" : ": " + reason));
}

namespace {

void CheckNamesOf(const char* what, const std::vector<std::string>& wanted,
                  const std::vector<addressbook::CountedName>& there) {
  for (const std::string& name : wanted) {
    if (std::any_of(there.begin(), there.end(), [&](const auto& t) { return t.name == name; })) {
      continue;
    }
    std::string names;
    for (const addressbook::CountedName& t : there) names += (names.empty() ? "" : ", ") + t.name;
    throw Failure(kUsage, std::string("the address book has no ") + what + " \"" + name + "\"" +
                              (names.empty() ? " and no other" : "; it has " + names));
  }
}

}  // namespace

void CheckNames(const ConverterLink& link, const BookSettings& settings) {
  if (!settings.categories.empty()) {
    CheckNamesOf("category", settings.categories, link.Categories());
  }
  if (!settings.lists.empty()) {
    CheckNamesOf("distribution list", settings.lists, link.DistributionLists());
  }
}

void TellWarnings(const std::vector<std::string>& warnings) {
  for (const std::string& warning : warnings) Tell("note: " + warning);
}

const GroupEntry& GetBook(const Catalogue& catalogue, const std::string& group) {
  const GroupEntry& entry = catalogue.Get(group);
  if (entry.type != groups::GroupType::kAddressBook) {
    throw Failure(kUsage, "group \"" + entry.name + "\" is not an address book");
  }
  return entry;
}

std::string SourceIdOf(const GroupEntry& entry) {
  return TrimBlanks(entry.data_source_id).empty() ? entry.properties_id : entry.data_source_id;
}

BookSettings SettingsOf(const GroupEntry& entry) {
  const auto source = MakeObject<CAddressBookSource>();
  source->OpenAddressBookSource(SourceIdOf(entry));
  return {source->GetSourceFormat(), source->GetSourceLocation(),
          addressbook::TextsOf(source->GetCategories()),
          addressbook::TextsOf(source->GetDistributionLists())};
}

automation::Ref<addressbook::AddressBookContacts> OpenCursor(const GroupEntry& entry) {
  const BookSettings settings = SettingsOf(entry);
  AskForPassword(settings.format, settings.location);
  return MakeObject<addressbook::AddressBook>()->OpenAddressBook(SourceIdOf(entry));
}

std::unique_ptr<GroupCursor> OpenContacts(const GroupEntry& entry) {
  auto contacts = OpenCursor(entry);
  TellWarnings(contacts->Warnings());
  return std::make_unique<ContactsCursor>(std::move(contacts));
}

std::uint64_t CountContacts(const GroupEntry& entry) {
  const auto contacts = OpenCursor(entry);
  TellWarnings(contacts->Warnings());
  return static_cast<std::uint64_t>(contacts->GetRecordCount());
}

void SaveSettings(const std::string& source_id, const BookSettings& settings) {
  const auto source = MakeObject<CAddressBookSource>();
  source->SetId(source_id);
  source->SetSourceFormat(settings.format);
  source->SetSourceLocation(settings.location);
  const auto categories = source->GetCategories();
  for (const std::string& name : settings.categories) {
    automation::CallMember(categories, "Add", {Value(name)});
  }
  const auto lists = source->GetDistributionLists();
  for (const std::string& name : settings.lists) {
    automation::CallMember(lists, "Add", {Value(name)});
  }
  source->SaveAddressBookSource();
}

void RemoveSettings(const Catalogue& catalogue, const GroupEntry& entry) {
  const std::string id = SourceIdOf(entry);
  if (TrimBlanks(id).empty()) return;
  for (const GroupEntry& other : catalogue.entries()) {
    if (other.id != entry.id && other.type == groups::GroupType::kAddressBook &&
        SourceIdOf(other) == id) {
      return;
    }
  }
  MakeObject<CAddressBookSource>()->DeleteAddressBookSource(id);
}

}  // namespace pv::cli

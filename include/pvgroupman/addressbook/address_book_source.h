// Saved address-book sources: which address book a group reads, and which part of it.
#ifndef PVGROUPMAN_ADDRESSBOOK_ADDRESS_BOOK_SOURCE_H_
#define PVGROUPMAN_ADDRESSBOOK_ADDRESS_BOOK_SOURCE_H_

#include <memory>
#include <optional>
#include <string>

#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/object.h"

namespace pv::support {
class DataFolder;
}

namespace pv::addressbook {

// Loads, saves and deletes one source by its ID. A source is a row of AddrSrc.pvg in the group
// data folder, with rows of AddrCat.pvg and AddrDist.pvg for the categories and distribution lists
// that were chosen; none chosen means all contacts.
//
// Errors of the operations carry "CAddressBookSource::" and the operation as source and are
// logged: 2308, "ID not specified for AddressBook Source"; 2306, "Address Book details can not be
// located"; 5 for text that its field cannot keep as it is; the table store's own.
class PV_API CAddressBookSource : public automation::Object {
 public:
  static constexpr const char* kClassName = "CAddressBookSource";

  CAddressBookSource();

  // Names of categories: a collection of texts with Add, Count, Item, Remove, made when first
  // asked for. A host may set another that has these members, counted from 1.
  automation::Ref<automation::Object> GetCategories();
  void SetCategories(const automation::Ref<automation::Object>& NewValue);

  // Names of distribution lists, likewise.
  automation::Ref<automation::Object> GetDistributionLists();
  void SetDistributionLists(const automation::Ref<automation::Object>& NewValue);

  // The key, at most 32 characters. It can be set once: error 2410, "ID already exists", from then
  // on.
  std::string GetId() const { return id_; }
  void SetId(const std::string& NewValue);

  // The format's code in upper case without blanks around it; "" until it is set. Error 2411,
  // "SourceFormat not valid", changing nothing, for a code that is none. Setting it settles the
  // three flags below, which are false before.
  std::string GetSourceFormat() const { return format_; }
  void SetSourceFormat(const std::string& NewValue);

  // Where the address book lies: a file, a folder, an address; whatever its format reads.
  std::string GetSourceLocation() const { return location_; }
  void SetSourceLocation(const std::string& NewValue) { location_ = NewValue; }

  // What the format admits.
  bool GetWriteAccess() const { return write_access_; }
  bool GetUpdateAccess() const { return update_access_; }
  bool GetSilentMode() const { return silent_mode_; }

  // Writes the source and the names, in place of what the tables have under its ID; makes the
  // tables that are missing. Returns true.
  bool SaveAddressBookSource();

  // Loads a saved source. ID and names are replaced at once, format and location when the source
  // is found. Returns true.
  bool OpenAddressBookSource(const std::string& ID);

  // Removes a source (this one when no ID is given) with its names; true, whether there was one or
  // not.
  bool DeleteAddressBookSource(const std::optional<std::string>& ID = std::nullopt);

  const automation::MemberTable& Members() const override;

 private:
  struct NameStore;

  ~CAddressBookSource() override;

  const std::string& GroupDataFolder();
  void ResetAbSource();
  void CreateAddressBookStore();
  void CreateNameStore(const NameStore& store);
  void SaveNames(const NameStore& store);
  void OpenNames(const NameStore& store);
  void DeleteNames(const NameStore& store, const std::string& id);
  automation::Ref<automation::Object> NamesOf(const NameStore& store);

  automation::Ref<automation::Object> categories_;
  automation::Ref<automation::Object> distribution_lists_;
  std::string id_;
  std::string format_;
  std::string location_;
  bool write_access_ = false;
  bool update_access_ = false;
  bool silent_mode_ = false;
  std::unique_ptr<support::DataFolder> folder_;
};

}  // namespace pv::addressbook

#endif  // PVGROUPMAN_ADDRESSBOOK_ADDRESS_BOOK_SOURCE_H_

// The group catalogue and the operations on whole groups.
#ifndef PVGROUPMAN_GROUPS_GROUPS_H_
#define PVGROUPMAN_GROUPS_GROUPS_H_

#include <cstdint>
#include <memory>
#include <string>

#include "pvgroupman/ado/ado_group_properties.h"
#include "pvgroupman/ado/data_source.h"
#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/groups/group_field_types.h"
#include "pvgroupman/groups/group_links.h"
#include "pvgroupman/groups/types.h"
#include "pvgroupman/tablestore/field_defs.h"
#include "pvgroupman/tablestore/index_defs.h"

namespace pv::support {
class DataFolder;
}

namespace pv::groups {

// The component's main class. The catalogue is a table, groups.pvg in the group data folder
// (support::Settings); the object mirrors it in memory and has at most one group open.
//
//   auto groups = automation::MakeObject<groups::Groups>();
//   auto cursor = groups->OpenGroup(id);  // a tablestore::Recipients for a native group
//
// Errors keep the number and description of what failed below and carry "Groups::" and the name
// of the operation as source. A group ID that could not be part of a file name (separators,
// colons, control characters, points alone, device names, more than 32 characters) is refused
// with error 5 wherever files are named by it.
class PV_API Groups : public automation::Object {
 public:
  static constexpr const char* kClassName = "Groups";

  // Reads the catalogue, if there is one; creates nothing. Source of errors: "Groups::Initialize".
  Groups();

  // The catalogue in name order, as of the last Refresh and the AddGroup calls since.
  automation::Ref<GroupLinks> GetGroups();
  void SetGroups(const automation::Ref<GroupLinks>& NewValue) { groups_ = NewValue; }

  // The fields of the open group, as GetGroupFieldTypes found them.
  automation::Ref<GroupFieldTypes> GetFieldTypes();
  void SetFieldTypes(const automation::Ref<GroupFieldTypes>& NewValue) { field_types_ = NewValue; }

  // The open group's Database (a connection for an ADO group), or none.
  automation::Ref<automation::Object> GetDb() const { return db_; }
  void SetDb(const automation::Ref<automation::Object>& NewValue) { db_ = NewValue; }

  // The open group's cursor, or none.
  automation::Ref<automation::Object> GetTb() const { return tb_; }
  void SetTb(const automation::Ref<automation::Object>& NewValue) { tb_ = NewValue; }

  // Reads the catalogue anew into the same collection object, in name order.
  void Refresh();

  // Enters a group into the catalogue, which is created when missing, and into Groups. Files are
  // not touched: CreateGroup makes them. `sPath` gets its closing "\" when it is not blank.
  // Errors: 20 when ID or name is there already.
  void AddGroup(const std::string& sId, const std::string& Name, GroupType PVGroupType,
                const std::string& DSNID, const std::string& PropID, const std::string& sPath);

  // Takes a group out of the catalogue table, leaving its files, and compacts the table. An
  // unknown ID removes nothing. Groups changes with the next Refresh.
  void RemoveGroup(const std::string& ID);

  // Changes a group's display name in the catalogue table and, for a native group with a folder
  // of its own, in its property file. Groups changes with the next Refresh.
  void RenameGroup(const std::string& sId, const std::string& NewName);

  // The component's version, as "4.0.0001".
  std::string GetVersion() const;

  // Whether ADO groups can be opened on this system.
  bool AdoInstalled() const;

  // Opens a group and returns its cursor, also kept in GetTb: for a native group a Recipients
  // over its table, shared, in the order of its tag "Email"; for an ADO group an ADODB.Recordset
  // on its table or statement, as its saved data source and definition say; for an address-book
  // group an AddressBookContacts over what its saved source selects. Error 2409 when the catalogue
  // has no such group; 429 when ADO is not installed. A group that was open before stays so only
  // as long as somebody holds its objects.
  automation::Ref<automation::Object> OpenGroup(const std::string& ID);

  // Whether a group is open.
  bool GetIsGroupOpen() const { return !open_id_.empty(); }

  // Closes the open group's table, or recordset and connection; lets the cursor of an address book
  // go. Nothing happens when none is open.
  void CloseGroup();

  // Number of recipients of the open group: of a native group deleted ones included until it is
  // compacted, of an ADO group what its database counts. Error 91 when none is open.
  std::int32_t RecipientCount();

  // Compacts a native group's table; other groups are left alone. Error 2409 as in OpenGroup.
  void CompactGroup(const std::string& ID);

  // Makes the table of a new native group, and its property file, in the folder `Path` or, when
  // that is blank, in the group data folder; returns the new group's ID, or "" when `Path` is no
  // folder. Enter it into the catalogue with AddGroup. Error 2405 for an unknown field type.
  std::string CreateGroup(const std::string& Name,
                          const automation::Ref<tablestore::FieldDefs>& Fields,
                          const automation::Ref<tablestore::IndexDefs>& Indexes,
                          const std::string& Path);

  // Takes a group out of the catalogue table and deletes its files; returns true. Error 2407 for
  // the group that is open.
  bool DeleteGroup(const std::string& sId);

  // Describes the fields of the open group in FieldTypes and returns true. Error 91 when none is
  // open.
  bool GetGroupFieldTypes();

  const automation::MemberTable& Members() const override;

 private:
  ~Groups() override;

  // The group data folder, ending in "\"; asked once and kept.
  const std::string& GroupDataFolder();
  // Fills `target` from the catalogue; false when there is none or it is empty.
  bool ReadCatalogue(GroupLinks* target);
  void CreateGroupListTable();
  // The catalogue entry of an ID, or error 2409.
  automation::Ref<GroupLink> EntryOf(const std::string& id);
  // The folder of a native group's files, ending in "\".
  std::string FolderOf(const GroupLink& entry);
  // Opens the database and the rows of an ADO group into db_ and tb_, or leaves both.
  void OpenAdoGroup(const GroupLink& entry);
  // Likewise the contacts of an address-book group.
  void OpenAddressBookGroup(const GroupLink& entry);

  automation::Ref<GroupLinks> groups_;
  automation::Ref<GroupFieldTypes> field_types_;
  automation::Ref<automation::Object> db_;
  automation::Ref<automation::Object> tb_;
  automation::Ref<ado::CDataSource> data_source_;
  automation::Ref<ado::CADOGroupProperties> ado_properties_;
  std::unique_ptr<support::DataFolder> data_folder_;
  std::string open_id_;
  GroupType open_type_ = GroupType::kPvFormat;  // of the group that is open
};

}  // namespace pv::groups

#endif  // PVGROUPMAN_GROUPS_GROUPS_H_

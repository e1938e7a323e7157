// The groups of a data folder, by name or ID.
#ifndef PV_CLI_GROUPS_CATALOGUE_H_
#define PV_CLI_GROUPS_CATALOGUE_H_

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "cli/groups/table.h"
#include "pvgroupman/groups/groups.h"

namespace pv::cli {

struct GroupEntry {
  std::string id;
  std::string name;
  groups::GroupType type = groups::GroupType::kPvFormat;
  std::string folder;  // of a native group's files, in the system's form, with its separator
  bool own_folder = false;
  std::string data_source_id;  // of a group in a database
  std::string properties_id;   // likewise
  std::string table_path() const { return folder + id + ".pvg"; }
};

// Reads the catalogue when it is made. Every failure is a Failure.
class Catalogue {
 public:
  Catalogue();

  // All groups in name order.
  const std::vector<GroupEntry>& entries() const { return entries_; }

  // The group that has this ID or name. An exact name counts before one that differs in letter
  // case. Null when there is none; kUsage when several names differ in letter case only.
  const GroupEntry* Find(std::string_view group) const;

  // The same, kUnavailable when there is none.
  const GroupEntry& Get(std::string_view group) const;

  // The same; kUnavailable too for a group that is no table of ours.
  const GroupEntry& GetNative(std::string_view group) const;

  // Makes a native group's table, its property file and its entry. `folder` "" is the data folder.
  // The table holds `fields` and the tag EMAIL on the field `address_field`, unique among the
  // records that are not deleted.
  GroupEntry Create(const Session& session, const std::string& name, const std::string& folder,
                    const std::vector<engine::FieldRecord>& fields,
                    const std::string& address_field);

  // Enters a group that is a query, whose source and definition are saved already.
  void AddSql(const std::string& id, const std::string& name, const std::string& source_id,
              const std::string& definition_id);

  // Lets a group that is a query use another data source.
  void SetSource(const GroupEntry& entry, const std::string& source_id);

  void Rename(const GroupEntry& entry, const std::string& new_name);
  // With the files of a native group; with the definition of a query, unless another group has it.
  void Delete(const GroupEntry& entry);
  void Compact(const GroupEntry& entry);

  // Refuses a name that cannot be one, or that a group other than `except` has.
  void CheckName(const std::string& name, const GroupEntry* except) const;

  const std::string& data_folder() const { return data_folder_; }

 private:
  void Load();

  automation::Ref<groups::Groups> groups_;
  std::string data_folder_;  // system form, with its separator
  std::vector<GroupEntry> entries_;
};

}  // namespace pv::cli

#endif  // PV_CLI_GROUPS_CATALOGUE_H_

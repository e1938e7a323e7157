// The entries of the group catalogue.
#ifndef PVGROUPMAN_GROUPS_GROUP_LINKS_H_
#define PVGROUPMAN_GROUPS_GROUP_LINKS_H_

#include <string>

#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/collection.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/groups/types.h"

namespace pv::groups {

// One group. A plain holder: changing it changes nothing on disk.
class PV_API GroupLink : public automation::Object {
 public:
  static constexpr const char* kClassName = "GroupLink";

  // The group's ID: 32 upper-case hexadecimal digits for a group that CreateGroup made.
  std::string GetId() const { return id_; }
  void SetId(const std::string& NewValue) { id_ = NewValue; }

  // The display name.
  std::string GetName() const { return name_; }
  void SetName(const std::string& NewValue) { name_ = NewValue; }

  // The kind of group.
  GroupType GetPvGroupType() const { return type_; }
  void SetPvGroupType(GroupType NewValue) { type_ = NewValue; }

  // ID of the data source (ADO groups) or address-book source.
  std::string GetDataSourceId() const { return data_source_id_; }
  void SetDataSourceId(const std::string& NewValue) { data_source_id_ = NewValue; }

  // ID of the group's ADO properties.
  std::string GetPropertiesId() const { return properties_id_; }
  void SetPropertiesId(const std::string& NewValue) { properties_id_ = NewValue; }

  // The folder of a native group's table, ending in "\"; "" for the group data folder.
  std::string GetPath() const { return path_; }
  void SetPath(const std::string& NewValue) { path_ = NewValue; }

  const automation::MemberTable& Members() const override;

 private:
  std::string id_;
  std::string name_;
  GroupType type_ = GroupType::kPvFormat;
  std::string data_source_id_;
  std::string properties_id_;
  std::string path_;
};

// Groups in order, keyed by ID (letter case ignored).
class PV_API GroupLinks : public automation::CollectionOf<GroupLink> {
 public:
  static constexpr const char* kClassName = "GroupLinks";

  // Appends an entry and returns it; error 457, adding nothing, when the ID is taken.
  automation::Ref<GroupLink> Add(const std::string& ID, const std::string& Name,
                                 GroupType PVGroupType, const std::string& DataSourceID,
                                 const std::string& PropertiesID, const std::string& Path);

  // One entry, by 1-based position or ID; an empty reference when there is none.
  automation::Ref<GroupLink> Item(const automation::Value& Index) const;

  const automation::MemberTable& Members() const override;
};

}  // namespace pv::groups

#endif  // PVGROUPMAN_GROUPS_GROUP_LINKS_H_

// GroupLink(s) and GroupFieldType(s). Tested by collections_test.cc.
#include "pvgroupman/automation/member_table.h"
#include "pvgroupman/groups/group_field_types.h"
#include "pvgroupman/groups/group_links.h"

namespace pv::groups {

const automation::MemberTable& GroupLink::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Property("ID", &GroupLink::GetId, &GroupLink::SetId)
          .Property("Name", &GroupLink::GetName, &GroupLink::SetName)
          .Property("PVGroupType", &GroupLink::GetPvGroupType, &GroupLink::SetPvGroupType)
          .Property("DataSourceID", &GroupLink::GetDataSourceId, &GroupLink::SetDataSourceId)
          .Property("PropertiesID", &GroupLink::GetPropertiesId, &GroupLink::SetPropertiesId)
          .Property("Path", &GroupLink::GetPath, &GroupLink::SetPath);
  return table;
}

automation::Ref<GroupLink> GroupLinks::Add(const std::string& ID, const std::string& Name,
                                           GroupType PVGroupType, const std::string& DataSourceID,
                                           const std::string& PropertiesID,
                                           const std::string& Path) {
  automation::Ref<GroupLink> link = automation::MakeObject<GroupLink>();
  link->SetId(ID);
  link->SetName(Name);
  link->SetPvGroupType(PVGroupType);
  link->SetDataSourceId(DataSourceID);
  link->SetPropertiesId(PropertiesID);
  link->SetPath(Path);
  items_.Add(ID, link);
  return link;
}

automation::Ref<GroupLink> GroupLinks::Item(const automation::Value& Index) const {
  return ItemOrNone(Index);
}

const automation::MemberTable& GroupLinks::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Method("Add", &GroupLinks::Add,
                  {"ID", "Name", "PVGroupType", "DataSourceID", "PropertiesID", "Path"})
          .Get("Count", &GroupLinks::Count)
          .Method("Delete", &GroupLinks::Delete, {"Index"})
          .Default("Item", &GroupLinks::Item, {"Index"})
          .Enumerator("NewEnum", &GroupLinks::NewEnum);
  return table;
}

const automation::MemberTable& GroupFieldType::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Property("Name", &GroupFieldType::GetName, &GroupFieldType::SetName)
          .Property("Type_", &GroupFieldType::GetType, &GroupFieldType::SetType)
          .Property("Length", &GroupFieldType::GetLength, &GroupFieldType::SetLength);
  return table;
}

automation::Ref<GroupFieldType> GroupFieldTypes::Add(const std::string& Name,
                                                     PVGroupFieldType Type_, std::int32_t Length) {
  automation::Ref<GroupFieldType> type = automation::MakeObject<GroupFieldType>();
  type->SetName(Name);
  type->SetType(Type_);
  type->SetLength(Length);
  items_.Add(Name, type);
  return type;
}

void GroupFieldTypes::Clear() { items_.Clear(); }

const automation::MemberTable& GroupFieldTypes::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Method("Add", &GroupFieldTypes::Add, {"Name", "Type_", "Length"})
          .Get("Count", &GroupFieldTypes::Count)
          .Method("Delete", &GroupFieldTypes::Delete, {"Index"})
          .Default("Item", &GroupFieldTypes::Item, {"Index"})
          .Enumerator("NewEnum", &GroupFieldTypes::NewEnum)
          .Method("Clear", &GroupFieldTypes::Clear);
  return table;
}

}  // namespace pv::groups

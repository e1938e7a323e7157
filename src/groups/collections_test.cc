#include <gtest/gtest.h>

#include "automation/test_support.h"
#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/enumerator.h"
#include "pvgroupman/automation/member_table.h"
#include "pvgroupman/groups/group_field_types.h"
#include "pvgroupman/groups/group_links.h"

namespace pv::groups {
namespace {

using automation::CallMember;
using automation::EnumerationOf;
using automation::ErrorFrom;
using automation::GetProperty;
using automation::MakeObject;
using automation::Ref;
using automation::Value;

TEST(GroupLinks, AddTakesItsArgumentsInOrderAndKeysById) {
  const Ref<automation::Object> links = MakeObject<GroupLinks>();
  const auto link = CallMember(links, "Add", {"ID1", "Friends", 2, "DS", "PR", "C:\\x\\"});
  const std::pair<const char*, Value> expected[] = {{"ID", "ID1"},          {"Name", "Friends"},
                                                    {"PVGroupType", 2},     {"DataSourceID", "DS"},
                                                    {"PropertiesID", "PR"}, {"Path", "C:\\x\\"}};
  for (const auto& [name, value] : expected) {
    EXPECT_EQ(GetProperty(link.ToObject(), name), value) << name;
  }
  EXPECT_EQ(CallMember(links, "Item", {"id1"}), link);
  EXPECT_EQ(CallMember(links, "Item", {1}), link);
}

TEST(GroupLinks, SecondEntryOfAnIdIsRefused) {
  const auto links = MakeObject<GroupLinks>();
  links->Add("ID1", "A", GroupType::kPvFormat, "", "", "");
  EXPECT_EQ(ErrorFrom([&] { links->Add("id1", "B", GroupType::kPvFormat, "", "", ""); }).number(),
            457);
  EXPECT_EQ(links->Count(), 1);
  EXPECT_EQ(links->Item("ID1")->GetName(), "A");
}

TEST(GroupLinks, MissingEntryIsAnEmptyReference) {
  const auto links = MakeObject<GroupLinks>();
  EXPECT_FALSE(links->Item("none"));
  EXPECT_FALSE(links->Item(1));
  EXPECT_EQ(ErrorFrom([&] { links->Delete("none"); }).number(), 5);
}

TEST(GroupLinks, PropertiesArePlainValues) {
  const Ref<automation::Object> link = MakeObject<GroupLink>();
  automation::PutProperty(link, "PVGroupType", Value(1));
  EXPECT_EQ(GetProperty(link, "PVGroupType"), Value(1));
  for (const char* name : {"ID", "Name", "DataSourceID", "PropertiesID", "Path"}) {
    EXPECT_EQ(GetProperty(link, name), Value("")) << name;
    automation::PutProperty(link, name, Value("v"));
    EXPECT_EQ(GetProperty(link, name), Value("v")) << name;
  }
}

TEST(GroupFieldTypes, AddCountDeleteItemAndClear) {
  const Ref<automation::Object> types = MakeObject<GroupFieldTypes>();
  const auto type = CallMember(types, "Add", {"Email", 0, 100});
  CallMember(types, "Add", {"Joined", 3, 8});
  EXPECT_EQ(GetProperty(type.ToObject(), "Name"), Value("Email"));
  EXPECT_EQ(GetProperty(type.ToObject(), "Type_"), Value(0));
  EXPECT_EQ(GetProperty(type.ToObject(), "Length"), Value(100));
  EXPECT_EQ(CallMember(types, "Item", {"EMAIL"}), type);
  EXPECT_EQ(ErrorFrom([&] { CallMember(types, "Item", {"none"}); }).number(), 5);
  EXPECT_EQ(ErrorFrom([&] { CallMember(types, "Add", {"email", 0, 1}); }).number(), 457);
  CallMember(types, "Delete", {1});
  EXPECT_EQ(GetProperty(types, "Count"), Value(1));
  CallMember(types, "Clear");
  EXPECT_EQ(GetProperty(types, "Count"), Value(0));
}

TEST(GroupTypes, EnumerationsOfTheTypeLibrary) {
  const auto names = [](const automation::Enumeration& e) {
    std::string all = e.name;
    for (const auto& n : e.names) all += std::string(" ") + n.name + "=" + std::to_string(n.value);
    return all;
  };
  EXPECT_EQ(names(EnumerationOf<GroupType>::Describe()),
            "GroupType PV_FORMAT_GROUP=0 ADO_RECORDSET=1 ADDRESS_BOOK=2");
  EXPECT_EQ(names(EnumerationOf<PVGroupFieldType>::Describe()),
            "PVGroupFieldType GF_TEXT=0 GF_NUMBER=1 GF_CURRENCY=2 GF_DATE=3 GF_DateTIME=4 "
            "GF_BOOLEAN=5 GF_NOUPDATE=6");
}

}  // namespace
}  // namespace pv::groups

// A machine in memory with a group data folder, for the tests of this layer.
#ifndef PV_GROUPS_GROUPS_FIXTURE_TEST_H_
#define PV_GROUPS_GROUPS_FIXTURE_TEST_H_

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "automation/test_support.h"
#include "platform/memory/memory_system.h"
#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/member_table.h"
#include "pvgroupman/automation/progid.h"
#include "pvgroupman/groups/groups.h"
#include "pvgroupman/support/settings.h"
#include "pvgroupman/tablestore/database.h"
#include "support/application.h"

namespace pv::groups {

using automation::CallMember;
using automation::Error;
using automation::ErrorFrom;
using automation::GetProperty;
using automation::MakeObject;
using automation::Ref;
using automation::Value;
using tablestore::Database;
using tablestore::FieldDefs;
using tablestore::IndexDefs;
using tablestore::PVFieldType;
using tablestore::Recipients;

class GroupsTest : public testing::Test {
 protected:
  GroupsTest() {
    machine_.process.environment["PVGROUP_DATA"] = "/data";
    automation::RegisterClass<support::Settings>("PVGroupMan.Settings");
    automation::RegisterClass<Database>("PVGroupMan.Database");
    automation::RegisterClass<Recipients>("PVGroupMan.Recipients");
  }

  Ref<Groups> Make() { return MakeObject<Groups>(); }

  static std::string NamesOf(const Ref<Groups>& groups) {
    std::string names;
    for (std::int32_t i = 1; i <= groups->GetGroups()->Count(); ++i) {
      names += groups->GetGroups()->Item(i)->GetName() + " ";
    }
    return names;
  }

  // EMAIL C 100, JOINED D; tag Email on EMAIL.
  static Ref<FieldDefs> Fields() {
    auto fields = MakeObject<FieldDefs>();
    fields->Add("EMAIL", PVFieldType::kText, 100, 0, false);
    fields->Add("JOINED", PVFieldType::kDate, 50, 0, false);
    return fields;
  }
  static Ref<IndexDefs> Indexes() {
    auto indexes = MakeObject<IndexDefs>();
    indexes->Add("Email", "EMAIL", ".NOT. DELETED()", true, false);
    return indexes;
  }

  // A native group in the catalogue, in a folder or, when it is "", in the data folder.
  static std::string AddNative(const Ref<Groups>& groups, const std::string& name,
                               const std::string& folder = "") {
    const std::string id = groups->CreateGroup(name, Fields(), Indexes(), folder);
    groups->AddGroup(id, name, GroupType::kPvFormat, "", "", folder);
    return id;
  }

  static void ExpectError(const Error& e, std::int32_t number, const std::string& source,
                          const std::string& description) {
    EXPECT_EQ(e.number(), number);
    EXPECT_EQ(e.source(), source);
    EXPECT_EQ(e.description(), description);
  }

  platform::MemorySystem machine_;
  platform::ScopedSystem scope_{machine_.system()};
};

}  // namespace pv::groups

#endif  // PV_GROUPS_GROUPS_FIXTURE_TEST_H_

#include "groups/groups_fixture_test.h"
#include "tablestore/table_fields.h"

namespace pv::groups {
namespace {

class ManageGroupsTest : public GroupsTest {
 protected:
  ManageGroupsTest() { EXPECT_TRUE(machine_.files.CreateFolders("/lists").ok()); }

  // The one field of a group made from a definition, as "name letter length".
  std::string Made(PVFieldType type, std::int16_t length) {
    auto fields = MakeObject<FieldDefs>();
    fields->Add("F", type, length, 2, false);
    const std::string id = groups_->CreateGroup("G", fields, MakeObject<IndexDefs>(), "/lists");
    const auto database = MakeObject<Database>();
    const auto cursor = database->OpenTable("/lists", id + ".pvg");
    const auto made = tablestore::TableFields(cursor->GetTableHandle());
    return made.at(0).name + " " + made.at(0).letter + " " + std::to_string(made.at(0).length);
  }
  bool Has(const std::string& path) { return machine_.files.Has(path); }

  Ref<Groups> groups_ = Make();
};

TEST_F(ManageGroupsTest, MapsEveryFieldType) {
  EXPECT_EQ(Made(PVFieldType::kText, 77), "F C 77");
  EXPECT_EQ(Made(PVFieldType::kUnicode, 40), "F W 40");
  EXPECT_EQ(Made(PVFieldType::kNumber, 12), "F N 12");
  EXPECT_EQ(Made(PVFieldType::kDate, 0), "F D 8");
  EXPECT_EQ(Made(PVFieldType::kCurrency, 3), "F Y 8");
  EXPECT_EQ(Made(PVFieldType::kBoolean, 0), "F L 1");
}

TEST_F(ManageGroupsTest, DatesAreEightAndBooleansOneWideWhateverTheySay) {
  EXPECT_EQ(Made(PVFieldType::kDate, 50), "F D 8");
  EXPECT_EQ(Made(PVFieldType::kBoolean, 50), "F L 1");
}

TEST_F(ManageGroupsTest, UnknownFieldTypeIs2405) {
  auto fields = MakeObject<FieldDefs>();
  fields->Add("F", static_cast<PVFieldType>(6), 10, 0, false);
  ExpectError(ErrorFrom([&] { groups_->CreateGroup("G", fields, Indexes(), "/lists"); }), 2405,
              "Groups::CreateGroup", "Unsupported Field Data Type <6>");
}

TEST_F(ManageGroupsTest, CreateGroupMakesTableAndPropertyFileButNoCatalogueRow) {
  const std::string id =
      CallMember(groups_, "CreateGroup", {"Friends", Fields(), Indexes(), "/lists"}).ToText();
  EXPECT_EQ(id.size(), 32U);
  EXPECT_EQ(id.find_first_not_of("0123456789ABCDEF"), std::string::npos);
  EXPECT_TRUE(Has("/lists/" + id + ".pvg"));
  EXPECT_TRUE(Has("/lists/" + id + ".cdx"));
  EXPECT_EQ(support::ReadSetting("/lists/" + id + ".dat", "Properties", "Name", ""), "Friends");
  EXPECT_EQ(groups_->GetGroups()->Count(), 0);
  EXPECT_FALSE(Has("/data/groups.pvg"));
  EXPECT_EQ(machine_.files.OpenFileCount(), 0);
}

// Without its property file a group is not made: whatever call fails, nothing of it stays.
TEST_F(ManageGroupsTest, CreateGroupThatCannotWriteItsPropertyFileLeavesNothing) {
  int refused = 0;
  for (int n = 1;; ++n) {
    bool failing = false;
    int calls = 0;
    // The calls from the first that touches the property file on.
    machine_.files.SetHook(platform::Call::kAny, [&](platform::Call, const std::string& path) {
      if (path.find(".dat") == std::string::npos || failing || ++calls < n) return;
      failing = true;
      machine_.files.FailCall(1, platform::Call::kAny, platform::Fault::kNoSpace);
    });
    bool made = true;
    try {
      groups_->CreateGroup("Friends", Fields(), Indexes(), "/lists");
    } catch (const Error& e) {
      made = false;
      ++refused;
      EXPECT_EQ(e.number(), 75);
      EXPECT_EQ(e.source(), "Groups::CreateGroup (WriteGroupName)");
      EXPECT_NE(e.description().find(".dat"), std::string::npos) << e.description();
    }
    machine_.files.SetHook(platform::Call::kAny, {});
    machine_.files.ClearFault();
    if (!failing) {
      EXPECT_TRUE(made);
      break;
    }
    const std::vector<std::string> left = machine_.files.List("/lists").value();
    for (const std::string& name : left) {
      const bool table = name.find(".pvg") != name.npos || name.find(".cdx") != name.npos;
      EXPECT_TRUE(made || !table) << name;
      EXPECT_TRUE(machine_.files.Remove("/lists/" + name).ok());
    }
    ASSERT_LT(n, 100);
  }
  EXPECT_GE(refused, 2);
}

TEST_F(ManageGroupsTest, CreateGroupWithoutAPathUsesTheDataFolder) {
  for (const char* path : {"", "   "}) {
    const std::string id = groups_->CreateGroup("G", Fields(), Indexes(), path);
    EXPECT_TRUE(Has("/data/" + id + ".pvg"));
    EXPECT_TRUE(Has("/data/" + id + ".dat"));
  }
}

TEST_F(ManageGroupsTest, CreateGroupWithAPathThatDoesNotExistMakesNothing) {
  EXPECT_EQ(groups_->CreateGroup("G", Fields(), Indexes(), "/nowhere"), "");
  EXPECT_FALSE(support::IsFolder("/nowhere"));
}

TEST_F(ManageGroupsTest, CreateGroupCopiesIndexesAndNulls) {
  auto fields = MakeObject<FieldDefs>();
  fields->Add("A", PVFieldType::kText, 10, 0, true);
  auto indexes = MakeObject<IndexDefs>();
  indexes->Add("A", "UPPER(A)", ".NOT. DELETED()", false, true);
  const std::string id = groups_->CreateGroup("G", fields, indexes, "/lists");
  const auto database = MakeObject<Database>();
  const auto cursor = database->OpenTable("/lists", id + ".pvg", std::nullopt, "A");
  for (const Value& v : {Value("a"), Value::Null(), Value("B")}) {
    cursor->AddNew();
    cursor->GetFields()->Find("A")->SetValue(v);
    cursor->Update();
  }
  cursor->MoveFirst();
  EXPECT_EQ(cursor->GetFields()->Find("A")->GetValue(), Value("B")) << "descending";
  cursor->MoveLast();
  EXPECT_TRUE(cursor->GetFields()->Find("A")->GetValue().IsNull());
}

TEST_F(ManageGroupsTest, FailureCarriesTheFailingCallInItsSource) {
  auto indexes = MakeObject<IndexDefs>();
  indexes->Add("A", "NOFIELD", "", false, false);
  const Error e = ErrorFrom([&] { groups_->CreateGroup("G", Fields(), indexes, "/lists"); });
  EXPECT_EQ(e.number(), -410);
  EXPECT_EQ(e.source(), "Groups::CreateGroup (CreateTable)");
  EXPECT_NE(e.description().find("NOFIELD"), std::string::npos) << e.description();
}

TEST_F(ManageGroupsTest, MissingDefinitionsAre91) {
  EXPECT_EQ(ErrorFrom([&] { groups_->CreateGroup("G", {}, Indexes(), ""); }).number(), 91);
  EXPECT_EQ(ErrorFrom([&] { groups_->CreateGroup("G", Fields(), {}, ""); }).number(), 91);
}

TEST_F(ManageGroupsTest, NoIdentifierIsAnError) {
  machine_.process.has_identifiers = false;
  EXPECT_EQ(ErrorFrom([&] { groups_->CreateGroup("G", Fields(), Indexes(), ""); }).number(), 51);
}

TEST_F(ManageGroupsTest, DeleteGroupInTheDataFolderLeavesItsPropertyFile) {
  const std::string id = AddNative(groups_, "G");
  EXPECT_EQ(CallMember(groups_, "DeleteGroup", {Value(id)}), Value(true));
  EXPECT_FALSE(Has("/data/" + id + ".pvg"));
  EXPECT_FALSE(Has("/data/" + id + ".cdx"));
  EXPECT_TRUE(Has("/data/" + id + ".dat"));
  groups_->Refresh();
  EXPECT_EQ(groups_->GetGroups()->Count(), 0);
}

TEST_F(ManageGroupsTest, DeleteGroupWithItsOwnFolderRemovesAllFourFiles) {
  const std::string id = AddNative(groups_, "G", "/lists");
  machine_.files.Put("/lists/" + id + ".fpt", "memo");
  machine_.files.Put("/lists/other.pvg", "stays");
  EXPECT_TRUE(groups_->DeleteGroup(id));
  for (const char* extension : {".pvg", ".cdx", ".dat", ".fpt"}) {
    EXPECT_FALSE(Has("/lists/" + id + extension)) << extension;
  }
  EXPECT_TRUE(Has("/lists/other.pvg"));
}

TEST_F(ManageGroupsTest, DeleteGroupWhoseFolderIsGoneRemovesTheRow) {
  groups_->AddGroup("ID1", "G", GroupType::kPvFormat, "", "", "/gone");
  EXPECT_TRUE(groups_->DeleteGroup("ID1"));
  groups_->Refresh();
  EXPECT_EQ(groups_->GetGroups()->Count(), 0);
}

TEST_F(ManageGroupsTest, DeleteGroupOfTheOpenGroupIs2407AndDeletesNothing) {
  const std::string id = AddNative(groups_, "G", "/lists");
  groups_->OpenGroup(id);
  ExpectError(ErrorFrom([&] { groups_->DeleteGroup(id); }), 2407, "Groups::DeleteGroup",
              "This Group is open, please close prior to deletion.");
  EXPECT_TRUE(Has("/lists/" + id + ".pvg"));
  groups_->CloseGroup();
  EXPECT_TRUE(groups_->DeleteGroup(id));
}

TEST_F(ManageGroupsTest, DeleteGroupThatWasNeverEnteredRemovesItsFiles) {
  const std::string id = groups_->CreateGroup("G", Fields(), Indexes(), "");
  EXPECT_TRUE(groups_->DeleteGroup(id));
  EXPECT_FALSE(Has("/data/" + id + ".pvg"));
}

TEST_F(ManageGroupsTest, DeleteGroupNeverReachesOtherFiles) {
  const std::string kept = AddNative(groups_, "Kept");
  machine_.files.Put("/lists/x.pvg", "stays");
  for (const char* id : {"groups", "GROUPS", "../lists/x", "..\\lists\\x", "", "CON"}) {
    const Error e = ErrorFrom([&] { groups_->DeleteGroup(id); });
    EXPECT_EQ(e.number(), 5) << id;
    EXPECT_EQ(e.source(), "Groups::DeleteGroup");
  }
  EXPECT_TRUE(Has("/data/groups.pvg"));
  EXPECT_TRUE(Has("/lists/x.pvg"));
}

TEST_F(ManageGroupsTest, DeleteGroupOfAnotherKindWithAnOddIdRemovesItsRow) {
  groups_->AddGroup("DSN:orders", "G", GroupType::kAdoRecordset, "", "", "");
  EXPECT_TRUE(groups_->DeleteGroup("DSN:orders"));
  groups_->Refresh();
  EXPECT_EQ(groups_->GetGroups()->Count(), 0);
}

TEST_F(ManageGroupsTest, DeleteGroupSaysWhichFileItCouldNotRemove) {
  const std::string id = AddNative(groups_, "G");
  machine_.files.SetHook(platform::Call::kRemove, [&](platform::Call, const std::string&) {});
  machine_.files.FailCall(1, platform::Call::kRemove, platform::Fault::kDenied, true);
  const Error e = ErrorFrom([&] { groups_->DeleteGroup(id); });
  machine_.files.ClearFault();
  EXPECT_NE(e.number(), 0);
  EXPECT_EQ(e.source(), "Groups::DeleteGroup");
}

}  // namespace
}  // namespace pv::groups

#include <functional>
#include <utility>

#include "groups/groups_fixture_test.h"
#include "tablestore/engine/operations.h"

namespace pv::groups {
namespace {

using CatalogueTest = GroupsTest;

TEST_F(CatalogueTest, WithoutACatalogueGroupsIsEmptyAndNothingIsCreated) {
  const auto groups = Make();
  EXPECT_EQ(groups->GetGroups()->Count(), 0);
  groups->Refresh();
  EXPECT_TRUE(machine_.files.Events().empty());
  groups->AddGroup("ID1", "A", GroupType::kPvFormat, "", "", "");
  EXPECT_TRUE(machine_.files.Has("/data/groups.pvg"));
  EXPECT_TRUE(machine_.files.Has("/data/groups.cdx"));
}

TEST_F(CatalogueTest, TableHasItsFieldsAndTags) {
  Make()->AddGroup("ID1", "A", GroupType::kPvFormat, "", "", "");
  const auto database = MakeObject<Database>();
  const auto rows = database->OpenTable("/data", "groups.pvg");
  const engine::Handle table = rows->GetTableHandle();
  std::string fields;
  for (std::int32_t j = 1; j <= engine::d4numFields(table); ++j) {
    const engine::Handle f = engine::d4fieldJ(table, j);
    fields += std::string(engine::f4name(f)) + " " + static_cast<char>(engine::f4type(f)) +
              std::to_string(engine::f4len_v(f)) + "." + std::to_string(engine::f4decimals(f)) +
              "; ";
  }
  EXPECT_EQ(fields,
            "ID C32.0; NAME C240.0; GROUPTYPE I4.0; DSNID C32.0; PROPID C32.0; PATH C254.0; ");
  const auto tags = engine::d4info(table).tags;
  ASSERT_EQ(tags.size(), 2U);
  for (const auto& tag : tags) {
    EXPECT_EQ(tag.filter, ".NOT. DELETED()");
    EXPECT_TRUE(tag.unique);
    EXPECT_FALSE(tag.descending);
  }
  EXPECT_EQ(tags[0].expression, "ID");
  EXPECT_EQ(tags[1].expression, "Name");
}

TEST_F(CatalogueTest, AddGroupEntersTableAndCollection) {
  const auto groups = Make();
  groups->AddGroup("ID1", "Friends", GroupType::kAdoRecordset, "DS1", "PR1", "");
  for (const auto& seen : {groups, Make()}) {
    const auto link = seen->GetGroups()->Item("ID1");
    EXPECT_EQ(link->GetName(), "Friends");
    EXPECT_EQ(link->GetPvGroupType(), GroupType::kAdoRecordset);
    EXPECT_EQ(link->GetDataSourceId(), "DS1");
    EXPECT_EQ(link->GetPropertiesId(), "PR1");
    EXPECT_EQ(link->GetPath(), "");
  }
}

TEST_F(CatalogueTest, PathGetsItsClosingSeparator) {
  const auto groups = Make();
  const std::pair<const char*, const char*> cases[] = {
      {"C:\\Lists", "C:\\Lists\\"}, {"C:\\Lists\\", "C:\\Lists\\"}, {"", ""}};
  int n = 0;
  for (const auto& [given, stored] : cases) {
    const std::string id = "ID" + std::to_string(++n);
    groups->AddGroup(id, "Name" + id, GroupType::kPvFormat, "", "", given);
    EXPECT_EQ(groups->GetGroups()->Item(Value(id))->GetPath(), stored);
    EXPECT_EQ(Make()->GetGroups()->Item(Value(id))->GetPath(), stored);
  }
}

TEST_F(CatalogueTest, BothTagsAreUnique) {
  const auto groups = Make();
  groups->AddGroup("ID1", "A", GroupType::kPvFormat, "", "", "");
  ExpectError(ErrorFrom([&] { groups->AddGroup("ID1", "B", GroupType::kPvFormat, "", "", ""); }),
              20, "Groups::AddGroup", "Duplicate Key Value.");
  ExpectError(ErrorFrom([&] { groups->AddGroup("ID2", "A", GroupType::kPvFormat, "", "", ""); }),
              20, "Groups::AddGroup", "Duplicate Key Value.");
  EXPECT_EQ(groups->GetGroups()->Count(), 1);
  EXPECT_EQ(machine_.files.OpenFileCount(), 0);
}

TEST_F(CatalogueTest, IdOrPathThatTheTableCannotHoldIsRefused) {
  const auto groups = Make();
  const auto add = [&](const std::string& id, const std::string& path) {
    return ErrorFrom([&] { groups->AddGroup(id, "A", GroupType::kPvFormat, "", "", path); });
  };
  EXPECT_EQ(add(std::string(33, 'x'), "").number(), 5);
  EXPECT_EQ(add("ID1", std::string(260, 'p')).number(), 5);
  EXPECT_EQ(add("ID1", "/ścieżka").description(),
            "The path \"/ścieżka\\\" has characters that code page 1252 lacks.");
  EXPECT_EQ(groups->GetGroups()->Count(), 0);
  EXPECT_FALSE(machine_.files.Has("/data/groups.pvg"));
}

TEST_F(CatalogueTest, RefreshKeepsTheCollectionAndListsInNameOrder) {
  const auto groups = Make();
  const auto links = groups->GetGroups();
  for (const char* name : {"beta", "Alpha", "Gamma"}) {
    groups->AddGroup(std::string("ID") + name, name, GroupType::kPvFormat, "", "", "");
  }
  EXPECT_EQ(NamesOf(groups), "beta Alpha Gamma ");
  CallMember(groups, "refresh");
  EXPECT_EQ(groups->GetGroups(), links);
  EXPECT_EQ(NamesOf(groups), "Alpha Gamma beta ");
}

TEST_F(CatalogueTest, ValuesAreReadWithoutBlanksAtTheirEnds) {
  const auto groups = Make();
  groups->AddGroup(" ID1", "  padded  ", GroupType::kPvFormat, " d ", "", "");
  groups->Refresh();
  const auto link = groups->GetGroups()->Item(1);
  EXPECT_EQ(link->GetId(), "ID1");
  EXPECT_EQ(link->GetName(), "padded");
  EXPECT_EQ(link->GetDataSourceId(), "d");
}

TEST_F(CatalogueTest, RemoveGroupDeletesAndCompactsButLeavesTheCollection) {
  const auto groups = Make();
  groups->AddGroup("ID1", "A", GroupType::kPvFormat, "", "", "");
  groups->AddGroup("ID2", "B", GroupType::kPvFormat, "", "", "");
  groups->RemoveGroup("ID1");
  EXPECT_EQ(groups->GetGroups()->Count(), 2);
  groups->Refresh();
  EXPECT_EQ(NamesOf(groups), "B ");
  const auto database = MakeObject<Database>();
  EXPECT_EQ(database->OpenTable("/data", "groups.pvg")->GetRecordCount(), 1);
}

TEST_F(CatalogueTest, RemoveGroupOfAnUnknownIdDeletesNoRow) {
  const auto groups = Make();
  EXPECT_NO_THROW(groups->RemoveGroup("none")) << "there is no catalogue yet";
  groups->AddGroup("ID1", "A", GroupType::kPvFormat, "", "", "");
  groups->RemoveGroup("ID");
  groups->Refresh();
  EXPECT_EQ(NamesOf(groups), "A ");
}

TEST_F(CatalogueTest, RemovedIdAndNameCanBeUsedAgain) {
  const auto groups = Make();
  groups->AddGroup("ID1", "A", GroupType::kPvFormat, "", "", "");
  groups->RemoveGroup("ID1");
  groups->Refresh();
  EXPECT_NO_THROW(groups->AddGroup("ID1", "A", GroupType::kPvFormat, "", "", ""));
}

TEST_F(CatalogueTest, CompactionWaitsForAnotherProgram) {
  const auto groups = Make();
  groups->AddGroup("ID1", "A", GroupType::kPvFormat, "", "", "");
  const auto database = MakeObject<Database>();
  auto holder = database->OpenTable("/data", "groups.pvg");
  int pauses = 0;
  machine_.files.SetHook(platform::Call::kSleep, [&](platform::Call, const std::string&) {
    if (++pauses == 3) holder->CloseTable();
  });
  EXPECT_NO_THROW(groups->RemoveGroup("ID1"));
  EXPECT_EQ(pauses, 3);
  machine_.files.SetHook(platform::Call::kSleep, {});
  holder = database->OpenTable("/data", "groups.pvg");
  ExpectError(ErrorFrom([&] { groups->RemoveGroup("ID1"); }), -130, "Groups::RemoveGroup",
              "CompactTable failed.");
}

TEST_F(CatalogueTest, EveryOperationWaitsForACompactionElsewhere) {
  const auto groups = Make();
  groups->AddGroup("ID1", "A", GroupType::kPvFormat, "", "", "");
  const auto database = MakeObject<Database>();
  const std::function<void()> operations[] = {
      [&] { groups->Refresh(); },
      [&] { groups->AddGroup("ID2", "B", GroupType::kPvFormat, "", "", ""); },
      [&] { groups->RenameGroup("ID2", "C"); },
      [&] { groups->RemoveGroup("ID2"); },
      [&] { groups->DeleteGroup("ID1"); },
  };
  for (const auto& operation : operations) {
    auto holder =
        database->OpenTable("/data", "groups.pvg", tablestore::AccessModeType::kExclusive);
    int pauses = 0;
    machine_.files.SetHook(platform::Call::kSleep, [&](platform::Call, const std::string&) {
      if (++pauses == 3) holder->CloseTable();
    });
    EXPECT_NO_THROW(operation());
    EXPECT_EQ(pauses, 3);
    machine_.files.SetHook(platform::Call::kSleep, {});
  }
  groups->Refresh();
  EXPECT_EQ(NamesOf(groups), "");
}

// Another program makes the catalogue between our look and our own making of it.
TEST_F(CatalogueTest, TwoProgramsMakeTheCatalogueAtOnce) {
  for (int n = 1;; ++n) {
    platform::MemorySystem machine;
    machine.process.environment["PVGROUP_DATA"] = "/data";
    const platform::ScopedSystem scope(machine.system());
    const auto ours = Make();
    const auto theirs = Make();
    int calls = 0;
    bool acted = false;
    machine.files.SetHook(platform::Call::kAny, [&](platform::Call call, const std::string&) {
      // Waiting is many calls, between which nothing changes.
      if (call == platform::Call::kSleep || ++calls != n) return;
      acted = true;
      // They may be kept waiting by what we hold, and then give up: once, not for every try.
      const std::uint64_t begun = machine.files.MonotonicMicroseconds();
      try {
        theirs->AddGroup("ID2", "B", GroupType::kPvFormat, "", "", "");
      } catch (const Error& e) {
        EXPECT_TRUE(e.number() == -130 || e.number() == 50) << n << ": " << e.description();
        acted = false;
      }
      EXPECT_LE(machine.files.MonotonicMicroseconds() - begun, 25'000'000U) << "call " << n;
    });
    ours->AddGroup("ID1", "A", GroupType::kPvFormat, "", "", "");
    machine.files.SetHook(platform::Call::kAny, {});
    EXPECT_EQ(NamesOf(Make()), acted ? "A B " : "A ") << "call " << n;
    if (calls < n) break;
    ASSERT_FALSE(HasFailure());
  }
}

// Whatever others rename, and whenever they do: a list has each group once.
TEST_F(CatalogueTest, GroupsRenamedMeanwhileAreListedOnce) {
  const auto groups = Make();
  const auto others = Make();
  const auto database = MakeObject<Database>();
  for (const char* name : {"B", "C", "D"}) {
    groups->AddGroup(std::string("ID") + name, name, GroupType::kPvFormat, "", "", "");
  }
  const platform::MemoryImage start = machine_.files.Snapshot();
  int disturbed = 0;
  for (const auto& [id, name] : {std::pair("IDB", "Z"), std::pair("IDD", "A")}) {
    for (int n = 1;; ++n) {
      machine_.files.Restore(start);
      int calls = 0;
      machine_.files.SetHook(platform::Call::kRead | platform::Call::kLock,
                             [&, id = id, name = name](platform::Call, const std::string&) {
                               if (++calls != n) return;
                               try {
                                 others->RenameGroup(id, name);
                                 ++disturbed;
                               } catch (const Error& e) {
                                 EXPECT_EQ(e.number(), 50)
                                     << e.description();  // a lock that we hold just now
                               }
                             });
      groups->Refresh();
      machine_.files.SetHook(platform::Call::kAny, {});
      std::string ids;
      for (const char* each : {"IDB", "IDC", "IDD"}) {
        ids += groups->GetGroups()->Item(Value(each)) ? "1" : "0";
      }
      EXPECT_EQ(ids, "111") << name << ", call " << n;
      EXPECT_EQ(groups->GetGroups()->Count(), 3) << name << ", call " << n;
      const std::string names = NamesOf(groups);
      EXPECT_TRUE(names == "B C D " || names == (*name == 'Z' ? "C D Z " : "A B C ")) << names;
      if (calls < n || HasFailure()) break;
    }
  }
  EXPECT_GT(disturbed, 10);
}

TEST_F(CatalogueTest, ACatalogueWithAnotherOrderOfNamesIsListedInThat) {
  using tablestore::FieldType;
  ASSERT_TRUE(machine_.files.CreateFolders("/data").ok());
  MakeObject<Database>()
      ->CreateTable("/data", "groups.pvg",
                    {{"ID", FieldType::kCharacter, 32, 0, false},
                     {"Name", FieldType::kCharacter, 240, 0, false},
                     {"GroupType", FieldType::kInteger, 4, 0, false},
                     {"DSNID", FieldType::kCharacter, 32, 0, false},
                     {"PropID", FieldType::kCharacter, 32, 0, false},
                     {"Path", FieldType::kCharacter, 254, 0, false}},
                    {{"ID", "ID", ".NOT. DELETED()", true, false},
                     {"Name", "UPPER(Name)", ".NOT. DELETED()", true, false}})
      ->CloseTable();
  const auto groups = Make();
  for (const char* name : {"beta", "Alpha", "Gamma"}) {
    groups->AddGroup(std::string("ID") + name, name, GroupType::kPvFormat, "", "", "");
  }
  EXPECT_EQ(NamesOf(Make()), "Alpha beta Gamma ");
}

TEST_F(CatalogueTest, RenameGroupChangesTheRow) {
  const auto groups = Make();
  groups->AddGroup("ID1", "A", GroupType::kAddressBook, "DS", "", "/lists");
  groups->RenameGroup("ID1", "Z");
  EXPECT_EQ(NamesOf(groups), "A ") << "until the next Refresh";
  groups->Refresh();
  EXPECT_EQ(NamesOf(groups), "Z ");
  EXPECT_EQ(groups->GetGroups()->Item(1)->GetDataSourceId(), "DS");
  EXPECT_FALSE(machine_.files.Has("/lists/ID1.dat")) << "only native groups have one";
}

TEST_F(CatalogueTest, RenameGroupOfANativeGroupRewritesItsPropertyFile) {
  ASSERT_TRUE(machine_.files.CreateFolders("/lists").ok());
  const auto groups = Make();
  const std::string id = AddNative(groups, "Old", "/lists");
  groups->RenameGroup(id, "New näme");
  EXPECT_EQ(support::ReadSetting("/lists/" + id + ".dat", "Properties", "Name", ""), "New näme");
}

TEST_F(CatalogueTest, RenameGroupSaysThatThePropertyFileCouldNotBeWritten) {
  ASSERT_TRUE(machine_.files.CreateFolders("/lists").ok());
  const auto groups = Make();
  const std::string id = AddNative(groups, "Old", "/lists");
  machine_.files.SetHook(platform::Call::kOpen, [&](platform::Call, const std::string& path) {
    if (path.find(".dat") == std::string::npos) return;
    machine_.files.FailCall(1, platform::Call::kAny, platform::Fault::kDenied);
  });
  const Error e = ErrorFrom([&] { groups->RenameGroup(id, "New"); });
  machine_.files.SetHook(platform::Call::kOpen, {});
  machine_.files.ClearFault();
  EXPECT_EQ(e.number(), 75);
  EXPECT_EQ(e.source(), "Groups::RenameGroup");
  EXPECT_NE(e.description().find(id + ".dat"), std::string::npos) << e.description();
  groups->RenameGroup(id, "New");
  EXPECT_EQ(support::ReadSetting("/lists/" + id + ".dat", "Properties", "Name", ""), "New");
}

TEST_F(CatalogueTest, RenameGroupInTheDataFolderLeavesThePropertyFile) {
  const auto groups = Make();
  const std::string id = AddNative(groups, "Old");
  groups->RenameGroup(id, "New");
  EXPECT_EQ(support::ReadSetting("/data/" + id + ".dat", "Properties", "Name", ""), "Old");
}

TEST_F(CatalogueTest, RenameGroupOfAnUnknownIdChangesNothing) {
  const auto groups = Make();
  groups->AddGroup("ID1", "A", GroupType::kPvFormat, "", "", "");
  groups->RenameGroup("none", "Z");
  groups->Refresh();
  EXPECT_EQ(NamesOf(groups), "A ");
}

TEST_F(CatalogueTest, RenameGroupToATakenNameIsADuplicateKey) {
  const auto groups = Make();
  groups->AddGroup("ID1", "A", GroupType::kPvFormat, "", "", "");
  groups->AddGroup("ID2", "B", GroupType::kPvFormat, "", "", "");
  ExpectError(ErrorFrom([&] { groups->RenameGroup("ID2", "A"); }), 20, "Groups::RenameGroup",
              "Duplicate Key Value.");
}

TEST_F(CatalogueTest, RenameGroupWithoutACatalogueIsAnError) {
  const Error e = ErrorFrom([&] { Make()->RenameGroup("ID1", "A"); });
  EXPECT_EQ(e.number(), -110);
  EXPECT_EQ(e.source(), "Groups::RenameGroup");
}

TEST_F(CatalogueTest, RenameGroupRefusesAnIdThatNamesOtherFiles) {
  const auto groups = Make();
  groups->AddGroup("../evil", "A", GroupType::kPvFormat, "", "", "/lists");
  const Error e = ErrorFrom([&] { groups->RenameGroup("../evil", "B"); });
  EXPECT_EQ(e.number(), 5);
  EXPECT_EQ(e.source(), "Groups::RenameGroup");
  groups->Refresh();
  EXPECT_EQ(NamesOf(groups), "A ");
}

TEST_F(CatalogueTest, VersionHasAFourDigitRevision) {
  EXPECT_EQ(GetProperty(Make(), "Version"), Value("4.0.0001"));
}

TEST_F(CatalogueTest, AdoIsNotInstalledWithoutItsClasses) {
  EXPECT_EQ(CallMember(Make(), "ADOInstalled"), Value(false));
}

// Stands for both classes that an ADO installation brings.
class FakeAdo : public automation::Object {
 public:
  static constexpr const char* kClassName = "FakeAdo";
  std::int32_t GetLocation() const { return 0; }
  void SetLocation(std::int32_t location) {
    if (location != 2) automation::Raise(automation::kErrInvalidCall);
  }
  const automation::MemberTable& Members() const override {
    static const automation::MemberTable table = automation::Class("FakeAdo").Property(
        "CursorLocation", &FakeAdo::GetLocation, &FakeAdo::SetLocation);
    return table;
  }
};

TEST_F(CatalogueTest, AdoIsInstalledWhenBothClassesAreThere) {
  const auto groups = Make();
  automation::RegisterClass<FakeAdo>("ADODB.Connection");
  EXPECT_FALSE(groups->AdoInstalled());
  automation::RegisterClass<FakeAdo>("ADODB.Recordset");
  EXPECT_TRUE(groups->AdoInstalled());
  automation::RegisterClass<support::Settings>("ADODB.Connection");
  EXPECT_FALSE(groups->AdoInstalled()) << "its connection has no CursorLocation";
  automation::UnregisterClass("ADODB.Connection");
  automation::UnregisterClass("ADODB.Recordset");
}

TEST_F(CatalogueTest, DataFolderIsAskedForOnce) {
  const auto groups = Make();
  groups->AddGroup("ID1", "A", GroupType::kPvFormat, "", "", "");
  machine_.process.environment["PVGROUP_DATA"] = "/elsewhere";
  groups->AddGroup("ID2", "B", GroupType::kPvFormat, "", "", "");
  EXPECT_FALSE(machine_.files.Has("/elsewhere/groups.pvg"));
  EXPECT_EQ(Make()->GetGroups()->Count(), 0);
}

TEST_F(CatalogueTest, MissingSettingsClassIsAnErrorOfCreation) {
  automation::UnregisterClass("PVGroupMan.Settings");
  const Error e = ErrorFrom([&] { Make(); });
  EXPECT_EQ(e.number(), 429);
  EXPECT_EQ(e.source(), "Groups::Initialize");
}

TEST_F(CatalogueTest, DamagedCatalogueIsAnErrorOfCreationAndOfRefresh) {
  const auto groups = Make();
  machine_.files.Put("/data/groups.pvg", "no table");
  Error e = ErrorFrom([&] { Make(); });
  EXPECT_EQ(e.number(), -210);
  EXPECT_EQ(e.source(), "Groups::Initialize");
  e = ErrorFrom([&] { groups->Refresh(); });
  EXPECT_EQ(e.source(), "Groups::Refresh");
  EXPECT_NE(e.description().find("groups.pvg"), std::string::npos);
}

TEST_F(CatalogueTest, ObjectPropertiesCanBeSet) {
  const auto groups = Make();
  const auto links = MakeObject<GroupLinks>();
  automation::PutProperty(groups, "Groups", Value(links));
  EXPECT_EQ(groups->GetGroups(), links);
  const auto types = MakeObject<GroupFieldTypes>();
  automation::PutProperty(groups, "FieldTypes", Value(types));
  EXPECT_EQ(groups->GetFieldTypes(), types);
  for (const char* name : {"mDb", "mTb"}) {
    EXPECT_FALSE(GetProperty(groups, name).ToObject()) << name;
    automation::PutProperty(groups, name, Value(links));
    EXPECT_EQ(GetProperty(groups, name).ToObject(), Ref<automation::Object>(links)) << name;
  }
}

TEST_F(CatalogueTest, CatalogueIsNotHeldOpenBetweenCalls) {
  const auto groups = Make();
  groups->AddGroup("ID1", "A", GroupType::kPvFormat, "", "", "");
  EXPECT_EQ(machine_.files.OpenFileCount(), 0);
  groups->Refresh();
  groups->RenameGroup("ID1", "B");
  groups->RemoveGroup("ID1");
  EXPECT_EQ(machine_.files.OpenFileCount(), 0);
}

}  // namespace
}  // namespace pv::groups

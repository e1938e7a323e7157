#include "groups/groups_fixture_test.h"

namespace pv::groups {
namespace {

class OpenGroupTest : public GroupsTest {
 protected:
  OpenGroupTest() { EXPECT_TRUE(machine_.files.CreateFolders("/lists").ok()); }

  void Fill(const std::string& id) {
    const Ref<automation::Object> cursor = groups_->OpenGroup(id);
    for (const char* email : {"b@x", "a@x", "c@x"}) {
      CallMember(cursor, "AddNew");
      automation::PutProperty(CallMember(cursor, "Fields", {"Email"}).ToObject(), "Value",
                              Value(email));
      CallMember(cursor, "Update");
    }
  }
  Ref<Groups> groups_ = Make();
};

TEST_F(OpenGroupTest, IsGroupOpenIsFalseOnANewObjectAndAfterCloseGroup) {
  EXPECT_EQ(GetProperty(groups_, "IsGroupOpen"), Value(false));
  const std::string id = AddNative(groups_, "G");
  groups_->OpenGroup(id);
  EXPECT_EQ(GetProperty(groups_, "IsGroupOpen"), Value(true));
  CallMember(groups_, "CloseGroup");
  EXPECT_EQ(GetProperty(groups_, "IsGroupOpen"), Value(false));
  EXPECT_NO_THROW(groups_->CloseGroup()) << "nothing is open";
}

TEST_F(OpenGroupTest, UnknownIdIs2409) {
  AddNative(groups_, "G");
  ExpectError(ErrorFrom([&] { groups_->OpenGroup("none"); }), 2409, "Groups::OpenGroup",
              "The Group could not be opened as it no longer exists.");
  ExpectError(ErrorFrom([&] { Make()->OpenGroup(""); }), 2409, "Groups::OpenGroup",
              "The Group could not be opened as it no longer exists.");
}

TEST_F(OpenGroupTest, OpensInTheOrderOfTheEmailTag) {
  const std::string id = AddNative(groups_, "G", "/lists");
  Fill(id);
  groups_->CloseGroup();
  const Ref<automation::Object> cursor = CallMember(groups_, "opengroup", {Value(id)}).ToObject();
  EXPECT_EQ(cursor->Members().class_name(), "Recipients");
  EXPECT_EQ(groups_->GetTb(), cursor);
  EXPECT_EQ(groups_->GetDb()->Members().class_name(), "Database");
  std::string emails;
  CallMember(cursor, "MoveFirst");
  while (!GetProperty(cursor, "EOF").ToBoolean()) {
    emails += GetProperty(CallMember(cursor, "Fields", {0}).ToObject(), "Value").ToText() + " ";
    CallMember(cursor, "MoveNext");
  }
  EXPECT_EQ(emails, "a@x b@x c@x ");
}

TEST_F(OpenGroupTest, BlankPathIsTheDataFolder) {
  const std::string id = groups_->CreateGroup("G", Fields(), Indexes(), "");
  groups_->AddGroup(id, "G", GroupType::kPvFormat, "", "", "   ");
  EXPECT_NO_THROW(groups_->OpenGroup(id));
}

TEST_F(OpenGroupTest, OpensAGroupThatAnotherObjectEntered) {
  const auto other = Make();
  const std::string id = AddNative(other, "G");
  EXPECT_NO_THROW(groups_->OpenGroup(id)) << "an empty collection is refreshed first";
}

TEST_F(OpenGroupTest, OpensShared) {
  const std::string id = AddNative(groups_, "G");
  groups_->OpenGroup(id);
  const auto other = Make();
  EXPECT_NO_THROW(other->OpenGroup(id));
}

TEST_F(OpenGroupTest, MissingTableCarriesTheEnginesCode) {
  groups_->AddGroup("ID1", "G", GroupType::kPvFormat, "", "", "");
  const Error e = ErrorFrom([&] { groups_->OpenGroup("ID1"); });
  EXPECT_EQ(e.number(), -110);
  EXPECT_EQ(e.source(), "Groups::OpenGroup");
  EXPECT_FALSE(groups_->GetIsGroupOpen());
}

TEST_F(OpenGroupTest, IdThatNamesOtherFilesIsRefused) {
  groups_->AddGroup("../data/groups", "G", GroupType::kPvFormat, "", "", "/lists");
  for (const bool compact : {false, true}) {
    const Error e = ErrorFrom([&] {
      compact ? groups_->CompactGroup("../data/groups")
              : static_cast<void>(groups_->OpenGroup("../data/groups"));
    });
    EXPECT_EQ(e.number(), 5);
    EXPECT_EQ(e.description(), "The group ID \"../data/groups\" contains a path separator.");
  }
}

TEST_F(OpenGroupTest, SecondGroupReplacesTheFirst) {
  const std::string first = AddNative(groups_, "A");
  const std::string second = AddNative(groups_, "B");
  const auto cursor = groups_->OpenGroup(first);
  groups_->OpenGroup(second);
  EXPECT_NE(groups_->GetTb(), cursor);
  EXPECT_TRUE(groups_->GetIsGroupOpen());
}

TEST_F(OpenGroupTest, RecipientCount) {
  EXPECT_EQ(ErrorFrom([&] { groups_->RecipientCount(); }).number(), 91);
  const std::string id = AddNative(groups_, "G");
  Fill(id);
  EXPECT_EQ(CallMember(groups_, "RecipientCount"), Value(3));
  CallMember(groups_->GetTb(), "MoveFirst");
  CallMember(groups_->GetTb(), "Delete");
  EXPECT_EQ(groups_->RecipientCount(), 3) << "until the group is compacted";
  groups_->CloseGroup();
  groups_->CompactGroup(id);
  groups_->OpenGroup(id);
  EXPECT_EQ(groups_->RecipientCount(), 2);
}

TEST_F(OpenGroupTest, CloseGroupClosesTheTable) {
  const std::string id = AddNative(groups_, "G");
  const auto cursor = groups_->OpenGroup(id);
  groups_->CloseGroup();
  EXPECT_EQ(GetProperty(cursor, "State"), Value(0));
  EXPECT_EQ(machine_.files.OpenFileCount(), 0);
}

TEST_F(OpenGroupTest, GroupWhoseTableTheHostClosedCountsAsClosed) {
  const std::string id = AddNative(groups_, "G");
  CallMember(groups_->OpenGroup(id), "CloseTable");
  ExpectError(ErrorFrom([&] { groups_->CloseGroup(); }), 2400, "Groups::CloseGroup",
              "The table is not open.");
  EXPECT_FALSE(groups_->GetIsGroupOpen());
}

TEST_F(OpenGroupTest, CompactGroupOfAnotherKindDoesNothing) {
  groups_->AddGroup("ID1", "A", GroupType::kAdoRecordset, "", "", "");
  EXPECT_NO_THROW(groups_->CompactGroup("ID1"));
  EXPECT_EQ(ErrorFrom([&] { groups_->CompactGroup("none"); }).number(), 2409);
}

TEST_F(OpenGroupTest, CompactGroupInUseFails) {
  const std::string id = AddNative(groups_, "G");
  groups_->OpenGroup(id);
  ExpectError(ErrorFrom([&] { groups_->CompactGroup(id); }), -130, "Groups::CompactGroup",
              "CompactTable failed.");
}

TEST_F(OpenGroupTest, ReleasingGroupsClosesEverything) {
  const std::string id = AddNative(groups_, "G");
  groups_->OpenGroup(id);
  groups_ = nullptr;
  EXPECT_EQ(machine_.files.OpenFileCount(), 0);
}

TEST_F(OpenGroupTest, FieldTypesOfANativeGroup) {
  const std::string id = AddNative(groups_, "G");
  groups_->OpenGroup(id);
  EXPECT_EQ(CallMember(groups_, "GetGroupFieldTypes"), Value(true));
  const auto types = groups_->GetFieldTypes();
  ASSERT_EQ(types->Count(), 2);
  EXPECT_EQ(types->Item(1)->GetName(), "Email");
  EXPECT_EQ(types->Item(1)->GetType(), PVGroupFieldType::kText);
  EXPECT_EQ(types->Item(1)->GetLength(), 100);
  EXPECT_EQ(types->Item("JOINED")->GetName(), "Joined");
  EXPECT_EQ(types->Item("JOINED")->GetType(), PVGroupFieldType::kDate);
  EXPECT_EQ(types->Item("JOINED")->GetLength(), 8);
}

TEST_F(OpenGroupTest, FieldTypesCalledTwiceLeaveOneEntryPerField) {
  const std::string id = AddNative(groups_, "G");
  groups_->OpenGroup(id);
  groups_->GetGroupFieldTypes();
  groups_->GetGroupFieldTypes();
  EXPECT_EQ(groups_->GetFieldTypes()->Count(), 2);
}

TEST_F(OpenGroupTest, FieldTypesOfEveryLetter) {
  using tablestore::FieldType;
  const std::pair<FieldType, PVGroupFieldType> cases[] = {
      {FieldType::kCharacter, PVGroupFieldType::kText},
      {FieldType::kUnicode, PVGroupFieldType::kText},
      {FieldType::kMemo, PVGroupFieldType::kText},
      {FieldType::kMemoBinary, PVGroupFieldType::kText},
      {FieldType::kDouble, PVGroupFieldType::kText},
      {FieldType::kCharacterBinary, PVGroupFieldType::kText},
      {FieldType::kGeneral, PVGroupFieldType::kText},
      {FieldType::kNumeric, PVGroupFieldType::kNumber},
      {FieldType::kFloat, PVGroupFieldType::kNumber},
      {FieldType::kInteger, PVGroupFieldType::kNumber},
      {FieldType::kCurrency, PVGroupFieldType::kCurrency},
      {FieldType::kDate, PVGroupFieldType::kDate},
      {FieldType::kDateTime, PVGroupFieldType::kDateTime},
      {FieldType::kLogical, PVGroupFieldType::kBoolean}};
  std::vector<tablestore::FieldStruct> fields;
  for (const auto& [type, expected] : cases) {
    fields.push_back({"first_" + std::to_string(fields.size()), type, 10, 0, false});
  }
  {
    const auto database = MakeObject<Database>();
    database->CreateTable("/lists", "ID1.pvg", fields, {});
  }
  groups_->AddGroup("ID1", "G", GroupType::kPvFormat, "", "", "/lists");
  groups_->OpenGroup("ID1");
  groups_->GetGroupFieldTypes();
  std::int32_t i = 0;
  for (const auto& [type, expected] : cases) {
    const auto seen = groups_->GetFieldTypes()->Item(++i);
    EXPECT_EQ(seen->GetType(), expected) << static_cast<int>(type);
    EXPECT_EQ(seen->GetName(), "First_" + std::to_string(i - 1))
        << "an underscore is no word's end";
  }
}

TEST_F(OpenGroupTest, FieldTypesWithNoGroupOpenFail) {
  const Error e = ErrorFrom([&] { groups_->GetGroupFieldTypes(); });
  EXPECT_EQ(e.number(), 91);
  EXPECT_EQ(e.source(), "Groups::GetGroupFieldTypes");
}

}  // namespace
}  // namespace pv::groups

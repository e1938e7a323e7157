#include <functional>

#include "tablestore/table_fixture_test.h"

namespace pv::tablestore {
namespace {

class EditTest : public TableTest {
 protected:
  EditTest() {
    AddPerson(cursor_, "amy@x", "Amy", 1);
    AddPerson(cursor_, "bob@x", "Bob", 2);
  }
  Ref<Recipients> cursor_ = MakePeople();
};

TEST_F(EditTest, MembersInInterfaceOrder) {
  std::vector<std::string> names;
  for (const auto& m : cursor_->Members().members()) names.push_back(m.name);
  EXPECT_EQ(names, (std::vector<std::string>{
                       "Fields",    "Fields", "CreateInst",  "State",     "TableHandle",
                       "AddNew",    "Update", "Delete",      "MoveFirst", "Find",
                       "SeekFirst", "Move",   "MoveNext",    "MovePrev",  "MoveLast",
                       "BOF",       "EOF",    "RecordCount", "RecordNo",  "CloseTable"}));
}

TEST_F(EditTest, EveryMemberByNameAndById) {
  const Ref<automation::Object> c = cursor_;
  EXPECT_EQ(CallMember(c, "movefirst"), Value(true));
  automation::Call call{automation::kCallMethod, {}, {}};
  EXPECT_EQ(automation::Invoke(c, automation::GetIdOfName(c, "MoveNext"), call), Value(true));
  EXPECT_EQ(GetProperty(c, "State"), Value(1));
  EXPECT_EQ(GetProperty(c, "TableHandle"), Value(cursor_->GetTableHandle()));
  EXPECT_EQ(GetProperty(c, "RecordCount"), Value(2));
  EXPECT_EQ(GetProperty(c, "RecordNo"), Value(2));
  EXPECT_EQ(GetProperty(c, "BOF"), Value(false));
  EXPECT_EQ(GetProperty(c, "EOF"), Value(false));
  EXPECT_EQ(CallMember(c, "MovePrev"), Value(true));
  EXPECT_EQ(CallMember(c, "MoveLast"), Value(true));
  EXPECT_EQ(CallMember(c, "SeekFirst", {"amy@x", "Email"}), Value(true));
  EXPECT_EQ(CallMember(c, "Move", {1}), Value(true));
  EXPECT_TRUE(CallMember(c, "AddNew").IsEmpty());
  automation::PutProperty(CallMember(c, "Fields", {"EMAIL"}).ToObject(), "Value", Value("z@x"));
  EXPECT_TRUE(CallMember(c, "Update").IsEmpty());
  EXPECT_EQ(CallMember(c, "Delete"), Value(true));
  EXPECT_EQ(CallMember(c, "CloseTable"), Value(true));
}

TEST_F(EditTest, UnboundCursorIsClosed) {
  const auto cursor = automation::MakeObject<Recipients>();
  EXPECT_EQ(cursor->GetState(), StateConstants::kIsClosed);
  EXPECT_EQ(cursor->GetTableHandle(), 0);
  EXPECT_EQ(cursor->GetFields()->Count(), 0);
  ExpectError(ErrorFrom([&] { cursor->MoveFirst(); }), 2400, "MoveFirst", "The table is not open.");
  EXPECT_TRUE(cursor->CreateInst(0, 0));
  EXPECT_EQ(cursor->GetState(), StateConstants::kIsClosed);
}

TEST_F(EditTest, AddNewAndUpdateAppend) {
  EXPECT_TRUE(cursor_->AddNew().IsEmpty());
  EXPECT_EQ(cursor_->GetRecordCount(), 2) << "nothing is written before Update";
  Set(cursor_, "email", "cid@x");
  EXPECT_TRUE(cursor_->Update().IsEmpty());
  EXPECT_EQ(cursor_->GetRecordCount(), 3);
  EXPECT_EQ(cursor_->GetRecordNo(), 3);
  cursor_->MoveLast();
  EXPECT_EQ(Get(cursor_, "EMAIL"), Value("cid@x"));
  EXPECT_EQ(Get(cursor_, "AGE"), Value(0.0)) << "a value that was not set is written as Empty";
}

TEST_F(EditTest, UpdateEndsAdding) {
  cursor_->AddNew();
  Set(cursor_, "EMAIL", "cid@x");
  cursor_->Update();
  Set(cursor_, "NAME", "Cid");
  cursor_->Update();
  EXPECT_EQ(cursor_->GetRecordCount(), 3) << "the second Update writes the record just added";
  cursor_->MoveLast();
  EXPECT_EQ(Get(cursor_, "EMAIL"), Value("cid@x"));
  EXPECT_EQ(Get(cursor_, "NAME"), Value("Cid"));
}

TEST_F(EditTest, UpdateMovesTheRecordInItsTag) {
  cursor_->MoveFirst();
  Set(cursor_, "EMAIL", "zoe@x");
  cursor_->Update();
  EXPECT_FALSE(cursor_->SeekFirst("amy@x", ""));
  EXPECT_TRUE(cursor_->SeekFirst("zoe@x", ""));
  EXPECT_EQ(Get(cursor_, "NAME"), Value("Amy"));
}

TEST_F(EditTest, UpdateWritesOnlyWhatWasAssigned) {
  const auto other = database_->OpenTable("/data", "people.pvg", std::nullopt, "Email");
  cursor_->MoveFirst();
  EXPECT_EQ(Get(cursor_, "AGE"), Value(1.0));
  other->MoveFirst();
  Set(other, "AGE", 77);
  other->Update();
  Set(cursor_, "NAME", "Anna");
  cursor_->Update();
  other->MoveFirst();
  EXPECT_EQ(Get(other, "NAME"), Value("Anna"));
  EXPECT_EQ(Get(other, "AGE"), Value(77.0)) << "the other cursor's change stays";
}

TEST_F(EditTest, UpdateKeepsTheBytesOfOtherFields) {
  cursor_->CloseTable();
  std::string bytes = machine_.files.Get("/data/people.pvg");
  const std::size_t amy = bytes.find("Amy  ");
  ASSERT_NE(amy, std::string::npos);
  bytes.replace(amy + 20, 5, "1e0  ");  // a number as no writer of ours would store it
  machine_.files.Put("/data/people.pvg", bytes);
  cursor_ = database_->OpenTable("/data", "people.pvg", std::nullopt, "Email");
  cursor_->MoveFirst();
  EXPECT_EQ(Get(cursor_, "AGE"), Value(1.0)) << "reading a value is no assignment";
  Set(cursor_, "NAME", "Anna");
  cursor_->Update();
  cursor_->CloseTable();
  EXPECT_EQ(machine_.files.Get("/data/people.pvg").substr(amy, 25), "Anna                1e0  ");
}

TEST_F(EditTest, UpdateKeepsNullsOfOtherFields) {
  const auto cursor = database_->CreateTable(
      "/data", "n.pvg",
      {{"A", FieldType::kCharacter, 5, 0, true}, {"B", FieldType::kCharacter, 5, 0, true}}, {});
  cursor->AddNew();
  Set(cursor, "A", Value::Null());
  Set(cursor, "B", "b");
  cursor->Update();
  cursor->MoveFirst();
  Set(cursor, "B", "c");
  cursor->Update();
  cursor->MoveFirst();
  EXPECT_TRUE(Get(cursor, "A").IsNull());
  EXPECT_EQ(Get(cursor, "B"), Value("c"));
}

TEST_F(EditTest, UpdatingADeletedRecordUnmarksIt) {
  const auto natural = database_->OpenTable("/data", "people.pvg");
  natural->MoveFirst();
  natural->Delete();
  EXPECT_EQ(engine::d4deleted(natural->GetTableHandle()), 1);
  EXPECT_FALSE(cursor_->SeekFirst("amy@x", ""));
  natural->Update();
  EXPECT_EQ(engine::d4deleted(natural->GetTableHandle()), 0);
  EXPECT_TRUE(cursor_->SeekFirst("amy@x", ""));
}

TEST_F(EditTest, DuplicateKeyIs20AndNothingIsWritten) {
  cursor_->AddNew();
  Set(cursor_, "EMAIL", "bob@x");
  ExpectError(ErrorFrom([&] { cursor_->Update(); }), 20, "Update", "Duplicate Key Value.");
  EXPECT_EQ(cursor_->GetRecordCount(), 2);
  Set(cursor_, "EMAIL", "bert@x");
  cursor_->Update();
  EXPECT_EQ(cursor_->GetRecordCount(), 3) << "the record is still being added";

  cursor_->MoveFirst();
  Set(cursor_, "EMAIL", "bob@x");
  ExpectError(ErrorFrom([&] { cursor_->Update(); }), 20, "Update", "Duplicate Key Value.");
  cursor_->MoveFirst();
  EXPECT_EQ(Get(cursor_, "EMAIL"), Value("amy@x"));
}

TEST_F(EditTest, RecallingADeletedRecordWhoseKeyIsTakenIs20) {
  const auto natural = database_->OpenTable("/data", "people.pvg");
  natural->MoveFirst();
  natural->Delete();
  AddPerson(cursor_, "amy@x", "Amy the second");
  ExpectError(ErrorFrom([&] { natural->Update(); }), 20, "Update", "Duplicate Key Value.");
  Set(natural, "EMAIL", "amelia@x");
  natural->Update();
  EXPECT_TRUE(cursor_->SeekFirst("amelia@x", "")) << "with another key it comes back";
}

TEST_F(EditTest, LockedRecordIs50) {
  cursor_->MoveFirst();
  Set(cursor_, "AGE", 5);
  machine_.files.FailCall(1, platform::Call::kLock, platform::Fault::kBusy, true);
  ExpectError(ErrorFrom([&] { cursor_->Update(); }), 50, "Update", "Record is locked.");
  ExpectError(ErrorFrom([&] { cursor_->Delete(); }), 50, "Delete", "Record is locked.");
  cursor_->AddNew();
  ExpectError(ErrorFrom([&] { cursor_->Update(); }), 50, "Update", "Record is locked.");
  machine_.files.ClearFault();
  EXPECT_EQ(cursor_->GetRecordCount(), 2);
}

TEST_F(EditTest, FailureOfTheEngineCarriesItsCodeAndText) {
  cursor_->MoveFirst();
  Set(cursor_, "AGE", 5);
  machine_.files.FailCall(1, platform::Call::kWrite, platform::Fault::kNoSpace, true);
  const Error e = ErrorFrom([&] { cursor_->Update(); });
  machine_.files.ClearFault();
  EXPECT_EQ(e.number(), -160);
  EXPECT_EQ(e.source(), "Update");
  EXPECT_FALSE(e.description().empty());
}

TEST_F(EditTest, UpdateWithoutARecordIsAnError) {
  ExpectError(ErrorFrom([&] { cursor_->Find("none"), cursor_->Update(); }), -1, "Update",
              "No current record.");
  while (cursor_->MoveNext()) continue;
  EXPECT_EQ(ErrorFrom([&] { cursor_->Update(); }).number(), -1);
}

TEST_F(EditTest, DeleteMarksTheRecordAndItStays) {
  cursor_->MoveFirst();
  EXPECT_TRUE(cursor_->Delete());
  EXPECT_EQ(cursor_->GetRecordCount(), 2);
  EXPECT_FALSE(cursor_->SeekFirst("amy@x", ""));
}

TEST_F(EditTest, DeleteWithoutARecordIsAnError) {
  EXPECT_FALSE(cursor_->SeekFirst("zzz", ""));
  const Error e = ErrorFrom([&] { cursor_->Delete(); });
  EXPECT_EQ(e.number(), -240);
  EXPECT_EQ(e.source(), "Delete");
}

TEST_F(EditTest, WrongValueLeavesTheNewRecordToBeCorrected) {
  cursor_->AddNew();
  Set(cursor_, "EMAIL", "cid@x");
  Set(cursor_, "AGE", "old");
  EXPECT_EQ(ErrorFrom([&] { cursor_->Update(); }).number(), 13);
  EXPECT_EQ(cursor_->GetRecordCount(), 2);
  Set(cursor_, "AGE", 1234567);
  EXPECT_EQ(ErrorFrom([&] { cursor_->Update(); }).number(), -630);
  EXPECT_EQ(cursor_->GetRecordCount(), 2);
  Set(cursor_, "AGE", 30);
  cursor_->Update();
  EXPECT_TRUE(cursor_->SeekFirst("cid@x", ""));
  EXPECT_EQ(Get(cursor_, "AGE"), Value(30.0));
}

TEST_F(EditTest, CloseTable) {
  EXPECT_TRUE(cursor_->CloseTable());
  EXPECT_EQ(cursor_->GetState(), StateConstants::kIsClosed);
  EXPECT_EQ(cursor_->GetTableHandle(), 0);
  EXPECT_EQ(machine_.files.OpenFileCount(), 0);
}

TEST_F(EditTest, CloseTableOfAClosedHandleCarriesTheEnginesCode) {
  engine::d4close(cursor_->GetTableHandle());
  ExpectError(ErrorFrom([&] { cursor_->CloseTable(); }), -920, "CloseTable", "CloseTable failed.");
  EXPECT_EQ(cursor_->GetState(), StateConstants::kIsOpen);
}

TEST_F(EditTest, ReleasingTheCursorLeavesTheTableOpen) {
  cursor_ = nullptr;
  EXPECT_GT(machine_.files.OpenFileCount(), 0);
  database_ = nullptr;
  EXPECT_EQ(machine_.files.OpenFileCount(), 0);
}

TEST_F(EditTest, CursorCanBeBoundAgain) {
  const auto other = MakePeople("other.pvg");
  AddPerson(other, "other@x");
  const auto fields = cursor_->GetFields();
  cursor_->CreateInst(0, 0);
  EXPECT_EQ(cursor_->GetState(), StateConstants::kIsClosed);
  cursor_->CreateInst(1, other->GetTableHandle());
  cursor_->MoveFirst();
  EXPECT_EQ(cursor_->GetFields(), fields);
  EXPECT_EQ(Get(cursor_, "EMAIL"), Value("other@x"));
}

}  // namespace
}  // namespace pv::tablestore

#include <algorithm>
#include <array>

#include "tablestore/table_fixture_test.h"

namespace pv::tablestore {
namespace {

class MoveTest : public TableTest {
 protected:
  MoveTest() {
    AddPerson(cursor_, "cid@x", "Cid", 3);
    AddPerson(cursor_, "amy@x", "Amy", 1);
    AddPerson(cursor_, "bob@x", "Bob", 2);
  }
  Value Email() { return Get(cursor_, "Email"); }
  // Replaces what the engine answers is not possible, so damage the index under an open table.
  void DamageIndex() {
    std::string bytes = machine_.files.Get("/data/people.cdx");
    std::fill(bytes.begin() + 512, bytes.end(), '\xFF');
    machine_.files.Put("/data/people.cdx", bytes);
  }

  Ref<Recipients> cursor_ = MakePeople();
  Ref<Recipients> empty_ = MakePeople("empty.pvg");
};

TEST_F(MoveTest, WalksInTheOrderOfTheTag) {
  EXPECT_TRUE(cursor_->MoveFirst());
  EXPECT_EQ(Email(), Value("amy@x"));
  EXPECT_TRUE(cursor_->MoveNext());
  EXPECT_EQ(Email(), Value("bob@x"));
  EXPECT_TRUE(cursor_->MoveNext());
  EXPECT_EQ(Email(), Value("cid@x"));
  EXPECT_FALSE(cursor_->MoveNext());
}

TEST_F(MoveTest, EmptyTable) {
  ExpectError(ErrorFrom([&] { empty_->MoveFirst(); }), 3, "MoveFirst", "No records found.");
  EXPECT_TRUE(empty_->IsEof());
  EXPECT_TRUE(empty_->IsBof());
  EXPECT_EQ(empty_->GetRecordCount(), 0);
  ExpectError(ErrorFrom([&] { empty_->MoveLast(); }), 3, "MoveLast", "No records found.");
  std::int32_t n = 0;
  ExpectError(ErrorFrom([&] { empty_->Move(n); }), 3, "Move", "No records found.");
  EXPECT_FALSE(empty_->MoveNext());
}

TEST_F(MoveTest, MoveNextOnTheLastRecordLeavesEofAndEmptyFields) {
  cursor_->MoveLast();
  EXPECT_EQ(cursor_->GetFields()->Count(), 3);
  EXPECT_FALSE(cursor_->MoveNext());
  EXPECT_TRUE(cursor_->IsEof());
  EXPECT_EQ(cursor_->GetFields()->Count(), 0);
  EXPECT_FALSE(cursor_->GetFields()->Item(0));
  EXPECT_FALSE(cursor_->GetFields()->Item("EMAIL"));
}

TEST_F(MoveTest, MovePrevOnTheFirstRecordIsFalseWithoutError) {
  cursor_->MoveFirst();
  EXPECT_FALSE(cursor_->MovePrev());
  EXPECT_TRUE(cursor_->IsBof());
  EXPECT_EQ(cursor_->GetFields()->Count(), 0);
}

TEST_F(MoveTest, MovePrevWalksBack) {
  EXPECT_EQ(cursor_->MoveLast(), Value(true));
  EXPECT_EQ(Email(), Value("cid@x"));
  EXPECT_TRUE(cursor_->MovePrev());
  EXPECT_EQ(Email(), Value("bob@x"));
}

TEST_F(MoveTest, MoveCountsFromTheFirstRecord) {
  cursor_->MoveLast();
  for (const auto& [places, email] :
       {std::pair{0, "amy@x"}, {2, "cid@x"}, {1, "bob@x"}, {1, "bob@x"}}) {
    std::int32_t n = places;
    EXPECT_TRUE(cursor_->Move(n));
    EXPECT_EQ(Email(), Value(email));
    EXPECT_EQ(n, places) << "the argument is left as it was";
  }
}

TEST_F(MoveTest, MovePastTheEndsIsAnError) {
  std::int32_t n = 3;
  ExpectError(ErrorFrom([&] { cursor_->Move(n); }), 3, "Move", "Moved past EOF");
  EXPECT_EQ(cursor_->GetFields()->Count(), 0);
  n = -1;
  ExpectError(ErrorFrom([&] { cursor_->Move(n); }), 4, "Move", "Moved before BOF.");
}

TEST_F(MoveTest, LateBoundMoveTakesItsArgumentByReference) {
  automation::Call call{automation::kCallMethod, {Value(std::int16_t{1})}, {}};
  EXPECT_EQ(automation::Invoke(cursor_, "move", call), Value(true));
  EXPECT_EQ(call.arguments[0], Value(1));
  EXPECT_EQ(Email(), Value("bob@x"));
}

TEST_F(MoveTest, FindTakesWhatFollowsTheEqualsSign) {
  for (const char* criteria :
       {"bob@x", "Email = 'bob@x'", "Email='bob@x'", "Name = bob@x", "x=#bob@x#", "=  bob@x  ",
        "'bob@x'", "Email = '#bob@x'", "#'bob@x'#"}) {
    cursor_->MoveFirst();
    const Value found = cursor_->Find(criteria);
    if (std::string_view(criteria) == "Email = '#bob@x'") {
      EXPECT_TRUE(found.IsEmpty()) << "only one quote of a kind, and # before '";
      continue;
    }
    EXPECT_EQ(found, Value(true)) << criteria;
    EXPECT_EQ(Email(), Value("bob@x")) << criteria;
  }
}

TEST_F(MoveTest, FindIgnoresTheNameBeforeTheEqualsSign) {
  EXPECT_EQ(cursor_->Find("Email = 'cid@x'"), Value(true));
  const std::int32_t number = cursor_->GetRecordNo();
  EXPECT_EQ(cursor_->Find("Anything = 'cid@x'"), Value(true));
  EXPECT_EQ(cursor_->GetRecordNo(), number);
}

TEST_F(MoveTest, FindOfAMissingValueGoesToTheEnd) {
  for (const char* value : {"zed@x", "aaa@x", "bob"}) {
    const Value found = cursor_->Find(value);
    EXPECT_TRUE(found.IsEmpty()) << value;
    EXPECT_FALSE(found.ToBoolean());
    EXPECT_TRUE(cursor_->IsEof()) << value;
    EXPECT_EQ(cursor_->GetFields()->Count(), 0);
  }
}

TEST_F(MoveTest, FindGoesOnBehindTheCurrentRecordWhenRowsAreSkipped) {
  const auto by_name = database_->OpenTable("/data", "people.pvg", std::nullopt, "Name");
  AddPerson(cursor_, "ann@y", "Bob", 9);
  EXPECT_EQ(by_name->Find("Name = 'Bob'"), Value(true));
  EXPECT_EQ(Get(by_name, "Email"), Value("bob@x"));
  EXPECT_EQ(by_name->Find("Name = 'Bob'", 1), Value(true));
  EXPECT_EQ(Get(by_name, "Email"), Value("ann@y"));
  EXPECT_TRUE(by_name->Find("Name = 'Bob'", 1).IsEmpty());
  EXPECT_TRUE(by_name->IsEof());
  EXPECT_EQ(by_name->Find("Name = 'Bob'", 0, 1, Value(3)), Value(true));
}

TEST_F(MoveTest, FindWithoutATagFindsNothing) {
  const auto natural = database_->OpenTable("/data", "people.pvg");
  EXPECT_TRUE(natural->Find("bob@x").IsEmpty());
  EXPECT_TRUE(natural->IsEof());
}

TEST_F(MoveTest, LateBoundFindMayLeaveItsOptionalArgumentsOut) {
  EXPECT_EQ(CallMember(cursor_, "Find", {"bob@x"}), Value(true));
  EXPECT_EQ(CallMember(cursor_, "Find", {"bob@x", Value::Missing(), 1}), Value(true));
  automation::Call call{automation::kCallMethod, {Value("bob@x")}, {{"vStart", Value(1)}}};
  EXPECT_EQ(automation::Invoke(cursor_, "Find", call), Value(true));
}

TEST_F(MoveTest, SeekFirst) {
  EXPECT_TRUE(cursor_->SeekFirst("cid@x", "no such tag"));
  EXPECT_EQ(Email(), Value("cid@x"));
  EXPECT_FALSE(cursor_->SeekFirst("bo", "Email"));
  EXPECT_EQ(cursor_->GetFields()->Count(), 0);
  EXPECT_FALSE(cursor_->SeekFirst("zzz", "Email"));
  EXPECT_FALSE(cursor_->SeekFirst("bob@x and more than the width of the key", ""));
}

TEST_F(MoveTest, AddNewFollowedByAMoveDropsTheNewRecord) {
  cursor_->AddNew();
  Set(cursor_, "Email", "new@x");
  cursor_->MoveFirst();
  EXPECT_EQ(Email(), Value("amy@x"));
  Set(cursor_, "Age", 50);
  cursor_->Update();
  EXPECT_EQ(cursor_->GetRecordCount(), 3) << "the update wrote the record that was moved to";
}

TEST_F(MoveTest, EveryPositioningMemberDropsTheNewRecord) {
  std::int32_t n = 0;
  const std::array<std::function<void()>, 7> moves = {[&] { cursor_->MoveFirst(); },
                                                      [&] { cursor_->Move(n); },
                                                      [&] { cursor_->MoveNext(); },
                                                      [&] { cursor_->MovePrev(); },
                                                      [&] { cursor_->MoveLast(); },
                                                      [&] { cursor_->Find("bob@x"); },
                                                      [&] { cursor_->SeekFirst("bob@x", ""); }};
  for (const auto& move : moves) {
    Ref<Recipients> cursor = cursor_;
    std::int32_t middle = 1;
    cursor->Move(middle);
    cursor->AddNew();
    move();
    Set(cursor, "Age", 8);
    cursor->Update();
    EXPECT_EQ(cursor->GetRecordCount(), 3);
  }
}

TEST_F(MoveTest, RecordCountIncludesRecordsMarkedDeleted) {
  cursor_->MoveFirst();
  cursor_->Delete();
  EXPECT_EQ(cursor_->GetRecordCount(), 3);
  cursor_->MoveFirst();
  EXPECT_EQ(Email(), Value("bob@x")) << "the tag's filter leaves the deleted record out";
  const auto natural = database_->OpenTable("/data", "people.pvg");
  natural->MoveFirst();
  int visited = 1;
  while (natural->MoveNext()) ++visited;
  EXPECT_EQ(visited, 3) << "natural order visits it";
}

TEST_F(MoveTest, RecordNo) {
  cursor_->MoveFirst();
  EXPECT_EQ(cursor_->GetRecordNo(), 2);
  while (cursor_->MoveNext()) continue;
  ExpectError(ErrorFrom([&] { cursor_->GetRecordNo(); }), -1, "RecordNo", "No current record.");
}

TEST_F(MoveTest, ClosedTableIsAnErrorOfEveryMember) {
  cursor_->CloseTable();
  std::int32_t n = 0;
  const std::pair<const char*, std::function<void()>> members[] = {
      {"MoveFirst", [&] { cursor_->MoveFirst(); }},
      {"Move", [&] { cursor_->Move(n); }},
      {"MoveNext", [&] { cursor_->MoveNext(); }},
      {"MovePrev", [&] { cursor_->MovePrev(); }},
      {"MoveLast", [&] { cursor_->MoveLast(); }},
      {"Find", [&] { cursor_->Find("x"); }},
      {"SeekFirst", [&] { cursor_->SeekFirst("x", ""); }},
      {"BOF", [&] { (void)cursor_->IsBof(); }},
      {"EOF", [&] { (void)cursor_->IsEof(); }},
      {"RecordCount", [&] { (void)cursor_->GetRecordCount(); }},
      {"RecordNo", [&] { (void)cursor_->GetRecordNo(); }},
      {"AddNew", [&] { cursor_->AddNew(); }},
      {"Update", [&] { cursor_->Update(); }},
      {"Delete", [&] { cursor_->Delete(); }},
      {"CloseTable", [&] { cursor_->CloseTable(); }}};
  for (const auto& [name, call] : members) {
    ExpectError(ErrorFrom(call), 2400, name, "The table is not open.");
  }
}

TEST_F(MoveTest, CursorThatOutlivesItsSessionCarriesTheEnginesCode) {
  cursor_->MoveFirst();
  const auto fields = cursor_->GetFields();
  database_ = nullptr;
  const Error e = ErrorFrom([&] { cursor_->MoveNext(); });
  EXPECT_EQ(e.number(), -920);
  EXPECT_EQ(e.description(), "The handle is not valid.");
  ExpectError(ErrorFrom([&] { cursor_->MoveFirst(); }), -920, "MoveFirst", "MoveFirst failed.");
  ExpectError(ErrorFrom([&] { cursor_->MoveLast(); }), -920, "MoveLast", "MoveLast failed.");
  ExpectError(ErrorFrom([&] { cursor_->Find("x"); }), -920, "Find", "Find failed.");
  ExpectError(ErrorFrom([&] { cursor_->SeekFirst("x", ""); }), -920, "SeekFirst",
              "SeekFirst failed.");
  std::int32_t n = 0;
  ExpectError(ErrorFrom([&] { cursor_->Move(n); }), -920, "Move", "Move failed.");
  ExpectError(ErrorFrom([&] { cursor_->MovePrev(); }), -920, "MovePrev",
              "The handle is not valid.");
  EXPECT_EQ(ErrorFrom([&] { (void)cursor_->IsEof(); }).number(), -920);
  EXPECT_EQ(ErrorFrom([&] { (void)cursor_->GetRecordCount(); }).number(), -920);
  EXPECT_EQ(ErrorFrom([&] { (void)cursor_->GetRecordNo(); }).number(), -920);
}

TEST_F(MoveTest, DamagedIndexIsAnErrorAndFieldsIsEmpty) {
  cursor_->CloseTable();
  cursor_ = database_->OpenTable("/data", "people.pvg", std::nullopt, "Email");
  DamageIndex();
  ExpectError(ErrorFrom([&] { cursor_->MoveFirst(); }), -310, "MoveFirst", "MoveFirst failed.");
  EXPECT_EQ(cursor_->GetFields()->Count(), 0);
}

// The members with the text that each gives to a failure of the engine; "" where it gives the
// engine's own.
struct Positioning {
  const char* name;
  const char* text;
  std::function<void(Recipients&)> call;
};
const Positioning kPositioning[] = {
    {"MoveFirst", "MoveFirst failed.", [](Recipients& c) { c.MoveFirst(); }},
    {"Move", "Move failed.",
     [](Recipients& c) {
       std::int32_t n = 1;
       c.Move(n);
     }},
    {"MoveNext", "", [](Recipients& c) { c.MoveNext(); }},
    {"MovePrev", "", [](Recipients& c) { c.MovePrev(); }},
    {"MoveLast", "MoveLast failed.", [](Recipients& c) { c.MoveLast(); }},
    {"Find", "Find failed.", [](Recipients& c) { c.Find("bob@x"); }},
    {"SeekFirst", "SeekFirst failed.", [](Recipients& c) { c.SeekFirst("bob@x", ""); }}};

TEST_F(MoveTest, FailureOfTheEngineCarriesItsCode) {
  for (const Positioning& p : kPositioning) {
    cursor_ = database_->OpenTable("/data", "people.pvg", std::nullopt, "Email");
    cursor_->Find("bob@x");
    machine_.files.FailCall(1, platform::Call::kRead, platform::Fault::kIoError, true);
    const Error e = ErrorFrom([&] { p.call(*cursor_); });
    machine_.files.ClearFault();
    EXPECT_EQ(e.number(), -170) << p.name;
    EXPECT_EQ(e.source(), p.name);
    if (*p.text != '\0') {
      EXPECT_EQ(e.description(), p.text);
    } else {
      EXPECT_NE(e.description().find("/data/people."), std::string::npos) << e.description();
    }
    EXPECT_EQ(cursor_->GetFields()->Count(), 0);
  }
}

TEST_F(MoveTest, LockThatIsNotObtainedIs50) {
  for (const Positioning& p : kPositioning) {
    if (std::string_view(p.name) == "MoveNext" || std::string_view(p.name) == "MovePrev") continue;
    cursor_ = database_->OpenTable("/data", "people.pvg", std::nullopt, "Email");
    machine_.files.FailCall(1, platform::Call::kLock, platform::Fault::kBusy, true);
    ExpectError(ErrorFrom([&] { p.call(*cursor_); }), 50, p.name, "Record is locked.");
    machine_.files.ClearFault();
  }
}

TEST_F(MoveTest, LockNotObtainedOnTheWayThroughATagIs50) {
  // Another order than the one the place was found in: the next step must look it up first.
  cursor_->MoveFirst();
  Set(cursor_, "Age", 9);
  cursor_->Update();
  machine_.files.FailCall(1, platform::Call::kLock, platform::Fault::kBusy, true);
  ExpectError(ErrorFrom([&] { cursor_->MoveNext(); }), 50, "MoveNext", "Record is locked.");
  ExpectError(ErrorFrom([&] { cursor_->MovePrev(); }), 50, "MovePrev", "Record is locked.");
  machine_.files.ClearFault();
}

}  // namespace
}  // namespace pv::tablestore

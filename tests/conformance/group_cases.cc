// Groups, databases and cursors.
#include <algorithm>

#include "conformance/door.h"

namespace pv::conformance {
namespace {

using automation::Currency;
using automation::Date;
using automation::ValueType;
using Names = std::vector<std::string>;

class GroupCase : public Case {
 protected:
  const Ref<Object> groups_ = Create("Groups");
};

TEST_F(GroupCase, WholeLifeOfAGroup) {
  EXPECT_EQ(GetProperty(Part(groups_, "Groups"), "Count"), Value(0));
  const std::string id = Make(groups_, "Kunden");
  EXPECT_EQ(id.size(), 32U);
  EXPECT_EQ(GetProperty(Item(Part(groups_, "Groups"), id), "Name"), Value("Kunden"));
  CallMember(groups_, "Refresh");
  EXPECT_EQ(GetProperty(Item(Part(groups_, "Groups"), 1), "ID"), Value(id));

  EXPECT_EQ(GetProperty(groups_, "IsGroupOpen"), Value(false));
  Ref<Object> cursor = CallMember(groups_, "OpenGroup", {id}).ToObject();
  EXPECT_EQ(GetProperty(groups_, "IsGroupOpen"), Value(true));
  EXPECT_EQ(GetProperty(cursor, "State"), Value(1));
  EXPECT_EQ(GetProperty(cursor, "BOF"), Value(true));
  EXPECT_EQ(GetProperty(cursor, "EOF"), Value(true));
  Append(cursor, "carl@example.org", "Carl", 3.25);
  Append(cursor, "Anna@example.org", "Müller €", 1);
  Append(cursor, "bert@example.org", Value::Null(), 2);
  EXPECT_EQ(CallMember(groups_, "RecipientCount"), Value(3));

  Names walked;
  CallMember(cursor, "MoveFirst");
  while (!GetProperty(cursor, "EOF").ToBoolean()) {
    walked.push_back(Field(cursor, "Email").ToText().substr(0, 4));
    CallMember(cursor, "MoveNext");
  }
  EXPECT_EQ(walked, (Names{"Anna", "bert", "carl"}));

  EXPECT_EQ(CallMember(cursor, "SeekFirst", {"ANNA@EXAMPLE.ORG", "Email"}), Value(true));
  EXPECT_EQ(Field(cursor, "NAME").ToText().substr(0, 11), "Müller €");
  EXPECT_EQ(CallMember(cursor, "SeekFirst", {"nobody", "Email"}), Value(false));
  EXPECT_EQ(CallMember(cursor, "Find", {"Email = 'BERT@EXAMPLE.ORG'"}), Value(true));
  EXPECT_TRUE(Field(cursor, "Name").IsNull());
  SetField(cursor, "Points", 2.75);
  CallMember(cursor, "Update");
  CallMember(cursor, "MoveFirst");
  EXPECT_TRUE(CallMember(cursor, "Find", {"Email = 'NOBODY'"}).IsEmpty());

  EXPECT_EQ(CallMember(cursor, "MoveLast"), Value(true));
  EXPECT_EQ(CallMember(cursor, "MovePrev"), Value(true));
  EXPECT_EQ(Field(cursor, "Points"), Value(2.75));
  EXPECT_EQ(CallMember(cursor, "Delete"), Value(true));
  CallMember(groups_, "CloseGroup");
  EXPECT_EQ(GetProperty(cursor, "State"), Value(0));
  cursor = nullptr;
  CallMember(groups_, "CompactGroup", {id});
  cursor = CallMember(groups_, "OpenGroup", {id}).ToObject();
  EXPECT_EQ(GetProperty(cursor, "RecordCount"), Value(2));
  CallMember(groups_, "CloseGroup");
  cursor = nullptr;

  CallMember(groups_, "RenameGroup", {id, "Clients"});
  CallMember(groups_, "Refresh");
  EXPECT_EQ(Walk(Part(groups_, "Groups")), Names{"Clients"});
  EXPECT_EQ(CallMember(groups_, "DeleteGroup", {id}), Value(true));
  CallMember(groups_, "Refresh");
  EXPECT_EQ(Walk(Part(groups_, "Groups")), Names{});
}

TEST_F(GroupCase, EveryTypeComesBackAsItsOwn) {
  const std::string id = Make(groups_, "Types");
  const Ref<Object> cursor = CallMember(groups_, "OpenGroup", {id}).ToObject();
  CallMember(cursor, "AddNew");
  SetField(cursor, "Email", "a@example.org");
  SetField(cursor, "Name", "日本語 ü");
  SetField(cursor, "Points", std::int16_t{-7});
  SetField(cursor, "Joined", Date{45351});  // 2024-02-29
  SetField(cursor, "Paid", Currency{12'345'678});
  SetField(cursor, "Active", true);
  CallMember(cursor, "Update");
  CallMember(cursor, "MoveFirst");
  EXPECT_EQ(Field(cursor, "Name").ToText().substr(0, 12), "日本語 ü");
  EXPECT_EQ(Field(cursor, "Points"), Value(-7.0));
  EXPECT_EQ(Field(cursor, "Joined"), Value(Date{45351}));
  EXPECT_EQ(Field(cursor, "Paid"), Value(Currency{12'345'678}));
  EXPECT_EQ(Field(cursor, "Active"), Value(true));
  SetField(cursor, "Points", "1.5");
  SetField(cursor, "Joined", Value::Null());
  SetField(cursor, "Active", 0);
  CallMember(cursor, "Update");
  CallMember(cursor, "MoveFirst");
  EXPECT_EQ(Field(cursor, "Points"), Value(1.5));
  EXPECT_TRUE(Field(cursor, "Joined").IsNull());
  EXPECT_EQ(Field(cursor, "Active"), Value(false));
  CallMember(groups_, "GetGroupFieldTypes");
  const Ref<Object> types = Part(groups_, "FieldTypes");
  Names described;
  for (std::int32_t i = 1; i <= GetProperty(types, "Count").ToI4(); ++i) {
    described.push_back(GetProperty(Item(types, i), "Name").ToText() + " " +
                        GetProperty(Item(types, i), "Type_").ToText());
  }
  EXPECT_EQ(described, (Names{"Email 0", "Name 0", "Points 1", "Joined 3", "Paid 2", "Active 5"}));
  CallMember(groups_, "CloseGroup");
}

TEST_F(GroupCase, SameObjectComesBackAsTheSame) {
  const std::string id = Make(groups_, "Same");
  const Ref<Object> cursor = CallMember(groups_, "OpenGroup", {id}).ToObject();
  // Seen through its state: what is done to one is done to the other.
  const Ref<Object> again = Part(groups_, "mTb");
  Append(cursor, "a@example.org", "A", 1);
  EXPECT_EQ(GetProperty(again, "RecordCount"), Value(1));
  CallMember(again, "CloseTable");
  EXPECT_EQ(GetProperty(cursor, "State"), Value(0));
  ExpectError([&] { CallMember(groups_, "CloseGroup"); }, 2400, "*", "The table is not open.");
  EXPECT_EQ(GetProperty(groups_, "IsGroupOpen"), Value(false));
}

TEST_F(GroupCase, ErrorsHaveNumberSourceAndText) {
  const std::string id = Make(groups_, "Errors");
  const Ref<Object> cursor = CallMember(groups_, "OpenGroup", {id}).ToObject();
  const std::string gone = "The Group could not be opened as it no longer exists.";
  ExpectError([&] { CallMember(groups_, "OpenGroup", {std::string(32, '0')}); }, 2409,
              "Groups::OpenGroup", gone);
  ExpectError([&] { CallMember(groups_, "CompactGroup", {"x"}); }, 2409, "Groups::CompactGroup",
              gone);
  ExpectError([&] { CallMember(groups_, "DeleteGroup", {id}); }, 2407, "Groups::DeleteGroup",
              "This Group is open, please close prior to deletion.");
  ExpectError(
      [&] {
        CallMember(groups_, "AddGroup", {id, "Errors", 0, "", "", ""});
      },
      20, "Groups::AddGroup", "Duplicate Key Value.");
  ExpectError([&] { CallMember(cursor, "MoveFirst"); }, 3, "MoveFirst", "No records found.");
  ExpectError([&] { CallMember(cursor, "Update"); }, -1, "Update", "No current record.");
  Append(cursor, "a@example.org", "A", 1);
  ExpectError([&] { Append(cursor, "A@example.org", "B", 2); }, 20, "Update",
              "Duplicate Key Value.");
  CallMember(cursor, "MoveFirst");
  ExpectError([&] { CallMember(cursor, "Move", {-5}); }, 4, "Move", "Moved before BOF.");
  CallMember(groups_, "CloseGroup");
  ExpectError([&] { CallMember(cursor, "MoveNext"); }, 2400, "MoveNext", "The table is not open.");
  ExpectError([&] { CallMember(groups_, "RecipientCount"); }, 91, "Groups::RecipientCount",
              "Object variable or With block variable not set");
  const Ref<Object> fields = FieldDefs();
  CallMember(fields, "Add", {"Odd", 77, 4, 0, true});
  ExpectError(
      [&] {
        CallMember(groups_, "CreateGroup", {"Odd", fields, IndexDefs(), ""});
      },
      2405, "Groups::CreateGroup", "Unsupported Field Data Type <77>");
  const Ref<Object> database = Create("Database");
  const auto missing = ErrorFrom([&] {
    CallMember(database, "OpenTable", {folder_.path(), "absent.pvg"});
  });
  EXPECT_LT(missing.number(), 0);
  EXPECT_EQ(missing.source(), "OpenTable");
  EXPECT_FALSE(missing.description().empty());
}

TEST_F(GroupCase, ArgumentsByNameAndLeftOut) {
  const std::string id = Make(groups_, "Named");
  const Ref<Object> database = Create("Database");
  automation::Call call{
      automation::kCallMethodOrGet, {folder_.path()}, {{"INDEX", "Email"}, {"name", id + ".pvg"}}};
  const Ref<Object> cursor = automation::Invoke(database, "opentable", call).ToObject();
  EXPECT_EQ(GetProperty(cursor, "State"), Value(1));
  CallMember(cursor, "CloseTable");
  automation::Call wrong{automation::kCallMethodOrGet, {folder_.path(), "x"}, {{"Colour", 1}}};
  ExpectError([&] { automation::Invoke(database, "OpenTable", wrong); }, 448, "*", "*");
}

TEST_F(GroupCase, WrongCallsAreRefused) {
  ExpectError([&] { CallMember(groups_, "NoSuchMember"); }, 438, "*", "*");
  ExpectError([&] { CallMember(groups_, "OpenGroup", {"a", "b"}); }, 450, "*", "*");
  ExpectError([&] { CallMember(groups_, "OpenGroup"); }, 449, "*", "*");
  ExpectError([&] { CallMember(groups_, "CreateGroup", {"x", 1, 2, ""}); }, 13, "*", "*");
  ExpectError(
      [&] {
        CallMember(groups_, "CreateGroup", {"x", Create("IndexDefs"), Create("FieldDefs"), ""});
      },
      13, "*", "*");
  ExpectError([&] { PutProperty(groups_, "Version", "5"); }, 438, "*", "*");
  const Ref<Object> stale = Create("Recipients");
  EXPECT_EQ(CallMember(stale, "CreateInst", {123456, 654321}), Value(true));
  EXPECT_NE(ErrorFrom([&] { CallMember(stale, "MoveFirst"); }).number(), 0);
  EXPECT_NE(ErrorFrom([&] { GetProperty(stale, "RecordCount"); }).number(), 0);
  EXPECT_EQ(GetProperty(Part(groups_, "Groups"), "Count"), Value(0)) << "nothing was made";
}

TEST_F(GroupCase, TwoCursorsOnOneTableSeeEachOther) {
  const std::string id = Make(groups_, "Shared");
  const Ref<Object> other = Create("Groups");
  const Ref<Object> first = CallMember(groups_, "OpenGroup", {id}).ToObject();
  const Ref<Object> second = CallMember(other, "OpenGroup", {id}).ToObject();
  Append(first, "a@example.org", "A", 1);
  Append(second, "b@example.org", "B", 2);
  EXPECT_EQ(GetProperty(first, "RecordCount"), Value(2));
  EXPECT_EQ(CallMember(first, "SeekFirst", {"B@EXAMPLE.ORG", "Email"}), Value(true));
  SetField(first, "Points", 20);
  CallMember(first, "Update");
  EXPECT_EQ(CallMember(second, "SeekFirst", {"B@EXAMPLE.ORG", "Email"}), Value(true));
  EXPECT_EQ(Field(second, "Points"), Value(20.0));
  CallMember(other, "CloseGroup");
  CallMember(groups_, "CloseGroup");
}

TEST_F(GroupCase, LogIsWritten) {
  const Ref<Object> database = Create("Database");
  const std::string log = folder_ / "component.log";
  CallMember(database, "SetLogging", {3, log});
  ErrorFrom([&] { CallMember(database, "OpenTable", {folder_.path(), "absent.pvg"}); });
  CallMember(database, "SetLogging", {0, ""});
  const auto size = std::filesystem::file_size(log);
  EXPECT_GT(size, 80U);
  ErrorFrom([&] { CallMember(database, "OpenTable", {folder_.path(), "absent.pvg"}); });
  EXPECT_EQ(std::filesystem::file_size(log), size) << "switched off";
}

TEST_F(GroupCase, ManyObjectsComeAndGo) {
  const std::string id = Make(groups_, "Many");
  for (int round = 0; round < 300; ++round) {
    const Ref<Object> groups = Create("Groups");
    const Ref<Object> cursor = CallMember(groups, "OpenGroup", {id}).ToObject();
    Append(cursor, std::to_string(round) + "@example.org", "N", round);
    CallMember(groups, "CloseGroup");
  }
  CallMember(groups_, "OpenGroup", {id});
  EXPECT_EQ(CallMember(groups_, "RecipientCount"), Value(300));
  CallMember(groups_, "CloseGroup");
}

}  // namespace
}  // namespace pv::conformance

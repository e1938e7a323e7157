#include "tablestore/record_view.h"

#include "tablestore/table_fixture_test.h"

namespace pv::tablestore {
namespace {

class RecordViewTest : public TableTest {
 protected:
  RecordViewTest() {
    AddPerson(cursor_, "amy@x", "Amy", 1);
    AddPerson(cursor_, "bob@x", "Bob", 2);
    AddPerson(cursor_, "cid@x", "Cid", 3);
    cursor_->MoveFirst();
  }
  Ref<Recipients> cursor_ = MakePeople();
};

TEST_F(RecordViewTest, FieldsIsTheSameObjectAllTheCursorsLife) {
  const auto fields = cursor_->GetFields();
  cursor_->MoveNext();
  EXPECT_EQ(cursor_->GetFields(), fields);
  cursor_->AddNew();
  EXPECT_EQ(cursor_->GetFields(), fields);
  EXPECT_EQ(fields->Count(), 3);
}

TEST_F(RecordViewTest, FieldsFollowTheTablesOrder) {
  const auto e = automation::Enumerate(cursor_->GetFields());
  std::string all;
  for (Value v; e->Next(&v);) {
    all += GetProperty(v.ToObject(), "Name").ToText() + "=" +
           GetProperty(v.ToObject(), "Value").ToText() + " ";
  }
  EXPECT_EQ(all, "EMAIL=amy@x NAME=Amy AGE=1 ");
}

TEST_F(RecordViewTest, ItemByEveryKindOfIndex) {
  const auto fields = cursor_->GetFields();
  EXPECT_EQ(fields->Item(0)->GetName(), "EMAIL");
  EXPECT_EQ(fields->Item(2)->GetName(), "AGE");
  EXPECT_FALSE(fields->Item(3));
  EXPECT_FALSE(fields->Item(-1));
  EXPECT_EQ(fields->Item(Value(std::int16_t{1}))->GetName(), "EMAIL");
  EXPECT_EQ(fields->Item(Value(2.0))->GetName(), "NAME");
  EXPECT_FALSE(fields->Item(Value(std::int16_t{0})));
  EXPECT_EQ(fields->Item("email"), fields->Item("EMAIL"));
  EXPECT_FALSE(fields->Item("none"));
  EXPECT_FALSE(fields->Item(Value()));
  EXPECT_EQ(ErrorFrom([&] { CallMember(fields, "Delete", {"none"}); }).number(), 5);
}

TEST_F(RecordViewTest, FieldObjectIsUsedAgainWhenNobodyHoldsIt) {
  const Field* const before = cursor_->GetFields()->Find("EMAIL").get();
  cursor_->MoveNext();
  EXPECT_EQ(cursor_->GetFields()->Find("EMAIL").get(), before);
  EXPECT_EQ(Get(cursor_, "EMAIL"), Value("bob@x"));
}

TEST_F(RecordViewTest, FieldThatIsHeldKeepsItsValueAfterAMove) {
  const auto held = cursor_->GetFields()->Item("EMAIL");
  cursor_->MoveNext();
  EXPECT_EQ(held->GetValue(), Value("amy@x")) << "though nobody had read it before the move";
  EXPECT_EQ(Get(cursor_, "EMAIL"), Value("bob@x"));
  EXPECT_NE(cursor_->GetFields()->Item("EMAIL"), held);
  held->SetValue("changed");
  EXPECT_EQ(Get(cursor_, "EMAIL"), Value("bob@x"));
}

TEST_F(RecordViewTest, FieldThatIsHeldKeepsItsValueThroughEveryEnd) {
  for (int way = 0; way < 5; ++way) {
    cursor_ = database_->OpenTable("/data", "people.pvg", std::nullopt, "Email");
    cursor_->MoveFirst();
    const auto held = cursor_->GetFields()->Item("NAME");
    const auto fields = cursor_->GetFields();
    if (way == 0) cursor_->AddNew();
    if (way == 1) cursor_->CloseTable();
    if (way == 2) cursor_ = nullptr;
    if (way == 3) cursor_->Find("none");
    if (way == 4) database_ = nullptr;
    EXPECT_EQ(held->GetValue(), Value("Amy")) << way;
    if (way == 1 || way == 2 || way == 4) {
      EXPECT_EQ(fields->Count(), 3) << way;
      EXPECT_EQ(fields->Item("EMAIL")->GetValue(), Value("amy@x")) << way;
    }
  }
}

TEST_F(RecordViewTest, AssignedValueIsSeenAtOnceAndForgottenByAMove) {
  Set(cursor_, "NAME", "Anna");
  EXPECT_EQ(Get(cursor_, "NAME"), Value("Anna"));
  cursor_->MoveNext();
  cursor_->MovePrev();
  EXPECT_EQ(Get(cursor_, "NAME"), Value("Amy"));
}

TEST_F(RecordViewTest, NewRecordHasEveryFieldEmpty) {
  cursor_->AddNew();
  const auto fields = cursor_->GetFields();
  EXPECT_EQ(fields->Count(), 3);
  for (std::int32_t i = 0; i < 3; ++i) EXPECT_TRUE(fields->Item(i)->GetValue().IsEmpty());
}

TEST_F(RecordViewTest, HostMayAddAndRemoveFields) {
  const auto fields = cursor_->GetFields();
  fields->Add("EXTRA", Value(1));
  EXPECT_EQ(fields->Count(), 4);
  EXPECT_EQ(fields->Item("EMAIL")->GetValue(), Value("amy@x"));
  EXPECT_EQ(ErrorFrom([&] { fields->Add("Age", Value(1)); }).number(), 457);
  fields->Item("NAME")->SetValue("Anna");
  cursor_->Update();
  cursor_->MoveFirst();
  EXPECT_EQ(fields->Count(), 3) << "reading a record fills Fields anew";
  EXPECT_EQ(Get(cursor_, "NAME"), Value("Anna"));
}

TEST_F(RecordViewTest, UpdateMissesAFieldThatTheHostRemoved) {
  cursor_->GetFields()->Delete("AGE");
  ExpectError(ErrorFrom([&] { cursor_->Update(); }), 91, "Update",
              "Object variable or With block variable not set");
}

TEST_F(RecordViewTest, RenamedFieldIsWrittenUnderItsKey) {
  cursor_->GetFields()->Item("NAME")->SetName("OTHER");
  EXPECT_EQ(cursor_->GetFields()->Item("NAME")->GetName(), "OTHER");
  Set(cursor_, "NAME", "Anna");
  cursor_->Update();
  cursor_->MoveFirst();
  EXPECT_EQ(Get(cursor_, "NAME"), Value("Anna"));
  EXPECT_EQ(cursor_->GetFields()->Item("NAME")->GetName(), "NAME");
}

TEST_F(RecordViewTest, HostMaySetAFieldsObjectOfItsOwn) {
  const auto before = cursor_->GetFields();
  const auto mine = automation::MakeObject<Fields>();
  mine->Add("EMAIL", Value("dan@x"));
  mine->Add("NAME", Value("Dan"));
  mine->Add("AGE", Value(4));
  cursor_->AddNew();
  automation::PutProperty(cursor_, "Fields", Value(mine));
  EXPECT_EQ(cursor_->GetFields(), mine);
  cursor_->Update();
  EXPECT_TRUE(cursor_->SeekFirst("dan@x", ""));
  EXPECT_EQ(mine->Item("NAME")->GetValue(), Value("Dan"));
  EXPECT_EQ(mine->Item("AGE")->GetValue(), Value(4.0)) << "read from the table now";
  EXPECT_EQ(before->Count(), 3) << "the one that was replaced keeps the new record it showed";
  EXPECT_TRUE(before->Item("NAME")->GetValue().IsEmpty());
}

TEST_F(RecordViewTest, OneFieldsObjectInTwoCursorsShowsTheOneThatMovedLast) {
  const auto other = database_->OpenTable("/data", "people.pvg", std::nullopt, "Email");
  other->SetFields(cursor_->GetFields());
  other->MoveLast();
  EXPECT_EQ(Get(cursor_, "NAME"), Value("Cid"));
  cursor_->MoveFirst();
  EXPECT_EQ(Get(other, "NAME"), Value("Amy"));
}

TEST_F(RecordViewTest, TwoCursorsOverOneTableKeepTheirValues) {
  const auto second = automation::MakeObject<Recipients>();
  automation::Call call{automation::kCallMethod, {Value(1), Value(cursor_->GetTableHandle())}, {}};
  EXPECT_EQ(automation::Invoke(second, "CreateInst", call), Value(true));
  second->MoveLast();
  EXPECT_EQ(Get(cursor_, "EMAIL"), Value("amy@x")) << "the engine's buffer holds another record";
  EXPECT_EQ(Get(second, "EMAIL"), Value("cid@x"));
  second->CloseTable();
  EXPECT_EQ(Get(cursor_, "NAME"), Value("Amy"));
}

TEST_F(RecordViewTest, DamagedMemoIsAnErrorWhenItIsRead) {
  const auto notes = database_->CreateTable(
      "/data", "notes.pvg",
      {{"K", FieldType::kCharacter, 5, 0, false}, {"NOTE", FieldType::kMemo, 4, 0, false}}, {});
  notes->AddNew();
  Set(notes, "K", "1");
  Set(notes, "NOTE", std::string(100, 'n'));
  notes->Update();
  std::string memo = machine_.files.Get("/data/notes.fpt");
  memo[512 + 4] = '\x7F';  // a length beyond the file
  machine_.files.Put("/data/notes.fpt", memo);
  notes->MoveFirst();
  EXPECT_EQ(Get(notes, "K"), Value("1")) << "the rest of the record is there";
  const auto note = notes->GetFields()->Find("NOTE");
  const Error e = ErrorFrom([&] { GetProperty(note, "Value"); });
  EXPECT_EQ(e.number(), -510);
  EXPECT_NE(e.description().find("notes.fpt"), std::string::npos) << e.description();
}

}  // namespace
}  // namespace pv::tablestore

#include "pvgroupman/tablestore/fields.h"

#include <gtest/gtest.h>

#include "automation/test_support.h"
#include "pvgroupman/automation/call.h"

namespace pv::tablestore {
namespace {

using automation::CallMember;
using automation::ErrorFrom;
using automation::GetProperty;
using automation::MakeObject;
using automation::Ref;
using automation::Value;

class FieldsTest : public testing::Test {
 protected:
  FieldsTest() {
    fields_->Add("EMAIL", Value("a@b.c"));
    fields_->Add("AGE", Value(7));
    fields_->Add("NOTE", Value::Null());
  }
  Ref<Fields> fields_ = MakeObject<Fields>();
};

TEST_F(FieldsTest, ThirtyTwoBitIndexIsZeroBased) {
  EXPECT_EQ(fields_->Item(0)->GetName(), "EMAIL");
  EXPECT_EQ(fields_->Item(2)->GetName(), "NOTE");
  EXPECT_FALSE(fields_->Item(3));
  EXPECT_FALSE(fields_->Item(-1));
  EXPECT_FALSE(fields_->Item(2147483647));
}

TEST_F(FieldsTest, AnyOtherNumberIsOneBased) {
  for (const Value& one :
       {Value(std::int16_t{1}), Value(1.0), Value(automation::Currency{10'000})}) {
    EXPECT_EQ(fields_->Item(one)->GetName(), "EMAIL");
  }
  EXPECT_FALSE(fields_->Item(Value(std::int16_t{0})));
}

TEST_F(FieldsTest, KeysIgnoreLetterCase) {
  EXPECT_EQ(fields_->Item("email"), fields_->Item("EMAIL"));
  EXPECT_EQ(fields_->Item("email")->GetValue(), Value("a@b.c"));
}

TEST_F(FieldsTest, MissingKeyIsAnEmptyReferenceButDeletingItFails) {
  const Value nothing = CallMember(fields_, "Item", {"none"});
  ASSERT_TRUE(nothing.IsObject());
  EXPECT_FALSE(nothing.ToObject());
  EXPECT_EQ(ErrorFrom([&] { CallMember(fields_, "Delete", {"none"}); }).number(), 5);
  EXPECT_FALSE(fields_->Item(Value()));
}

TEST_F(FieldsTest, DeleteFollowsTheSameRule) {
  fields_->Delete(0);
  EXPECT_EQ(fields_->Item(0)->GetName(), "AGE");
  fields_->Delete(Value(std::int16_t{1}));
  EXPECT_EQ(fields_->Item(0)->GetName(), "NOTE");
  EXPECT_EQ(ErrorFrom([&] { fields_->Delete(1); }).number(), 9);
  fields_->Delete("note");
  EXPECT_EQ(fields_->Count(), 0);
}

TEST_F(FieldsTest, SecondFieldOfTheSameNameIsRefusedAndTheFirstStays) {
  EXPECT_EQ(ErrorFrom([&] { CallMember(fields_, "Add", {"Email", "x"}); }).number(), 457);
  EXPECT_EQ(fields_->Count(), 3);
  EXPECT_EQ(fields_->Item("EMAIL")->GetValue(), Value("a@b.c"));
}

TEST_F(FieldsTest, EnumeratesInTheOrderOfAdding) {
  const auto e = automation::Enumerate(fields_);
  std::string names;
  for (Value v; e->Next(&v);) names += GetProperty(v.ToObject(), "Name").ToText() + " ";
  EXPECT_EQ(names, "EMAIL AGE NOTE ");
}

TEST_F(FieldsTest, ValuesKeepTheirSubtype) {
  EXPECT_EQ(fields_->Item("NOTE")->GetValue().type(), automation::ValueType::kNull);
  const auto field = fields_->Item("AGE");
  automation::PutProperty(field, "Value", Value(std::int16_t{3}));
  EXPECT_EQ(GetProperty(field, "Value"), Value(std::int16_t{3}));
  automation::PutProperty(field, "Value", Value(fields_));
  EXPECT_EQ(field->GetValue().ToObject(), Ref<automation::Object>(fields_));
  field->SetValue({});
}

TEST_F(FieldsTest, DefaultMemberIsItem) {
  EXPECT_EQ(GetProperty(automation::GetDefault(fields_, {"age"}).ToObject(), "Value"), Value(7));
}

TEST_F(FieldsTest, RenamingAFieldLeavesItsKey) {
  fields_->Item("AGE")->SetName("YEARS");
  EXPECT_EQ(fields_->Item("AGE")->GetName(), "YEARS");
  EXPECT_FALSE(fields_->Item("YEARS"));
}

}  // namespace
}  // namespace pv::tablestore

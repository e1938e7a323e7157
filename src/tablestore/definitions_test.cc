#include <gtest/gtest.h>

#include "automation/test_support.h"
#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/enumerator.h"
#include "pvgroupman/automation/member_table.h"
#include "pvgroupman/tablestore/field_defs.h"
#include "pvgroupman/tablestore/fields.h"
#include "pvgroupman/tablestore/index_defs.h"

namespace pv::tablestore {
namespace {

using automation::CallMember;
using automation::ErrorFrom;
using automation::GetProperty;
using automation::MakeObject;
using automation::PutProperty;
using automation::Ref;
using automation::Value;

std::vector<std::string> NamesOf(const automation::Object& object) {
  std::vector<std::string> names;
  for (const auto& m : object.Members().members()) {
    const char* kind = m.kind == automation::MemberKind::kMethod ? "()"
                       : m.kind == automation::MemberKind::kGet  ? " get"
                                                                 : " let";
    names.push_back(m.name + kind);
  }
  return names;
}

TEST(Definitions, SlotOrderOfTheValueClasses) {
  EXPECT_EQ(NamesOf(*MakeObject<Field>()),
            (std::vector<std::string>{"Name get", "Name let", "Value get", "Value let"}));
  EXPECT_EQ(NamesOf(*MakeObject<FieldDef>()),
            (std::vector<std::string>{
                "Name get", "Name let", "Type_ get", "Type_ let", "Length get", "Length let",
                "DecimalPlaces get", "DecimalPlaces let", "NullsAllowed get", "NullsAllowed let"}));
  EXPECT_EQ(NamesOf(*MakeObject<IndexDef>()),
            (std::vector<std::string>{"Name get", "Name let", "expression get", "expression let",
                                      "filter get", "filter let", "unique get", "unique let",
                                      "descending get", "descending let"}));
}

TEST(Definitions, SlotOrderOfTheCollections) {
  for (const auto& names : {NamesOf(*MakeObject<Fields>()), NamesOf(*MakeObject<FieldDefs>()),
                            NamesOf(*MakeObject<IndexDefs>())}) {
    EXPECT_EQ(names,
              (std::vector<std::string>{"Add()", "Count get", "Delete()", "Item()", "NewEnum()"}));
  }
}

TEST(Definitions, FieldDefHoldsItsValuesUnchecked) {
  const Ref<automation::Object> def = MakeObject<FieldDef>();
  PutProperty(def, "Name", Value("far too long a name for a field"));
  PutProperty(def, "Type_", Value(77));
  PutProperty(def, "Length", Value(-1));
  PutProperty(def, "DecimalPlaces", Value(std::int16_t{300}));
  PutProperty(def, "NullsAllowed", Value(1));
  EXPECT_EQ(GetProperty(def, "name"), Value("far too long a name for a field"));
  EXPECT_EQ(GetProperty(def, "type_"), Value(77));
  EXPECT_EQ(GetProperty(def, "Length"), Value(std::int16_t{-1}));
  EXPECT_EQ(GetProperty(def, "DecimalPlaces"), Value(std::int16_t{300}));
  EXPECT_EQ(GetProperty(def, "NullsAllowed"), Value(true));
  EXPECT_EQ(ErrorFrom([&] { PutProperty(def, "Length", Value(40'000)); }).number(), 6);
}

TEST(Definitions, IndexDefHoldsItsValues) {
  const Ref<automation::Object> def = MakeObject<IndexDef>();
  for (const char* text : {"Name", "expression", "filter"}) {
    PutProperty(def, text, Value("x"));
    EXPECT_EQ(GetProperty(def, text), Value("x"));
  }
  for (const char* flag : {"unique", "descending"}) {
    EXPECT_EQ(GetProperty(def, flag), Value(false));
    PutProperty(def, flag, Value(true));
    EXPECT_EQ(GetProperty(def, flag), Value(true));
  }
}

TEST(Definitions, AddTakesItsArgumentsInOrderAndReturnsTheItem) {
  const Ref<automation::Object> defs = MakeObject<FieldDefs>();
  const auto def = CallMember(defs, "Add", {"EMAIL", 0, std::int16_t{100}, std::int16_t{2}, true});
  EXPECT_EQ(GetProperty(def.ToObject(), "Name"), Value("EMAIL"));
  EXPECT_EQ(GetProperty(def.ToObject(), "Length"), Value(std::int16_t{100}));
  EXPECT_EQ(GetProperty(def.ToObject(), "DecimalPlaces"), Value(std::int16_t{2}));
  EXPECT_EQ(GetProperty(def.ToObject(), "NullsAllowed"), Value(true));

  const Ref<automation::Object> tags = MakeObject<IndexDefs>();
  const auto tag = CallMember(tags, "Add", {"Email", "EMAIL", "f", true, true});
  EXPECT_EQ(GetProperty(tag.ToObject(), "expression"), Value("EMAIL"));
  EXPECT_EQ(GetProperty(tag.ToObject(), "filter"), Value("f"));
  EXPECT_EQ(GetProperty(tag.ToObject(), "unique"), Value(true));
  EXPECT_EQ(GetProperty(tag.ToObject(), "descending"), Value(true));
}

TEST(Definitions, FieldDefsItemIsOneBasedAndTrapsTheLookupError) {
  const auto defs = MakeObject<FieldDefs>();
  const auto first = defs->Add("A", PVFieldType::kText, 1, 0, false);
  EXPECT_EQ(defs->Item(1), first);
  EXPECT_EQ(defs->Item("a"), first);
  EXPECT_FALSE(defs->Item(0));
  EXPECT_FALSE(defs->Item(2));
  EXPECT_FALSE(defs->Item("none"));
  const Value nothing = CallMember(defs, "Item", {0});
  ASSERT_TRUE(nothing.IsObject());
  EXPECT_FALSE(nothing.ToObject());
}

TEST(Definitions, FieldDefsDeleteDoesNotTrap) {
  const auto defs = MakeObject<FieldDefs>();
  defs->Add("A", PVFieldType::kText, 1, 0, false);
  EXPECT_EQ(ErrorFrom([&] { CallMember(defs, "Delete", {"none"}); }).number(), 5);
  EXPECT_EQ(ErrorFrom([&] { CallMember(defs, "Delete", {2}); }).number(), 9);
  CallMember(defs, "Delete", {1});
  EXPECT_EQ(defs->Count(), 0);
}

TEST(Definitions, IndexDefsItemRaisesTheCollectionsError) {
  const auto tags = MakeObject<IndexDefs>();
  tags->Add("Email", "EMAIL", "", false, false);
  EXPECT_EQ(tags->Item("EMAIL")->GetExpression(), "EMAIL");
  EXPECT_EQ(ErrorFrom([&] { tags->Item("none"); }).number(), 5);
  EXPECT_EQ(ErrorFrom([&] { tags->Item(0); }).number(), 9);
}

TEST(Definitions, SecondItemOfTheSameNameIsRefused) {
  const auto defs = MakeObject<FieldDefs>();
  defs->Add("Email", PVFieldType::kText, 1, 0, false);
  EXPECT_EQ(ErrorFrom([&] { defs->Add("EMAIL", PVFieldType::kText, 2, 0, false); }).number(), 457);
  EXPECT_EQ(defs->Count(), 1);
  EXPECT_EQ(defs->Item("email")->GetLength(), 1);
}

}  // namespace
}  // namespace pv::tablestore

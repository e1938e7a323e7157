#include "pvgroupman/automation/call.h"

#include <gtest/gtest.h>

#include "automation/sample_class_test.h"

namespace pv::automation {
namespace {

class CallTest : public testing::Test {
 protected:
  Ref<Sample> sample_ = MakeObject<Sample>();
  Ref<Object> object_ = sample_;
};

TEST_F(CallTest, ReadsAndWritesPropertiesInAnyLetterCase) {
  PutProperty(object_, "SIZE", Value(12));
  EXPECT_EQ(GetProperty(object_, "size"), Value(12));
}

TEST_F(CallTest, CallsByDispatchId) {
  Call call{kCallGet, {}, {}};
  EXPECT_EQ(Invoke(object_, GetIdOfName(object_, "Size"), call), Value(3));
}

TEST_F(CallTest, ConvertsArguments) {
  PutProperty(object_, "Size", Value("2.5"));
  EXPECT_EQ(GetProperty(object_, "Size"), Value(2)) << "halves go to the even number";
}

TEST_F(CallTest, OptionalArgumentsMayBeLeftOut) {
  EXPECT_EQ(CallMember(object_, "Join", {"a"}), Value("a|-|-1"));
  EXPECT_EQ(CallMember(object_, "Join", {"a", Value::Missing(), Value(4)}), Value("a|-|4"));
}

TEST_F(CallTest, NamedArgumentsInAnyOrder) {
  Call call{kCallMethod, {}, {{"times", Value(2)}, {"A", Value("x")}}};
  EXPECT_EQ(Invoke(object_, "Join", call), Value("x|-|2"));
}

TEST_F(CallTest, UnknownNamedArgumentIs448) {
  Call call{kCallMethod, {Value("x")}, {{"Often", Value(2)}}};
  const Error e = ErrorFrom([&] { Invoke(object_, "Join", call); });
  EXPECT_EQ(e.number(), 448);
  EXPECT_EQ(e.description(), "Named argument not found (Often)");
}

TEST_F(CallTest, ArgumentGivenByPositionAndNameIs448) {
  Call call{kCallMethod, {Value("x")}, {{"A", Value("y")}}};
  EXPECT_EQ(ErrorFrom([&] { Invoke(object_, "Join", call); }).number(), 448);
}

TEST_F(CallTest, MissingRequiredArgumentIs449) {
  const Error e = ErrorFrom([&] { CallMember(object_, "Join"); });
  EXPECT_EQ(e.number(), 449);
  EXPECT_EQ(e.source(), "Join");
  EXPECT_EQ(e.description(), "Argument not optional (A)");
}

TEST_F(CallTest, TooManyArgumentsIs450) {
  EXPECT_EQ(ErrorFrom([&] { CallMember(object_, "Double", {1, 2}); }).number(), 450);
}

TEST_F(CallTest, WritingAPropertyWithoutAValueIs450) {
  Call call{kCallLet, {}, {}};
  EXPECT_EQ(ErrorFrom([&] { Invoke(object_, "Size", call); }).number(), 450);
}

TEST_F(CallTest, UnknownMemberIs438) {
  const Error e = ErrorFrom([&] { CallMember(object_, "Nothing"); });
  EXPECT_EQ(e.number(), 438);
  EXPECT_EQ(e.description(), "Object doesn't support this property or method (Nothing)");
  Call call{kCallMethod, {}, {}};
  EXPECT_EQ(ErrorFrom([&] { Invoke(object_, 77, call); }).number(), 438);
}

TEST_F(CallTest, ReadingAWriteOnlyPropertyIs438) {
  EXPECT_EQ(ErrorFrom([&] { GetProperty(object_, "Secret"); }).number(), 438);
  EXPECT_NO_THROW(PutProperty(object_, "Secret", Value("s")));
}

TEST_F(CallTest, WritingAMethodIs438) {
  EXPECT_EQ(ErrorFrom([&] { PutProperty(object_, "Join", Value(1)); }).number(), 438);
}

TEST_F(CallTest, ArgumentThatCannotBeConvertedIs13) {
  const Error e = ErrorFrom([&] { PutProperty(object_, "Size", Value("twelve")); });
  EXPECT_EQ(e.number(), 13);
  EXPECT_EQ(e.description(), "Type mismatch");
}

TEST_F(CallTest, ObjectOfAnotherClassIs13) {
  EXPECT_EQ(ErrorFrom([&] { PutProperty(object_, "Items", Value(MakeObject<Thing>())); }).number(),
            13);
  EXPECT_EQ(ErrorFrom([&] { PutProperty(object_, "Items", Value(4)); }).number(), 13);
}

TEST_F(CallTest, SetsAnObjectAndNothing) {
  const auto items = MakeObject<Items>();
  PutProperty(object_, "Items", Value(items));
  EXPECT_EQ(sample_->GetItems(), items);
  PutProperty(object_, "Items", Value(Ref<Object>()));
  EXPECT_FALSE(sample_->GetItems());
}

TEST_F(CallTest, ByReferenceArgumentsAreHandedBack) {
  Call call{kCallMethod, {Value(std::int16_t{21})}, {}};
  EXPECT_EQ(Invoke(object_, "Double", call), Value(true));
  EXPECT_EQ(call.arguments[0], Value(42));
  Call named{kCallMethod, {}, {{"number", Value(4)}}};
  Invoke(object_, "Double", named);
  EXPECT_EQ(named.named[0].value, Value(8));
}

TEST_F(CallTest, OptionalArgumentsByReferenceMayBeLeftOut) {
  Call without{kCallMethod, {}, {}};
  Invoke(object_, "Count", without);
  Call with{kCallMethod, {Value(41)}, {}};
  Invoke(object_, "Count", with);
  EXPECT_EQ(with.arguments[0], Value(42));
}

TEST_F(CallTest, EnumerationsTravelAsIntegers) {
  EXPECT_EQ(CallMember(object_, "Paint", {0}), Value(7));
  EXPECT_EQ(CallMember(object_, "Paint", {99}), Value(99)) << "unknown values pass through";
}

TEST_F(CallTest, RecordsTravelAsArrays) {
  const auto records = std::make_shared<Records>();
  records->type = &RecordOf<Point>::Describe();
  records->rows = {{"a", 1}, {"b", 2}};
  const Value result = CallMember(object_, "Mirror", {std::shared_ptr<const Records>(records)});
  const auto* out = result.TryGet<std::shared_ptr<const Records>>();
  ASSERT_NE(out, nullptr);
  EXPECT_EQ((*out)->rows[0][0], Value("b"));
  EXPECT_EQ((*out)->rows[1][1], Value(std::int16_t{1}));
  EXPECT_EQ(ErrorFrom([&] { CallMember(object_, "Mirror", {"text"}); }).number(), 13);
  records->rows[0].pop_back();
  EXPECT_EQ(ErrorFrom([&] {
              CallMember(object_, "Mirror", {std::shared_ptr<const Records>(records)});
            }).number(),
            13);
}

TEST_F(CallTest, VariantsKeepTheirSubtype) {
  EXPECT_EQ(CallMember(object_, "Echo", {Value(std::int16_t{1})}).type(), ValueType::kI2);
  EXPECT_EQ(CallMember(object_, "Echo", {Value::Null()}).type(), ValueType::kNull);
  EXPECT_EQ(CallMember(object_, "Echo", {Date{1.5}}).type(), ValueType::kDate);
}

TEST_F(CallTest, MembersOwnErrorPassesUnchanged) {
  const Error e = ErrorFrom([&] { CallMember(object_, "Fail", {1}); });
  EXPECT_EQ(e.number(), 2409);
  EXPECT_EQ(e.source(), "Sample::Fail");
  EXPECT_EQ(e.description(), "Gone.");
}

TEST_F(CallTest, OtherExceptionsBecomeErrorsAtTheBoundary) {
  EXPECT_EQ(ErrorFrom([&] { CallMember(object_, "Fail", {2}); }).number(), 7);
  EXPECT_EQ(ErrorFrom([&] { CallMember(object_, "Fail", {2}); }).description(), "Out of memory");
  EXPECT_EQ(ErrorFrom([&] { CallMember(object_, "Fail", {3}); }).description(),
            "Internal error (odd)");
  EXPECT_EQ(ErrorFrom([&] { CallMember(object_, "Fail", {4}); }).number(), 51);
}

TEST_F(CallTest, DefaultMemberIsReachedByNameIdAndThroughAProperty) {
  sample_->GetItems()->Add("one");
  const Ref<Object> items = sample_->GetItems();
  EXPECT_EQ(GetProperty(CallMember(items, "Item", {"ONE"}).ToObject(), "Name"), Value("one"));
  EXPECT_EQ(GetProperty(GetDefault(items, {1}).ToObject(), "Name"), Value("one"));
  EXPECT_EQ(GetProperty(CallMember(object_, "Items", {"one"}).ToObject(), "Name"), Value("one"));
}

TEST_F(CallTest, PropertyThatHoldsNothingIs91) {
  sample_->SetItems({});
  EXPECT_EQ(ErrorFrom([&] { CallMember(object_, "Items", {"one"}); }).number(), 91);
  EXPECT_EQ(ErrorFrom([&] { GetProperty(Ref<Object>(), "Name"); }).number(), 91);
}

TEST_F(CallTest, EnumeratesInOrder) {
  for (const char* name : {"b", "a", "c"}) sample_->GetItems()->Add(name);
  const auto e = Enumerate(sample_->GetItems());
  std::string all;
  for (Value v; e->Next(&v);) all += GetProperty(v.ToObject(), "Name").ToText();
  EXPECT_EQ(all, "bac");
  EXPECT_EQ(ErrorFrom([&] { Enumerate(object_); }).number(), 438);
}

TEST_F(CallTest, ObjectsLiveAsLongAsTheirReferences) {
  Ref<Thing> item = MakeObject<Thing>("x");
  EXPECT_EQ(item->reference_count(), 1);
  const Value held = item;
  EXPECT_EQ(item->reference_count(), 2);
  Ref<Thing> moved = std::move(item);
  EXPECT_EQ(moved->reference_count(), 2);
  moved = nullptr;
  EXPECT_EQ(held.ToObject()->reference_count(), 2) << "the value and the reference just made";
  EXPECT_EQ(ErrorFrom([&] { item->GetName(); }).number(), 91);
}

}  // namespace
}  // namespace pv::automation

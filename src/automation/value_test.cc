#include "pvgroupman/automation/value.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include "automation/sample_class_test.h"
#include "base/date.h"

namespace pv::automation {
namespace {

int NumberOf(const std::function<void()>& f) { return ErrorFrom(f).number(); }

TEST(Value, SubtypesAreKeptApart) {
  EXPECT_EQ(Value().type(), ValueType::kEmpty);
  EXPECT_EQ(Value::Null().type(), ValueType::kNull);
  EXPECT_EQ(Value::Missing().type(), ValueType::kMissing);
  EXPECT_EQ(Value(std::int16_t{1}).type(), ValueType::kI2);
  EXPECT_EQ(Value(1).type(), ValueType::kI4);
  EXPECT_EQ(Value(1.0).type(), ValueType::kR8);
  EXPECT_EQ(Value(Currency{1}).type(), ValueType::kCurrency);
  EXPECT_EQ(Value(Date{1}).type(), ValueType::kDate);
  EXPECT_EQ(Value(true).type(), ValueType::kBoolean);
  EXPECT_EQ(Value("a").type(), ValueType::kText);
  EXPECT_EQ(Value(Bytes{1}).type(), ValueType::kBytes);
  EXPECT_EQ(Value(TextArray{"a"}).type(), ValueType::kTextArray);
  EXPECT_EQ(Value(Ref<Object>()).type(), ValueType::kObject);
  EXPECT_EQ(Value(std::make_shared<const Records>()).type(), ValueType::kRecords);
}

TEST(Value, SubtypeNumbersAreAutomations) {
  EXPECT_EQ(static_cast<int>(ValueType::kI4), 3);
  EXPECT_EQ(static_cast<int>(ValueType::kText), 8);
  EXPECT_EQ(static_cast<int>(ValueType::kBoolean), 11);
  EXPECT_EQ(static_cast<int>(ValueType::kBytes), 0x2011);
}

TEST(Value, EqualityTellsSubtypesApart) {
  EXPECT_NE(Value(1), Value(std::int16_t{1}));
  EXPECT_NE(Value(1), Value(1.0));
  EXPECT_NE(Value(), Value::Null());
  EXPECT_EQ(Value("a"), Value(std::string("a")));
}

TEST(Value, RoundsHalvesToTheEvenNumber) {
  EXPECT_EQ(Value(0.5).ToI4(), 0);
  EXPECT_EQ(Value(1.5).ToI4(), 2);
  EXPECT_EQ(Value(2.5).ToI4(), 2);
  EXPECT_EQ(Value(-2.5).ToI4(), -2);
  EXPECT_EQ(Value("3.5").ToI2(), 4);
  EXPECT_EQ(Value(Currency{25'000}).ToI4(), 2);
  EXPECT_EQ(Value(Currency{35'000}).ToI4(), 4);
  EXPECT_EQ(Value(Currency{-25'001}).ToI4(), -3);
}

TEST(Value, OverflowIs6) {
  EXPECT_EQ(NumberOf([] { (void)Value(32768).ToI2(); }), 6);
  EXPECT_EQ(Value(32767).ToI2(), 32767);
  EXPECT_EQ(NumberOf([] { (void)Value(2147483648.0).ToI4(); }), 6);
  EXPECT_EQ(Value(2147483647.4).ToI4(), 2147483647);
  EXPECT_EQ(NumberOf([] { (void)Value(std::numeric_limits<double>::quiet_NaN()).ToI4(); }), 6);
  EXPECT_EQ(NumberOf([] { (void)Value("1e999").ToR8(); }), 6);
  EXPECT_EQ(NumberOf([] { (void)Value(1e15).ToCurrency(); }), 6);
  EXPECT_EQ(NumberOf([] { (void)Value(3e6).ToDate(); }), 6);
}

TEST(Value, TypeMismatchIs13) {
  EXPECT_EQ(NumberOf([] { (void)Value("x").ToI4(); }), 13);
  EXPECT_EQ(NumberOf([] { (void)Value("x").ToDate(); }), 13);
  EXPECT_EQ(NumberOf([] { (void)Value("maybe").ToBoolean(); }), 13);
  EXPECT_EQ(NumberOf([] { (void)Value(Bytes{1}).ToText(); }), 13);
  EXPECT_EQ(NumberOf([] { (void)Value("x").ToObject(); }), 13);
  EXPECT_EQ(NumberOf([] { (void)Value(Ref<Object>()).ToI4(); }), 13);
  EXPECT_EQ(NumberOf([] { (void)Value::Missing().ToText(); }), 13);
}

TEST(Value, NullIs94) {
  EXPECT_EQ(NumberOf([] { (void)Value::Null().ToText(); }), 94);
  EXPECT_EQ(NumberOf([] { (void)Value::Null().ToI4(); }), 94);
  EXPECT_EQ(NumberOf([] { (void)Value::Null().ToBoolean(); }), 94);
}

TEST(Value, EmptyIsZeroFalseAndNoText) {
  EXPECT_EQ(Value().ToI4(), 0);
  EXPECT_EQ(Value().ToText(), "");
  EXPECT_FALSE(Value().ToBoolean());
  EXPECT_EQ(Value().ToDate().days, 0);
  EXPECT_EQ(Value().ToCurrency().units, 0);
}

TEST(Value, TrueIsMinusOne) {
  EXPECT_EQ(Value(true).ToI2(), -1);
  EXPECT_EQ(Value(true).ToR8(), -1);
  EXPECT_EQ(Value(true).ToCurrency().units, -10'000);
  EXPECT_EQ(Value(true).ToText(), "True");
  EXPECT_EQ(Value(false).ToText(), "False");
}

TEST(Value, BooleanFromNumbersAndText) {
  EXPECT_TRUE(Value(0.1).ToBoolean());
  EXPECT_TRUE(Value("TRUE").ToBoolean());
  EXPECT_FALSE(Value("false").ToBoolean());
  EXPECT_TRUE(Value("-1").ToBoolean());
  EXPECT_FALSE(Value("0").ToBoolean());
}

TEST(Value, CurrencyPassesThroughNoDouble) {
  const std::int64_t big = 9'007'199'254'740'993;  // 2^53 + 1
  EXPECT_EQ(Value(Currency{big}).ToCurrency().units, big);
  EXPECT_EQ(Value("900719925474.0993").ToCurrency().units, big);
  EXPECT_EQ(Value(Value(Currency{big}).ToText()).ToCurrency().units, big);
  EXPECT_EQ(Value(2147483647).ToCurrency().units, 21474836470000);
  EXPECT_EQ(Value(0.1).ToCurrency().units, 1000);
}

TEST(Value, DatesAsTextAndBack) {
  const Date day{AutomationFromDateTime({{2024, 2, 29}, 0, 0, 0})};
  const Date moment{AutomationFromDateTime({{2024, 2, 29}, 13, 45, 10})};
  EXPECT_EQ(Value(day).ToText(), "2024-02-29");
  EXPECT_EQ(Value(moment).ToText(), "2024-02-29 13:45:10");
  EXPECT_EQ(Value(Date{0.25}).ToText(), "06:00:00");
  EXPECT_EQ(Value("2024-02-29").ToDate(), day);
  EXPECT_DOUBLE_EQ(Value("2024-02-29 13:45:10").ToDate().days, moment.days);
  EXPECT_EQ(Value(day).ToR8(), 45351);
  EXPECT_EQ(Value(45351).ToDate(), day);
}

TEST(Value, CopyingKeepsTheOriginal) {
  Value a("text that is longer than any short-string buffer");
  const Value b = a;
  a = Value(1);
  EXPECT_EQ(b.ToText(), "text that is longer than any short-string buffer");
  EXPECT_EQ(a, Value(1));
}

TEST(Value, AssignTextReplacesAnySubtype) {
  Value v(7);
  v.AssignText("a");
  EXPECT_EQ(v, Value("a"));
  const std::string longer(100, 'x');
  v.AssignText(longer);
  const char* const memory = v.TryGet<std::string>()->data();
  v.AssignText(std::string_view(longer).substr(0, 50));
  EXPECT_EQ(v, Value(std::string(50, 'x')));
  EXPECT_EQ(v.TryGet<std::string>()->data(), memory) << "the memory is used again";
}

TEST(Value, ValuesEqualComparesAsAutomationDoes) {
  EXPECT_TRUE(ValuesEqual(Value(1), Value(1.0)));
  EXPECT_TRUE(ValuesEqual(Value(true), Value(std::int16_t{-1})));
  EXPECT_TRUE(ValuesEqual(Value(Currency{15'000}), Value(1.5)));
  EXPECT_FALSE(ValuesEqual(Value("1"), Value(1)));
  EXPECT_TRUE(ValuesEqual(Value("a"), Value("a")));
  EXPECT_FALSE(ValuesEqual(Value("a"), Value("A")));
  EXPECT_TRUE(ValuesEqual(Value(), Value(0)));
  EXPECT_TRUE(ValuesEqual(Value(), Value("")));
  EXPECT_TRUE(ValuesEqual(Value(), Value()));
  EXPECT_FALSE(ValuesEqual(Value::Null(), Value::Null()));
  EXPECT_TRUE(ValuesEqual(Value(Date{2}), Value(2)));
}

}  // namespace
}  // namespace pv::automation

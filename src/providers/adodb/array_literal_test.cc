#include "providers/adodb/array_literal.h"

#include <gtest/gtest.h>

namespace pv::adodb {
namespace {

using automation::Value;

std::string Elements(Kind kind, const std::vector<Value>& values) {
  Column column;
  column.kind = kind;
  std::string array;
  for (const Value& value : values) {
    const Status status = AppendElement(column, value, &array);
    if (!status.ok()) return status.message();
  }
  return array + "}";
}

TEST(ArrayLiteral, TextsAreQuoted) {
  EXPECT_EQ(Elements(Kind::kText, {Value("a"), Value(""), Value("NULL"), Value::Null()}),
            R"({"a","","NULL",NULL})");
  EXPECT_EQ(Elements(Kind::kText, {Value("\"q\" \\ {x,y}\n'")}), "{\"\\\"q\\\" \\\\ {x,y}\n'\"}");
  EXPECT_NE(Elements(Kind::kText, {Value(std::string("a\0b", 3))}).find("does not fit"),
            std::string::npos);
}

TEST(ArrayLiteral, Numbers) {
  EXPECT_EQ(Elements(Kind::kInteger, {Value(-7), Value("9223372036854775807"), Value(3.0)}),
            "{-7,9223372036854775807,3}");
  EXPECT_NE(Elements(Kind::kInteger, {Value(0.5)}).find("does not fit"), std::string::npos);
  EXPECT_EQ(Elements(Kind::kDouble, {Value(0.1), Value(-1e300)}), "{0.1,-1e+300}");
  EXPECT_EQ(Elements(Kind::kDecimal, {Value("-0.50"), Value(automation::Currency{12500})}),
            R"({"-0.50","1.25"})");
  EXPECT_EQ(Elements(Kind::kBoolean, {Value(true), Value(false)}), "{t,f}");
}

TEST(ArrayLiteral, MomentsAndBytes) {
  const Value moment(automation::Date{45351 + 49510.125 / 86400});
  EXPECT_EQ(Elements(Kind::kDate, {moment}), R"({"2024-02-29"})");
  EXPECT_EQ(Elements(Kind::kTime, {moment}), R"({"13:45:10"})");
  EXPECT_EQ(Elements(Kind::kDateTime, {moment, Value(automation::Date{0})}),
            R"({"2024-02-29 13:45:10.125000","1899-12-30 00:00:00"})");
  EXPECT_EQ(Elements(Kind::kBytes, {Value(automation::Bytes{0, 255})}), R"({"\\x00ff"})");
}

}  // namespace
}  // namespace pv::adodb

#include "cli/fields/conditions.h"

#include <gtest/gtest.h>

#include "cli/failure.h"

namespace pv::cli {
namespace {

// "and field op value|value; …", quoted values between apostrophes.
std::string Read(const std::string& text) {
  try {
    std::string all;
    for (const WrittenCondition& c : ParseConditions(text)) {
      all += c.logical + " " + c.field + " " + c.op;
      for (const auto& v : c.values) all += v.quoted ? " '" + v.text + "'" : " " + v.text;
      all += ";";
    }
    return all;
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code(), kUsage);
    return failure.what();
  }
}

TEST(Conditions, Operators) {
  EXPECT_EQ(Read("country = 'DE'"), "and country = 'DE';");
  EXPECT_EQ(Read("a=1"), "and a = 1;");
  EXPECT_EQ(Read("a != 1"), "and a <> 1;");
  EXPECT_EQ(Read("a<>1"), "and a <> 1;");
  EXPECT_EQ(Read("a <= -1.5"), "and a <= -1.5;");
  EXPECT_EQ(Read("a LIKE 'x%'"), "and a like 'x%';");
  EXPECT_EQ(Read("a not like x%"), "and a not like x%;");
  EXPECT_EQ(Read("a is null"), "and a is null;");
  EXPECT_EQ(Read("a Is Not Null"), "and a is not null;");
  EXPECT_EQ(Read("a in (1, 'two' ,three 3)"), "and a in 1 'two' three 3;");
  EXPECT_EQ(Read("a not in (1)"), "and a not in 1;");
  EXPECT_EQ(Read("a between 1 and 5 and b = 2"), "and a between 1 5;and b = 2;");
}

TEST(Conditions, AreJoinedByAndAndOr) {
  EXPECT_EQ(Read("a = New York or b = x AND c > 3"), "and a = New York;or b = x;and c > 3;");
  EXPECT_EQ(Read("brand = android and orders = orient"),
            "and brand = android;and orders = orient;");
  EXPECT_EQ(Read("a = 'this and that'"), "and a = 'this and that';");
}

TEST(Conditions, NamesMayBeQuoted) {
  EXPECT_EQ(Read("\"first name\" = x"), "and first name = x;");
  EXPECT_EQ(Read("`we``ird` = x"), "and we`ird = x;");
  EXPECT_EQ(Read("[order] = x"), "and order = x;");
  EXPECT_EQ(Read("größe = 3"), "and größe = 3;");
}

TEST(Conditions, ValuesKeepApostrophesAndEmptyText) {
  EXPECT_EQ(Read("name = 'O''Brien'"), "and name = 'O'Brien';");
  EXPECT_EQ(Read("name = O'Brien"), "and name = O'Brien;");
  EXPECT_EQ(Read("name = ''"), "and name = '';");
  EXPECT_EQ(Read("name = 'null'"), "and name = 'null';");
}

TEST(Conditions, FaultsSayWhere) {
  EXPECT_EQ(Read(""), "--where: the name of a field is expected at the end of \"\"");
  EXPECT_EQ(Read("a ="),
            "--where: a value is expected (no text at all is '') at the end of "
            "\"a =\"");
  EXPECT_EQ(Read("a ~ 1"), "--where: an operator is expected before \"~ 1\"");
  EXPECT_EQ(Read("a = 'x' b"), "--where: \"and\" or \"or\" is expected before \"b\"");
  EXPECT_EQ(Read("a = 'x"), "--where: a closing ' is missing before \"'x\"");
  EXPECT_EQ(Read("(a = 1)"),
            "--where: parentheses are for --sql; the name of a field is expected before "
            "\"(a = 1)\"");
  EXPECT_EQ(Read("a = 1 and"),
            "--where: the name of a field is expected at the end of "
            "\"a = 1 and\"");
  EXPECT_EQ(Read("a = null"),
            "--where: nothing is equal to null; \"is null\" is meant at the end of \"a = null\"");
  EXPECT_EQ(Read("a is 3"), "--where: \"null\" is expected before \"3\"");
  EXPECT_EQ(Read("a in 3"), "--where: \"(\" is expected before \"3\"");
  EXPECT_EQ(Read("a between 3"),
            "--where: the \"and\" of \"between\" is expected at the end of "
            "\"a between 3\"");
}

std::string Value(const std::string& text, ValueKind kind, bool backslashes = false) {
  try {
    return SqlValue(ParseConditions(text)[0], kind, backslashes);
  } catch (const Failure& failure) {
    return failure.what();
  }
}

TEST(Conditions, ValuesAreQuotedByWhatTheirFieldHolds) {
  EXPECT_EQ(Value("zip = 01234", ValueKind::kText), "'01234'");
  EXPECT_EQ(Value("name = O'Brien", ValueKind::kText), "'O''Brien'");
  EXPECT_EQ(Value("name = 'O''Brien'", ValueKind::kText), "'O''Brien'");
  EXPECT_EQ(Value("age = 18", ValueKind::kNumber), "18");
  EXPECT_EQ(Value("age = '18'", ValueKind::kNumber), "18");
  EXPECT_EQ(Value("age = 18 or 1=1", ValueKind::kNumber), "18");
  EXPECT_EQ(Value("age = '18 or 1=1'", ValueKind::kNumber),
            "--where: the field age holds numbers; \"18 or 1=1\" is none");
  EXPECT_EQ(Value("x = 18", ValueKind::kPlain), "18");
  EXPECT_EQ(Value("x = True", ValueKind::kPlain), "True");
  EXPECT_EQ(Value("x = '18'", ValueKind::kPlain), "'18'");
  EXPECT_EQ(Value("x = eighteen", ValueKind::kPlain), "'eighteen'");
  EXPECT_EQ(Value("x in (1, 'b')", ValueKind::kText), "('1', 'b')");
  EXPECT_EQ(Value("x between 1 and 5", ValueKind::kNumber), "1 and 5");
  EXPECT_EQ(Value("x is not null", ValueKind::kNumber), "null");
  EXPECT_EQ(Value("x like 1%", ValueKind::kNumber), "'1%'");
}

TEST(Conditions, BackslashesAreDoubledWhereTheyBeginAnEscape) {
  EXPECT_EQ(Value("x = 'a\\b'", ValueKind::kText, true), "'a\\\\b'");
  EXPECT_EQ(Value("x = 'a\\b'", ValueKind::kText, false), "'a\\b'");
  EXPECT_EQ(Value("x = '\\'' or 1=1 --'", ValueKind::kText, true), "'\\\\'' or 1=1 --'");
}

}  // namespace
}  // namespace pv::cli

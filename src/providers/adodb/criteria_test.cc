#include "providers/adodb/criteria.h"

#include <gtest/gtest.h>

#include "providers/adodb/error_numbers.h"

namespace pv::adodb {
namespace {

using automation::Currency;
using automation::Date;
using automation::Value;

class CriteriaTest : public testing::Test {
 protected:
  CriteriaTest() {
    Add("name", Kind::kText, "Müller");
    Add("First Name", Kind::kText, "Anna \"A\" O'Hara");
    Add("age", Kind::kInteger, 42);
    Add("price", Kind::kDecimal, Currency{123'400});
    Add("wide", Kind::kDecimal, "12345678901234567890.5");
    Add("born", Kind::kDate, Date{45351});
    Add("member", Kind::kBoolean, true);
    Add("gone", Kind::kText, Value::Null());
    Add("rate", Kind::kDouble, 0.5);
  }
  void Add(const char* name, Kind kind, Value value) {
    Column column;
    column.name = name;
    column.kind = kind;
    columns_.push_back(std::move(column));
    row_.push_back(std::move(value));
  }
  bool Matches(std::string_view text, bool single = false) {
    const auto criteria = Criteria::Parse(text, columns_, single);
    EXPECT_TRUE(criteria.ok()) << text << ": " << criteria.status().message();
    return criteria.ok() && criteria->Matches([&](std::size_t i) { return row_[i]; });
  }
  std::int32_t NumberOf(std::string_view text, bool single = false) {
    return Criteria::Parse(text, columns_, single).status().detail();
  }
  std::vector<Column> columns_;
  std::vector<Value> row_;
};

TEST_F(CriteriaTest, Comparisons) {
  EXPECT_TRUE(Matches("name = 'mÜLLER'"));
  EXPECT_FALSE(Matches("name<>'müller'"));
  EXPECT_TRUE(Matches("age>=42"));
  EXPECT_FALSE(Matches("age > 42"));
  EXPECT_TRUE(Matches("age < 42.5"));
  EXPECT_TRUE(Matches("price = 12.34"));
  EXPECT_TRUE(Matches("wide > 12345678901234567889"));
  EXPECT_TRUE(Matches("born = #2024-02-29#"));
  EXPECT_TRUE(Matches("born <= '2024-02-29'"));
  EXPECT_TRUE(Matches("member = true"));
  EXPECT_TRUE(Matches("rate = 0.5"));
  EXPECT_TRUE(Matches("age = '42'"));
  EXPECT_FALSE(Matches("age = 'many'"));
}

TEST_F(CriteriaTest, NamesAndTextWithQuotes) {
  EXPECT_TRUE(Matches("[First Name] = 'anna \"a\" o''hara'"));
  EXPECT_TRUE(Matches("\"first name\" like '*o''H*'"));
}

TEST_F(CriteriaTest, Like) {
  EXPECT_TRUE(Matches("name like 'm*'"));
  EXPECT_TRUE(Matches("name LIKE '%LL%'"));
  EXPECT_TRUE(Matches("name LIKE '*'"));
  EXPECT_FALSE(Matches("name LIKE 'l*'"));
  EXPECT_TRUE(Matches("age like '4*'"));
}

TEST_F(CriteriaTest, NullMatchesNullOnly) {
  EXPECT_TRUE(Matches("gone = null"));
  EXPECT_FALSE(Matches("gone <> NULL"));
  EXPECT_FALSE(Matches("gone = 'x'"));
  EXPECT_FALSE(Matches("gone < 'x'"));
  EXPECT_TRUE(Matches("name <> null"));
}

TEST_F(CriteriaTest, AndOrAndParentheses) {
  EXPECT_TRUE(Matches("age = 1 or age = 42 and name = 'müller'"));
  EXPECT_FALSE(Matches("(age = 1 or age = 42) and name = 'x'"));
  EXPECT_TRUE(Matches("((age=42))AND(name='müller')"));
}

TEST_F(CriteriaTest, WhatCannotBeReadIsAnError) {
  EXPECT_EQ(NumberOf("nobody = 1"), kErrItemNotFound);
  for (const char* text :
       {"", "name", "name =", "name = 'x", "name = x", "age = 1 2", "(age = 1", "age = 1)",
        "age = 1 and", "age ! 1", "[name = 1", "born = #never#", "= 1"}) {
    EXPECT_EQ(NumberOf(text), kErrInvalidArgument) << text;
  }
  EXPECT_EQ(NumberOf("age = 42 and name = 'x'", /*single=*/true), kErrInvalidArgument);
  EXPECT_EQ(NumberOf(std::string(100, '(') + "age = 1" + std::string(100, ')')),
            kErrInvalidArgument);
}

TEST_F(CriteriaTest, Sort) {
  const auto keys = ParseSort(" [First Name] , age desc,name ASC", columns_);
  ASSERT_TRUE(keys.ok());
  ASSERT_EQ(keys->size(), 3u);
  EXPECT_EQ((*keys)[0].column, 1u);
  EXPECT_FALSE((*keys)[0].descending);
  EXPECT_TRUE((*keys)[1].descending);
  EXPECT_EQ((*keys)[2].column, 0u);
  EXPECT_TRUE(ParseSort("", columns_)->empty());
  EXPECT_EQ(ParseSort("age up", columns_).status().detail(), kErrInvalidArgument);
  EXPECT_EQ(ParseSort("nobody", columns_).status().detail(), kErrItemNotFound);
}

TEST_F(CriteriaTest, OrderOfValues) {
  EXPECT_LT(CompareValues(Value::Null(), 1, Kind::kInteger), 0);
  EXPECT_EQ(CompareValues("a", "A", Kind::kText), 0);
  EXPECT_LT(CompareValues(Currency{1}, "12345678901234567890", Kind::kDecimal), 0);
  EXPECT_GT(CompareValues(2, "1.5", Kind::kDecimal), 0);
  EXPECT_LT(CompareValues(0.00001, 0.00002, Kind::kDouble), 0);
}

}  // namespace
}  // namespace pv::adodb

#include "providers/adodb/statement_text.h"

#include <gtest/gtest.h>

namespace pv::adodb {
namespace {

TEST(StatementText, BackQuotesBecomeDoubleQuotes) {
  EXPECT_EQ(WithoutBackQuotes("select `First Name` from t"), "select \"First Name\" from t");
  EXPECT_EQ(WithoutBackQuotes("`a\"b``c`"), "\"a\"\"b`c\"");
  for (const char* same : {"select '`x`' from t", "\"`\" = 1", "-- `x`\n1", "/* `x` */ 1", "a ` b",
                           "'it''s `x`'", "", "/* `x`", "'`x`"}) {
    EXPECT_EQ(WithoutBackQuotes(same), same);
  }
  EXPECT_EQ(WithoutBackQuotes("'a' `b` \"c\" `d`"), "'a' \"b\" \"c\" \"d\"");
}

TEST(StatementText, StatementsAndNames) {
  for (const char* statement :
       {"select 1", " SELECT\n* from t", "with x as (select 1) select 2", "(select 1)", "{call f}",
        "-- c\nselect 1", "insert into t values (1)", "delete from t", "values (1)"}) {
    EXPECT_TRUE(IsStatement(statement)) << statement;
  }
  for (const char* name :
       {"customers", "my table", "select", "\"select x\"", "", "  ", "selected x"}) {
    EXPECT_FALSE(IsStatement(name)) << name;
  }
}

TEST(StatementText, QueriesOfManyRows) {
  for (const char* whole :
       {"select * from t", "WITH a as (select 1) select * from a", "table t", "values (1), (2)",
        "(select a from t) union (select b from t)", "select \";\" from t",
        "select * from t where a = 'b''; drop table t; --'", "select a -- ; or b\nfrom t",
        "select count(*), city from t group by city"}) {
    EXPECT_EQ(QueryOfManyRows(whole), whole);
  }
  for (const char* text : {" select * from t ;", "-- those of t; all\nselect * from t",
                           "/* all; */ select * from t; -- that's it", "select * from t\n;\n"}) {
    EXPECT_EQ(QueryOfManyRows(text), "select * from t") << text;
  }
  for (const char* other :
       {"", ";", "-- nothing", "/* no end", "show tables", "select 1; select 2 from t",
        "select '' from t; drop table t", "select E'\\'' from t; drop table t --'",
        "select  COUNT(*) from t", "select last_insert_id()", "delete from t"}) {
    EXPECT_EQ(QueryOfManyRows(other), "") << other;
  }
}

TEST(StatementText, PlainColumns) {
  for (const char* plain :
       {"select * from t", "SELECT a,b , \"c d\",t.e FROM t", "select t.* from t"}) {
    EXPECT_TRUE(HasPlainColumns(plain)) << plain;
  }
  for (const char* other :
       {"select a as b from t", "select a b from t", "select a+1 from t", "select count(*) from t",
        "select", "select a", "show tables", "select distinct a from t", "select a, from t"}) {
    EXPECT_FALSE(HasPlainColumns(other)) << other;
  }
}

}  // namespace
}  // namespace pv::adodb

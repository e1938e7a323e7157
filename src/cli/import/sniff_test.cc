#include "cli/import/sniff.h"

#include <gtest/gtest.h>

namespace pv::cli {
namespace {

TEST(SniffDialect, FindsTheDelimiter) {
  EXPECT_EQ(SniffDialect("a,b,c\n1,2,3\n", {}).dialect.delimiter, ',');
  EXPECT_EQ(SniffDialect("a;b;c\n1,5;2,5;3,5\n1,5;2,5;3,5\n", {}).dialect.delimiter, ';');
  EXPECT_EQ(SniffDialect("a\tb\n1, x\t2\n", {}).dialect.delimiter, '\t');
  EXPECT_EQ(SniffDialect("a|b\n1|2\n", {}).dialect.delimiter, '|');
  EXPECT_EQ(SniffDialect("email\nx@example.org\n", {}).dialect.delimiter, ',');
  EXPECT_EQ(SniffDialect("", {}).dialect.delimiter, ',');
}

TEST(SniffDialect, DelimitersInsideQuotesDoNotCount) {
  EXPECT_EQ(SniffDialect("a,b\n\"1;2;3\",4\n\"5;6;7\",8\n", {}).dialect.delimiter, ',');
}

TEST(SniffDialect, FindsLineEnds) {
  EXPECT_TRUE(SniffDialect("a,b\r1,2\r", {}).dialect.cr_only);
  EXPECT_FALSE(SniffDialect("a,b\r\n1,2\r\n", {}).dialect.cr_only);
}

TEST(SniffDialect, FindsTheQuote) {
  EXPECT_EQ(SniffDialect("a,b\n'x,y','z'\n'u',v\n", {}).dialect.quote, '\'');
  EXPECT_EQ(SniffDialect("a,b\n'til,x\n", {}).dialect.quote, '"');
  EXPECT_EQ(SniffDialect("a,b\n'=1+1,\"x\"\n", {}).dialect.quote, '"');
}

TEST(SniffDialect, FindsBlanksBeforeQuotes) {
  EXPECT_TRUE(SniffDialect("a, \"b\", \"c, d\"\n", {}).dialect.trim_blanks);
  EXPECT_TRUE(SniffDialect("\"x\", \"b\"\n\"y\", \"z\"\n", {}).dialect.trim_blanks);
  EXPECT_FALSE(SniffDialect("a,\"b\",\"c, \"\"d\"\"\"\n", {}).dialect.trim_blanks);
  EXPECT_FALSE(SniffDialect("a, b\n", {}).dialect.trim_blanks);
}

TEST(SniffDialect, KnowsAHeaderRow) {
  EXPECT_TRUE(SniffDialect("Email,Name\na@example.org,Ann\n", {}).has_header);
  EXPECT_FALSE(SniffDialect("a@example.org,Ann\nb@example.org,Bob\n", {}).has_header);
  EXPECT_FALSE(SniffDialect("Ann,12\nBob,13\n", {}).has_header);
  EXPECT_FALSE(SniffDialect("Ann,2020-01-02\n", {}).has_header);
}

TEST(SniffDialect, WhatIsGivenHolds) {
  const SniffedDialect given =
      SniffDialect("a,b;c\n", {.delimiter = ';', .quote = '\0', .header = false});
  EXPECT_EQ(given.dialect.delimiter, ';');
  EXPECT_EQ(given.dialect.quote, 0);
  EXPECT_FALSE(given.has_header);
}

}  // namespace
}  // namespace pv::cli

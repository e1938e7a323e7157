#include "providers/adodb/connection_string.h"

#include <gtest/gtest.h>

#include "providers/adodb/error_numbers.h"

namespace pv::adodb {
namespace {

std::string Read(std::string_view text) {
  const Result<ConnectionString> parsed = ConnectionString::Parse(text);
  return parsed.ok() ? parsed->Text() : "failed: " + parsed.status().message();
}

TEST(ConnectionString, OdbcForms) {
  EXPECT_EQ(Read("Driver={PostgreSQL Unicode};Server=db;Port=5432"),
            "Driver={PostgreSQL Unicode};Server=db;Port=5432;");
  EXPECT_EQ(Read("DSN=Customers;UID=me;PWD=x;"), "DSN=Customers;UID=me;PWD=x;");
  EXPECT_EQ(Read("Customers"), "DSN=Customers;");
  EXPECT_EQ(Read(" ; ;DSN = a b ; "), "DSN=a b;");
  EXPECT_EQ(Read(""), "");
  EXPECT_EQ(Read("driver=SQLite3;DRIVER=other"), "driver={SQLite3};");
  EXPECT_EQ(Read("Database="), "Database=;");
}

TEST(ConnectionString, BracesAndQuotes) {
  EXPECT_EQ(Read("PWD={a;b}}c{d}"), "PWD={a;b}}c{d};");
  EXPECT_EQ(Read("PWD=\"a;\"\"b\"\"\""), "PWD={a;\"b\"};");
  EXPECT_EQ(Read("PWD='it''s' ; UID=u"), "PWD={it's};UID=u;");
  EXPECT_EQ(Read("PWD=a'b\"c"), "PWD={a'b\"c};");
  EXPECT_EQ(Read("PWD={ x }"), "PWD={ x };");
  EXPECT_EQ(Read("Database=/a b/c=d.db"), "Database={/a b/c=d.db};");
}

TEST(ConnectionString, OleDbForms) {
  EXPECT_EQ(Read("Provider=MSDASQL.1;Persist Security Info=False;User ID=me;Password=pw;"
                 "Data Source=Customers;Initial Catalog=shop"),
            "UID=me;PWD=pw;DSN=Customers;Database=shop;");
  EXPECT_EQ(
      Read("Provider=msdasql;Extended Properties=\"DRIVER={SQLite3};Database=/x;PWD=\"\"q\"\";\";"
           "Mode=ReadWrite"),
      "DRIVER={SQLite3};Database=/x;PWD=q;");
  const auto other = ConnectionString::Parse("Provider=SQLOLEDB;Server=x");
  ASSERT_FALSE(other.ok());
  EXPECT_EQ(other.status().detail(), kErrProviderNotFound);
}

TEST(ConnectionString, FailuresShowNoValues) {
  for (const char* text :
       {"PWD={s3cret", "PWD=\"s3cret", "PWD={s3}cret;", "s3cret;UID=a", "UID=a;=s3cret",
        "a=b;s3cret", "Extended Properties={Extended Properties={PWD={s3cret}}}"}) {
    const auto parsed = ConnectionString::Parse(text);
    ASSERT_FALSE(parsed.ok()) << text;
    EXPECT_EQ(parsed.status().message().find("cret"), std::string::npos)
        << parsed.status().message();
  }
}

TEST(ConnectionString, ZeroCharactersAreRefused) {
  using namespace std::string_view_literals;
  EXPECT_FALSE(ConnectionString::Parse("\0a=b"sv).ok());
  EXPECT_FALSE(ConnectionString::Parse("a=b\0c"sv).ok());
}

TEST(ConnectionString, SecretsAreLeftOutAndReplaced) {
  const auto parsed = ConnectionString::Parse("Server=db;Uid=me;Pwd={pw;1};Database=x");
  ASSERT_TRUE(parsed.ok());
  EXPECT_EQ(parsed->TextWithoutSecrets(), "Server=db;Uid=me;Database=x;");
  EXPECT_EQ(parsed->Redacted("login me/pw;1 failed: pw;1"), "login me/*** failed: ***");
}

TEST(ConnectionString, WhatIsWrittenReadsBack) {
  for (const char* value :
       {"", "a", "a}b", "{", "}", "}}", " a", "a ", "a;b=c", "'", "\"", "ü{é}"}) {
    ConnectionString string;
    string.Set("PWD", value);
    string.Set("Server", "x");
    const auto again = ConnectionString::Parse(string.Text());
    ASSERT_TRUE(again.ok()) << value;
    EXPECT_EQ(*again->Find("pwd"), value);
    EXPECT_EQ(*again->Find("server"), "x");
  }
}

}  // namespace
}  // namespace pv::adodb

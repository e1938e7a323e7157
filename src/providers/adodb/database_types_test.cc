// Every column type of each database, there and back.
#include <algorithm>

#include "providers/adodb/database_test_support.h"
#include "providers/adodb/error_numbers.h"

namespace pv::adodb {
namespace {

using automation::Bytes;
using automation::Currency;
using automation::Date;

class TypesTest : public DatabaseTest {
 protected:
  // One column: writes a value through a recordset and reads it back.
  void ThereAndBack(const std::string& type, std::int32_t ado, const Value& value) {
    ThereAndBack(type, ado, value, value);
  }
  void ThereAndBack(const std::string& type, std::int32_t ado, const Value& value,
                    const Value& expected) {
    SCOPED_TRACE(type);
    Create("typed", "id integer primary key, v " + type);
    const auto rows = Opened("typed", kForwardOnly, kOptimistic, kCommandTable);
    EXPECT_EQ(rows->GetFields()->Item(Value("v"))->GetType(), ado);
    const Error error = ErrorFrom([&] {
      rows->AddNew();
      Put(rows, "id", 1);
      Put(rows, "v", value);
      rows->Update();
      rows->AddNew();
      Put(rows, "id", 2);
      Put(rows, "v", Value::Null());
      rows->Update();
    });
    ASSERT_EQ(error.number(), 0) << error.description();
    const auto read = Opened("select * from typed order by id");
    const Value got = At(read, "v");
    EXPECT_EQ(got.type(), expected.type());
    EXPECT_TRUE(got == expected) << (got.type() == automation::ValueType::kBytes ? "bytes"
                                                                                 : got.ToText());
    read->MoveNext();
    EXPECT_TRUE(At(read, "v").IsNull());
  }

  // Text has one of six numbers, by its length and the driver.
  void TextThereAndBack(const std::string& type, const Value& value) {
    Create("typed", "id integer primary key, v " + type);
    const auto described = Opened("typed", kForwardOnly, kReadOnly, kCommandTable);
    const std::int32_t ado = described->GetFields()->Item(Value("v"))->GetType();
    described->Close();  // an open walk holds the table
    const std::vector<std::int32_t> texts = {72, 129, 130, 200, 201, 202, 203};
    EXPECT_NE(std::find(texts.begin(), texts.end(), ado), texts.end()) << type << ": " << ado;
    ThereAndBack(type, ado, value);
  }
};
PV_ON_ALL_DATABASES(TypesTest);

const Value kText("Grüße, Ελλάδα, 日本 😀 'x' \"y\" \\ %");
const Date kDay{45351};                         // 2024-02-29
const Date kMoment{45351 + 49'510 / 86'400.0};  // 13:45:10
const Bytes kSomeBytes = {0, 1, 0x27, 0x5C, 0x80, 0xFF, 0};

// Both with a long column, whose rows come one by one, and without.
TEST_P(TypesTest, AValueBehindANullIsAValue) {
  for (const std::string more : {"", ", note text"}) {
    Create("pv_behind", std::string("id integer primary key, yes ") +
                            By("boolean", "boolean", "bit(1)") + ", n integer, d date" + more);
    for (int id = 1; id <= 600; ++id) {
      const std::string values =
          By("0, 0, '2024-02-29'", "false, 0, '2024-02-29'", "b'0', 0, '2024-02-29'");
      Run("insert into pv_behind (id, yes, n, d) values (" + std::to_string(id) + ", " +
          (id % 2 == 1 ? "null, null, null" : values) + ")");
    }
    const auto rows = Opened("select * from pv_behind order by id");
    for (int id = 1; id <= 600; ++id, rows->MoveNext()) {
      for (const char* field : {"yes", "n", "d"}) {
        ASSERT_EQ(At(rows, field).IsNull(), id % 2 == 1) << field << " of row " << id;
      }
    }
  }
}

TEST_P(TypesTest, WholeNumbers) {
  ThereAndBack("integer", 3, -2147483647);
  ThereAndBack("smallint", 2, 32767);
  ThereAndBack("bigint", 20, 2147483647);
  ThereAndBack("bigint", 20, -9007199254740991.0);
  ThereAndBack("bigint", 20, "9223372036854775807");
  if (Is(Database::kMariaDb)) {
    ThereAndBack("tinyint", 16, -128);
    ThereAndBack("tinyint unsigned", 17, 255);
    ThereAndBack("smallint unsigned", 18, 65535);
    ThereAndBack("mediumint", 3, -8388608);
    ThereAndBack("int unsigned", 19, 4294967295.0);
    ThereAndBack("bigint unsigned", 21, "9223372036854775807");
    ThereAndBack("year", 18, 2024);
  }
}

TEST_P(TypesTest, ExactAndOtherNumbers) {
  ThereAndBack("decimal(10,2)", 131, Currency{123'456'700});
  ThereAndBack("decimal(10,2)", 131, "-0.05", Currency{-500});
  ThereAndBack("numeric(15,4)", 131, Currency{-99'999'999'999'999});
  if (!Is(Database::kSqlite)) {
    // SQLite keeps such numbers as doubles.
    ThereAndBack("decimal(30,10)", 131, "12345678901234567890.0123456789");
    ThereAndBack("decimal(20,8)", 131, "0.00000001");
  }
  // SQLite's driver passes on fifteen digits.
  ThereAndBack("double precision", 5, 1.0 / 3.0,
               Is(Database::kSqlite) ? 0.333333333333333 : 1.0 / 3.0);
  ThereAndBack(By("real", "double precision", "double"), 5, -1.5e300);
  if (Is(Database::kPostgreSql)) {
    ThereAndBack("real", 4, 0.25);
    ThereAndBack("money", 6, Currency{-12'345'600});
  }
  if (Is(Database::kMariaDb)) ThereAndBack("float", 4, 0.25);
}

TEST_P(TypesTest, Booleans) {
  const char* type = By("boolean", "boolean", "bit(1)");
  ThereAndBack(type, 11, true);
  ThereAndBack(type, 11, false);
  ThereAndBack(type, 11, "True", true);
}

TEST_P(TypesTest, DatesAndTimes) {
  ThereAndBack("date", 133, kDay);
  ThereAndBack("date", 133, "2024-02-29", kDay);
  ThereAndBack("time", 134, Date{49'510 / 86'400.0});
  const char* moment = By("timestamp", "timestamp", "datetime");
  ThereAndBack(moment, 135, kMoment);
  ThereAndBack(moment, 135, Date{-1000.25});
  ThereAndBack(By("datetime", "timestamp with time zone", "timestamp null"), 135, kMoment);
}

TEST_P(TypesTest, Texts) {
  const bool sqlite = Is(Database::kSqlite);
  TextThereAndBack("varchar(100)", kText);
  TextThereAndBack("varchar(100)", "");
  TextThereAndBack("char(3)", "abc");
  TextThereAndBack("text", kText);
  TextThereAndBack("text", std::string(70'000, 'x').substr(0, sqlite ? 70'000 : 60'000));
  if (Is(Database::kPostgreSql)) {
    TextThereAndBack("uuid", "0F8FAD5B-D9CB-469F-A165-70867728950E");
    TextThereAndBack("jsonb", "{\"a\": 1}");
    TextThereAndBack("json", "{\"a\":1}");
    TextThereAndBack("inet", "10.0.0.1");
    TextThereAndBack("character varying", kText);
    TextThereAndBack("integer[]", "{1,2}");
  }
  if (Is(Database::kMariaDb)) {
    TextThereAndBack("enum('a','b')", "b");
    TextThereAndBack("set('a','b')", "a,b");
    TextThereAndBack("mediumtext", kText);
    TextThereAndBack("json", "{\"a\": 1}");
  }
}

TEST_P(TypesTest, Binaries) {
  if (Is(Database::kMariaDb)) {
    ThereAndBack("varbinary(20)", 204, kSomeBytes);
    ThereAndBack("binary(7)", 128, kSomeBytes);
  }
  const std::string type = By("blob", "bytea", "blob");
  Create("typed", "id integer primary key, v " + type);
  const auto described = Opened("typed", kForwardOnly, kReadOnly, kCommandTable);
  const std::int32_t ado = described->GetFields()->Item(Value("v"))->GetType();
  described->Close();
  EXPECT_TRUE(ado == 128 || ado == 204 || ado == 205) << ado;
  ThereAndBack(type, ado, kSomeBytes);
  ThereAndBack(type, ado, Bytes());
  const auto rows = Opened("typed", kForwardOnly, kOptimistic, kCommandTable);
  EXPECT_EQ(ErrorFrom([&] { Put(rows, "v", "text"); }).number(), automation::kErrTypeMismatch);
}

TEST_P(TypesTest, WhatTheComponentCallsNumbersDatesAndText) {
  // The types by which a group's fields are described.
  Create("described", std::string("n decimal(8,2), d date, t ") +
                          By("timestamp", "timestamp", "datetime") + ", b " +
                          By("boolean", "boolean", "bit(1)") + ", s varchar(254)");
  const auto rows = Opened("described", kForwardOnly, kReadOnly, kCommandTable);
  const auto fields = rows->GetFields();
  const std::vector<std::int32_t> expected = {131, 133, 135, 11};
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(fields->Item(Value(static_cast<std::int32_t>(i)))->GetType(), expected[i]);
  }
  EXPECT_EQ(fields->Item(Value("s"))->GetDefinedSize(), 254);
}

}  // namespace
}  // namespace pv::adodb

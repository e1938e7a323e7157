#include "cli/import/column_types.h"

#include <gtest/gtest.h>

namespace pv::cli {
namespace {

using automation::Value;

std::string TypeOf(DatabaseKind database, char type, std::size_t length = 0,
                   std::size_t decimals = 0, bool indexed = false) {
  return ColumnType(database, {"X", {type, length, decimals}}, indexed);
}

// The value that a column takes for a cell, or the reason why it takes none.
std::string Taken(std::int32_t type, const Cell& cell, std::int32_t scale = 0,
                  DatabaseKind database = DatabaseKind::kPostgreSql) {
  Value value;
  std::string reason;
  if (!ValueForColumn(cell, {"c", type, scale, database}, &value, &reason)) return reason;
  if (value.IsNull()) return "null";
  if (const auto* bytes = value.TryGet<automation::Bytes>()) {
    return "bytes " + std::string(bytes->begin(), bytes->end());
  }
  return std::to_string(static_cast<int>(value.type())) + " " + value.ToText();
}

Cell Text(std::string text) { return {CellKind::kText, std::move(text)}; }
Cell Number(std::string text) { return {CellKind::kNumber, std::move(text)}; }

TEST(ColumnTypes, OfEveryKindOfField) {
  EXPECT_EQ(TypeOf(DatabaseKind::kPostgreSql, 'C', 40), "varchar(40)");
  EXPECT_EQ(TypeOf(DatabaseKind::kPostgreSql, 'W', 40), "varchar(20)");
  EXPECT_EQ(TypeOf(DatabaseKind::kPostgreSql, 'M', 4), "text");
  EXPECT_EQ(TypeOf(DatabaseKind::kPostgreSql, 'C', 0), "text") << "of no known length";
  EXPECT_EQ(TypeOf(DatabaseKind::kPostgreSql, 'M', 4, 0, true), "varchar(254)")
      << "an index has bounds";
  EXPECT_EQ(TypeOf(DatabaseKind::kPostgreSql, 'N', 10, 2), "decimal(9,2)");
  EXPECT_EQ(TypeOf(DatabaseKind::kPostgreSql, 'N', 10), "decimal(10,0)");
  EXPECT_EQ(TypeOf(DatabaseKind::kPostgreSql, 'N'), "numeric");
  EXPECT_EQ(TypeOf(DatabaseKind::kPostgreSql, 'L', 1), "boolean");
  EXPECT_EQ(TypeOf(DatabaseKind::kPostgreSql, 'G', 4), "") << "cannot be copied";
  EXPECT_EQ(TypeOf(DatabaseKind::kMariaDb, 'M', 4), "longtext");
  EXPECT_EQ(TypeOf(DatabaseKind::kMariaDb, 'T', 8), "datetime(3)");
  EXPECT_EQ(TypeOf(DatabaseKind::kMariaDb, 'C', 100, 0, true),
            "varchar(100) character set utf8mb4 collate utf8mb4_bin");
  EXPECT_EQ(TypeOf(DatabaseKind::kSqlServer, 'C', 40), "nvarchar(40)");
  EXPECT_EQ(TypeOf(DatabaseKind::kSqlite, 'N', 12, 2), "decimal(11,2)");
  EXPECT_EQ(TypeOf(DatabaseKind::kSqlite, 'N'), "numeric");
  EXPECT_EQ(ColumnType(DatabaseKind::kPostgreSql, {"X", {'M', 0, 0}, true}, false), "bytea");
}

TEST(ColumnTypes, NoValueAndBlankText) {
  EXPECT_EQ(Taken(3, {CellKind::kNone, ""}), "null");
  EXPECT_EQ(Taken(202, {CellKind::kNone, ""}), "null");
  EXPECT_EQ(Taken(202, Text("")), "8 ") << "an empty text is a value";
  EXPECT_EQ(Taken(3, Text("  ")), "null");
  EXPECT_EQ(Taken(135, Text("")), "null");
}

TEST(ColumnTypes, WholeNumbers) {
  EXPECT_EQ(Taken(3, Number("-17")), "3 -17");
  EXPECT_EQ(Taken(3, Number("17.00")), "3 17");
  EXPECT_EQ(Taken(3, Number("1.5")), "c: \"1.5\" is no whole number");
  EXPECT_EQ(Taken(3, Number("2147483648")), "c: \"2147483648\" is too large for the column");
  EXPECT_EQ(Taken(20, Number("9223372036854775807")), "8 9223372036854775807");
  EXPECT_EQ(Taken(3, Text("many")), "c: \"many\" is no number");
  EXPECT_EQ(Taken(3, {CellKind::kBoolean, "true"}), "3 1");
}

TEST(ColumnTypes, DecimalNumbersAreNeverRounded) {
  EXPECT_EQ(Taken(131, Number("12.50"), 2), "8 12.50");
  EXPECT_EQ(Taken(131, Number("12.500"), 2), "8 12.500") << "zeros are no decimals";
  EXPECT_EQ(Taken(131, Number("12.505"), 2),
            "c: \"12.505\" has more decimals than the column keeps (2)");
  EXPECT_EQ(Taken(131, Number("1e+20"), 0), "8 100000000000000000000");
  EXPECT_EQ(Taken(131, Number("123456789012345.5"), 4, DatabaseKind::kSqlite),
            "c: \"123456789012345.5\" has more digits than the database keeps");
  EXPECT_EQ(Taken(131, Number("123456789012345678"), 0, DatabaseKind::kSqlite),
            "8 123456789012345678");
  EXPECT_EQ(Taken(131, Number("0.00"), 0), "8 0.00");
}

TEST(ColumnTypes, RealNumbersThatTheColumnDoesNotHaveAreRefused) {
  EXPECT_EQ(Taken(5, Number("0.1")), "5 0.1");
  EXPECT_EQ(Taken(5, Number("0.30000000000000004")), "5 0.30000000000000004");
  EXPECT_EQ(Taken(5, Number("0.30000000000000001")),
            "c: \"0.30000000000000001\" has more digits than the column keeps");
  EXPECT_EQ(Taken(4, Number("16777217")), "c: \"16777217\" has more digits than the column keeps");
  EXPECT_EQ(Taken(4, Number("0.5")), "5 0.5");
}

TEST(ColumnTypes, Moments) {
  EXPECT_EQ(Taken(133, Text("2024-02-29")), "7 2024-02-29");
  EXPECT_EQ(Taken(133, Text("2024-02-29T00:00:00")), "7 2024-02-29");
  EXPECT_EQ(Taken(133, Text("2024-02-29T13:45:10")),
            "c: \"2024-02-29T13:45:10\" has a time of day, which the column does not keep");
  EXPECT_EQ(Taken(135, Text("2024-02-29T13:45:10")), "7 2024-02-29 13:45:10");
  EXPECT_EQ(Taken(135, Text("2024-02-30")), "c: \"2024-02-30\" is no date");
  EXPECT_EQ(Taken(135, Text("0099-01-01")), "c: \"0099-01-01\" is no date")
      << "before automation's dates begin";
  EXPECT_EQ(Taken(134, Text("13:45:10")), "7 13:45:10");
  EXPECT_EQ(Taken(134, Text("noon")), "c: \"noon\" is no time of a day");
  Value value;
  std::string reason;
  ASSERT_TRUE(ValueForColumn(Text("2024-02-29T13:45:10.125"), {"c", 135, 0, {}}, &value, &reason));
  EXPECT_NEAR(value.ToDate().days, 45351 + 49510.125 / 86400, 1e-9);
  for (const auto database : {DatabaseKind::kPostgreSql, DatabaseKind::kMariaDb}) {
    EXPECT_EQ(
        Taken(135, Text("2024-02-29T13:45:10.125"), 2, database),
        "c: \"2024-02-29T13:45:10.125\" has a fraction of a second, which the column does not "
        "keep");
    EXPECT_EQ(Taken(135, Text("1824-02-29T13:45:10.12"), 2, database).substr(0, 2), "7 ");
    EXPECT_EQ(Taken(135, Text("2024-02-29T13:45:10.125"), 6, database).substr(0, 2), "7 ");
    EXPECT_EQ(Taken(135, Text("2024-02-29T13:45:10"), 0, database), "7 2024-02-29 13:45:10");
  }
}

TEST(ColumnTypes, BooleansBytesAndTexts) {
  EXPECT_EQ(Taken(11, {CellKind::kBoolean, "true"}), "11 True");
  EXPECT_EQ(Taken(11, Text("no")), "11 False");
  EXPECT_EQ(Taken(11, Text("perhaps")), "c: \"perhaps\" is neither true nor false");
  EXPECT_EQ(Taken(204, Text("4142")), "bytes AB");
  EXPECT_EQ(Taken(204, Text("414")), "c: \"414\" is not the hexadecimal digits of bytes");
  EXPECT_EQ(Taken(204, Text("4g")), "c: \"4g\" is not the hexadecimal digits of bytes");
  EXPECT_EQ(Taken(202, Number("007")), "8 007");
  EXPECT_EQ(Taken(202, Text(std::string("a\0b", 3))), "c: the text holds a zero character");
  EXPECT_EQ(Taken(3, Text(std::string(39, 'x') + "äb")),
            "c: \"" + std::string(39, 'x') + "…\" is no number")
      << "no character is cut";
}

}  // namespace
}  // namespace pv::cli

#include "cli/fields/record.h"

#include <gtest/gtest.h>

#include "cli/groups/table.h"
#include "platform/memory/memory_system.h"

namespace pv::cli {
namespace {

class RecordTest : public testing::Test {
 protected:
  RecordTest() {
    const std::vector<engine::FieldRecord> fields = {
        {"C", 'C', 10, 0, 0}, {"W", 'W', 20, 0, 0}, {"N", 'N', 8, 2, 0}, {"BIG", 'N', 20, 0, 0},
        {"I", 'I', 4, 0, 0},  {"B", 'B', 8, 0, 0},  {"Y", 'Y', 8, 4, 0}, {"D", 'D', 8, 0, 0},
        {"T", 'T', 8, 0, 0},  {"L", 'L', 1, 0, 0},  {"M", 'M', 4, 0, 0}, {"NULLS", 'N', 8, 2, 1},
        {"G", 'G', 4, 0, 0}};
    EXPECT_TRUE(machine_.files.CreateFolders("/t").ok());
    table_ = Table::Create(session_, "/t/all.dbf", fields, {});
    encoder_ = std::make_shared<const PageEncoder>(session_.page());
    engine::d4appendStart(table_->handle(), 0);
  }

  // Writes the text and reads it back; "!" and the reason when it is refused.
  std::string Put(const std::string& name, const std::string& text,
                  const ColumnReading& reading = {}) {
    const RecordReader reader(table_->handle());
    const RecordField* field = FindField(reader.fields(), name);
    FieldWriter writer(*field, reading, encoder_);
    std::string reason;
    if (!writer.Write(text, &reason)) return "!" + reason;
    EXPECT_EQ(engine::code4errorCode(session_.handle(), 0), 0) << name << " " << text;
    Cell cell;
    reader.Read(*field, &cell);
    kind_ = cell.kind;
    return cell.text;
  }

  platform::MemorySystem machine_;
  platform::ScopedSystem scope_{machine_.system()};
  Session session_;
  std::unique_ptr<Table> table_;
  std::shared_ptr<const PageEncoder> encoder_;
  CellKind kind_ = CellKind::kText;
};

TEST_F(RecordTest, Characters) {
  EXPECT_EQ(Put("C", "K\xC3\xB6ln"), "K\xC3\xB6ln");
  EXPECT_EQ(Put("C", "  x  "), "  x");
  EXPECT_EQ(Put("C", ""), "");
  EXPECT_EQ(Put("C", "0123456789   "), "0123456789");
  EXPECT_EQ(Put("C", "01234567890"), "!C: the text has 11 bytes, the field 10");
  EXPECT_EQ(Put("C", "\xE6\x97\xA5"), "!C: a character is not in code page 1252");
}

TEST_F(RecordTest, Unicode) {
  EXPECT_EQ(Put("W", "\xE6\x97\xA5\xE6\x9C\xAC\xF0\x9F\x98\x80"),
            "\xE6\x97\xA5\xE6\x9C\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(Put("W", "0123456789"), "0123456789");
  EXPECT_EQ(Put("W", "01234567890"), "!W: the text has 11 characters, the field 10");
  EXPECT_EQ(Put("W", "012345678\xF0\x9F\x98\x80"), "!W: the text has 11 characters, the field 10");
}

TEST_F(RecordTest, Numbers) {
  EXPECT_EQ(Put("N", "44.8"), "44.80");
  EXPECT_EQ(kind_, CellKind::kNumber);
  EXPECT_EQ(Put("N", "-7"), "-7.00");
  EXPECT_EQ(Put("N", "007.500"), "7.50");
  EXPECT_EQ(Put("N", "99999.99"), "99999.99");
  EXPECT_EQ(Put("N", "-0"), "0.00");
  EXPECT_EQ(Put("N", ""), "");
  EXPECT_EQ(kind_, CellKind::kNone);
  EXPECT_EQ(Put("N", "1,5", {.decimal = ','}), "1.50");
  EXPECT_EQ(Put("N", "1,5"), "!N: not a number");
  EXPECT_EQ(Put("N", "1.234"), "!N: the number has 3 decimals, the field 2");
  EXPECT_EQ(Put("N", "100000"), "!N: the number does not fit a width of 8");
  EXPECT_EQ(Put("N", "-99999.99"), "!N: the number does not fit a width of 8");
  EXPECT_EQ(Put("N", "12 apples"), "!N: not a number");
}

TEST_F(RecordTest, NumbersOfManyDigitsAreWholeOrRefused) {
  EXPECT_EQ(Put("BIG", "123456789012345"), "123456789012345");
  EXPECT_EQ(Put("BIG", "9007199254740992"), "9007199254740992");
  EXPECT_EQ(Put("BIG", "12345678901234567891"),
            "!BIG: the number has more digits than can be kept");
}

TEST_F(RecordTest, BinaryNumbers) {
  EXPECT_EQ(Put("I", "-2147483648"), "-2147483648");
  EXPECT_EQ(Put("I", "2147483648"), "!I: the number is out of range");
  EXPECT_EQ(Put("I", "1.5"), "!I: the number has 1 decimals, the field 0");
  EXPECT_EQ(Put("B", "0.1"), "0.1");
  EXPECT_EQ(Put("B", "1e100"), "1e+100");
  EXPECT_EQ(Put("B", "ten"), "!B: not a number");
  EXPECT_EQ(Put("Y", "12.3456"), "12.3456");
  EXPECT_EQ(Put("Y", "-0.5"), "-0.50");
  EXPECT_EQ(Put("Y", "1.23456"), "!Y: the number has 5 decimals, the field 4");
  EXPECT_EQ(Put("Y", "999999999999999"), "!Y: the number is out of range");
}

TEST_F(RecordTest, Dates) {
  EXPECT_EQ(Put("D", "2024-02-29"), "2024-02-29");
  EXPECT_EQ(Put("D", "29.02.2024", {.order = kDmy}), "2024-02-29");
  EXPECT_EQ(Put("D", "2/29/2024", {.order = kMdy}), "2024-02-29");
  EXPECT_EQ(Put("D", "2024-02-29 00:00"), "2024-02-29");
  EXPECT_EQ(Put("D", ""), "");
  EXPECT_EQ(kind_, CellKind::kNone);
  EXPECT_EQ(Put("D", "2023-02-29"), "!D: not a date");
  EXPECT_EQ(Put("D", "29.02.2024"), "!D: not a date");
  EXPECT_EQ(Put("D", "2024-02-29 13:45"), "!D: the field holds no time of day");
  EXPECT_EQ(Put("T", "2024-02-29 13:45:07"), "2024-02-29T13:45:07");
  EXPECT_EQ(Put("T", "2024-02-29"), "2024-02-29T00:00:00");
  EXPECT_EQ(Put("T", ""), "");
}

TEST_F(RecordTest, LogicalValues) {
  EXPECT_EQ(Put("L", "ja"), "true");
  EXPECT_EQ(kind_, CellKind::kBoolean);
  EXPECT_EQ(Put("L", "No"), "false");
  EXPECT_EQ(Put("L", ""), "");
  EXPECT_EQ(kind_, CellKind::kNone);
  EXPECT_EQ(Put("L", "maybe"), "!L: not a yes or no value");
}

TEST_F(RecordTest, Memos) {
  const std::string text = std::string(5000, 'x') + "\n  K\xC3\xB6ln  ";
  EXPECT_EQ(Put("M", text), text);
  EXPECT_EQ(Put("M", ""), "");
  EXPECT_EQ(Put("M", "\xE6\x97\xA5"), "!M: a character is not in code page 1252");
}

TEST_F(RecordTest, AnEmptyValueOfAFieldThatAcceptsNullsIsNull) {
  EXPECT_EQ(Put("NULLS", "1"), "1.00");
  EXPECT_EQ(Put("NULLS", ""), "");
  EXPECT_NE(engine::f4null(FindField(FieldsOf(table_->handle()), "nulls")->handle), 0);
}

TEST_F(RecordTest, GeneralFieldsAreNotWritten) {
  EXPECT_FALSE(FieldWriter::CanWrite('G'));
  EXPECT_TRUE(FieldWriter::CanWrite('C'));
}

}  // namespace
}  // namespace pv::cli

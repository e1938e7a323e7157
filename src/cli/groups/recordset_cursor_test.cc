#include "cli/groups/recordset_cursor.h"

#include <gtest/gtest.h>

#include "cli/failure.h"

namespace pv::cli {
namespace {

using automation::Bytes;
using automation::Currency;
using automation::Date;
using automation::Value;

// The kind's letter and the text.
std::string Seen(const Value& value, std::int32_t type) {
  Cell cell;
  cell.Set(CellKind::kBoolean, "left from before");
  SetCell(value, type, &cell);
  const char* kinds = "TNB-";
  return std::string(1, kinds[static_cast<int>(cell.kind)]) + " " + cell.text;
}

TEST(RecordsetCursor, NoValue) {
  EXPECT_EQ(Seen(Value(), 200), "- ");
  EXPECT_EQ(Seen(Value::Null(), 3), "- ");
}

TEST(RecordsetCursor, Numbers) {
  EXPECT_EQ(Seen(Value(std::int16_t{-7}), 2), "N -7");
  EXPECT_EQ(Seen(Value(2147483647), 3), "N 2147483647");
  EXPECT_EQ(Seen(Value(0.1), 5), "N 0.1");
  EXPECT_EQ(Seen(Value(static_cast<double>(0.1F)), 4), "N 0.1") << "a single has seven digits";
  EXPECT_EQ(Seen(Value(static_cast<double>(0.1F)), 5), "N 0.10000000149011612");
  EXPECT_EQ(Seen(Value(1e300 * 1e10), 5), "T inf") << "JSON has no such number";
  EXPECT_EQ(Seen(Value(Currency{-123450}), 6), "N -12.345");
  EXPECT_EQ(Seen(Value(Currency{10000}), 6), "N 1.00");
}

TEST(RecordsetCursor, NumbersThatComeAsText) {
  EXPECT_EQ(Seen(Value("9223372036854775807"), 20), "N 9223372036854775807");
  EXPECT_EQ(Seen(Value("-0.50"), 131), "N -0.50");
  EXPECT_EQ(Seen(Value("007"), 131), "T 007") << "JSON has no leading zeros";
  EXPECT_EQ(Seen(Value("NaN"), 131), "T NaN");
  EXPECT_EQ(Seen(Value("12"), 200), "T 12") << "text stays text";
}

TEST(RecordsetCursor, Moments) {
  EXPECT_EQ(Seen(Value(Date{45351}), 133), "T 2024-02-29");
  EXPECT_EQ(Seen(Value(Date{45351}), 135), "T 2024-02-29T00:00:00");
  EXPECT_EQ(Seen(Value(Date{45351 + 49510.0 / 86400}), 135), "T 2024-02-29T13:45:10");
  EXPECT_EQ(Seen(Value(Date{45351 + 49510.125 / 86400}), 7), "T 2024-02-29T13:45:10.125");
  EXPECT_EQ(Seen(Value(Date{45351 + 86399.9999 / 86400}), 135), "T 2024-03-01T00:00:00");
  EXPECT_EQ(Seen(Value(Date{49510.0 / 86400}), 134), "T 13:45:10");
  EXPECT_EQ(Seen(Value(Date{-1.25}), 135), "T 1899-12-29T06:00:00")
      << "before day 0 the fraction is added away from zero";
  EXPECT_EQ(Seen(Value(Date{-657434}), 133), "T 0100-01-01");
}

TEST(RecordsetCursor, BooleansAndBytes) {
  EXPECT_EQ(Seen(Value(true), 11), "B true");
  EXPECT_EQ(Seen(Value(false), 11), "B false");
  EXPECT_EQ(Seen(Value(Bytes{0x00, 0x7F, 0xFF}), 204), "T 007fff");
  EXPECT_THROW(Seen(Value(automation::TextArray{"a"}), 200), Failure);
}

TEST(RecordsetCursor, ShapesOfTypes) {
  const auto shape = [](std::int32_t type, std::int32_t size = 0, std::int32_t precision = 0,
                        std::int32_t scale = 0) {
    return DescribeShape(ShapeOfAdo(type, size, precision, scale));
  };
  EXPECT_EQ(ShapeOfAdo(3, 4, 10, 0), (FieldShape{'I', 4, 0}));
  EXPECT_EQ(ShapeOfAdo(5, 8, 15, 0), (FieldShape{'B', 8, 0}));
  EXPECT_EQ(ShapeOfAdo(6, 8, 19, 4), (FieldShape{'Y', 8, 0}));
  EXPECT_EQ(ShapeOfAdo(11, 2, 0, 0), (FieldShape{'L', 1, 0}));
  EXPECT_EQ(ShapeOfAdo(133, 6, 10, 0), (FieldShape{'D', 8, 0}));
  EXPECT_EQ(ShapeOfAdo(135, 16, 23, 3), (FieldShape{'T', 8, 0}));
  EXPECT_EQ(shape(131, 19, 12, 2), "N(14,2)");
  EXPECT_EQ(ShapeOfAdo(131, 19, 38, 10).length, 0U) << "no field of ours is so wide";
  EXPECT_EQ(shape(202, 60), "C(60)");
  EXPECT_EQ(ShapeOfAdo(202, 255, 0, 0).type, 'M');
  EXPECT_EQ(ShapeOfAdo(203, 2147483647, 0, 0).type, 'M');
  EXPECT_EQ(ShapeOfAdo(203, -1, -1, -1).type, 'M');
}

}  // namespace
}  // namespace pv::cli

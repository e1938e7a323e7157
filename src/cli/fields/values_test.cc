#include "cli/fields/values.h"

#include <gtest/gtest.h>

namespace pv::cli {
namespace {

TEST(ReadNumber, TakesPlainDecimalNumbers) {
  NumberShape shape;
  ASSERT_TRUE(ReadNumber("-12.50", '.', &shape));
  EXPECT_TRUE(shape.negative);
  EXPECT_EQ(shape.whole, 2U);
  EXPECT_EQ(shape.decimals, 2U);
  ASSERT_TRUE(ReadNumber("111,47", ',', &shape));
  EXPECT_EQ(shape.whole, 3U);
  ASSERT_TRUE(ReadNumber("0", '.', &shape));
  EXPECT_FALSE(shape.leading_zero);
  ASSERT_TRUE(ReadNumber("0.5", '.', &shape));
  EXPECT_FALSE(shape.leading_zero);
  ASSERT_TRUE(ReadNumber("007", '.', &shape));
  EXPECT_TRUE(shape.leading_zero);
}

TEST(ReadNumber, RefusesEverythingElse) {
  NumberShape shape;
  for (const char* text : {"", "-", "+5", "1e5", "1.", ".5", "1,5", "1.2.3", " 1", "1 ", "0x1",
                           "--1", "1-", "inf", "nan", "\xC2\xBD"}) {
    EXPECT_FALSE(ReadNumber(text, '.', &shape)) << text;
  }
}

TEST(ReadDateShape, KnowsInWhichOrdersTextIsADate) {
  EXPECT_EQ(ReadDateShape("2024-02-29").orders, kYmd);
  EXPECT_EQ(ReadDateShape("2023-02-29").orders, kNoOrder);
  EXPECT_EQ(ReadDateShape("31.12.2020").orders, kDmy);
  EXPECT_TRUE(ReadDateShape("31.12.2020").dotted);
  EXPECT_EQ(ReadDateShape("12/31/2020").orders, kMdy);
  EXPECT_EQ(ReadDateShape("1/2/2020").orders, static_cast<unsigned>(kDmy | kMdy));
  EXPECT_EQ(ReadDateShape("13/13/2020").orders, kNoOrder);
  EXPECT_TRUE(ReadDateShape("2024-02-29 13:45").has_time);
  EXPECT_TRUE(ReadDateShape("2024-02-29T13:45:59.000").has_time);
}

TEST(ReadDateShape, RefusesEverythingElse) {
  for (const char* text :
       {"", "2024-02", "24-02-29", "2024-02-29 ", "2024-02-29 25:00", "2024-02-29 1", "2024-02/29",
        "20240229", "2024-02-29T13:45Z", "2024-02-29T13:45+01:00", "0000-01-01", "1.2.20",
        "2024-00-10", "2024-02-29T13:45:59.5", "10:30", "192.168.100.1", "2024-02-29x"}) {
    EXPECT_EQ(ReadDateShape(text).orders, kNoOrder) << text;
  }
}

TEST(ReadMoment, ReadsInTheGivenOrderOnly) {
  EXPECT_EQ(ReadMoment("1/2/2020", kDmy)->date, (CivilDate{2020, 2, 1}));
  EXPECT_EQ(ReadMoment("1/2/2020", kMdy)->date, (CivilDate{2020, 1, 2}));
  EXPECT_FALSE(ReadMoment("1/2/2020", kYmd));
  EXPECT_FALSE(ReadMoment("2020-01-02", kDmy));
  EXPECT_FALSE(ReadMoment("31/12/2020", kMdy));
  const auto moment = ReadMoment("2024-02-29 13:45:07", kYmd);
  ASSERT_TRUE(moment);
  EXPECT_EQ(*moment, (CivilDateTime{{2024, 2, 29}, 13, 45, 7}));
  EXPECT_EQ(ReadMoment("2024-02-29 13:45", kYmd)->second, 0);
}

TEST(ReadBoolean, KnowsPairsOfWords) {
  for (const char* text : {"true", "TRUE", "Yes", "ja", "oui", "t", "1", "wahr"}) {
    EXPECT_EQ(ReadBoolean(text), true) << text;
  }
  for (const char* text : {"false", "No", "nein", "NON", "f", "n", "0", "nej"}) {
    EXPECT_EQ(ReadBoolean(text), false) << text;
  }
  for (const char* text : {"", "maybe", "2", "yess", "tru", "truefalse"}) {
    EXPECT_FALSE(ReadBoolean(text).has_value()) << text;
  }
}

TEST(ReadBooleanWords, AWordMayEndSeveralPairs) {
  const BooleanWords n = ReadBooleanWords("N");
  EXPECT_NE(n.false_of & ReadBooleanWords("y").true_of, 0U);
  EXPECT_NE(n.false_of & ReadBooleanWords("j").true_of, 0U);
  EXPECT_EQ(n.false_of & ReadBooleanWords("yes").true_of, 0U);
}

}  // namespace
}  // namespace pv::cli

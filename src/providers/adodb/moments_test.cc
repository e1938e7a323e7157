#include "providers/adodb/moments.h"

#include <gtest/gtest.h>

namespace pv::adodb {
namespace {

TEST(Moments, ThereAndBack) {
  for (const SQL_TIMESTAMP_STRUCT m : {SQL_TIMESTAMP_STRUCT{2024, 2, 29, 13, 45, 10, 0},
                                       SQL_TIMESTAMP_STRUCT{1899, 12, 30, 23, 59, 59, 0},
                                       SQL_TIMESTAMP_STRUCT{1850, 6, 1, 6, 0, 1, 500'000'000},
                                       SQL_TIMESTAMP_STRUCT{100, 1, 1, 0, 0, 0, 0},
                                       SQL_TIMESTAMP_STRUCT{9999, 12, 31, 23, 59, 59, 0},
                                       SQL_TIMESTAMP_STRUCT{2024, 1, 1, 0, 0, 0, 123'456'000}}) {
    const auto date = DateFromOdbc(m);
    ASSERT_TRUE(date.has_value());
    const auto back = OdbcFromDate(*date);
    ASSERT_TRUE(back.has_value());
    EXPECT_EQ(back->year, m.year);
    EXPECT_EQ(back->month, m.month);
    EXPECT_EQ(back->day, m.day);
    EXPECT_EQ(back->hour, m.hour);
    EXPECT_EQ(back->minute, m.minute);
    EXPECT_EQ(back->second, m.second);
    EXPECT_NEAR(back->fraction, m.fraction, m.fraction == 0 ? 0 : 1000);
  }
  EXPECT_EQ(DateFromOdbc({2024, 2, 29, 12, 0, 0, 0})->days, 45351.5);
  EXPECT_EQ(DateFromOdbc({1899, 12, 29, 6, 0, 0, 0})->days, -1.25);
}

TEST(Moments, WhatIsNoMomentIsNothing) {
  EXPECT_FALSE(DateFromOdbc({2023, 2, 29, 0, 0, 0, 0}));
  EXPECT_FALSE(DateFromOdbc({0, 0, 0, 0, 0, 0, 0}));
  EXPECT_FALSE(DateFromOdbc({99, 1, 1, 0, 0, 0, 0}));
  EXPECT_FALSE(DateFromOdbc({2024, 1, 1, 24, 0, 0, 0}));
  EXPECT_FALSE(OdbcFromDate({1e9}));
}

}  // namespace
}  // namespace pv::adodb

#include "base/date.h"

#include <gtest/gtest.h>

namespace pv {
namespace {

TEST(Date, JulianOfLeapDay2024) { EXPECT_EQ(JulianFromDate({2024, 2, 29}), 2460370); }

TEST(Date, EveryDayRoundTrips) {
  const std::int32_t first = JulianFromDate({1, 1, 1});
  const std::int32_t last = JulianFromDate({9999, 12, 31});
  EXPECT_EQ(last - first, 3652058);
  for (std::int32_t j = first; j <= last; ++j) {
    const auto d = DateFromJulian(j);
    ASSERT_TRUE(d && IsValidDate(*d)) << j;
    ASSERT_EQ(JulianFromDate(*d), j);
  }
  EXPECT_FALSE(DateFromJulian(first - 1));
  EXPECT_FALSE(DateFromJulian(last + 1));
}

TEST(Date, DigitsMustBeARealDate) {
  EXPECT_EQ(ParseDigits("20240229"), (CivilDate{2024, 2, 29}));
  EXPECT_FALSE(ParseDigits("20230229"));
  EXPECT_FALSE(ParseDigits("        "));
  EXPECT_FALSE(ParseDigits("2024022"));
  EXPECT_FALSE(ParseDigits("2024-229"));
  EXPECT_EQ(FormatDigits({7, 1, 2}), "00070102");
}

TEST(Date, AutomationDates) {
  EXPECT_DOUBLE_EQ(AutomationFromDateTime({{1899, 12, 30}, 0, 0, 0}), 0.0);
  EXPECT_DOUBLE_EQ(AutomationFromDateTime({{1899, 12, 29}, 6, 0, 0}), -1.25);
  EXPECT_EQ(DateTimeFromAutomation(-1.25), (CivilDateTime{{1899, 12, 29}, 6, 0, 0}));
  EXPECT_EQ(DateTimeFromAutomation(45351.5), (CivilDateTime{{2024, 2, 29}, 12, 0, 0}));
  // Half a second before midnight rounds into the next day.
  EXPECT_EQ(DateTimeFromAutomation(45351.9999999), (CivilDateTime{{2024, 3, 1}, 0, 0, 0}));
  EXPECT_FALSE(DateTimeFromAutomation(3e6));
}

}  // namespace
}  // namespace pv

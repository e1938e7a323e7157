#include "automation/number_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "automation/sample_class_test.h"
#include "base/date.h"

namespace pv::automation {
namespace {

TEST(NumberText, ShortestFormThatReadsBack) {
  const std::pair<double, const char*> cases[] = {{0, "0"},
                                                  {-0.0, "0"},
                                                  {1, "1"},
                                                  {-12.5, "-12.5"},
                                                  {0.1, "0.1"},
                                                  {0.0001, "0.0001"},
                                                  {1e14, "100000000000000"},
                                                  {1e15, "1E+15"},
                                                  {1e20, "1E+20"},
                                                  {1.5e300, "1.5E+300"},
                                                  {1e-20, "1E-20"},
                                                  {123456.789, "123456.789"},
                                                  {1.0 / 3, "0.3333333333333333"},
                                                  {0.00001, "0.00001"},
                                                  {99999.99, "99999.99"}};
  for (const auto& [value, text] : cases) EXPECT_EQ(TextFromDouble(value), text);
}

TEST(NumberText, EveryDoubleReadsBackTheSame) {
  std::mt19937_64 random(20241121);
  for (int i = 0; i < 20'000; ++i) {
    double v = 0;
    const std::uint64_t bits = random();
    std::memcpy(&v, &bits, sizeof v);
    if (!std::isfinite(v)) continue;
    double back = 1;
    ASSERT_EQ(DoubleFromText(TextFromDouble(v), &back), ReadNumber::kOk) << TextFromDouble(v);
    ASSERT_EQ(back, v) << TextFromDouble(v);
  }
}

TEST(NumberText, ReadsNumbers) {
  const std::pair<const char*, double> cases[] = {
      {" 12 ", 12},   {"+1.5", 1.5}, {"-.5", -0.5}, {"5.", 5},          {"1E3", 1000},
      {"1d-2", 0.01}, {"&H1F", 31},  {"&o17", 15},  {"&HFFFFFFFF", -1}, {"1e-999", 0}};
  for (const auto& [text, value] : cases) {
    double v = -99;
    EXPECT_EQ(DoubleFromText(text, &v), ReadNumber::kOk) << text;
    EXPECT_EQ(v, value) << text;
  }
}

TEST(NumberText, RefusesWhatIsNoNumber) {
  for (const char* text : {"", " ", "abc", "1.2.3", "1e", "--1", "+", ".", "nan", "inf", "0x10",
                           "&H", "&Hxyz", "1,5", "12a"}) {
    double v = 0;
    std::int64_t units = 0;
    EXPECT_EQ(DoubleFromText(text, &v), ReadNumber::kNoNumber) << text;
    EXPECT_EQ(CurrencyFromText(text, &units), ReadNumber::kNoNumber) << text;
  }
  double v = 0;
  EXPECT_EQ(DoubleFromText("1e999", &v), ReadNumber::kTooLarge);
}

TEST(NumberText, CurrencyIsExact) {
  const std::pair<const char*, std::int64_t> cases[] = {
      {"922337203685477.5807", std::numeric_limits<std::int64_t>::max()},
      {"-922337203685477.5808", std::numeric_limits<std::int64_t>::min()},
      {"0.1", 1000},
      {"-12.3456", -123456},
      {"1.00005", 10000},
      {"1.00015", 10002},
      {"1.000051", 10001},
      {"1e2", 1000000},
      {"0.00005", 0},
      {"0.00015", 2},
      {"1E-4", 1},
      {"0.000001", 0},
      {"&H10", 160000},
      {"0e999", 0}};
  for (const auto& [text, units] : cases) {
    std::int64_t got = -99;
    EXPECT_EQ(CurrencyFromText(text, &got), ReadNumber::kOk) << text;
    EXPECT_EQ(got, units) << text;
  }
  std::int64_t got = 0;
  EXPECT_EQ(CurrencyFromText("922337203685477.5808", &got), ReadNumber::kTooLarge);
  EXPECT_EQ(CurrencyFromText("1e99999999999", &got), ReadNumber::kTooLarge);
}

TEST(NumberText, CurrencyAsText) {
  EXPECT_EQ(TextFromCurrency(0), "0");
  EXPECT_EQ(TextFromCurrency(125000), "12.5");
  EXPECT_EQ(TextFromCurrency(-1), "-0.0001");
  EXPECT_EQ(TextFromCurrency(std::numeric_limits<std::int64_t>::min()), "-922337203685477.5808");
}

TEST(DateText, PatternsOfTheComponent) {
  const Date moment{AutomationFromDateTime({{2024, 2, 9}, 7, 5, 3})};
  EXPECT_EQ(FormatDate(moment, "yyyymmdd"), "20240209");
  EXPECT_EQ(FormatDate(moment, "yyyymmddhh:mm:ss"), "2024020907:05:03");
  EXPECT_EQ(FormatDate(moment, "dd mmm yyyy hh:mm:ss"), "09 Feb 2024 07:05:03");
  EXPECT_EQ(FormatDate(moment, "yy/mm"), "24/02");
  EXPECT_EQ(ErrorFrom([] { FormatDate(Date{1e9}, "yyyy"); }).number(), 5);
}

TEST(DateText, ReadsDatesAndTimes) {
  const auto days = [](CivilDateTime m) { return AutomationFromDateTime(m); };
  const std::pair<const char*, double> cases[] = {
      {"2024-02-29", days({{2024, 2, 29}, 0, 0, 0})},
      {" 2024/2/9 ", days({{2024, 2, 9}, 0, 0, 0})},
      {"2024-02-29 13:45", days({{2024, 2, 29}, 13, 45, 0})},
      {"2024-02-29T13:45:10", days({{2024, 2, 29}, 13, 45, 10})},
      {"6:00", 0.25}};
  for (const auto& [text, value] : cases) {
    Date d;
    EXPECT_TRUE(ParseDate(text, &d)) << text;
    EXPECT_DOUBLE_EQ(d.days, value) << text;
  }
}

TEST(DateText, RefusesWhatIsNoDate) {
  for (const char* text : {"", "2023-02-29", "2024-13-01", "24-01-01", "2024-01", "2024-01-01x",
                           "25:00", "12:60", "2024-01/01", "0001-01-01", "20240229"}) {
    Date d;
    EXPECT_FALSE(ParseDate(text, &d)) << text;
  }
}

}  // namespace
}  // namespace pv::automation

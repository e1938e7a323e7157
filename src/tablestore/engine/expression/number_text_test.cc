#include "tablestore/engine/expression/number_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>

namespace pv::engine::expr {
namespace {

std::string Format(double value, std::size_t size, int decimals) {
  std::string out(size, '?');
  FormatNumber(value, decimals, out.data(), size);
  return out;
}

TEST(ParseLeadingNumberTest, ReadsWhatStandsFirst) {
  const struct {
    const char* text;
    double value;
  } cases[] = {
      {"", 0},
      {"   ", 0},
      {"***", 0},
      {"12", 12},
      {"   12", 12},
      {"-12.5", -12.5},
      {"+7", 7},
      {".5", 0.5},
      {"-.5", -0.5},
      {"5.", 5},
      {"12abc", 12},
      {"abc12", 0},
      {"1,234", 1},
      {"1.2.3", 1.2},
      {"- 5", 0},
      {"--5", 0},
      {"1e3", 1000},
      {"1.5E-2", 0.015},
      {"1e", 1},
      {"1e+", 1},
      {"0x10", 0},
      {"inf", 0},
      {"nan", 0},
      {"99999.99", 99999.99},
      {"0000000000000000000000000012", 12},
      {"123456789012345678901234567890", 123456789012345678901234567890.0},
      {"0.00000000000000000000000001234", 0.00000000000000000000000001234},
      {"9007199254740993", 9007199254740992.0},
      {"1e-400", 0},
      {"0.000e999", 0},
  };
  for (const auto& c : cases) EXPECT_EQ(ParseLeadingNumber(c.text), c.value) << c.text;
}

TEST(ParseLeadingNumberTest, IsInfiniteBeyondTheDoubles) {
  EXPECT_TRUE(std::isinf(ParseLeadingNumber("1e400")));
  EXPECT_TRUE(std::isinf(ParseLeadingNumber("-1e400")));
  EXPECT_TRUE(std::isinf(ParseLeadingNumber(std::string(400, '9'))));
  EXPECT_EQ(ParseLeadingNumber("0." + std::string(400, '0') + "1"), 0);
  EXPECT_TRUE(std::isinf(ParseLeadingNumber("1e99999999999999999999")));
}

TEST(ParseLeadingNumberTest, AgreesWithTheStandardLibrary) {
  std::mt19937_64 bits(1);
  const auto random = [&bits] { return static_cast<std::size_t>(bits() & 0x7FFFFFFF); };
  for (int n = 0; n < 50'000; ++n) {
    std::string text(random() % 3, ' ');
    if (random() % 3 == 0) text += '-';
    for (std::size_t i = random() % 20; i-- > 0;) text += static_cast<char>('0' + random() % 10);
    text += '.';
    for (std::size_t i = 1 + random() % 12; i-- > 0;) {
      text += static_cast<char>('0' + random() % 10);
    }
    ASSERT_EQ(ParseLeadingNumber(text), std::strtod(text.c_str(), nullptr)) << text;
  }
}

TEST(ParseWholeNumberTest, TakesPlainNumbersOnly) {
  EXPECT_EQ(ParseWholeNumber("12"), 12.0);
  EXPECT_EQ(ParseWholeNumber("  -12.50  "), -12.5);
  EXPECT_EQ(ParseWholeNumber("+.5"), 0.5);
  EXPECT_EQ(ParseWholeNumber("5."), 5.0);
  for (const char* bad :
       {"", " ", "-", ".", "1e3", "1 2", "12x", "--1", "1.2.3", "0x1", "1,5", "inf", "nan"}) {
    EXPECT_FALSE(ParseWholeNumber(bad)) << bad;
  }
  EXPECT_FALSE(ParseWholeNumber(std::string(400, '9')));
}

TEST(ParseWholeScaledTest, CountsExactly) {
  EXPECT_EQ(ParseWholeScaled("12.5", 4), 125000);
  EXPECT_EQ(ParseWholeScaled("-0.0001", 4), -1);
  EXPECT_EQ(ParseWholeScaled("1.00010", 4), 10001);
  EXPECT_FALSE(ParseWholeScaled("1.00011", 4));
  EXPECT_EQ(ParseWholeScaled("7.000", 0), 7);
  EXPECT_FALSE(ParseWholeScaled("7.5", 0));
  EXPECT_EQ(ParseWholeScaled("922337203685477.5807", 4), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(ParseWholeScaled("-922337203685477.5808", 4), std::numeric_limits<std::int64_t>::min());
  EXPECT_FALSE(ParseWholeScaled("922337203685477.5808", 4));
  EXPECT_FALSE(ParseWholeScaled("-922337203685477.5809", 4));
  EXPECT_FALSE(ParseWholeScaled("99999999999999999999", 0));
}

TEST(FormatNumberTest, JustifiesRoundsAndOverflows) {
  const struct {
    double value;
    std::size_t size;
    int decimals;
    const char* text;
  } cases[] = {
      {0, 5, 0, "    0"},
      {42, 5, 0, "   42"},
      {-42, 5, 0, "  -42"},
      {123456, 5, 0, "*****"},
      {-12345, 5, 0, "*****"},
      {12345, 5, 0, "12345"},
      {0.5, 5, 0, "    1"},
      {1.5, 5, 0, "    2"},
      {2.5, 5, 0, "    3"},
      {-2.5, 5, 0, "   -3"},
      {-0.4, 5, 0, "    0"},
      {-0.004, 6, 2, "  0.00"},
      {1.005, 6, 2, "  1.01"},
      {99.995, 8, 2, "  100.00"},
      {9.5, 2, 0, "10"},
      {99.5, 2, 0, "**"},
      {12.345, 8, 2, "   12.35"},
      {0.05, 6, 1, "   0.1"},
      {0.04, 6, 1, "   0.0"},
      {0.012, 7, 3, "  0.012"},
      {100, 7, 2, " 100.00"},
      // Decimals give way before digits do.
      {1234.567, 6, 2, "1234.6"},
      {1234.567, 5, 2, " 1235"},
      {1234.567, 4, 2, "1235"},
      {1234.567, 3, 2, "***"},
      {999.96, 5, 2, "1000"},
      {-999.96, 6, 2, "-1000"},
      {-0.004, 5, 3, " 0.00"},
      {-0.004, 4, 3, "0.00"},
      {-0.004, 3, 3, "0.0"},
      {-0.6, 2, 1, "-1"},
      {1e15, 20, 0, "    1000000000000000"},
      {1e22, 26, 1, " 10000000000000000000000.0"},
      {1e300, 20, 0, "********************"},
      {5e-324, 10, 4, "    0.0000"},
      {7, 0, 0, ""},
  };
  for (const auto& c : cases) {
    std::string expected = c.text;
    if (expected.size() < c.size) expected.insert(0, c.size - expected.size(), ' ');
    EXPECT_EQ(Format(c.value, c.size, c.decimals), expected.substr(expected.size() - c.size))
        << c.value << " " << c.size << " " << c.decimals;
  }
}

TEST(RoundDecimalsTest, HalvesGoAwayFromZero) {
  const struct {
    double value;
    int decimals;
    double rounded;
  } cases[] = {
      {0, 2, 0},
      {1.005, 2, 1.01},
      {-1.005, 2, -1.01},
      {2.5, 0, 3},
      {-2.5, 0, -3},
      {2.4999, 0, 2},
      {1234.5, -2, 1200},
      {1250, -2, 1300},
      {49, -2, 0},
      {50, -2, 100},
      {-50, -2, -100},
      {9.99, 1, 10},
      {123.456, 9, 123.456},
      {123.456, 400, 123.456},
      {123.456, -400, 0},
      {1.15 * 100, 0, 115},
      {0.05, 1, 0.1},
      {0.04, 1, 0},
      {1e300, 2, 1e300},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(RoundDecimals(c.value, c.decimals), c.rounded) << c.value << " " << c.decimals;
  }
  EXPECT_TRUE(std::isinf(RoundDecimals(1.7e308, -308)));
}

}  // namespace
}  // namespace pv::engine::expr

#include "tablestore/engine/data/field_codec.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

#include "base/bytes.h"

namespace pv::engine {
namespace {

class Cell {
 public:
  Cell(char letter, std::uint16_t length, std::uint8_t decimals = 0) {
    layout_.type = static_cast<FieldLetter>(letter);
    layout_.length = length;
    layout_.decimals = decimals;
    bytes_.resize(length);
    EncodeBlank(layout_, bytes_.data());
  }
  const FieldLayout& layout() const { return layout_; }
  std::uint8_t* p() { return bytes_.data(); }
  std::string text() const { return {bytes_.begin(), bytes_.end()}; }
  bool Text(std::string_view t) { return EncodeText(layout_, t, *CodePage::Windows1252(), p()); }

 private:
  FieldLayout layout_;
  std::vector<std::uint8_t> bytes_;
};

TEST(FieldCodec, NumbersAreRightJustifiedAndRounded) {
  Cell n('N', 10, 2);
  const auto put = [&](double v) {
    EXPECT_TRUE(EncodeDouble(n.layout(), v, n.p())) << v;
    return n.text();
  };
  EXPECT_EQ(put(0), "      0.00");
  EXPECT_EQ(put(-12.5), "    -12.50");
  EXPECT_EQ(put(2.675), "      2.68");  // as people round, not as its nearest double does
  EXPECT_EQ(put(-2.675), "     -2.68");
  EXPECT_EQ(put(99.999), "    100.00");
  EXPECT_EQ(put(9.995), "     10.00");
  EXPECT_EQ(put(0.004), "      0.00");
  EXPECT_EQ(put(-0.004), "      0.00");  // no minus zero
  EXPECT_EQ(put(1e-30), "      0.00");
  EXPECT_EQ(put(9999999.99), "9999999.99");
  EXPECT_FALSE(EncodeDouble(n.layout(), 99999999.99, n.p()));
  EXPECT_FALSE(EncodeDouble(n.layout(), -9999999.99, n.p()));
  EXPECT_FALSE(EncodeDouble(n.layout(), std::nan(""), n.p()));
  EXPECT_FALSE(EncodeDouble(n.layout(), 1e300, n.p()));
  EXPECT_EQ(n.text(), "9999999.99");  // a refused value leaves the field as it was
  Cell whole('N', 3);
  EXPECT_TRUE(EncodeDouble(whole.layout(), 99.5, whole.p()));
  EXPECT_EQ(whole.text(), "100");
  EXPECT_FALSE(EncodeDouble(whole.layout(), 999.5, whole.p()));
}

// Whole units of the last decimal take a way of their own, from a double and from text.
TEST(FieldCodec, NumbersAreWrittenAlikeFromDoublesAndFromText) {
  std::uint64_t random = 1;
  for (int i = 0; i < 50'000; ++i) {
    random = random * 6364136223846793005U + 1442695040888963407U;
    const auto decimals = static_cast<std::uint8_t>(random >> 32 & 7);
    const std::uint64_t units = (random >> 8) % 1'000'000'000'000'000U >> (random >> 40 & 31);
    const bool minus = (random >> 60 & 1) != 0;
    std::string digits = std::to_string(units);
    while (digits.size() <= decimals) digits.insert(0, 1, '0');
    if (decimals > 0) digits.insert(digits.size() - decimals, 1, '.');
    if (minus && units != 0) digits.insert(0, 1, '-');
    Cell from_text('N', 18, decimals);
    Cell from_double('N', 18, decimals);
    const std::string want = std::string(18 - digits.size(), ' ') + digits;
    EXPECT_TRUE(from_text.Text(minus ? " " + digits : "00" + digits));
    EXPECT_EQ(from_text.text(), want);
    EXPECT_TRUE(EncodeDouble(from_double.layout(), std::stod(digits), from_double.p()));
    EXPECT_EQ(from_double.text(), want);
    Cell narrow('N', static_cast<std::uint16_t>(digits.size()), decimals);
    EXPECT_TRUE(narrow.Text(digits) &&
                EncodeDouble(narrow.layout(), std::stod(digits), narrow.p()));
    EXPECT_EQ(narrow.text(), digits);
    if (digits.size() < 2) continue;
    Cell too_narrow('N', static_cast<std::uint16_t>(digits.size() - 1), decimals);
    EXPECT_FALSE(too_narrow.Text(digits));
    EXPECT_FALSE(EncodeDouble(too_narrow.layout(), std::stod(digits), too_narrow.p()));
  }
  Cell n('N', 10, 2);
  const auto put = [&](std::string_view text) { return n.Text(text) ? n.text() : "refused"; };
  EXPECT_EQ(put("7"), "      7.00");
  EXPECT_EQ(put("-007.5"), "     -7.50");
  EXPECT_EQ(put("-0.00"), "      0.00");
  EXPECT_EQ(put("1.005"), "      1.01");
  EXPECT_EQ(put(".5"), "      0.50");
  EXPECT_EQ(put("5."), "      5.00");
  EXPECT_EQ(put("+3"), "      3.00");
  EXPECT_EQ(put("1e2"), "    100.00");
  EXPECT_EQ(put("12345678"), "refused");
  for (const char* bad : {"-", ".", "1.2.3", "1..2", "--1", "1-2", "1 2", "-.", "12a"}) {
    EXPECT_EQ(put(bad), "refused") << bad;
  }
}

TEST(FieldCodec, DecimalTextOfEveryShapeIsRead) {
  const auto read = [](std::string text) {
    return DecodeNumber(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
  };
  EXPECT_EQ(read("      12.50"), 12.5);
  EXPECT_EQ(read("-3        "), -3);
  EXPECT_EQ(read("+7"), 7);
  EXPECT_EQ(read("          "), 0);
  EXPECT_EQ(read("**********"), 0);
  EXPECT_EQ(read(".5"), 0.5);
}

TEST(FieldCodec, CurrencyIsExact) {
  EXPECT_EQ(ParseCurrency("922337203685477.5807"), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(ParseCurrency("-922337203685477.5808"), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(ParseCurrency("922337203685477.5808"), std::nullopt);
  EXPECT_EQ(ParseCurrency("0.00005"), 1);
  EXPECT_EQ(ParseCurrency("-0.00005"), -1);
  EXPECT_EQ(ParseCurrency("0.00004999"), 0);
  EXPECT_EQ(ParseCurrency("12"), 120000);
  EXPECT_EQ(ParseCurrency("1.2.3"), std::nullopt);
  EXPECT_EQ(ParseCurrency("12e3"), std::nullopt);
  EXPECT_EQ(ParseCurrency("-"), std::nullopt);
  EXPECT_EQ(ParseCurrency(""), std::nullopt);
  Cell y('Y', 8);
  EXPECT_TRUE(y.Text("1234567.8901"));
  EXPECT_EQ(FieldAsCurrency(y.layout(), y.p()), 12345678901);
}

TEST(FieldCodec, DatesAndTimes) {
  Cell d('D', 8);
  EXPECT_EQ(d.text(), "        ");
  EXPECT_EQ(FieldAsLong(d.layout(), d.p()), 0);
  EXPECT_TRUE(EncodeLong(d.layout(), 2460370, d.p()));
  EXPECT_EQ(d.text(), "20240229");
  EXPECT_EQ(FieldAsLong(d.layout(), d.p()), 2460370);
  EXPECT_FALSE(EncodeLong(d.layout(), 5, d.p()));
  EXPECT_TRUE(EncodeLong(d.layout(), 0, d.p()));
  EXPECT_EQ(d.text(), "        ");

  Cell t('T', 8);
  EXPECT_EQ(FieldAsDateTime(t.layout(), t.p()), std::string(16, ' '));
  EXPECT_TRUE(EncodeDateTime(t.layout(), "2024022913:45:06", t.p()));
  EXPECT_EQ(FieldAsDateTime(t.layout(), t.p()), "2024022913:45:06");
  EXPECT_FALSE(EncodeDateTime(t.layout(), "2024022924:00:00", t.p()));
  EXPECT_FALSE(EncodeDateTime(t.layout(), "2024-02-29", t.p()));
}

TEST(FieldCodec, TimesAreRoundedToTheNearestSecond) {
  Cell t('T', 8);
  StoreLe32(t.p(), 2460370);
  StoreLe32(t.p() + 4, 48'938'999);  // 13:35:38.999, as real tables have it
  EXPECT_EQ(FieldAsDateTime(t.layout(), t.p()), "2024022913:35:39");
  StoreLe32(t.p() + 4, 86'399'999);
  EXPECT_EQ(FieldAsDateTime(t.layout(), t.p()), "2024030100:00:00");
  StoreLe32(t.p() + 4, 0x80000000);  // nonsense reads as empty
  EXPECT_EQ(FieldAsDateTime(t.layout(), t.p()), std::string(16, ' '));
}

TEST(FieldCodec, TextIsCutOrPadded) {
  Cell c('C', 5);
  EXPECT_TRUE(c.Text("abcdefg"));
  EXPECT_EQ(c.text(), "abcde");
  EXPECT_TRUE(c.Text("x"));
  EXPECT_EQ(c.text(), "x    ");
}

TEST(FieldCodec, UnicodeIsCutBetweenCharacters) {
  Cell w('W', 6);
  EXPECT_TRUE(EncodeUtf16(w.layout(), u"ab\xD83D\xDE00", *CodePage::Windows1252(), w.p()));
  EXPECT_EQ(w.text(), std::string("a\0b\0\0\0", 6));  // half a pair would be no character
  EXPECT_TRUE(w.Text("\x80\xE4"));                    // from the code page
  EXPECT_EQ(w.text(), std::string("\xAC\x20\xE4\0\0\0", 6));
}

TEST(FieldCodec, MemoBlocksInBothForms) {
  Cell visual('M', 4);
  EncodeMemoBlock(visual.layout(), 0x01020304, visual.p());
  EXPECT_EQ(visual.text(), "\x04\x03\x02\x01");
  EXPECT_EQ(DecodeMemoBlock(visual.layout(), visual.p()), 0x01020304U);
  Cell digits('M', 10);
  EXPECT_EQ(DecodeMemoBlock(digits.layout(), digits.p()), 0U);
  EncodeMemoBlock(digits.layout(), 42, digits.p());
  EXPECT_EQ(digits.text(), "        42");
  EXPECT_EQ(DecodeMemoBlock(digits.layout(), digits.p()), 42U);
  digits.p()[9] = 'x';
  EXPECT_EQ(DecodeMemoBlock(digits.layout(), digits.p()), std::nullopt);
}

TEST(FieldCodec, IntegersAndLogicals) {
  Cell i('I', 4);
  EXPECT_TRUE(EncodeDouble(i.layout(), -2147483648.0, i.p()));
  EXPECT_EQ(FieldAsLong(i.layout(), i.p()), std::numeric_limits<std::int32_t>::min());
  EXPECT_FALSE(EncodeDouble(i.layout(), 2147483648.0, i.p()));
  Cell l('L', 1);
  for (const char* yes : {"T", "t", "Y", "y"}) {
    EXPECT_TRUE(l.Text(yes));
    EXPECT_TRUE(FieldAsTrue(l.layout(), l.p()));
  }
  for (const char* no : {"F", "f", "N", "n", "?", " "}) {
    EXPECT_TRUE(l.Text(no));
    EXPECT_FALSE(FieldAsTrue(l.layout(), l.p()));
  }
  EXPECT_FALSE(l.Text("maybe"));
}

TEST(FieldCodec, DoublesKeepTheirBits) {
  Cell b('B', 8, 3);
  for (const double v : {0.1, -1e300, 5e-324, 123456.789}) {
    EXPECT_TRUE(EncodeDouble(b.layout(), v, b.p()));
    EXPECT_EQ(FieldAsDouble(b.layout(), b.p()), v);
  }
  EXPECT_TRUE(b.Text(" 12.25 "));
  EXPECT_EQ(FieldAsDouble(b.layout(), b.p()), 12.25);
  EXPECT_FALSE(b.Text("twelve"));
}

}  // namespace
}  // namespace pv::engine

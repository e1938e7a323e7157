#include "base/text.h"

#include <gtest/gtest.h>

namespace pv {
namespace {

TEST(Text, EveryCharacterRoundTripsThroughUtf16) {
  for (char32_t c = 1; c <= 0x10FFFF; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    std::string utf8;
    AppendUtf8(&utf8, c);
    std::size_t pos = 0;
    ASSERT_EQ(DecodeUtf8(utf8, &pos), c);
    ASSERT_EQ(pos, utf8.size());
    if (c % 97 == 0) {
      ASSERT_EQ(Utf8FromUtf16(Utf16FromUtf8(utf8)), utf8);
    }
  }
}

TEST(Text, MalformedBytesAreReplacedOneByOne) {
  EXPECT_FALSE(IsValidUtf8("a\xC3"));
  EXPECT_FALSE(IsValidUtf8("\xC0\x80"));      // overlong
  EXPECT_FALSE(IsValidUtf8("\xED\xA0\x80"));  // surrogate
  EXPECT_TRUE(IsValidUtf8("\xEF\xBF\xBD"));   // a real U+FFFD
  EXPECT_EQ(Utf16FromUtf8("a\xFF\x62"), u"a\xFFFD\x62");
}

TEST(Text, LengthCountsUtf16Units) { EXPECT_EQ(Utf16Length("a\xF0\x9F\x98\x80z"), 4U); }

TEST(Text, CaseMapsPairsBothWays) {
  EXPECT_EQ(ToUpper("semmelknödel žluťoučký αθηνά дмитрий"),
            "SEMMELKNÖDEL ŽLUŤOUČKÝ ΑΘΗΝΆ ДМИТРИЙ");
  EXPECT_EQ(ToLower("ŽLUŤOUČKÝ Ÿ"), "žluťoučký ÿ");
  EXPECT_EQ(ToUpper(U'×'), U'×');
  EXPECT_EQ(ToUpper(U'÷'), U'÷');
  EXPECT_EQ(ToUpper(U'ß'), U'ß');
  for (char32_t c = 0; c < 0x10000; ++c) {
    const char32_t lower = ToLower(c);
    if (lower != c) {
      EXPECT_EQ(ToUpper(lower), c) << std::hex << static_cast<unsigned>(c);
    }
  }
}

TEST(Text, EqualsIgnoreCase) {
  EXPECT_TRUE(EqualsIgnoreCase("Straße É", "STRAßE é"));
  EXPECT_FALSE(EqualsIgnoreCase("a", "ab"));
  EXPECT_FALSE(EqualsIgnoreCase("é", "e"));
}

TEST(Text, ProperCase) {
  EXPECT_EQ(ProperCase("EMAIL"), "Email");
  EXPECT_EQ(ProperCase("first name_of o'brien"), "First Name_Of O'brien");
  EXPECT_EQ(ProperCase("ÉCOLE"), "École");
}

TEST(Text, TrimsBlanksOnly) {
  EXPECT_EQ(TrimBlanks("  a b\t "), "a b\t");
  EXPECT_EQ(TrimRight("  a "), "  a");
  EXPECT_EQ(TrimBlanks("   "), "");
}

}  // namespace
}  // namespace pv

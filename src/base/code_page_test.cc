#include "base/code_page.h"

#include <gtest/gtest.h>

namespace pv {
namespace {

TEST(CodePage, EveryByteOf1252RoundTrips) {
  const auto page = CodePage::Windows1252();
  for (int b = 0; b < 256; ++b) {
    const std::string byte(1, static_cast<char>(b));
    bool lossy = false;
    EXPECT_EQ(page->Encode(page->Decode(byte), &lossy), byte) << b;
    EXPECT_FALSE(lossy);
  }
}

TEST(CodePage, MissingCharactersBecomeQuestionMarksAndAreReported) {
  const auto page = CodePage::Windows1252();
  bool lossy = false;
  EXPECT_EQ(page->Encode("Nguyễn €", &lossy), "Nguy?n \x80");
  EXPECT_TRUE(lossy);
  EXPECT_FALSE(page->CanEncode("Nguyễn"));
  EXPECT_TRUE(page->CanEncode("Zwölf – €"));
}

TEST(CodePage, CaseStaysInsideThePage) {
  std::string text =
      "Semmelkn\xF6"
      "del \xFF \xDF";
  CodePage::Windows1252()->UpperBytes(text.data(), text.size());
  EXPECT_EQ(text,
            "SEMMELKN\xD6"
            "DEL \x9F \xDF");
}

TEST(CodePage, ACharacterOfTwoPairsIsEncodedAsTheLowerOne) {
  std::array<char32_t, 256> single;
  for (std::size_t b = 0; b < 256; ++b) {
    single[b] = b < 0x80 ? static_cast<char32_t>(b) : CodePage::kLeadByte;
  }
  // U+7E8A stands in 932 at both; the first is for decoding only. U+4E00 stands at two others.
  const CodePage page(932, single,
                      {{0xED40, 0x7E8A}, {0xFA5C, 0x7E8A}, {0x9140, 0x4E00}, {0x88EA, 0x4E00}});
  EXPECT_EQ(page.Encode("\u7E8A"), "\xFA\x5C");
  EXPECT_EQ(page.Encode("\u4E00"), "\x88\xEA");
  EXPECT_EQ(page.Decode("\xED\x40\x91\x40"), "\u7E8A\u4E00");
}

TEST(CodePage, MarksRoundTrip) {
  EXPECT_EQ(MarkFromCodePage(1252), 0x03);
  EXPECT_EQ(CodePageFromMark(0xC9), 1251);
  EXPECT_EQ(CodePageFromMark(0x57), 0);
  EXPECT_EQ(MarkFromCodePage(12345), 0);
}

}  // namespace
}  // namespace pv

// The code pages that the operating system gives.
#include <gtest/gtest.h>

#include "base/text.h"
#include "platform/system.h"

namespace pv::platform {
namespace {

std::shared_ptr<const CodePage> Load(int number) {
  const auto page = OperatingSystem().code_pages->Load(number);
  EXPECT_TRUE(page.ok()) << page.status().message();
  return page.ok() ? *page : CodePage::Windows1252();
}

constexpr int kSingleByte[] = {437,  737,  850,  852,  857,  861,  865,  866, 874,
                               1250, 1251, 1252, 1253, 1254, 1255, 1256, 1257};
constexpr int kDoubleByte[] = {932, 936, 949, 950};

TEST(CodePages, UnknownNumbersAreRefused) {
  for (const int number : {0, -1, 1, 1259, 12000, 65001, 99999}) {
    EXPECT_EQ(OperatingSystem().code_pages->Load(number).status().code(), StatusCode::kUnsupported)
        << number;
  }
}

TEST(CodePages, LoadedPagesAreKept) {
  EXPECT_EQ(Load(1250), Load(1250));
  EXPECT_EQ(Load(1252), CodePage::Windows1252());
  EXPECT_EQ(Load(866)->number(), 866);
}

#ifndef _WIN32  // where which of them there are is up to the system
TEST(CodePages, PagesThatOtherProgramsFilesName) {
  EXPECT_EQ(Load(10000)->Decode("Ren\x8E"), "René");
  EXPECT_EQ(Load(20866)->Decode("\xC4\xC1"), "да");
  EXPECT_EQ(Load(21866)->Decode("\xA4"), "є");
  EXPECT_EQ(Load(28592)->Decode("\xB1"), "ą");
  EXPECT_EQ(Load(28605)->Decode("\xA4"), "€");
}
#endif

TEST(CodePages, EveryByteOfTheAnsiPagesSurvivesARoundTrip) {
  for (const int number : kSingleByte) {
    const auto page = Load(number);
    EXPECT_FALSE(page->is_double_byte()) << number;
    for (int b = 0; b < 256; ++b) {
      const std::string byte(1, static_cast<char>(b));
      bool lossy = false;
      EXPECT_EQ(page->Encode(page->Decode(byte), &lossy), byte) << number << " " << b;
      EXPECT_FALSE(lossy) << number << " " << b;
      EXPECT_TRUE(b >= 0x80 || page->Decode(byte) == byte) << number << " " << b;
    }
  }
}

TEST(CodePages, KnownCharacters) {
  EXPECT_EQ(Load(437)->Decode("\x80\x9B\xB0\xE1\xFF"), "Ç¢░ß\u00A0");
  EXPECT_EQ(Load(850)->Decode("\xD5\x9B\xFF"), "ıø\u00A0");
  EXPECT_EQ(Load(852)->Decode("\xA4\xFD"), "Ąř");
  EXPECT_EQ(Load(866)->Decode("\x80\xEF\xF0"), "АяЁ");
  EXPECT_EQ(Load(737)->Decode("\x80\xE0"), "Αω");
  EXPECT_EQ(Load(857)->Decode("\x8D\x98\xA7"), "ıİğ");
  EXPECT_EQ(Load(861)->Decode("\x8B\x8D"), "ÐÞ");
  EXPECT_EQ(Load(865)->Decode("\x9B\x9D\xAF"), "øØ¤");
  EXPECT_EQ(Load(874)->Decode("\x80\xA1\xDF"), "€ก฿");
  EXPECT_EQ(Load(1250)->Decode("\x80\xA3\xF8"), "€Łř");
  EXPECT_EQ(Load(1251)->Decode("\x88\xC0\xFF"), "€Ая");
  EXPECT_EQ(Load(1253)->Decode("\xC1\xF9"), "Αω");
  EXPECT_EQ(Load(1254)->Decode("\xD0\xDD\xFD"), "Ğİı");
  EXPECT_EQ(Load(1255)->Decode("\xE0\xFA\xA4"), "את₪");
  EXPECT_EQ(Load(1256)->Decode("\xC7\xED\x81"), "ايپ");
  EXPECT_EQ(Load(1257)->Decode("\xC0\xFE"), "Ąž");
}

TEST(CodePages, BytesThatThePublishedTablesLeaveOpen) {
  EXPECT_EQ(Load(1250)->Decode("\x81\x98"), "\u0081\u0098");
  EXPECT_EQ(Load(1251)->Decode("\x98"), "\u0098");
  EXPECT_EQ(Load(874)->Decode("\x81\xDB\xFF"), "\u0081\uF8C1\uF8C8");
  EXPECT_EQ(Load(1253)->Decode("\xAA\xD2\xFF"), "\uF8F9\uF8FA\uF8FB");
  EXPECT_EQ(Load(1255)->Decode("\xD9\xDF\xFB\xFC\xFF"), "\uF88D\uF893\uF894\uF895\uF896");
  EXPECT_EQ(Load(1257)->Decode("\xA1\xA5"), "\uF8FC\uF8FD");
}

TEST(CodePages, DoubleByteCharacters) {
  EXPECT_EQ(Load(932)->Decode("\x93\xFA\x96{\x8C\xEA A\xB1"), "日本語 Aｱ");
  EXPECT_EQ(Load(936)->Decode("\xBA\xBA\xD7\xD6 \x80"), "汉字 €");
  EXPECT_EQ(Load(949)->Decode("\xC7\xD1\xB1\xDB\x81\x41"), "한글갂");
  EXPECT_EQ(Load(950)->Decode("\xC1\x63\xC5\xE9"), "繁體");
  for (const int number : kDoubleByte) EXPECT_TRUE(Load(number)->is_double_byte()) << number;
}

TEST(CodePages, DoubleByteTextSurvivesARoundTrip) {
  const struct {
    int page;
    const char* text;
  } cases[] = {{932, "ソフト表示～①Ⅳ"},
               {936, "电子邮件，用户组"},
               {949, "전자 우편 그룹"},
               {950, "電子郵件群組"}};
  for (const auto& c : cases) {
    const auto page = Load(c.page);
    bool lossy = false;
    const std::string bytes = page->Encode(c.text, &lossy);
    EXPECT_FALSE(lossy) << c.page;
    EXPECT_EQ(page->Decode(bytes), c.text) << c.page;
  }
}

TEST(CodePages, EveryPairDecodesToACharacterThatEncodes) {
  for (const int number : kDoubleByte) {
    const auto page = Load(number);
    int pairs = 0;
    for (int first = 0x80; first < 0x100; ++first) {
      for (int second = 0x40; second < 0xFF; ++second) {
        const std::string bytes = {static_cast<char>(first), static_cast<char>(second)};
        const std::string text = page->Decode(bytes);
        std::size_t pos = 0;
        const char32_t c = DecodeUtf8(text, &pos);
        if (pos != text.size() || c == kReplacementCharacter) continue;  // no pair
        ++pairs;
        const std::string again = page->Encode(text);
        // Some characters have two pairs of bytes; both decode to them.
        EXPECT_EQ(page->Decode(again), text) << number << " " << first << " " << second;
      }
    }
    EXPECT_GT(pairs, 7000) << number;
  }
}

TEST(CodePages, PairsCutShortOrUnknownBecomeTheReplacementCharacter) {
  EXPECT_EQ(Load(932)->Decode("A\x81"), "A\uFFFD");
  EXPECT_EQ(Load(936)->Decode("\x81"), "\uFFFD");
  EXPECT_EQ(Load(949)->Decode("\x81 x"), "\uFFFD x");
}

TEST(CodePages, CharactersThatAUserDefines) {
  EXPECT_EQ(Load(932)->Decode("\xF0\x40"), "\uE000");
  EXPECT_EQ(Load(936)->Decode("\xAA\xA1\xF8\xA1\xA1\x40"), "\uE000\uE234\uE4C6");
  EXPECT_EQ(Load(949)->Decode("\xC9\xA1\xFE\xFE"), "\uE000\uE0BB");
  EXPECT_EQ(Load(950)->Decode("\xFA\x40\xFA\x7E\xFA\xA1\xFE\xFE"), "\uE000\uE03E\uE03F\uE310");
  EXPECT_EQ(Load(950)->Decode("\x8E\x40\xA0\xFE\x81\x40\x8D\xFE"), "\uE311\uEEB7\uEEB8\uF6B0");
  EXPECT_EQ(Load(950)->Decode("\xC6\xA1\xC8\xFE"), "\uF6B1\uF848");
}

}  // namespace
}  // namespace pv::platform

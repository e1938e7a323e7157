#include "cli/import/encoding.h"

#include <gtest/gtest.h>

#include <string>

namespace pv::cli {
namespace {

using namespace std::string_literals;

SniffedEncoding Sniff(std::string_view bytes) {
  MemorySource source(bytes);
  Result<SniffedEncoding> found = SniffEncoding(&source);
  EXPECT_TRUE(found.ok());
  return found.ok() ? *found : SniffedEncoding{};
}

TEST(EncodingByName, KnowsNamesWithoutRegardToCase) {
  EXPECT_EQ(EncodingByName("UTF-8")->kind, EncodingKind::kUtf8);
  EXPECT_EQ(EncodingByName("utf-16")->kind, EncodingKind::kUtf16Le);
  EXPECT_EQ(EncodingByName("utf-16be")->kind, EncodingKind::kUtf16Be);
  EXPECT_EQ(EncodingByName("Windows-1252")->page->number(), 1252);
  EXPECT_EQ(EncodingByName("cp1252")->name, "windows-1252");
  EXPECT_EQ(EncodingByName("latin1")->kind, EncodingKind::kSingleByte);
}

TEST(EncodingByName, LoadsOtherCodePages) {
  for (const char* name : {"cp437", "cp850", "windows-1251", "cp1250"}) {
    const Result<Encoding> encoding = EncodingByName(name);
    ASSERT_TRUE(encoding.ok()) << name << ": " << encoding.status().message();
    EXPECT_EQ(encoding->kind, EncodingKind::kSingleByte);
  }
  EXPECT_EQ(EncodingByName("cp437")->page->Decode("\x81"), "\xC3\xBC");
}

TEST(EncodingByName, RefusesOthers) {
  for (const char* name : {"", "utf-7", "cp", "cp99999", "windows-932", "1252x"}) {
    EXPECT_EQ(EncodingByName(name).status().code(), StatusCode::kInvalid) << name;
  }
}

TEST(SniffEncoding, TakesTheByteOrderMarkFirst) {
  EXPECT_EQ(Sniff("\xEF\xBB\xBFname\n\xE4").encoding.name, "utf-8");
  EXPECT_EQ(Sniff("\xEF\xBB\xBFname").mark_size, 3U);
  EXPECT_EQ(Sniff("\xFF\xFEn\0"s).encoding.kind, EncodingKind::kUtf16Le);
  EXPECT_EQ(Sniff("\xFE\xFF\0n"s).encoding.kind, EncodingKind::kUtf16Be);
  EXPECT_EQ(Sniff("\xFE\xFF\0n"s).mark_size, 2U);
}

TEST(SniffEncoding, SeesUtf16WithoutAMark) {
  EXPECT_EQ(Sniff("n\0a\0m\0e\0,\0x\0"s).encoding.kind, EncodingKind::kUtf16Le);
  EXPECT_EQ(Sniff("\0n\0a\0m\0e\0,\0x"s).encoding.kind, EncodingKind::kUtf16Be);
  EXPECT_EQ(Sniff("n\0a\0m\0e\0,\0x\0"s).mark_size, 0U);
}

TEST(SniffEncoding, AsciiIsUtf8) {
  EXPECT_EQ(Sniff("plain, text\n").encoding.name, "utf-8");
  EXPECT_EQ(Sniff("").encoding.name, "utf-8");
}

TEST(SniffEncoding, AFewBrokenBytesDoNotMakeUtf8AnotherEncoding) {
  EXPECT_EQ(Sniff("J\xC3\xBCrgen K\xC3\xB6ln Caf\xC3\xA9 \xE9").encoding.name, "utf-8");
}

TEST(SniffEncoding, BytesThatAreMostlyNotUtf8AreWindows1252) {
  EXPECT_EQ(Sniff("J\xFCrgen aus K\xF6ln").encoding.name, "windows-1252");
  EXPECT_EQ(Sniff("end\xE4").encoding.name, "windows-1252");
}

TEST(SniffEncoding, LooksAtTheWholeSource) {
  std::string text(3 << 20, 'x');
  text[text.size() - 5] = '\xE4';
  EXPECT_EQ(Sniff(text).encoding.name, "windows-1252");
}

TEST(Utf8Census, CountsTheSameHoweverTheBytesArrive) {
  const std::string text =
      "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\xE4"
      "b\xC3(\xE2\x82x\xF0\x9F\xC3\xA4\xE2\x82";
  Utf8Census whole;
  whole.Add(text);
  whole.End();
  EXPECT_EQ(whole.characters(), 4U);
  for (std::size_t size = 1; size < text.size(); ++size) {
    Utf8Census pieces;
    for (std::size_t at = 0; at < text.size(); at += size) {
      pieces.Add(std::string_view(text).substr(at, size));
    }
    pieces.End();
    EXPECT_EQ(pieces.characters(), whole.characters()) << size;
    EXPECT_EQ(pieces.invalid(), whole.invalid()) << size;
  }
}

TEST(TextDecoder, DecodesAndRefuses) {
  std::string scratch;
  std::string_view out;
  const TextDecoder utf8{Encoding{}};
  EXPECT_TRUE(utf8.Decode("J\xC3\xBCrgen", &scratch, &out));
  EXPECT_EQ(out, "J\xC3\xBCrgen");
  EXPECT_FALSE(utf8.Decode("J\xFCrgen", &scratch, &out));
  const TextDecoder page{*EncodingByName("cp1252")};
  EXPECT_TRUE(page.Decode("J\xFCrgen \x80", &scratch, &out));
  EXPECT_EQ(out, "J\xC3\xBCrgen \xE2\x82\xAC");
  EXPECT_TRUE(page.Decode("plain", &scratch, &out));
  EXPECT_EQ(out, "plain");
}

}  // namespace
}  // namespace pv::cli

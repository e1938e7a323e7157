#include "cli/import/byte_source.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "base/text.h"

namespace pv::cli {
namespace {

std::string ReadAll(ByteSource* source, std::size_t piece) {
  std::string out;
  std::string block(piece, '\0');
  for (;;) {
    const Result<std::size_t> n = source->Read(block.data(), block.size());
    EXPECT_TRUE(n.ok());
    if (!n.ok() || *n == 0) return out;
    out.append(block, 0, *n);
  }
}

std::string Convert(std::string_view bytes, bool big_endian, std::size_t piece = 7) {
  Utf16Source source(std::make_unique<MemorySource>(bytes), big_endian);
  return ReadAll(&source, piece);
}

using namespace std::string_literals;

TEST(Utf16Source, TurnsUnitsIntoUtf8) {
  EXPECT_EQ(Convert("A\0\xE4\0\xAC\x20\x3D\xD8\x00\xDE"s, false),
            "A\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(Convert("\0A\0\xE4\x20\xAC\xD8\x3D\xDE\x00"s, true),
            "A\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(Convert("", false), "");
}

TEST(Utf16Source, ALoneSurrogateIsNotValidUtf8) {
  const std::string units =
      "\x3D\xD8"
      "A\0\x00\xDE"s;
  const std::string text = Convert(units, false);
  EXPECT_EQ(text,
            "\xED\xA0\xBD"
            "A\xED\xB8\x80");
  EXPECT_EQ(Utf16Size(text), units.size());
}

TEST(Utf16Source, AnOddByteAtTheEndIsNoText) {
  for (const char last : {'\n', 'x', '\xFF'}) {
    const std::string units = "A\0"s + last;
    const std::string text = Convert(units, false);
    EXPECT_EQ(Utf16Size(text), units.size());
    EXPECT_FALSE(IsValidUtf8(text));
    EXPECT_EQ(text.find('\n'), std::string::npos);
  }
}

TEST(Utf16Source, AnyUnitsAreCounted) {
  std::mt19937 random(7);
  for (int round = 0; round < 200; ++round) {
    std::string units(random() % 64, '\0');
    for (std::size_t i = 0; i < units.size(); ++i) {
      units[i] = static_cast<char>(random() % 3 == 0 ? 0xD8 + random() % 8 : random() % 256);
    }
    const bool big_endian = round % 2 == 0;
    const std::string text = Convert(units, big_endian, 1 + random() % 5);
    EXPECT_EQ(Utf16Size(text), units.size()) << "round " << round;
    const std::size_t cut = text.empty() ? 0 : random() % text.size();
    EXPECT_EQ(Utf16Size(std::string_view(text).substr(0, cut)) +
                  Utf16Size(std::string_view(text).substr(cut)),
              units.size());
  }
}

}  // namespace
}  // namespace pv::cli

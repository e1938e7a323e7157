#include "cli/output/terminal.h"

#include <gtest/gtest.h>

namespace pv::cli {
namespace {

std::string Visible(std::string_view text) {
  std::string out;
  AppendVisible(&out, text);
  return out;
}

TEST(AppendVisible, EscapesWhatCouldSteerATerminal) {
  EXPECT_EQ(Visible("plain K\xC3\xB6ln"), "plain K\xC3\xB6ln");
  EXPECT_EQ(Visible("a\tb\nc\rd\\e"), "a\\tb\\nc\\rd\\\\e");
  EXPECT_EQ(Visible("\x1B[31mred\x07"), "\\x1B[31mred\\x07");
  EXPECT_EQ(Visible("\xC2\x9B"
                    "31m"),
            "\\x9B31m");
  EXPECT_EQ(Visible("\xE2\x80\xAE"
                    "gpj.exe"),
            "\\u202Egpj.exe");
  EXPECT_EQ(Visible("\xFF"), "\xEF\xBF\xBD");
}

TEST(Harmless, KeepsBackslashes) {
  EXPECT_EQ(Harmless("C:\\groups\x1B[2J\n"), "C:\\groups\\x1B[2J\\n");
}

TEST(DisplayWidth, CountsCells) {
  EXPECT_EQ(DisplayWidth("abc"), 3U);
  EXPECT_EQ(DisplayWidth("K\xC3\xB6ln"), 4U);
  EXPECT_EQ(DisplayWidth("\xE6\x97\xA5\xE6\x9C\xAC"), 4U);
  EXPECT_EQ(DisplayWidth("e\xCC\x81"), 1U);
}

TEST(Shortened, CutsToCells) {
  EXPECT_EQ(Shortened("abcdef", 6), "abcdef");
  EXPECT_EQ(Shortened("abcdef", 4), "abc\xE2\x80\xA6");
  EXPECT_EQ(Shortened("\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E", 4), "\xE6\x97\xA5\xE2\x80\xA6");
}

}  // namespace
}  // namespace pv::cli

#include "providers/converter/text/decode.h"

#include <gtest/gtest.h>

#include <vector>

namespace pv::converter {
namespace {

TEST(Decode, Base64) {
  EXPECT_EQ(DecodeBase64(""), "");
  EXPECT_EQ(DecodeBase64("YQ=="), "a");
  EXPECT_EQ(DecodeBase64("YQ"), "a");
  EXPECT_EQ(DecodeBase64("Y W\tJ\nj"), "abc");
  EXPECT_EQ(DecodeBase64("//+/"), "\xFF\xFF\xBF");
  EXPECT_EQ(DecodeBase64("Y"), std::nullopt);
  EXPECT_EQ(DecodeBase64("YQ==YQ=="), std::nullopt);
  EXPECT_EQ(DecodeBase64("Y!"), std::nullopt);
}

TEST(Decode, HeaderWords) {
  EXPECT_EQ(DecodeHeaderWords("plain =?"), "plain =?");
  EXPECT_EQ(DecodeHeaderWords("=?UTF-8?q?a_=C3=BC?= b"), "a ü b");
  EXPECT_EQ(DecodeHeaderWords("=?utf-8?B?w7w=?=  =?utf-8?B?w7w=?="), "üü");
  EXPECT_EQ(DecodeHeaderWords("=?koi8-r?B?xMHO?="), "дан");
  EXPECT_EQ(DecodeHeaderWords("=?utf-8*en?Q?x?="), "x");
  EXPECT_EQ(DecodeHeaderWords("=?utf-8?X?x?="), "=?utf-8?X?x?=");
  EXPECT_EQ(DecodeHeaderWords("=?utf-8?B?!?= z"), "=?utf-8?B?!?= z");
  EXPECT_EQ(DecodeHeaderWords("=?utf-8?Q?=4?="), "=4");
}

TEST(Decode, AnsiAndUtf16) {
  EXPECT_EQ(Utf8OrAnsi("\xC3\xBC"), "ü");
  EXPECT_EQ(Utf8OrAnsi("\xFC\x80"), "ü€");
  EXPECT_EQ(FromUtf16Le(std::string_view("a\0\xE4\0\0\0b\0", 8)), "aä");
  EXPECT_EQ(FromUtf16Le("a"), "");
}

TEST(Decode, Numbers) {
  EXPECT_EQ(ParseDecimal("0012"), 12);
  for (const char* text : {"", "-1", "+1", "1 ", "9223372036854775808", "x"}) {
    EXPECT_EQ(ParseDecimal(text), std::nullopt) << text;
  }
  EXPECT_EQ(ParseHex("fF"), 255U);
  for (const char* text : {"", "-1", "g", "100000000"}) EXPECT_EQ(ParseHex(text), std::nullopt);
}

TEST(Decode, Mailboxes) {
  const struct {
    const char* text;
    const char* name;
    const char* address;
  } cases[] = {
      {"a@b", "", "a@b"},
      {" <a@b> ", "", "a@b"},
      {"Ann Lee <a@b>", "Ann Lee", "a@b"},
      {"\"Lee \\\"A\\\", <x>\"<a@b>", "Lee \"A\", <x>", "a@b"},
      {"a@b (Ann (A) Lee)", "Ann (A) Lee", "a@b"},
      {"a@b (Ann", "Ann", "a@b"},
      {"Ann <a@b", "Ann", "a@b"},
      {"", "", ""},
  };
  for (const auto& test : cases) {
    const Mailbox mailbox = ParseMailbox(test.text);
    EXPECT_EQ(mailbox.name, test.name) << test.text;
    EXPECT_EQ(mailbox.address, test.address) << test.text;
  }
}

TEST(Decode, ListsOfAddresses) {
  std::vector<std::string> items;
  SplitAddresses(" a@b,, \"x, \\\" y\" <c@d> ,e@f (g, h),<i,j>,) > k,",
                 [&](std::string_view item) { items.emplace_back(item); });
  EXPECT_EQ(items, (std::vector<std::string>{"a@b", "\"x, \\\" y\" <c@d>", "e@f (g, h)", "<i,j>",
                                             ") > k"}));
}

}  // namespace
}  // namespace pv::converter

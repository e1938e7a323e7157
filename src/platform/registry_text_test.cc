#include "platform/registry_text.h"

#include <gtest/gtest.h>

#include <random>

#include "base/text.h"

namespace pv::platform {
namespace {

constexpr const char* kHead = "pvgroup registry 1\n";

std::string Fault(const std::string& text) {
  const auto read = ReadRegistryText(text, "/r.txt");
  if (read.ok()) return {};
  EXPECT_EQ(read.status().code(), StatusCode::kCorrupt);
  EXPECT_EQ(read.status().detail(), kRegistryDamaged);
  return read.status().message();
}

std::string Rewritten(const std::string& text) {
  const auto read = ReadRegistryText(text, "/r.txt");
  EXPECT_TRUE(read.ok()) << read.status().message();
  return read.ok() ? WriteRegistryText(**read) : std::string();
}

// The stored form of one value in a registry that holds nothing else.
std::string Line(const std::string& name, const RegistryValue& value) {
  RegistryNode root;
  root.FindOrAddKey("HKEY_USERS")->values.emplace_back(name, value);
  const std::string text = WriteRegistryText(root);
  const auto read = ReadRegistryText(text, "/r.txt");
  EXPECT_TRUE(read.ok()) << read.status().message();
  if (read.ok()) {
    const RegistryNode* users = (*read)->FindKey("HKEY_USERS");
    EXPECT_EQ(users->values.size(), 1U);
    EXPECT_EQ(users->values[0].first, name);
    EXPECT_EQ(users->values[0].second, value);
  }
  const std::string before = std::string(kHead) + "\n[HKEY_USERS]\n";
  EXPECT_EQ(text.substr(0, before.size()), before);
  return text.substr(before.size());
}

TEST(RegistryText, EachTypeHasItsForm) {
  EXPECT_EQ(Line("", {1, std::string("a\0", 2)}), "@ = text \"a\"\n");
  EXPECT_EQ(Line("n", {1, std::string(1, '\0')}), "\"n\" = text \"\"\n");
  EXPECT_EQ(Line("n", {2, std::string("%HOME%\0", 7)}), "\"n\" = expand \"%HOME%\"\n");
  EXPECT_EQ(Line("n", {4, "\xFF\xFF\xFF\xFF"}), "\"n\" = number 4294967295\n");
  EXPECT_EQ(Line("n", {4, std::string("\x2A\0\0\0", 4)}), "\"n\" = number 42\n");
  EXPECT_EQ(Line("n", {3, std::string("\0\x1F\xFF", 3)}), "\"n\" = bytes(3) 00 1F FF\n");
  EXPECT_EQ(Line("n", {3, ""}), "\"n\" = bytes(3)\n");
  EXPECT_EQ(Line("n", {7, std::string("a\0\0", 3)}), "\"n\" = bytes(7) 61 00 00\n");
  EXPECT_EQ(Line("n", {0xFFFFFFFF, "x"}), "\"n\" = bytes(4294967295) 78\n");
}

TEST(RegistryText, WhatFitsNoFormIsKeptAsBytes) {
  EXPECT_EQ(Line("n", {1, "a"}), "\"n\" = bytes(1) 61\n") << "no closing zero";
  EXPECT_EQ(Line("n", {1, ""}), "\"n\" = bytes(1)\n");
  EXPECT_EQ(Line("n", {1, std::string("a\0b\0", 4)}), "\"n\" = bytes(1) 61 00 62 00\n");
  EXPECT_EQ(Line("n", {2, std::string("\xFF\0", 2)}), "\"n\" = bytes(2) FF 00\n") << "not UTF-8";
  EXPECT_EQ(Line("n", {4, "abc"}), "\"n\" = bytes(4) 61 62 63\n");
}

TEST(RegistryText, QuotesHoldEverything) {
  EXPECT_EQ(Line("a\\\"b\n", {1, std::string("\r\t\x01\x7Fü€\0", 10)}),
            "\"a\\\\\\\"b\\n\" = text \"\\r\\t\\x01\\x7Fü€\"\n");
}

TEST(RegistryText, KeysAreSortedAndValuesAreNot) {
  EXPECT_EQ(
      Rewritten(std::string(kHead) +
                "[HKEY_USERS\\b]\n\"z\"=text \"1\"\n \"A\" = number 7\n\n"
                "[HKEY_CURRENT_USER\\x\\y]\r\n[HKEY_USERS\\A]\n[HKEY_USERS]\n@=text \"\"  \n"),
      std::string(kHead) +
          "\n[HKEY_CURRENT_USER\\x\\y]\n\n[HKEY_USERS]\n@ = text \"\"\n\n[HKEY_USERS\\A]\n"
          "\n[HKEY_USERS\\b]\n\"z\" = text \"1\"\n\"A\" = number 7\n");
}

TEST(RegistryText, NamesIgnoreLetterCaseAndKeepTheirFirstSpelling) {
  const auto read =
      ReadRegistryText(std::string(kHead) + "[HKEY_USERS\\Über]\n[HKEY_USERS\\ÜBER\\x]\n", "f");
  ASSERT_TRUE(read.ok());
  const RegistryNode* users = (*read)->FindKey("hkey_users");
  ASSERT_NE(users, nullptr);
  ASSERT_EQ(users->keys.size(), 1U);
  EXPECT_EQ(users->FindKey("üBER")->name, "Über");
}

TEST(RegistryText, EmptyFileIsAnEmptyRegistry) {
  EXPECT_EQ(Rewritten(""), kHead);
  EXPECT_EQ(Rewritten(kHead), kHead);
}

TEST(RegistryText, DamageNamesFileAndLine) {
  EXPECT_EQ(Fault("x"), "/r.txt: line 1: the last line is cut short");
  EXPECT_EQ(Fault("pvgroup registry 2\n"),
            "/r.txt: line 1: the heading is not \"pvgroup registry 1\"");
  const std::string key = std::string(kHead) + "\n[HKEY_USERS\\a]\n";
  const auto second = [&](const std::string& line) { return Fault(key + line + "\n"); };
  EXPECT_EQ(Fault(key + "@ = text \"a\""), "/r.txt: line 4: the last line is cut short");
  EXPECT_EQ(Fault(std::string(kHead) + "@ = text \"a\"\n"),
            "/r.txt: line 2: a value stands before the first key");
  EXPECT_EQ(second("[HKEY_USERS"), "/r.txt: line 4: \"]\" is missing");
  EXPECT_EQ(second("[]"), "/r.txt: line 4: the path begins with no predefined key");
  EXPECT_EQ(second("[HKEY_NONE\\a]"), "/r.txt: line 4: the path begins with no predefined key");
  EXPECT_EQ(second("[HKEY_USERS\\]"), "/r.txt: line 4: a key cannot have this name");
  EXPECT_EQ(second("[HKEY_USERS\\a\\\\b]"), "/r.txt: line 4: a key cannot have this name");
  EXPECT_EQ(second("[HKEY_USERS\\a\x01]"), "/r.txt: line 4: a key cannot have this name");
  EXPECT_EQ(second("[HKEY_USERS\\a\xFF]"), "/r.txt: line 4: a key cannot have this name");
  EXPECT_EQ(second("@ = text \"a\"\n[HKEY_USERS\\A]"), "/r.txt: line 5: the key is there already");
  EXPECT_EQ(second("\"n\" = number 1\n\"N\" = number 2"),
            "/r.txt: line 5: the value is there already");
  EXPECT_EQ(second("n = number 1"), "/r.txt: line 4: a text in quotes is missing");
  EXPECT_EQ(second("\"\" = number 1"), "/r.txt: line 4: a value cannot have this name");
  EXPECT_EQ(second("\"n"), "/r.txt: line 4: a text has no closing quote");
  EXPECT_EQ(second("\"n\\"), "/r.txt: line 4: an unknown character follows \"\\\"");
  EXPECT_EQ(second("\"n\\q\" = number 1"), "/r.txt: line 4: an unknown character follows \"\\\"");
  for (const char* hex : {"\\x", "\\x0", "\\x00", "\\x41", "\\xGG"}) {
    EXPECT_EQ(second("@ = text \"" + std::string(hex) + "\""),
              "/r.txt: line 4: \"\\x\" is not followed by the number of a control character")
        << hex;
  }
  EXPECT_EQ(second("@ = text \"a\x02\""), "/r.txt: line 4: a control character stands in a text");
  EXPECT_EQ(second("@ = text \"\xC3\""), "/r.txt: line 4: a text is not UTF-8");
  EXPECT_EQ(second("@ = text \"a\" b"), "/r.txt: line 4: more follows the value");
  EXPECT_EQ(second("@ text \"a\""), "/r.txt: line 4: \"=\" is missing");
  EXPECT_EQ(second("@ = words \"a\""),
            "/r.txt: line 4: the type is none of text, expand, number and bytes(TYPE)");
  for (const char* number : {"number", "number x", "number -1", "number 4294967296", "bytes()"}) {
    EXPECT_EQ(second("@ = " + std::string(number)),
              "/r.txt: line 4: a number from 0 to 4294967295 is missing")
        << number;
  }
  EXPECT_EQ(second("@ = number 1x"), "/r.txt: line 4: more follows the value");
  EXPECT_EQ(second("@ = bytes(3 00"), "/r.txt: line 4: \")\" is missing");
  for (const char* bytes : {"0", "0G", "00 1"}) {
    EXPECT_EQ(second("@ = bytes(3) " + std::string(bytes)),
              "/r.txt: line 4: bytes are not written as pairs of hexadecimal digits")
        << bytes;
  }
  EXPECT_EQ(second("@ = bytes(3) 0011"), "/r.txt: line 4: bytes are not parted by blanks");
}

TEST(RegistryText, LimitsOfNamesAndDepth) {
  EXPECT_TRUE(IsKeyName(std::string(255, 'k')));
  EXPECT_FALSE(IsKeyName(std::string(256, 'k')));
  EXPECT_TRUE(IsValueName(std::string(16'383, 'v')));
  EXPECT_FALSE(IsValueName(std::string(16'384, 'v')));
  EXPECT_TRUE(IsValueName(""));
  EXPECT_FALSE(IsValueName(std::string(1, '\0')));
  std::string path = "HKEY_USERS";
  for (std::size_t depth = 1; depth < kDeepestKey; ++depth) path += "\\k";
  EXPECT_EQ(Fault(std::string(kHead) + "[" + path + "]\n"), "");
  EXPECT_EQ(Fault(std::string(kHead) + "[" + path + "\\k]\n"),
            "/r.txt: line 2: the key lies too deep");
}

TEST(RegistryText, EveryTruncationIsReadableOrDamaged) {
  const std::string whole = std::string(kHead) +
                            "\n[HKEY_USERS\\a]\n@ = text \"ü\\n\"\n\"b\" = bytes(3) 00 FF\n"
                            "\"c\" = number 12\n\n[HKEY_USERS\\d]\n";
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const std::string cut = whole.substr(0, size);
    const bool whole_lines = cut.empty() || cut.back() == '\n';
    EXPECT_EQ(Fault(cut).empty(), whole_lines) << size;
  }
}

// What is read once reads the same when written again; whatever else comes is named, not obeyed.
TEST(RegistryText, RandomChangesAreReadAlikeOrRefused) {
  const std::string whole = std::string(kHead) +
                            "\n[HKEY_CURRENT_USER]\n@ = text \"a\\\\\\x01\"\n\n[HKEY_USERS\\a b]\n"
                            "\"n\" = expand \"%A%\"\n\"o\" = bytes(7) 00 61\n\"p\" = number 7\n";
  std::mt19937 random(20260101);
  const std::string alphabet = "[]\\\"@=x0A \n\r\t()ü\xFF\0";
  int read = 0;
  for (int round = 0; round < 20'000; ++round) {
    std::string text = whole;
    for (auto changes = 1 + random() % 3; changes > 0; --changes) {
      const std::size_t at = random() % text.size();
      switch (random() % 3) {
        case 0:
          text[at] = alphabet[random() % alphabet.size()];
          break;
        case 1:
          text.erase(at, 1 + random() % 4);
          break;
        default:
          text.insert(at, 1, alphabet[random() % alphabet.size()]);
      }
    }
    const auto once = ReadRegistryText(text, "f");
    if (!once.ok()) continue;
    ++read;
    const std::string written = WriteRegistryText(**once);
    const auto twice = ReadRegistryText(written, "f");
    ASSERT_TRUE(twice.ok()) << twice.status().message() << "\n" << written;
    EXPECT_EQ(WriteRegistryText(**twice), written);
  }
  EXPECT_GT(read, 100);
}

}  // namespace
}  // namespace pv::platform

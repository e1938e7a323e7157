#include "cli/fields/address.h"

#include <gtest/gtest.h>

#include <string>

namespace pv::cli {
namespace {

TEST(AddressFault, AcceptsWhatMayBeAnAddress) {
  for (const char* text : {"a@b", "ann@example.org", "o'hara+tag@mail.example.org",
                           "j\xC3\xBCrgen@ex\xC3\xA4mple.org", "\"odd\"@example.org"}) {
    EXPECT_EQ(AddressFault(text), nullptr) << text;
  }
}

TEST(AddressFault, SaysWhatIsWrong) {
  EXPECT_STREQ(AddressFault(""), "there is no address");
  EXPECT_STREQ(AddressFault("plain"), "the address has no @");
  EXPECT_STREQ(AddressFault("a@b@c"), "the address has more than one @");
  EXPECT_STREQ(AddressFault("@b"), "the address has nothing before the @");
  EXPECT_STREQ(AddressFault("a@"), "the address has nothing after the @");
  EXPECT_STREQ(AddressFault("a b@c"), "the address holds a blank");
  EXPECT_STREQ(AddressFault("a@b,c@d"), "the address holds a comma");
  EXPECT_STREQ(AddressFault("a\t@b"), "the address holds a control character");
  EXPECT_STREQ(AddressFault("a@b\x7F"), "the address holds a control character");
}

// Bytes are looked at in eights; none may be missed wherever it stands.
TEST(AddressFault, FindsEveryByteAnywhere) {
  const std::string good = "somebody.with.a.long.name@mail.example.org";
  ASSERT_EQ(AddressFault(good), nullptr);
  for (std::size_t at = 0; at < good.size(); ++at) {
    for (int byte = 1; byte < 256; ++byte) {
      std::string text = good;
      text[at] = static_cast<char>(byte);
      const bool bad =
          byte <= ' ' || byte == ',' || byte == 0x7F || (byte == '@') != (good[at] == '@');
      EXPECT_EQ(AddressFault(text) != nullptr, bad) << at << " " << byte;
    }
  }
}

TEST(LowerAddress, FoldsEveryByteOfAscii) {
  char buffer[128];
  std::string scratch;
  std::string all(128, '\0');
  for (std::size_t i = 0; i < all.size(); ++i) all[i] = static_cast<char>(i);
  for (std::size_t first = 0; first < 9; ++first) {
    std::string want = all.substr(first);
    for (char& c : want) {
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
    }
    EXPECT_EQ(LowerAddress(all.substr(first), buffer, sizeof buffer, &scratch), want) << first;
  }
  const std::string umlaut = "ABCDEFGH\xC3\x84@B";
  EXPECT_EQ(LowerAddress(umlaut, buffer, sizeof buffer, &scratch), "abcdefgh\xC3\xA4@b");
}

TEST(LowerAddress, FoldsLetterCase) {
  char buffer[32];
  std::string scratch;
  EXPECT_EQ(LowerAddress("OK1@Example.ORG", buffer, sizeof buffer, &scratch), "ok1@example.org");
  EXPECT_EQ(LowerAddress("\xC3\x84@B", buffer, sizeof buffer, &scratch), "\xC3\xA4@b");
  const std::string wide(100, 'X');
  EXPECT_EQ(LowerAddress(wide, buffer, sizeof buffer, &scratch), std::string(100, 'x'));
}

}  // namespace
}  // namespace pv::cli

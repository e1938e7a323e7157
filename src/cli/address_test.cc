#include "cli/address.h"

#include <gtest/gtest.h>

#include <set>
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

TEST(LowerAddress, FoldsLetterCase) {
  char buffer[32];
  std::string scratch;
  EXPECT_EQ(LowerAddress("OK1@Example.ORG", buffer, sizeof buffer, &scratch), "ok1@example.org");
  EXPECT_EQ(LowerAddress("\xC3\x84@B", buffer, sizeof buffer, &scratch), "\xC3\xA4@b");
  const std::string wide(100, 'X');
  EXPECT_EQ(LowerAddress(wide, buffer, sizeof buffer, &scratch), std::string(100, 'x'));
}

TEST(HashOf, DiffersForTextThatDiffers) {
  std::set<std::uint64_t> seen;
  for (int i = 0; i < 100000; ++i) seen.insert(HashOf("user" + std::to_string(i) + "@example.org"));
  for (std::size_t n = 0; n < 64; ++n) seen.insert(HashOf(std::string(n, '\0')));
  EXPECT_EQ(seen.size(), 100064U);
}

TEST(AddressSet, FindsWhatWasAdded) {
  AddressSet set;
  const auto any = [](std::uint32_t) { return true; };
  for (std::uint32_t i = 1; i <= 20000; ++i) {
    const std::uint64_t hash = HashOf(std::to_string(i));
    EXPECT_EQ(set.Find(hash, any), AddressSet::kNotFound);
    set.Add(hash, i);
  }
  set.Reserve(100000);
  for (std::uint32_t i = 1; i <= 20000; ++i) EXPECT_EQ(set.Find(HashOf(std::to_string(i)), any), i);
}

TEST(AddressSet, AsksAboutEveryRecordWithTheSameNumber) {
  AddressSet set;
  constexpr std::uint64_t kOne = std::uint64_t{42} << 32;
  constexpr std::uint64_t kOther = std::uint64_t{43} << 32;
  set.Add(kOne, 1);
  set.Add(kOne, 2);
  set.Add(kOther, 3);
  EXPECT_EQ(set.Find(kOne, [](std::uint32_t r) { return r == 2; }), 2U);
  EXPECT_EQ(set.Find(kOne, [](std::uint32_t) { return false; }), AddressSet::kNotFound);
  EXPECT_EQ(set.Find(kOther, [](std::uint32_t) { return true; }), 3U);
}

}  // namespace
}  // namespace pv::cli

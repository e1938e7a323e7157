#include "base/record_set.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace pv {
namespace {

TEST(HashOf, DiffersForTextThatDiffers) {
  std::set<std::uint64_t> seen;
  for (int i = 0; i < 100000; ++i) seen.insert(HashOf("user" + std::to_string(i) + "@example.org"));
  for (std::size_t n = 0; n < 64; ++n) seen.insert(HashOf(std::string(n, '\0')));
  EXPECT_EQ(seen.size(), 100064U);
}

TEST(RecordSet, FindsWhatWasAdded) {
  RecordSet set;
  const auto any = [](std::uint32_t) { return true; };
  for (std::uint32_t i = 1; i <= 20000; ++i) {
    const std::uint64_t hash = HashOf(std::to_string(i));
    EXPECT_EQ(set.Find(hash, any), RecordSet::kNotFound);
    set.Add(hash, i);
  }
  set.Reserve(100000);
  for (std::uint32_t i = 1; i <= 20000; ++i) EXPECT_EQ(set.Find(HashOf(std::to_string(i)), any), i);
}

TEST(RecordSet, AsksAboutEveryRecordWithTheSameNumber) {
  RecordSet set;
  constexpr std::uint64_t kOne = std::uint64_t{42} << 32;
  constexpr std::uint64_t kOther = std::uint64_t{43} << 32;
  set.Add(kOne, 1);
  set.Add(kOne, 2);
  set.Add(kOther, 3);
  EXPECT_EQ(set.Find(kOne, [](std::uint32_t r) { return r == 2; }), 2U);
  EXPECT_EQ(set.Find(kOne, [](std::uint32_t) { return false; }), RecordSet::kNotFound);
  EXPECT_EQ(set.Find(kOther, [](std::uint32_t) { return true; }), 3U);
}

}  // namespace
}  // namespace pv

#include "tablestore/engine/key_sorter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "platform/memory/memory_file_system.h"

namespace pv::engine {
namespace {

using Entry = std::pair<std::string, std::uint32_t>;

std::vector<Entry> RandomEntries(std::size_t n, std::size_t length, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<Entry> out;
  for (std::size_t i = 0; i < n; ++i) {
    std::string key(length, 'a');
    // Long common beginnings and many repeats.
    for (std::size_t k = length > 10 ? 9 : 0; k < length; ++k) {
      key[k] = static_cast<char>('a' + random() % 3);
    }
    out.emplace_back(key, static_cast<std::uint32_t>(n - i));
  }
  return out;
}

class KeySorterTest : public ::testing::TestWithParam<std::pair<std::size_t, std::size_t>> {};

TEST_P(KeySorterTest, SortsInMemoryAndInRuns) {
  const auto [length, limit] = GetParam();
  platform::MemoryFileSystem files;
  auto entries = RandomEntries(5000, length, 7);
  {
    KeySorter sorter(&files, "/t.sort", length, limit);
    for (const auto& [key, record] : entries) {
      ASSERT_TRUE(sorter.Add(reinterpret_cast<const std::uint8_t*>(key.data()), record).ok());
    }
    std::vector<Entry> sorted;
    ASSERT_TRUE(sorter
                    .Sort([&](const std::uint8_t* key, std::uint32_t record) {
                      sorted.emplace_back(std::string(reinterpret_cast<const char*>(key), length),
                                          record);
                      return Status();
                    })
                    .ok());
    std::sort(entries.begin(), entries.end());
    EXPECT_EQ(sorted, entries);
    EXPECT_EQ(files.Has("/t.sort"), limit < 100'000);
  }
  EXPECT_FALSE(files.Has("/t.sort"));
}

INSTANTIATE_TEST_SUITE_P(Sizes, KeySorterTest,
                         ::testing::Values(std::pair<std::size_t, std::size_t>{1, 1 << 30},
                                           std::pair<std::size_t, std::size_t>{8, 1 << 30},
                                           std::pair<std::size_t, std::size_t>{100, 1 << 30},
                                           std::pair<std::size_t, std::size_t>{4, 1000},
                                           std::pair<std::size_t, std::size_t>{20, 5000},
                                           std::pair<std::size_t, std::size_t>{240, 60'000}));

// More than one block, which are sorted in threads and merged.
TEST(KeySorter, MergesBlocks) {
  for (const std::size_t limit : {std::size_t{1} << 30, std::size_t{2} << 20}) {
    platform::MemoryFileSystem files;
    auto entries = RandomEntries(140'000, 14, 11);
    KeySorter sorter(&files, "/t.sort", 14, limit, 'b');
    for (const auto& [key, record] : entries) {
      ASSERT_TRUE(sorter.Add(reinterpret_cast<const std::uint8_t*>(key.data()), record).ok());
      ASSERT_LT(sorter.MemoryUsed(), limit + 100);
    }
    std::vector<Entry> sorted;
    ASSERT_TRUE(sorter
                    .Sort([&](const std::uint8_t* key, std::uint32_t record) {
                      sorted.emplace_back(std::string(reinterpret_cast<const char*>(key), 14),
                                          record);
                      return Status();
                    })
                    .ok());
    std::sort(entries.begin(), entries.end());
    EXPECT_EQ(sorted, entries);
    EXPECT_EQ(files.Has("/t.sort"), limit < (std::size_t{1} << 30));
  }
}

TEST(KeySorter, EveryFaultComesOut) {
  const auto entries = RandomEntries(500, 12, 3);
  for (int n = 1;; ++n) {
    platform::MemoryFileSystem files;
    files.FailCall(static_cast<std::uint64_t>(n), platform::Call::kAny, platform::Fault::kNoSpace);
    Status s;
    {
      KeySorter sorter(&files, "/t.sort", 12, 2000);
      for (const auto& [key, record] : entries) {
        if (s.ok()) s = sorter.Add(reinterpret_cast<const std::uint8_t*>(key.data()), record);
      }
      if (s.ok()) s = sorter.Sort([](const std::uint8_t*, std::uint32_t) { return Status(); });
      if (!files.FaultHit()) {
        EXPECT_TRUE(s.ok());
        break;
      }
      EXPECT_FALSE(s.ok()) << n;
    }
    ASSERT_LT(n, 1000);
  }
}

}  // namespace
}  // namespace pv::engine

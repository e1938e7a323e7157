#include "tablestore/engine/index/leaf_page.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace pv::engine::tree {
namespace {

using Entry = std::pair<std::string, std::uint32_t>;

const std::uint8_t* Bytes(const std::string& text) {
  return reinterpret_cast<const std::uint8_t*>(text.data());
}

LeafTarget TargetOf(const Entry& entry, std::uint8_t fill) {
  return {Bytes(entry.first), entry.second,
          TrimmedLength(Bytes(entry.first), entry.first.size(), fill)};
}

// Encodes the entries from the first to the last.
void Encode(const std::vector<Entry>& entries, const LeafLayout& layout, std::size_t key_length,
            std::uint8_t fill, PageBuffer* page) {
  LeafWriter writer(page->bytes, key_length);
  writer.Start(layout);
  std::string before;
  for (const Entry& entry : entries) {
    const std::uint32_t trim = TrimmedLength(Bytes(entry.first), key_length, fill);
    std::uint32_t dup = 0;
    if (!before.empty()) {
      dup = std::min({CommonPrefix(Bytes(before), Bytes(entry.first), key_length),
                      TrimmedLength(Bytes(before), key_length, fill), trim});
    }
    ASSERT_LE(writer.Cost(dup, trim), writer.Room());
    writer.Append(Bytes(entry.first), dup, trim, entry.second);
    before = entry.first;
  }
  writer.Finish(kLeafAttribute, kNoPage, kNoPage);
}

std::vector<Entry> Decode(const PageBuffer& page, std::size_t key_length, std::uint8_t fill) {
  LeafHead head;
  EXPECT_STREQ(ReadLeafHead(page.bytes, &head), nullptr);
  std::uint32_t bottom = 0;
  EXPECT_STREQ(CheckLeaf(page.bytes, head, key_length, &bottom), nullptr);
  EXPECT_EQ(LoadLe16(page.bytes + 12), bottom - kLeafHeader - head.count * head.layout.entry_bytes);
  std::vector<Entry> entries;
  std::string key(key_length, static_cast<char>(fill));
  std::size_t offset = kPageSize;
  for (std::uint32_t i = 0; i < head.count; ++i) {
    const LeafEntry entry = EntryAt(page.bytes, head.layout, key_length, i);
    offset -= entry.stored();
    std::copy_n(page.bytes + offset, entry.stored(), key.begin() + entry.dup);
    std::fill(key.begin() + entry.trim, key.end(), static_cast<char>(fill));
    entries.emplace_back(key, entry.record);

    // Another way to the same key.
    std::string rebuilt(key_length, static_cast<char>(fill));
    RebuildKey(page.bytes, head.layout, key_length, fill, i, offset, 0,
               reinterpret_cast<std::uint8_t*>(rebuilt.data()));
    EXPECT_EQ(rebuilt, key) << i;
  }
  return entries;
}

TEST(LeafLayoutTest, IsWhatOtherProgramsChoose) {
  struct {
    std::size_t key_length;
    int record_bits, count_bits;
  } const cases[] = {{6, 18, 3}, {10, 16, 4}, {11, 16, 4}, {15, 16, 4}, {30, 14, 5}, {40, 12, 6}};
  for (const auto& c : cases) {
    const LeafLayout layout = LeafLayout::For(c.key_length, 92);
    EXPECT_EQ(layout.record_bits, c.record_bits) << c.key_length;
    EXPECT_EQ(layout.dup_bits, c.count_bits) << c.key_length;
    EXPECT_EQ(layout.trail_bits, c.count_bits) << c.key_length;
    EXPECT_EQ(layout.entry_bytes, 3) << c.key_length;
  }
}

TEST(LeafLayoutTest, HoldsEveryKeyLengthAndRecord) {
  for (std::size_t key_length = 1; key_length <= kMaxKey; ++key_length) {
    for (int bits = 1; bits <= 32; ++bits) {
      const auto record = static_cast<std::uint32_t>((std::uint64_t{1} << bits) - 1);
      const LeafLayout layout = LeafLayout::For(key_length, record);
      EXPECT_EQ(layout.record_bits + layout.dup_bits + layout.trail_bits, 8 * layout.entry_bytes);
      EXPECT_GE(layout.record_mask, record);
      EXPECT_GE(layout.dup_mask, key_length);
      EXPECT_GE(layout.trail_mask, key_length);
      EXPECT_LE(layout.entry_bytes, 6);
      PageBuffer page;
      LeafWriter writer(page.bytes, key_length);
      writer.Start(layout);
      writer.Finish(kLeafAttribute, kNoPage, kNoPage);
      LeafHead head;
      EXPECT_STREQ(ReadLeafHead(page.bytes, &head), nullptr);
    }
  }
}

// The page of the worked example in docs/index-file.md.
TEST(LeafPageTest, IsWhatTheWorkedExampleShows) {
  PageBuffer page;
  Encode({{"ANNA    ", 3}, {"ANNA    ", 7}, {"ANTON   ", 1}}, LeafLayout::For(8, 7), 8, 0x20,
         &page);
  const std::vector<std::uint8_t> head(page.bytes, page.bytes + 33);
  EXPECT_EQ(head, (std::vector<std::uint8_t>{0x02, 0x00, 0x03, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                             0xFF, 0xFF, 0xFF, 0xD8, 0x01, 0xFF, 0xFF, 0x00, 0x00,
                                             0x0F, 0x0F, 0x10, 0x04, 0x04, 0x03, 0x03, 0x00, 0x40,
                                             0x07, 0x00, 0x44, 0x01, 0x00, 0x32}));
  EXPECT_EQ(std::string(page.bytes + 505, page.bytes + 512), "TONANNA");
}

struct Shape {
  std::size_t key_length;
  std::uint8_t fill;
  std::string alphabet;
};

class LeafSpliceTest : public ::testing::TestWithParam<Shape> {};

// Splicing gives the very bytes that encoding anew gives, as long as nothing is taken out; then
// counts may be smaller than they could be, but the entries are the same.
TEST_P(LeafSpliceTest, EqualsEncodingAnew) {
  const Shape& shape = GetParam();
  std::mt19937 random(7);
  const LeafLayout layout = LeafLayout::For(shape.key_length, 900);
  for (int round = 0; round < 40; ++round) {
    PageBuffer page;
    Encode({}, layout, shape.key_length, shape.fill, &page);
    LeafHead head;
    ASSERT_STREQ(ReadLeafHead(page.bytes, &head), nullptr);
    std::vector<Entry> entries;
    bool removed_any = false;
    for (int step = 0; step < 400; ++step) {
      const bool remove = !entries.empty() && round % 2 == 1 && random() % 3 == 0;
      Entry entry;
      if (remove) {
        entry = entries[random() % entries.size()];
      } else {
        entry.first.assign(shape.key_length, static_cast<char>(shape.fill));
        const std::size_t length = random() % (shape.key_length + 1);
        for (std::size_t i = 0; i < length; ++i) {
          entry.first[i] = shape.alphabet[random() % shape.alphabet.size()];
        }
        entry.second = 1 + static_cast<std::uint32_t>(random() % 900);
      }
      const auto place = std::lower_bound(entries.begin(), entries.end(), entry);
      const bool there = place != entries.end() && *place == entry;
      LeafSlot slot;
      ASSERT_STREQ(FindInLeaf(page.bytes, head, shape.key_length, shape.fill,
                              TargetOf(entry, shape.fill), &slot),
                   nullptr);
      ASSERT_EQ(slot.index, place - entries.begin());
      ASSERT_EQ(slot.equal, there);
      ASSERT_EQ(slot.key_equal, place != entries.end() && place->first == entry.first);
      const PageBuffer before = page;
      LeafChange change;
      if (remove) {
        ASSERT_TRUE(RemoveFromLeaf(page.bytes, &head, shape.key_length, TargetOf(entry, shape.fill),
                                   slot, &change));
        entries.erase(place);
        removed_any = true;
      } else if (there) {
        continue;
      } else if (InsertIntoLeaf(page.bytes, &head, shape.key_length, TargetOf(entry, shape.fill),
                                slot, &change)) {
        entries.insert(place, entry);
      } else {
        ASSERT_EQ(std::memcmp(before.bytes, page.bytes, kPageSize), 0);
        break;
      }
      ASSERT_EQ(Decode(page, shape.key_length, shape.fill), entries);
      // What changed lies in the ranges that are said to have changed.
      for (std::size_t i = 0; i < kPageSize; ++i) {
        if (before.bytes[i] == page.bytes[i]) continue;
        const bool said =
            (i >= 2 && i < change.entries_end) || (i >= change.keys_begin && i < change.keys_end);
        // Bytes that are free now do not matter.
        const bool free =
            i >= kLeafHeader + head.count * layout.entry_bytes &&
            i < kLeafHeader + head.count * layout.entry_bytes + LoadLe16(page.bytes + 12);
        ASSERT_TRUE(said || free) << i;
      }
      if (!removed_any) {
        PageBuffer anew;
        Encode(entries, layout, shape.key_length, shape.fill, &anew);
        const std::size_t entries_end = kLeafHeader + entries.size() * layout.entry_bytes;
        const std::size_t bottom = entries_end + LoadLe16(page.bytes + 12);
        ASSERT_EQ(std::memcmp(anew.bytes, page.bytes, entries_end), 0) << step;
        ASSERT_EQ(std::memcmp(anew.bytes + bottom, page.bytes + bottom, kPageSize - bottom), 0);
      }
    }
    EXPECT_GT(entries.size(), 0U);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, LeafSpliceTest,
    ::testing::Values(Shape{1, 0x20, "AB"}, Shape{3, 0x20, "A \x01"},
                      Shape{8, 0x20, std::string("\x01 A", 3)},
                      Shape{8, 0x00, std::string("\0\x01\xFF", 3)}, Shape{20, 0x20, "abc "},
                      Shape{40, 0x20, std::string(" a\x1F", 3)}, Shape{100, 0x20, "abcdefghij"},
                      Shape{240, 0x00, std::string("\0a", 2)}, Shape{240, 0x20, "ab"}),
    [](const auto& shape) {
      return "Length" + std::to_string(shape.param.key_length) + "No" + std::to_string(shape.index);
    });

// A leaf as another program may have packed it: counts of shared bytes that reach into the fill
// of the key before, and others that are smaller than they could be.
TEST(LeafPageTest, ReadsAndChangesLeavesPackedOtherwise) {
  const LeafLayout layout = LeafLayout::For(8, 9);
  PageBuffer page;
  LeafWriter writer(page.bytes, 8);
  writer.Start(layout);
  const std::string keys[] = {"AB      ", "AB   X  ", "AB   XY ", "ABC     "};
  writer.Append(Bytes(keys[0]), 0, 2, 1);
  writer.Append(Bytes(keys[1]), 5, 6, 2);  // shares three blanks of the fill
  writer.Append(Bytes(keys[2]), 1, 7, 3);  // could share six
  writer.Append(Bytes(keys[3]), 0, 3, 4);
  writer.Finish(kLeafAttribute, kNoPage, kNoPage);
  std::vector<Entry> entries = {{keys[0], 1}, {keys[1], 2}, {keys[2], 3}, {keys[3], 4}};
  ASSERT_EQ(Decode(page, 8, 0x20), entries);

  for (std::size_t gone = 0; gone < 4; ++gone) {
    PageBuffer copy = page;
    LeafHead head;
    ASSERT_STREQ(ReadLeafHead(copy.bytes, &head), nullptr);
    LeafSlot slot;
    const LeafTarget target = TargetOf(entries[gone], 0x20);
    ASSERT_STREQ(FindInLeaf(copy.bytes, head, 8, 0x20, target, &slot), nullptr);
    ASSERT_TRUE(slot.equal);
    LeafChange change;
    ASSERT_TRUE(RemoveFromLeaf(copy.bytes, &head, 8, target, slot, &change));
    std::vector<Entry> rest = entries;
    rest.erase(rest.begin() + static_cast<std::ptrdiff_t>(gone));
    EXPECT_EQ(Decode(copy, 8, 0x20), rest) << gone;

    ASSERT_STREQ(FindInLeaf(copy.bytes, head, 8, 0x20, target, &slot), nullptr);
    ASSERT_EQ(slot.index, gone);
    ASSERT_TRUE(InsertIntoLeaf(copy.bytes, &head, 8, target, slot, &change));
    EXPECT_EQ(Decode(copy, 8, 0x20), entries) << gone;
  }
}

TEST(LeafPageTest, RefusesImpossibleHeads) {
  PageBuffer good;
  Encode({{"AAAA", 1}, {"AAAB", 2}}, LeafLayout::For(4, 2), 4, 0x20, &good);
  struct {
    std::size_t at;
    std::uint8_t value;
  } const damages[] = {
      {20, 17}, {21, 7}, {22, 0}, {23, 0}, {23, 4}, {14, 0}, {18, 0x1F}, {19, 1}, {3, 1},
  };
  for (const auto& damage : damages) {
    PageBuffer page = good;
    page.bytes[damage.at] = damage.value;
    LeafHead head;
    EXPECT_STRNE(ReadLeafHead(page.bytes, &head), nullptr) << damage.at;
  }
  // More key bytes than there is room for, counts beyond the key, a first key that shares.
  for (const std::uint64_t entry :
       {std::uint64_t{7} << 21, std::uint64_t{7} << 18, std::uint64_t{1} << 18}) {
    PageBuffer page = good;
    std::memcpy(page.bytes + 24, &entry, 3);
    LeafHead head;
    ASSERT_STREQ(ReadLeafHead(page.bytes, &head), nullptr);
    std::uint32_t bottom = 0;
    EXPECT_STRNE(CheckLeaf(page.bytes, head, 4, &bottom), nullptr);
    LeafSlot slot;
    const Entry sought{"ZZZZ", 1};
    EXPECT_STRNE(FindInLeaf(page.bytes, head, 4, 0x20, TargetOf(sought, 0x20), &slot), nullptr);
  }
}

}  // namespace
}  // namespace pv::engine::tree

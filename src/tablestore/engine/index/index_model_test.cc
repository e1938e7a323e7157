// Random changes against a sorted set, over many shapes of keys.
#include <algorithm>
#include <random>

#include "tablestore/engine/index/index_test_support.h"

namespace pv::engine {
namespace {

enum class Keys { kText, kBinary, kFewKinds, kAscending, kDescending };

struct Shape {
  std::size_t key_length;
  std::uint8_t fill;
  bool descending;
  Keys keys;
  int steps;
};

void PrintTo(const Shape& shape, std::ostream* out) {
  *out << "key length " << shape.key_length << ", fill " << int{shape.fill}
       << (shape.descending ? ", descending" : "") << ", keys " << static_cast<int>(shape.keys);
}

class KeySource {
 public:
  KeySource(const Shape& shape, unsigned seed) : shape_(shape), random_(seed) {}

  std::mt19937& random() { return random_; }

  std::string Next() {
    std::string key(shape_.key_length, static_cast<char>(shape_.fill));
    std::size_t length = 1 + random_() % shape_.key_length;
    switch (shape_.keys) {
      case Keys::kText:
        // Prefixes of names, so that bytes are shared; blanks inside.
        for (std::size_t i = 0; i < length; ++i) {
          key[i] = i % 7 == 6 ? ' ' : static_cast<char>('a' + random_() % (i < 4 ? 3 : 20));
        }
        break;
      case Keys::kBinary:
        for (std::size_t i = 0; i < length; ++i) {
          key[i] = static_cast<char>(random_() % 3 == 0 ? 0 : random_() % 256);
        }
        break;
      case Keys::kFewKinds:
        key[0] = static_cast<char>('A' + random_() % 3);
        break;
      case Keys::kAscending:
      case Keys::kDescending: {
        std::string digits = std::to_string(shape_.keys == Keys::kAscending ? 1'000'000 + count_
                                                                            : 9'000'000 - count_);
        ++count_;
        digits.resize(std::min(digits.size(), shape_.key_length));
        std::copy(digits.begin(), digits.end(), key.begin());
        break;
      }
    }
    return key;
  }

 private:
  const Shape& shape_;
  std::mt19937 random_;
  std::uint32_t count_ = 0;
};

class IndexModelTest : public ::testing::TestWithParam<Shape> {};

// Where a seek should come to, in the tag's direction.
const Entry* Expected(const Model& model, const std::string& key, bool descending) {
  if (!descending) {
    const auto it = model.lower_bound({key, 0});
    return it == model.end() ? nullptr : &*it;
  }
  const auto place = model.upper_bound({key, 0xFFFFFFFF});
  return place == model.begin() ? nullptr : &*std::prev(place);
}

TEST_P(IndexModelTest, HoldsWhatASortedSetHolds) {
  const Shape& shape = GetParam();
  platform::MemoryFileSystem files;
  files.StopRecording();
  const std::vector<TagDefinition> tags = {
      MakeTag("OTHER", 10), MakeTag("TESTED", shape.key_length, shape.fill, shape.descending)};
  OpenIndex open = CreateAt(&files, tags);
  ASSERT_EQ(open.index->tags().size(), 2U);
  Tag* tag = open.tag(1);
  KeySource keys(shape, 11);
  std::mt19937& random = keys.random();
  Model model;
  std::vector<Entry> list;  // the same, for picking one
  TagPosition walker;       // steps now and then while the tag changes
  PV_ASSERT_OK(tag->First(&walker));

  for (int step = 1; step <= shape.steps; ++step) {
    // Growing first, then shrinking to nothing.
    const bool grow = step <= shape.steps * 6 / 10;
    const bool insert = list.empty() || (random() % 10 < (grow ? 8U : 2U));
    PV_ASSERT_OK(open.index->BeginChange());
    if (insert) {
      Entry entry{keys.Next(), 1 + static_cast<std::uint32_t>(
                                       random() % (random() % 8 == 0 ? 3'000'000 : 30'000))};
      const auto found = tag->FindKey(Bytes(entry.first));
      ASSERT_TRUE(found.ok()) << found.status().message();
      const auto at = model.lower_bound({entry.first, 0});
      const bool there = at != model.end() && at->first == entry.first;
      ASSERT_EQ(*found != 0, there);
      ASSERT_TRUE(!there || model.contains({entry.first, *found}));
      if (model.insert(entry).second) {
        PV_ASSERT_OK(tag->Insert(Bytes(entry.first), entry.second));
        list.push_back(entry);
      }
    } else {
      const std::size_t pick = random() % list.size();
      const auto removed = tag->Remove(Bytes(list[pick].first), list[pick].second);
      ASSERT_TRUE(removed.ok()) << removed.status().message();
      ASSERT_TRUE(*removed);
      const auto again = tag->Remove(Bytes(list[pick].first), list[pick].second);
      ASSERT_TRUE(again.ok() && !*again);
      model.erase(list[pick]);
      list[pick] = list.back();
      list.pop_back();
    }
    PV_ASSERT_OK(open.index->EndChange());

    if (step % 7 == 0) {
      // A position from before the change finds its place again.
      const bool was_on_entry = walker.on_entry();
      const Entry from = was_on_entry ? Entry{KeyAt(*tag, walker), walker.record()} : Entry{};
      const bool was_past = walker.past_last();
      PV_ASSERT_OK(tag->Next(&walker));
      if (was_on_entry) {
        const Entry* next = nullptr;
        if (!shape.descending) {
          const auto it = model.upper_bound(from);
          if (it != model.end()) next = &*it;
        } else {
          const auto it = model.lower_bound(from);
          if (it != model.begin()) next = &*std::prev(it);
        }
        ASSERT_EQ(walker.on_entry(), next != nullptr);
        if (next != nullptr) {
          ASSERT_EQ(*next, Entry(KeyAt(*tag, walker), walker.record()));
        }
      } else if (was_past) {
        ASSERT_TRUE(walker.past_last());
        PV_ASSERT_OK(tag->First(&walker));
      }
    }
    if (step % 5 == 0) {
      const std::string sought =
          random() % 2 == 0 || list.empty() ? keys.Next() : list[random() % list.size()].first;
      TagPosition position;
      bool equal = false;
      PV_ASSERT_OK(tag->Seek(Bytes(sought), shape.key_length, &position, &equal));
      const Entry* expected = Expected(model, sought, shape.descending);
      ASSERT_EQ(position.on_entry(), expected != nullptr);
      if (expected != nullptr) {
        ASSERT_EQ(*expected, Entry(KeyAt(*tag, position), position.record()));
        ASSERT_EQ(equal, expected->first == sought);
      } else {
        ASSERT_TRUE(position.past_last());
        ASSERT_FALSE(equal);
      }
      if (!list.empty()) {
        const Entry& entry = list[random() % list.size()];
        PV_ASSERT_OK(tag->SeekEntry(Bytes(entry.first), entry.second, &position, &equal));
        ASSERT_TRUE(equal);
        ASSERT_EQ(position.record(), entry.second);
      }
    }
    if (step % (shape.steps / 8) == 0) {
      ExpectHolds(tag, model);
      EXPECT_THAT(open.index->Verify(), ::testing::IsEmpty());
      if (HasFailure()) return;
    }
  }
  while (!list.empty()) {
    PV_ASSERT_OK(open.index->BeginChange());
    ASSERT_TRUE(*tag->Remove(Bytes(list.back().first), list.back().second));
    PV_ASSERT_OK(open.index->EndChange());
    model.erase(list.back());
    list.pop_back();
    if (list.size() == 40) {
      // Another opener sees the same.
      OpenIndex again = OpenAt(&files, tags);
      ExpectHolds(again.tag(1), model);
    }
  }
  ExpectHolds(tag, {});
  EXPECT_THAT(open.index->Verify(), ::testing::IsEmpty());
  EXPECT_EQ(*open.tag(0)->CountEntries(), 0U);

  // What became free is used again: growing anew to the same size needs no longer file.
  const std::uint64_t size = *open.file->Size();
  PV_ASSERT_OK(open.index->BeginChange());
  for (int i = 0; i < 50; ++i) {
    const Entry entry{keys.Next(), static_cast<std::uint32_t>(i + 1)};
    model.insert(entry);
    PV_ASSERT_OK(tag->Insert(Bytes(entry.first), entry.second));
  }
  PV_ASSERT_OK(open.index->EndChange());
  ExpectHolds(tag, model);
  EXPECT_EQ(*open.file->Size(), size);
}

std::vector<Shape> Shapes() {
  std::vector<Shape> shapes;
  for (const std::size_t length : {1, 2, 4, 5, 8, 10, 16, 33, 100, 150, 166, 200, 239, 240}) {
    for (const bool descending : {false, true}) {
      shapes.push_back({length, 0x20, descending, Keys::kText, 2500});
      shapes.push_back({length, 0x00, descending, Keys::kBinary, 2500});
    }
    shapes.push_back({length, 0x20, false, Keys::kFewKinds, 2500});
    shapes.push_back({length, 0x00, true, Keys::kFewKinds, 2500});
    if (length >= 8) {
      shapes.push_back({length, 0x20, false, Keys::kAscending, 3000});
      shapes.push_back({length, 0x20, true, Keys::kDescending, 3000});
    }
  }
  return shapes;
}

INSTANTIATE_TEST_SUITE_P(Shapes, IndexModelTest, ::testing::ValuesIn(Shapes()),
                         [](const auto& shape) {
                           return "Length" + std::to_string(shape.param.key_length) + "No" +
                                  std::to_string(shape.index);
                         });

// Ascending inserts leave full leaves behind them.
TEST(IndexFillTest, ARunOfInsertsFillsItsLeaves) {
  for (const bool ascending : {true, false}) {
    platform::MemoryFileSystem files;
    files.StopRecording();
    OpenIndex open = CreateAt(&files, {MakeTag("T", 100)});
    PV_ASSERT_OK(open.index->BeginChange());
    std::uint64_t bytes = 0;
    for (std::uint32_t i = 0; i < 5000; ++i) {
      const std::string key =
          Padded("user" + std::to_string(ascending ? 10'000'000 + i : 99'999'999 - i), 100);
      bytes += 4 + 3;
      PV_ASSERT_OK(open.tag()->Insert(Bytes(key), i + 1));
    }
    PV_ASSERT_OK(open.index->EndChange());
    EXPECT_THAT(open.tag()->Verify(), ::testing::IsEmpty());
    // Leaves alone would be bytes; the pages above add a third for keys this long.
    EXPECT_LT(*open.file->Size(), bytes * 2) << ascending;
  }
}

// The deepest trees: keys so long that an interior page has two entries.
TEST(IndexDepthTest, LongRandomKeysStayWithinTheDepthLimit) {
  platform::MemoryFileSystem files;
  files.StopRecording();
  OpenIndex open = CreateAt(&files, {MakeTag("T", 240)});
  std::mt19937 random(5);
  PV_ASSERT_OK(open.index->BeginChange());
  for (std::uint32_t i = 1; i <= 20'000; ++i) {
    std::string key(240, 'x');
    for (char& c : key) c = static_cast<char>('a' + random() % 26);
    PV_ASSERT_OK(open.tag()->Insert(Bytes(key), i));
  }
  PV_ASSERT_OK(open.index->EndChange());
  EXPECT_THAT(open.tag()->Verify(), ::testing::IsEmpty());
  EXPECT_EQ(*open.tag()->CountEntries(), 20'000U);
}

}  // namespace
}  // namespace pv::engine

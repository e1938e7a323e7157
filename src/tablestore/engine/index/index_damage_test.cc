// Damaged files: cut at every length, every bit turned over. Nothing crashes, hangs, or walks out
// of order; every error names the file.
#include <algorithm>

#include "base/bytes.h"
#include "base/instrumented_test.h"
#include "tablestore/engine/error_codes.h"
#include "tablestore/engine/index/index_test_support.h"

namespace pv::engine {
namespace {

using platform::MemoryFileSystem;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

const std::vector<TagDefinition>& Tags() {
  static const std::vector<TagDefinition> tags = {MakeTag("LONG", 130),
                                                  MakeTag("DOWN", 6, 0, true)};
  return tags;
}

Entry LongKey(std::uint32_t number) {
  return {Padded("key" + std::to_string(number * 37 % 100), 130), number + 1};
}
Entry DownKey(std::uint32_t number) {
  return {Padded("v" + std::to_string(number % 9), 6, '\0'), number + 1};
}

// With `tail` bytes more in each key the tree becomes deep.
std::string SmallIndex(std::size_t tail = 0) {
  MemoryFileSystem files;
  {
    const OpenIndex open = CreateAt(&files, Tags());
    PV_EXPECT_OK(open.index->BeginChange());
    for (std::uint32_t i = 0; i < 130; ++i) {
      std::string key = LongKey(i).first;
      std::fill(key.begin() + 6, key.begin() + 6 + static_cast<std::ptrdiff_t>(tail), 'x');
      PV_EXPECT_OK(open.tag(0)->Insert(Bytes(key), i + 1));
      if (i < 30) PV_EXPECT_OK(open.tag(1)->Insert(Bytes(DownKey(i).first), i + 1));
    }
    for (std::uint32_t i = 0; i < 130 && tail == 0; i += 3) {
      EXPECT_TRUE(*open.tag(0)->Remove(Bytes(LongKey(i).first), i + 1));
    }
    PV_EXPECT_OK(open.index->EndChange());
    EXPECT_THAT(open.tag(0)->Verify(), IsEmpty());
    EXPECT_THAT(open.index->Verify(), IsEmpty());
  }
  return files.Get(kIndexPath);
}

void ExpectNamed(const Status& status) {
  EXPECT_TRUE(status.ok() || status.message().find(kIndexPath) != std::string::npos)
      << status.message();
}

// Does to a damaged index all that can be done to one. True when nothing gave an error.
bool Exercise(const std::string& bytes) {
  MemoryFileSystem files;
  files.StopRecording();
  files.Put(kIndexPath, bytes);
  const auto file = OpenFile(&files);
  auto index = IndexFile::Open(file.get());
  ExpectNamed(index.status());
  if (!index.ok()) {
    EXPECT_EQ(index.status().code(), StatusCode::kCorrupt) << index.status().message();
    EXPECT_EQ(index.status().detail(), kErrIndexDamaged);
    return false;
  }
  bool clean = true;
  const auto note = [&](const Status& status) {
    ExpectNamed(status);
    if (!status.ok()) {
      EXPECT_EQ(status.code(), StatusCode::kCorrupt) << status.message();
      clean = false;
    }
    return status.ok();
  };
  if (!(*index)->Verify().empty()) clean = false;
  note((*index)->IsMarked().status());
  note((*index)->ReservedPages().status());
  for (const auto& tag : (*index)->tags()) {
    if (tag->definition().name == "DOWN") tag->SetFillByte(0);
    const std::size_t key_length = tag->definition().key_length;
    if (!tag->Verify().empty()) clean = false;
    for (const bool forward : {true, false}) {
      TagPosition position;
      const bool up = forward != tag->definition().descending;
      Entry last;
      bool any = false;
      std::size_t steps = 0;
      bool ok = note(forward ? tag->First(&position) : tag->Last(&position));
      while (ok && position.on_entry()) {
        Entry entry{KeyAt(*tag, position), position.record()};
        EXPECT_TRUE(!any || (up ? last < entry : entry < last)) << "out of order unnoticed";
        last = std::move(entry);
        any = true;
        ++steps;
        if (steps > 20'000) {
          ADD_FAILURE() << "the walk does not end";
          return false;
        }
        (void)tag->StepNeedsLock(position, forward);
        ok = note(forward ? tag->Next(&position) : tag->Previous(&position));
      }
    }
    note(tag->CountEntries().status());
    for (std::uint32_t i = 0; i < 130; i += 10) {
      const std::string key = Padded(LongKey(i).first, key_length);
      TagPosition position;
      bool equal = false;
      note(tag->Seek(Bytes(key), std::min<std::size_t>(5, key_length), &position, &equal));
      note(tag->SeekEntry(Bytes(key), i, &position, &equal));
      note(tag->FindKey(Bytes(key)).status());
    }
    if (!note((*index)->BeginChange())) continue;
    bool whole = true;
    for (std::uint32_t i = 0; i < 130 && whole && !tag->definition().foreign_collation; i += 7) {
      const std::string key = Padded(LongKey(i).first, key_length, i % 2 == 0 ? 'x' : ' ');
      whole =
          note(tag->Insert(Bytes(key), 500 + i)) && note(tag->Remove(Bytes(key), i + 1).status());
    }
    if (whole) {
      whole = note((*index)->ReservePages(1).status()) && note((*index)->EndChange());
    }
    if (!whole) (*index)->AbandonChange();
  }
  // Whatever it is, a rebuild makes it whole, unless the directory itself is damaged.
  if (note((*index)->BeginChange()) && note((*index)->BeginRebuild())) {
    bool built = true;
    for (std::size_t i = 0; i < (*index)->tags().size() && built; ++i) {
      auto builder = (*index)->BuildTag(i);
      built = builder.ok() && note((*builder)->Finish());
    }
    if (built && note((*index)->FinishRebuild()) && note((*index)->EndChange())) {
      EXPECT_THAT((*index)->Verify(), IsEmpty());
      for (const auto& tag : (*index)->tags()) EXPECT_THAT(tag->Verify(), IsEmpty());
    }
  }
  return clean;
}

// Cuts inside a page and between pages of a tree of several levels.
TEST(IndexDamageTest, ADeepTreeCutAtEveryPage) {
  const std::string bytes = SmallIndex(60);
  EXPECT_TRUE(Exercise(bytes));
  for (std::size_t size = 100; size < bytes.size(); size += 103) {
    EXPECT_FALSE(Exercise(bytes.substr(0, size))) << size;
    if (testing::Test::HasFailure()) FAIL() << "cut at " << size;
  }
}

TEST(IndexDamageTest, CutAtEveryLength) {
  const std::string bytes = SmallIndex();
  EXPECT_TRUE(Exercise(bytes));
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    // Not all cuts hurt: free pages at the end are lost without harm.
    const bool clean = Exercise(bytes.substr(0, size));
    EXPECT_FALSE(clean && size < 4096) << size;
    if (testing::Test::HasFailure()) FAIL() << "cut at " << size;
  }
}

TEST(IndexDamageTest, EveryBitTurnedOver) {
  const std::string bytes = SmallIndex();
  for (std::size_t bit = 0; bit < bytes.size() * 8; bit += kBitStep) {
    std::string damaged = bytes;
    damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
    (void)Exercise(damaged);
    if (testing::Test::HasFailure()) FAIL() << "bit " << bit % 8 << " of byte " << bit / 8;
  }
}

TEST(IndexDamageTest, EveryPageReplacedByEveryOther) {
  const std::string bytes = SmallIndex(60);
  ASSERT_GT(bytes.size(), 40 * kPageSize);
  for (std::size_t to = kPageSize; to < bytes.size(); to += kPageSize) {
    for (std::size_t from = 0; from < bytes.size(); from += kPageSize) {
      if (from == to) continue;
      std::string damaged = bytes;
      damaged.replace(to, kPageSize, bytes.substr(from, kPageSize));
      (void)Exercise(damaged);
      if (testing::Test::HasFailure()) FAIL() << from << " over " << to;
    }
  }
}

// Says what is wrong, and where.
TEST(IndexDamageTest, FindingsNameFileTagAndPage) {
  const std::string bytes = SmallIndex();
  const std::size_t root = LoadLe32(bytes.data() + 1536);
  ASSERT_EQ(LoadLe16(bytes.data() + root) & 3, 1);
  const std::size_t key_length = 130;
  const auto child = [&](std::size_t page, std::size_t i) {
    return LoadBe32(bytes.data() + page + 12 + i * (key_length + 8) + key_length + 4);
  };
  std::size_t leaf = root;
  while ((bytes[leaf] & 2) == 0) leaf = child(leaf, 0);
  struct {
    std::size_t at;
    const char* with;
    std::size_t size;
    const char* says;
  } const damages[] = {
      {leaf, "\0", 1, "is damaged"},  // not a leaf any more
      {leaf + 2, "\xFF\xFF", 2, "is damaged: more entries than a leaf can hold"},
      {leaf + 4, "\0\4\0\0", 4, "has a wrong left neighbour"},
      {leaf + 8, "\xFF\xFF\xFF\xFF", 4, "has a wrong right neighbour"},
      {leaf + 12, "\0\0", 2, "has a wrong count of free bytes"},
      {leaf + 23, "\x09", 1, "is damaged: the bit widths of a leaf do not add up"},
      {leaf + 508, "\xFF", 1, "out of key and record order"},
      {root, "\0", 1, "is the root but is not marked so"},
      {root + 2, "\0\0", 2, "is damaged: an interior page without entries"},
      {root + 12, "#", 1, "names in entry 0 another key or record"},
      {root + 12 + key_length + 4, "\0\0\0\0", 4, "lies outside the file or not on a page"},
      {root + 12 + key_length + 4, "\x7F\0\0\0", 4, "lies outside the file or not on a page"},
  };
  for (const auto& damage : damages) {
    MemoryFileSystem files;
    std::string damaged = bytes;
    damaged.replace(damage.at, damage.size, std::string(damage.with, damage.size));
    files.Put(kIndexPath, damaged);
    const OpenIndex open = OpenAt(&files, Tags());
    const auto findings = open.tag(0)->Verify();
    EXPECT_THAT(findings, Contains(HasSubstr(damage.says)));
    EXPECT_THAT(findings, Contains(HasSubstr("/t.cdx: tag LONG: the page at ")));
    EXPECT_THAT(open.tag(1)->Verify(), IsEmpty());
  }
  // Leaves that do not know each other stop a walk.
  const std::size_t second = LoadLe32(bytes.data() + leaf + 8);
  for (const bool forward : {true, false}) {
    MemoryFileSystem files;
    std::string damaged = bytes;
    StoreLe32(damaged.data() + (forward ? second + 4 : leaf + 8), 1024);
    files.Put(kIndexPath, damaged);
    const OpenIndex open = OpenAt(&files, Tags());
    TagPosition position;
    Status status = forward ? open.tag(0)->First(&position) : open.tag(0)->Last(&position);
    while (status.ok() && position.on_entry()) {
      status = forward ? open.tag(0)->Next(&position) : open.tag(0)->Previous(&position);
    }
    EXPECT_EQ(status.code(), StatusCode::kCorrupt);
    EXPECT_THAT(status.message(), HasSubstr(forward ? "its left neighbour is not the page before"
                                                    : "its right neighbour is not the page after"));
  }
  // A child that leads back up: a ring.
  MemoryFileSystem files;
  std::string ring = bytes;
  StoreBe32(ring.data() + root + 12 + key_length + 4, static_cast<std::uint32_t>(root));
  files.Put(kIndexPath, ring);
  const OpenIndex open = OpenAt(&files, Tags());
  EXPECT_THAT(open.tag(0)->Verify(), Contains(HasSubstr("is used twice")));
  TagPosition position;
  const Status status = open.tag(0)->First(&position);
  EXPECT_EQ(status.code(), StatusCode::kCorrupt);
  EXPECT_THAT(status.message(), HasSubstr("form a ring"));
  EXPECT_THAT(open.tag(0)->FindKey(Bytes(LongKey(0).first)).status().message(), Not(IsEmpty()));
}

TEST(IndexDamageTest, BrokenHeadersAreErrorsThatNameTheTag) {
  const std::string bytes = SmallIndex();
  struct {
    std::size_t at;
    const char* with;
    std::size_t size;
    const char* says;
  } const damages[] = {
      {12, "\x0B", 1, "/t.cdx: the file is not a compound index"},
      {14, "\0", 1, "/t.cdx: the file is not a compound index"},
      {0, "\1", 1, "/t.cdx: the tag directory, page at 1025: a page cannot begin there"},
      {1536 + 12, "\0\0", 2, "tag LONG, page at 1536: a key length of 0 bytes"},
      {1536 + 12, "\xF1\0", 2, "tag LONG, page at 1536: a key length of 241 bytes"},
      {1536 + 14, "\x40", 1, "tag LONG, page at 1536: the options are not those of a tag"},
      {1536 + 502, "\2", 1, "tag LONG, page at 1536: neither ascending nor descending"},
      {1536 + 508, "\xFF\xFF", 2, "tag LONG, page at 1536: the expressions do not lie in the"},
      {1536 + 506, "\xFF\xFF", 2, "tag LONG, page at 1536: the expressions do not lie in the"},
      {1536 + 510, "\0\0", 2, "tag LONG, page at 1536: the expressions do not lie in the"},
  };
  for (const auto& damage : damages) {
    MemoryFileSystem files;
    std::string damaged = bytes;
    damaged.replace(damage.at, damage.size, std::string(damage.with, damage.size));
    files.Put(kIndexPath, damaged);
    const auto file = OpenFile(&files);
    const auto index = IndexFile::Open(file.get());
    ASSERT_FALSE(index.ok()) << damage.says;
    EXPECT_EQ(index.status().code(), StatusCode::kCorrupt);
    EXPECT_EQ(index.status().detail(), kErrIndexDamaged);
    EXPECT_THAT(index.status().message(), HasSubstr(damage.says));
  }
}

}  // namespace
}  // namespace pv::engine

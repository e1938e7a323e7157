// Building tags from sorted entries, and rebuilding a file in place.
#include <algorithm>
#include <random>

#include "tablestore/engine/index/index_test_support.h"

namespace pv::engine {
namespace {

using ::testing::IsEmpty;

void Rebuild(const OpenIndex& open, const std::vector<Model>& models) {
  PV_ASSERT_OK(open.index->BeginChange());
  PV_ASSERT_OK(open.index->BeginRebuild());
  for (std::size_t i = 0; i < models.size(); ++i) {
    auto builder = open.index->BuildTag(i);
    ASSERT_TRUE(builder.ok()) << builder.status().message();
    for (const Entry& e : models[i]) PV_ASSERT_OK((*builder)->Add(Bytes(e.first), e.second));
    PV_ASSERT_OK((*builder)->Finish());
  }
  PV_ASSERT_OK(open.index->FinishRebuild());
  PV_ASSERT_OK(open.index->EndChange());
}

Model RandomModel(std::mt19937* random, std::size_t count, std::size_t key_length,
                  std::uint8_t fill) {
  Model model;
  for (std::size_t i = 0; i < count; ++i) {
    std::string key(key_length, static_cast<char>(fill));
    const std::size_t length = (*random)() % (key_length + 1);
    for (std::size_t k = 0; k < length; ++k) key[k] = static_cast<char>('a' + (*random)() % 4);
    model.emplace(key, 1 + static_cast<std::uint32_t>((*random)() % 400'000));
  }
  return model;
}

class IndexBuildTest : public ::testing::TestWithParam<std::size_t> {};

TEST_P(IndexBuildTest, EqualsInserting) {
  const std::size_t key_length = GetParam();
  std::mt19937 random(3);
  for (const std::size_t count : {0, 1, 2, 3, 10, 60, 200, 1000, 5000}) {
    const Model model = RandomModel(&random, count, key_length, 0x20);
    platform::MemoryFileSystem files;
    files.StopRecording();
    const std::vector<TagDefinition> tags = {MakeTag("BUILT", key_length, 0x20, count % 2 == 0)};
    const OpenIndex built = CreateAt(&files, tags, "/built.cdx");
    const OpenIndex inserted = CreateAt(&files, tags, "/inserted.cdx");
    Rebuild(built, {model});
    PV_ASSERT_OK(inserted.index->BeginChange());
    std::vector<Entry> shuffled(model.begin(), model.end());
    std::shuffle(shuffled.begin(), shuffled.end(), random);
    for (const Entry& e : shuffled) PV_ASSERT_OK(inserted.tag()->Insert(Bytes(e.first), e.second));
    PV_ASSERT_OK(inserted.index->EndChange());
    ExpectHolds(built.tag(), model);
    ExpectHolds(inserted.tag(), model);
    EXPECT_THAT(built.index->Verify(), IsEmpty());
    EXPECT_LE(*built.file->Size(), *inserted.file->Size() + 3 * kPageSize);

    // It can be changed like any other.
    PV_ASSERT_OK(built.index->BeginChange());
    Model rest = model;
    for (std::size_t i = 0; i < shuffled.size(); i += 2) {
      ASSERT_TRUE(*built.tag()->Remove(Bytes(shuffled[i].first), shuffled[i].second));
      rest.erase(shuffled[i]);
    }
    for (const Entry& e : RandomModel(&random, 50, key_length, 0x20)) {
      if (rest.insert(e).second) PV_ASSERT_OK(built.tag()->Insert(Bytes(e.first), e.second));
    }
    PV_ASSERT_OK(built.index->EndChange());
    ExpectHolds(built.tag(), rest);
    EXPECT_THAT(built.index->Verify(), IsEmpty());
  }
}

INSTANTIATE_TEST_SUITE_P(KeyLengths, IndexBuildTest,
                         ::testing::Values(1, 4, 8, 10, 40, 100, 160, 240));

TEST(IndexRebuildTest, ReusesAndCutsTheFile) {
  platform::MemoryFileSystem files;
  const std::vector<TagDefinition> tags = {MakeTag("A", 30), MakeTag("B", 8, 0x00),
                                           MakeTag("C", 100)};
  const OpenIndex open = CreateAt(&files, tags);
  std::mt19937 random(9);
  std::vector<Model> models = {
      RandomModel(&random, 900, 30, 0x20), {}, RandomModel(&random, 900, 100, 0x20)};
  Rebuild(open, models);
  for (std::size_t i = 0; i < 3; ++i) ExpectHolds(open.tag(i), models[i]);
  EXPECT_THAT(open.index->Verify(), IsEmpty());
  const std::uint64_t built = *open.file->Size();

  // Random changes spread the tags over the file; rebuilding brings it back to its size.
  PV_ASSERT_OK(open.index->BeginChange());
  ASSERT_TRUE(open.index->ReservePages(3).ok());
  for (const std::size_t t : {0, 2}) {
    for (const Entry& e : RandomModel(&random, 900, tags[t].key_length, 0x20)) {
      if (models[t].insert(e).second) PV_ASSERT_OK(open.tag(t)->Insert(Bytes(e.first), e.second));
    }
  }
  PV_ASSERT_OK(open.index->EndChange());
  EXPECT_GT(*open.file->Size(), built);
  models[0].erase(models[0].begin(), std::next(models[0].begin(), 800));
  models[2].erase(models[2].begin(), std::next(models[2].begin(), 800));
  Rebuild(open, models);
  const OpenIndex fresh = CreateAt(&files, tags, "/fresh.cdx");
  Rebuild(fresh, models);
  EXPECT_EQ(*open.file->Size(), *fresh.file->Size());
  EXPECT_EQ(open.index->ReservedPages()->pages, 0U);
  for (std::size_t i = 0; i < 3; ++i) ExpectHolds(open.tag(i), models[i]);
  EXPECT_THAT(open.index->Verify(), IsEmpty());

  Rebuild(open, {{}, {}, {}});
  for (std::size_t i = 0; i < 3; ++i) ExpectHolds(open.tag(i), {});
  EXPECT_LE(*open.file->Size(), 12U * kPageSize);
  const OpenIndex again = OpenAt(&files, tags);
  for (std::size_t i = 0; i < 3; ++i) ExpectHolds(again.tag(i), {});
}

TEST(IndexRebuildTest, OtherOpenersNotice) {
  platform::MemoryFileSystem files;
  const std::vector<TagDefinition> tags = {MakeTag("A", 30)};
  const OpenIndex open = CreateAt(&files, tags);
  std::mt19937 random(4);
  const Model first = RandomModel(&random, 400, 30, 0x20);
  Rebuild(open, {first});
  const OpenIndex other = OpenAt(&files, tags);
  ExpectHolds(other.tag(), first);
  TagPosition position;
  PV_ASSERT_OK(other.tag()->First(&position));
  const Model second = RandomModel(&random, 300, 30, 0x20);
  Rebuild(open, {second});
  EXPECT_TRUE(other.tag()->StepNeedsLock(position, true));
  PV_ASSERT_OK(other.index->Refresh());
  const Entry from{KeyAt(*other.tag(), position), position.record()};
  PV_ASSERT_OK(other.tag()->Next(&position));
  ASSERT_TRUE(position.on_entry());
  EXPECT_EQ(*second.upper_bound(from), Entry(KeyAt(*other.tag(), position), position.record()));
  ExpectHolds(other.tag(), second);
}

TEST(IndexRebuildTest, RefusesWhatIsNotSorted) {
  platform::MemoryFileSystem files;
  const OpenIndex open = CreateAt(&files, {MakeTag("A", 4)});
  const std::pair<Entry, Entry> wrong[] = {
      {{"BBBB", 1}, {"AAAA", 2}}, {{"BBBB", 2}, {"BBBB", 1}}, {{"BBBB", 2}, {"BBBB", 2}}};
  for (const auto& [a, b] : wrong) {
    PV_ASSERT_OK(open.index->BeginChange());
    PV_ASSERT_OK(open.index->BeginRebuild());
    {
      auto builder = open.index->BuildTag(0);
      ASSERT_TRUE(builder.ok());
      EXPECT_EQ((*builder)->Add(Bytes("CCCC"), 0).code(), StatusCode::kInvalid);
      PV_ASSERT_OK((*builder)->Add(Bytes(a.first), a.second));
      EXPECT_EQ((*builder)->Add(Bytes(b.first), b.second).code(), StatusCode::kInvalid);
    }
    // A builder that was not finished leaves the mark.
    PV_ASSERT_OK(open.index->FinishRebuild());
    EXPECT_EQ(open.index->EndChange().code(), StatusCode::kCorrupt);
    EXPECT_TRUE(*open.index->IsMarked());
  }
  Rebuild(open, {{{"AAAA", 7}}});
  EXPECT_FALSE(*open.index->IsMarked());
  ExpectHolds(open.tag(), {{"AAAA", 7}});
}

TEST(IndexRebuildTest, GoesStepByStep) {
  platform::MemoryFileSystem files;
  const OpenIndex open = CreateAt(&files, {MakeTag("A", 4)});
  EXPECT_EQ(open.index->BuildTag(0).status().code(), StatusCode::kInvalid);
  EXPECT_EQ(open.index->FinishRebuild().code(), StatusCode::kInvalid);
  PV_ASSERT_OK(open.index->BeginChange());
  PV_ASSERT_OK(open.index->BeginRebuild());
  EXPECT_EQ(open.index->BeginRebuild().code(), StatusCode::kInvalid);
  EXPECT_EQ(open.index->BuildTag(1).status().code(), StatusCode::kInvalid);
  EXPECT_FALSE(open.tag()->Insert(Bytes("AAAA"), 1).ok());
  // Without FinishRebuild the bracket cannot end well.
  EXPECT_FALSE(open.index->EndChange().ok());
  EXPECT_TRUE(*open.index->IsMarked());
  PV_ASSERT_OK(open.index->BeginChange());
  PV_ASSERT_OK(open.index->BeginRebuild());
  {
    auto builder = open.index->BuildTag(0);
    ASSERT_TRUE(builder.ok());
    EXPECT_EQ(open.index->BuildTag(0).status().code(), StatusCode::kInvalid);
    PV_ASSERT_OK((*builder)->Finish());
    EXPECT_EQ((*builder)->Finish().code(), StatusCode::kInvalid);
    EXPECT_EQ((*builder)->Add(Bytes("AAAA"), 1).code(), StatusCode::kInvalid);
  }
  PV_ASSERT_OK(open.index->FinishRebuild());
  PV_ASSERT_OK(open.index->EndChange());
  ExpectHolds(open.tag(), {});
}

}  // namespace
}  // namespace pv::engine

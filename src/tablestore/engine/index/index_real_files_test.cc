// Index files that other programs wrote: the sample tables in the folder that the environment
// variable PV_SAMPLE_DATA names.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "base/bytes.h"
#include "base/text.h"
#include "platform/system.h"
#include "tablestore/engine/index/index_test_support.h"
#include "tablestore/engine/index/leaf_page.h"

namespace pv::engine {
namespace {

using ::testing::IsEmpty;

struct RealIndex {
  std::string name;
  std::string bytes;
  std::uint32_t records = 0;  // of its table
};

std::string ReadFile(const std::string& path) {
  auto content =
      platform::ReadWholeFile(platform::OperatingSystem().files, path, std::uint64_t{64} << 20);
  EXPECT_TRUE(content.ok()) << content.status().message();
  return content.ok() ? *content : std::string();
}

class IndexRealFilesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* const folder = std::getenv("PV_SAMPLE_DATA");
    if (folder == nullptr) GTEST_SKIP() << "PV_SAMPLE_DATA names no folder of sample tables";
    const std::string tables = platform::JoinPath(folder, "foxpro");
    const auto names = platform::OperatingSystem().files->List(tables);
    ASSERT_TRUE(names.ok()) << names.status().message();
    for (const std::string& name : *names) {
      if (!EqualsIgnoreCase(platform::ExtensionOf(name), ".cdx")) continue;
      RealIndex index;
      index.name = name;
      index.bytes = ReadFile(platform::JoinPath(tables, name));
      const auto data = platform::FindIgnoringCase(
          platform::OperatingSystem().files,
          platform::JoinPath(tables, std::string(platform::WithoutExtension(name)) + ".dbf"));
      ASSERT_TRUE(data.ok()) << data.status().message();
      index.records = LoadLe32(ReadFile(*data).data() + 4);
      indexes_.push_back(std::move(index));
    }
    ASSERT_GE(indexes_.size(), 5U);
  }

  // The integer keys are the only ones of four bytes.
  static void SetFillBytes(const OpenIndex& open) {
    for (const auto& tag : open.index->tags()) {
      tag->SetFillByte(tag->definition().key_length == 4 ? 0x00 : 0x20);
    }
  }

  static OpenIndex Load(const RealIndex& real, platform::MemoryFileSystem* files) {
    files->Put(kIndexPath, real.bytes);
    OpenIndex open = OpenAt(files);
    SetFillBytes(open);
    return open;
  }

  std::vector<RealIndex> indexes_;
};

TEST_F(IndexRealFilesTest, EveryTagIsWholeAndEveryEntryIsFound) {
  for (const RealIndex& real : indexes_) {
    platform::MemoryFileSystem files;
    const OpenIndex open = Load(real, &files);
    EXPECT_THAT(open.index->Verify(), IsEmpty());
    EXPECT_FALSE(*open.index->IsMarked());
    EXPECT_EQ(open.index->ReservedPages()->pages, 0U);
    EXPECT_GE(open.index->tags().size(), 2U);
    for (const auto& tag : open.index->tags()) {
      SCOPED_TRACE(real.name + " " + tag->definition().name);
      EXPECT_FALSE(tag->definition().expression.empty());
      EXPECT_FALSE(tag->definition().foreign_collation);
      const std::vector<Entry> entries = Walk(tag.get());
      EXPECT_EQ(entries.size(), real.records);
      ExpectHolds(tag.get(), Model(entries.begin(), entries.end()));
      for (const Entry& e : entries) {
        TagPosition position;
        bool equal = false;
        PV_ASSERT_OK(tag->SeekEntry(Bytes(e.first), e.second, &position, &equal));
        ASSERT_TRUE(equal) << e.second;
        PV_ASSERT_OK(tag->Seek(Bytes(e.first), e.first.size(), &position, &equal));
        ASSERT_TRUE(equal) << e.second;
        ASSERT_EQ(KeyAt(*tag, position), e.first);
        const auto found = tag->FindKey(Bytes(e.first));
        ASSERT_TRUE(found.ok());
        ASSERT_TRUE(std::find(entries.begin(), entries.end(), Entry(e.first, *found)) !=
                    entries.end());
      }
    }
  }
}

TEST_F(IndexRealFilesTest, ATagSaysWhatItIsMadeOf) {
  platform::MemoryFileSystem files;
  const auto customer = std::find_if(indexes_.begin(), indexes_.end(),
                                     [](const auto& i) { return i.name == "customer.cdx"; });
  ASSERT_TRUE(customer != indexes_.end());
  const OpenIndex open = Load(*customer, &files);
  std::vector<std::string> tags;
  for (const auto& tag : open.index->tags()) {
    tags.push_back(tag->definition().name + "=" + tag->definition().expression +
                   (tag->definition().candidate ? "!" : ""));
  }
  EXPECT_THAT(tags,
              ::testing::ElementsAre("COMPANY=company", "CONTACT=contact", "POSTALCODE=postalcode",
                                     "CUST_ID=cust_id!", "COUNTRY=UPPER(country)"));
}

// Our encoding of a leaf's entries is, byte for byte, the one that is there.
TEST_F(IndexRealFilesTest, EncodingALeafAnewGivesTheSameBytes) {
  int leaves = 0;
  for (const RealIndex& real : indexes_) {
    platform::MemoryFileSystem files;
    const OpenIndex open = Load(real, &files);
    for (const auto& tag : open.index->tags()) {
      SCOPED_TRACE(real.name + " " + tag->definition().name);
      const std::size_t key_length = tag->definition().key_length;
      const std::uint8_t fill = tag->definition().fill_byte;
      // Down to the first leaf, then along the row.
      const auto* const bytes = reinterpret_cast<const std::uint8_t*>(real.bytes.data());
      std::size_t page = 0;
      for (std::size_t at = tree::kHeaderSize; at < real.bytes.size(); at += kPageSize) {
        if (std::strcmp(reinterpret_cast<const char*>(bytes + at + kPageSize),
                        tag->definition().expression.c_str()) == 0) {
          page = LoadLe32(bytes + at);
          break;
        }
      }
      while (!tree::IsLeaf(bytes + page)) page = tree::InteriorChild(bytes + page, key_length, 0);
      std::vector<Entry> walked = Walk(tag.get());
      auto next = walked.begin();
      for (;; ++leaves) {
        tree::PageBuffer old = {};
        std::memcpy(old.bytes, bytes + page, kPageSize);
        tree::LeafHead head;
        ASSERT_STREQ(tree::ReadLeafHead(old.bytes, &head), nullptr);
        tree::PageBuffer anew;
        tree::LeafWriter writer(anew.bytes, key_length);
        writer.Start(head.layout);
        const std::string* before = nullptr;
        for (std::uint32_t i = 0; i < head.count; ++i, ++next) {
          ASSERT_TRUE(next != walked.end());
          const std::uint32_t trim = tree::TrimmedLength(Bytes(next->first), key_length, fill);
          std::uint32_t dup = 0;
          if (before != nullptr) {
            dup = std::min({tree::CommonPrefix(Bytes(*before), Bytes(next->first), key_length),
                            tree::TrimmedLength(Bytes(*before), key_length, fill), trim});
          }
          writer.Append(Bytes(next->first), dup, trim, next->second);
          before = &next->first;
        }
        writer.Finish(tree::AttributesOf(old.bytes), head.left, head.right);
        const std::size_t entries_end = tree::kLeafHeader + head.count * head.layout.entry_bytes;
        const std::size_t bottom = entries_end + LoadLe16(old.bytes + 12);
        ASSERT_EQ(std::memcmp(anew.bytes, old.bytes, entries_end), 0) << page;
        ASSERT_EQ(std::memcmp(anew.bytes + bottom, old.bytes + bottom, kPageSize - bottom), 0)
            << page;
        if (head.right == tree::kNoPage) break;
        page = head.right;
      }
      EXPECT_TRUE(next == walked.end());
    }
  }
  EXPECT_GT(leaves, 80);
}

TEST_F(IndexRealFilesTest, TakeChangesAndRebuilds) {
  for (const RealIndex& real : indexes_) {
    platform::MemoryFileSystem files;
    files.StopRecording();
    const OpenIndex open = Load(real, &files);
    std::vector<Model> models;
    for (const auto& tag : open.index->tags()) {
      const std::vector<Entry> entries = Walk(tag.get());
      Model model(entries.begin(), entries.end());
      PV_ASSERT_OK(open.index->BeginChange());
      for (std::size_t i = 0; i < entries.size(); i += 2) {
        ASSERT_TRUE(*tag->Remove(Bytes(entries[i].first), entries[i].second));
        model.erase(entries[i]);
      }
      PV_ASSERT_OK(open.index->EndChange());
      ExpectHolds(tag.get(), model);
      PV_ASSERT_OK(open.index->BeginChange());
      for (std::size_t i = 0; i < entries.size(); i += 2) {
        const Entry more{entries[i].first, entries[i].second + 100'000};
        PV_ASSERT_OK(tag->Insert(Bytes(entries[i].first), entries[i].second));
        PV_ASSERT_OK(tag->Insert(Bytes(more.first), more.second));
        model.insert(entries[i]);
        model.insert(more);
      }
      PV_ASSERT_OK(open.index->EndChange());
      ExpectHolds(tag.get(), model);
      models.push_back(std::move(model));
    }
    EXPECT_THAT(open.index->Verify(), IsEmpty());

    PV_ASSERT_OK(open.index->BeginChange());
    PV_ASSERT_OK(open.index->BeginRebuild());
    for (std::size_t i = 0; i < models.size(); ++i) {
      auto builder = open.index->BuildTag(i);
      ASSERT_TRUE(builder.ok());
      for (const Entry& e : models[i]) PV_ASSERT_OK((*builder)->Add(Bytes(e.first), e.second));
      PV_ASSERT_OK((*builder)->Finish());
    }
    PV_ASSERT_OK(open.index->FinishRebuild());
    PV_ASSERT_OK(open.index->EndChange());
    const OpenIndex again = OpenAt(&files);
    SetFillBytes(again);
    for (std::size_t i = 0; i < models.size(); ++i) ExpectHolds(again.tag(i), models[i]);
    EXPECT_THAT(again.index->Verify(), IsEmpty());
  }
}

}  // namespace
}  // namespace pv::engine

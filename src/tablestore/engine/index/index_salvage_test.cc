// Tag definitions out of damaged index files.
#include <gtest/gtest.h>

#include "platform/memory/memory_file_system.h"
#include "tablestore/engine/index/salvage.h"

namespace pv::engine {
namespace {

class SalvageTest : public ::testing::Test {
 protected:
  void SetUp() override {
    platform::OpenOptions options;
    options.create = platform::CreateMode::kCreateNew;
    auto file = files_.Open("/i.cdx", options);
    ASSERT_TRUE(file.ok());
    file_ = std::move(*file);
    for (int i = 0; i < 5; ++i) {
      TagDefinition d;
      d.name = "TAG" + std::to_string(i);
      d.expression = "UPPER(FIELD" + std::to_string(i) + ")";
      if (i % 2 == 0) d.filter = ".NOT. DELETED()";
      d.unique = i == 1;
      d.descending = i == 2;
      d.nullable = i == 3;
      d.key_length = static_cast<std::uint16_t>(10 + i);
      tags_.push_back(d);
    }
    ASSERT_TRUE(IndexFile::Create(file_.get(), tags_).ok());
  }
  std::vector<TagDefinition> Salvage() {
    auto tags = SalvageTags(file_.get());
    EXPECT_TRUE(tags.ok());
    return tags.ok() ? *tags : std::vector<TagDefinition>();
  }
  platform::MemoryFileSystem files_;
  std::unique_ptr<platform::File> file_;
  std::vector<TagDefinition> tags_;
};

TEST_F(SalvageTest, FindsEveryTagOfASoundFile) {
  const auto found = Salvage();
  ASSERT_EQ(found.size(), tags_.size());
  for (std::size_t i = 0; i < tags_.size(); ++i) {
    EXPECT_EQ(found[i].name, tags_[i].name);
    EXPECT_EQ(found[i].expression, tags_[i].expression);
    EXPECT_EQ(found[i].filter, tags_[i].filter);
    EXPECT_EQ(found[i].unique, tags_[i].unique);
    EXPECT_EQ(found[i].descending, tags_[i].descending);
    EXPECT_EQ(found[i].nullable, tags_[i].nullable);
    EXPECT_EQ(found[i].key_length, tags_[i].key_length);
  }
}

TEST_F(SalvageTest, FindsTheOthersWhateverPageIsLost) {
  const std::string whole = files_.Get("/i.cdx");
  for (std::size_t at = 0; at < whole.size(); at += 512) {
    std::string damaged = whole;
    damaged.replace(at, 512, 512, '\0');
    ASSERT_TRUE(file_->Write(0, damaged.data(), damaged.size()).ok());
    EXPECT_GE(Salvage().size(), tags_.size() - 1) << at;
  }
}

TEST_F(SalvageTest, EveryCutIsSafe) {
  for (std::uint64_t n = files_.Get("/i.cdx").size(); n-- > 0;) {
    ASSERT_TRUE(file_->Truncate(n).ok());
    EXPECT_LE(Salvage().size(), tags_.size());
  }
}

}  // namespace
}  // namespace pv::engine

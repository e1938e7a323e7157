#include "tablestore/engine/memo/memo_file.h"

#include <gtest/gtest.h>

#include "platform/memory/memory_file_system.h"
#include "tablestore/engine/error_codes.h"

namespace pv::engine {
namespace {

class MemoFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    platform::OpenOptions options;
    options.create = platform::CreateMode::kCreateNew;
    auto file = files_.Open("/m.fpt", options);
    ASSERT_TRUE(file.ok());
    file_ = std::move(*file);
    ASSERT_TRUE(MemoFile::Create(file_.get(), 64).ok());
    Open();
  }
  void Open() {
    auto memo = MemoFile::Open(file_.get());
    ASSERT_TRUE(memo.ok());
    memo_ = std::move(*memo);
  }
  std::uint32_t Append(const std::string& text) {
    auto block = memo_->Append(text, MemoType::kText);
    EXPECT_TRUE(block.ok()) << block.status().message();
    return block.ok() ? *block : 0;
  }
  std::string Read(std::uint32_t block) {
    auto text = memo_->Read(block);
    return text.ok() ? *text : "! " + text.status().message();
  }
  platform::MemoryFileSystem files_;
  std::unique_ptr<platform::File> file_;
  std::unique_ptr<MemoFile> memo_;
};

// A damaged counter must not make the file as large as it says.
TEST_F(MemoFileTest, ACounterFarBeyondTheEndIsDamage) {
  const std::uint32_t kept = Append("kept");
  const std::uint64_t size = *file_->Size();
  ASSERT_TRUE(file_->Write(0, "\x00\xFF\x00\x00", 4).ok());
  const auto block = memo_->Append("new", MemoType::kText);
  ASSERT_FALSE(block.ok());
  EXPECT_EQ(block.status().detail(), kErrMemoDamaged);
  EXPECT_EQ(memo_->Stage("entry").status().detail(), kErrMemoDamaged);
  EXPECT_EQ(*file_->Size(), size);
  EXPECT_EQ(Read(kept), "kept");
}

TEST_F(MemoFileTest, TextsOfEveryLengthComeBack) {
  std::vector<std::pair<std::uint32_t, std::string>> written;
  for (std::size_t n = 0; n < 300; ++n) {
    std::string text(n, static_cast<char>('a' + n % 26));
    if (n > 2) text[1] = '\0';
    written.emplace_back(Append(text), text);
  }
  EXPECT_EQ(written[0].first, 8U);  // the first block behind the header
  Open();
  for (const auto& [block, text] : written) EXPECT_EQ(Read(block), text);
  EXPECT_EQ(Read(0), "");
  EXPECT_EQ(files_.Get("/m.fpt").size() % 64, 0U);
}

TEST_F(MemoFileTest, BlockNumbersThatLieAreErrors) {
  const std::uint32_t block = Append("hello");
  for (const std::uint32_t bad : {1U, 7U, block + 1, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    auto text = memo_->Read(bad);
    ASSERT_FALSE(text.ok()) << bad;
    EXPECT_EQ(text.status().detail(), kErrMemoDamaged);
    EXPECT_NE(text.status().message().find("/m.fpt"), std::string::npos);
  }
  // A length that would end beyond the file, and a type that does not exist.
  ASSERT_TRUE(file_->Write(block * 64 + 4, "\0\0\xFF\xFF", 4).ok());
  EXPECT_FALSE(memo_->Read(block).ok());
  ASSERT_TRUE(file_->Write(block * 64, "\0\0\0\x07\0\0\0\x05", 8).ok());
  EXPECT_FALSE(memo_->Read(block).ok());
}

TEST_F(MemoFileTest, ACounterThatLiesGivesOutNoUsedBlock) {
  const std::uint32_t first = Append("precious");
  for (const char* counter : {"\0\0\0\0", "\0\0\0\x08", "\0\0\0\x01"}) {
    ASSERT_TRUE(file_->Write(0, counter, 4).ok());
    const std::uint32_t next = Append("newcomer");
    EXPECT_GT(next, first);
    EXPECT_EQ(Read(first), "precious");
    EXPECT_EQ(Read(next), "newcomer");
  }
}

TEST_F(MemoFileTest, AFullFileRefusesBeforeWriting) {
  ASSERT_TRUE(file_->Write(0, "\x7F\xFF\xFF\xFF", 4).ok());
  const std::string before = files_.Get("/m.fpt");
  auto block = memo_->Append("x", MemoType::kText);
  ASSERT_FALSE(block.ok());
  EXPECT_EQ(block.status().detail(), kErrTooLarge);
  EXPECT_EQ(files_.Get("/m.fpt"), before);
}

TEST_F(MemoFileTest, EveryCutHeaderIsAnError) {
  for (std::uint64_t n = 0; n < 8; ++n) {
    ASSERT_TRUE(file_->Truncate(n).ok());
    EXPECT_FALSE(MemoFile::Open(file_.get()).ok());
  }
  ASSERT_TRUE(file_->Write(0, "\0\0\0\x08\0\0\0\0", 8).ok());
  EXPECT_FALSE(MemoFile::Open(file_.get()).ok());  // blocks of no size
}

}  // namespace
}  // namespace pv::engine

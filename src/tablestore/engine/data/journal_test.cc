#include "tablestore/engine/data/journal.h"

#include <gtest/gtest.h>

#include "platform/memory/memory_file_system.h"

namespace pv::engine {
namespace {

constexpr std::uint64_t kOffset = 512;
constexpr std::uint64_t kCapacity = 1024;

class JournalTest : public ::testing::Test {
 protected:
  void SetUp() override {
    index_ = Make("/i.cdx", std::string(2048, '\0'));
    data_ = Make("/d.pvg", std::string(100, 'd'));
    memo_ = Make("/m.fpt", std::string(100, 'm') + "STAGED");
  }
  std::unique_ptr<platform::File> Make(const std::string& path, const std::string& content) {
    files_.Put(path, content);
    auto file = files_.Open(path, {});
    EXPECT_TRUE(file.ok());
    return std::move(*file);
  }
  bool Replay() {
    auto replayed = Journal::Replay(index_.get(), kOffset, kCapacity, data_.get(), memo_.get());
    EXPECT_TRUE(replayed.ok());
    return replayed.ok() && *replayed;
  }
  void Commit() {
    Journal journal;
    journal.AddBytes(Journal::Target::kData, 10, "NEWDATA");
    journal.AddStaged(20, 100, "STAGED");
    ASSERT_TRUE(journal.Commit(index_.get(), kOffset).ok());
  }

  platform::MemoryFileSystem files_;
  std::unique_ptr<platform::File> index_, data_, memo_;
};

TEST_F(JournalTest, CarriesOutWhatWasCommittedOnce) {
  EXPECT_FALSE(Replay());  // nothing there yet
  Commit();
  EXPECT_TRUE(Replay());
  EXPECT_EQ(files_.Get("/d.pvg").substr(8, 12), "ddNEWDATAddd");
  EXPECT_EQ(files_.Get("/m.fpt").substr(18, 10), "mmSTAGEDmm");
  EXPECT_FALSE(Replay());
}

TEST_F(JournalTest, FinishedChangesAreNotDoneAgain) {
  Commit();
  ASSERT_TRUE(Journal::Finish(index_.get(), kOffset).ok());
  EXPECT_FALSE(Replay());
  EXPECT_EQ(files_.Get("/d.pvg"), std::string(100, 'd'));
}

TEST_F(JournalTest, EveryTornListIsLeftAlone) {
  Commit();
  const std::string whole = files_.Get("/i.cdx");
  Journal sized;
  sized.AddBytes(Journal::Target::kData, 10, "NEWDATA");
  sized.AddStaged(20, 100, "STAGED");
  for (std::size_t cut = 0; cut < sized.size(); ++cut) {
    std::string torn = whole;
    std::fill(torn.begin() + static_cast<std::ptrdiff_t>(kOffset + cut),
              torn.begin() + kOffset + static_cast<std::ptrdiff_t>(sized.size()), '\0');
    if (torn == whole) continue;  // the rest was zero anyway
    ASSERT_TRUE(index_->Write(0, torn.data(), torn.size()).ok());
    EXPECT_FALSE(Replay()) << cut;
    EXPECT_EQ(files_.Get("/d.pvg"), std::string(100, 'd')) << cut;
  }
}

TEST_F(JournalTest, EveryFlippedBitIsNoticed) {
  Commit();
  const std::string whole = files_.Get("/i.cdx");
  for (std::size_t bit = kOffset * 8; bit < (kOffset + 24 + 2 * 32 + 7) * 8; ++bit) {
    std::string flipped = whole;
    flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << (bit % 8)));
    ASSERT_TRUE(index_->Write(0, flipped.data(), flipped.size()).ok());
    EXPECT_FALSE(Replay()) << bit;
    ASSERT_EQ(files_.Get("/d.pvg"), std::string(100, 'd')) << bit;
  }
}

TEST_F(JournalTest, StagedBytesThatWereOverwrittenAreLeftAlone) {
  Commit();
  ASSERT_TRUE(memo_->Write(100, "OTHERS", 6).ok());
  EXPECT_TRUE(Replay());  // the record, not the memo
  EXPECT_EQ(files_.Get("/m.fpt").substr(0, 100), std::string(100, 'm'));
}

TEST_F(JournalTest, NeverWritesBeyondTheEndOfAFile) {
  Journal journal;
  journal.AddBytes(Journal::Target::kData, 98, "TOO LONG");
  ASSERT_TRUE(journal.Commit(index_.get(), kOffset).ok());
  EXPECT_FALSE(Replay());
  EXPECT_EQ(files_.Get("/d.pvg"), std::string(100, 'd'));
}

TEST_F(JournalTest, ChecksumsTellEveryByteApart) {
  for (std::size_t n = 0; n < 40; ++n) {
    const std::string text(n, 'x');
    for (std::size_t i = 0; i < n; ++i) {
      std::string other = text;
      other[i] = 'y';
      EXPECT_NE(Checksum(text), Checksum(other));
    }
    EXPECT_NE(Checksum(text), Checksum(text + '\0'));
  }
}

}  // namespace
}  // namespace pv::engine

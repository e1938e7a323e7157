#include "tablestore/engine/read_ahead.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "platform/memory/memory_system.h"

namespace pv::engine {
namespace {

RecordLayout Layout(const std::vector<std::pair<char, std::uint16_t>>& fields) {
  RecordLayout layout;
  for (const auto& [type, length] : fields) {
    FieldLayout f;
    f.type = static_cast<FieldLetter>(type);
    f.offset = layout.record_length;
    f.length = length;
    layout.fields.push_back(f);
    layout.record_length += length;
  }
  return layout;
}

class ReadAheadTest : public ::testing::Test {
 protected:
  static constexpr std::uint64_t kFirst = 100;

  // A file of records with texts of every length, and some bytes before them.
  void Write(const RecordLayout& layout, std::uint32_t records) {
    std::mt19937 random(7);
    std::string bytes(kFirst, 'h');
    for (std::uint32_t r = 0; r < records; ++r) {
      std::string record(layout.record_length, ' ');
      for (const FieldLayout& f : layout.fields) {
        const std::size_t used = random() % (f.length + 1U);
        for (std::size_t i = 0; i < used; ++i) {
          record[f.offset + i] = "ab \x00\xFF"[random() % 5];
        }
      }
      records_.push_back(record);
      bytes += record;
    }
    platform::OpenOptions options;
    options.create = platform::CreateMode::kCreateNew;
    ASSERT_TRUE(memory_.files.CreateFolders("/data").ok());
    file_ = *memory_.files.Open("/data/t", options);
    ASSERT_TRUE(file_->Write(0, bytes.data(), bytes.size()).ok());
  }

  // Takes the next record and compares it; false when it was not fetched.
  bool TakeAndCompare(ReadAhead* ahead, std::uint32_t length) {
    const std::uint32_t number = ahead->number();
    std::vector<std::uint8_t> out(length + ReadAhead::kSlack, 0);
    if (!ahead->Take(out.data())) return false;
    EXPECT_EQ(std::string(out.begin(), out.begin() + length), records_[number - 1]) << number;
    return true;
  }

  platform::MemorySystem memory_;
  std::unique_ptr<platform::File> file_;
  std::vector<std::string> records_;
};

TEST_F(ReadAheadTest, GivesOutWhatIsInTheFileInTheOrderOfTheWalk) {
  const RecordLayout layouts[] = {
      Layout({{'C', 100}, {'C', 40}, {'N', 10}, {'C', 7}, {'L', 1}, {'C', 60}}),
      Layout({{'I', 4}, {'C', 254}, {'D', 8}}), Layout({{'C', 1}}), Layout({})};
  for (const RecordLayout& layout : layouts) {
    records_.clear();
    static_cast<void>(memory_.files.Remove("/data/t"));
    Write(layout, 700);
    std::vector<std::uint32_t> numbers;
    for (std::uint32_t i = 0; i < 2000; ++i) numbers.push_back(i * 7919 % 700 + 1);
    ReadAhead ahead(layout);
    ahead.Fetch(numbers, file_.get(), kFirst);
    EXPECT_EQ(ahead.fetched(), numbers.size());
    for (const std::uint32_t number : numbers) {
      ASSERT_FALSE(ahead.empty());
      ASSERT_EQ(ahead.number(), number);
      ASSERT_TRUE(TakeAndCompare(&ahead, layout.record_length));
    }
    EXPECT_TRUE(ahead.empty());
    EXPECT_GT(ahead.Capacity(), 1000U);
  }
}

TEST_F(ReadAheadTest, LeavesOutWhatCannotBeRead) {
  const RecordLayout layout = Layout({{'C', 20}});
  Write(layout, 10);
  ReadAhead ahead(layout);
  ahead.Fetch({3, 11, 10, 5000, 1}, file_.get(), kFirst);
  EXPECT_TRUE(TakeAndCompare(&ahead, layout.record_length));
  EXPECT_FALSE(TakeAndCompare(&ahead, layout.record_length));
  EXPECT_TRUE(TakeAndCompare(&ahead, layout.record_length));
  EXPECT_FALSE(TakeAndCompare(&ahead, layout.record_length));
  EXPECT_TRUE(TakeAndCompare(&ahead, layout.record_length));
  EXPECT_TRUE(ahead.empty());
}

TEST_F(ReadAheadTest, KeepsToItsMemory) {
  // Nothing to leave out of such records.
  const RecordLayout layout = Layout({{'N', 20}, {'Z', 60'000}});
  Write(layout, 300);
  std::vector<std::uint32_t> numbers(300);
  for (std::uint32_t i = 0; i < 300; ++i) numbers[i] = 300 - i;
  ReadAhead ahead(layout);
  ahead.Fetch(numbers, file_.get(), kFirst);
  std::size_t given = 0;
  while (!ahead.empty()) given += TakeAndCompare(&ahead, layout.record_length) ? 1 : 0;
  EXPECT_LE(given, ReadAhead::kMostBytes / layout.record_length);
  EXPECT_GT(given, ReadAhead::kMostBytes / layout.record_length * 9 / 10);
  EXPECT_LE(ahead.Capacity(), ReadAhead::kMostBytes / layout.record_length);
}

}  // namespace
}  // namespace pv::engine

// A table at the largest size that the lock addresses allow, as a sparse file on the real disk.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "base/bytes.h"
#include "tablestore/engine/engine_test_support.h"

namespace pv::engine {
namespace {

constexpr std::uint64_t kLargest = 0x77FFFFFE;  // bytes of a data file, end mark included
constexpr std::uint64_t kRecordLength = 1 + 100 * 254;

TEST(Limit, TheLargestTableRefusesTheNextAppendAndStaysWhole) {
  std::string folder = (std::filesystem::temp_directory_path() / "pv-limit-XXXXXX").string();
  ASSERT_NE(mkdtemp(folder.data()), nullptr);
  const std::string path = folder + "/big.pvg";
  std::vector<FieldRecord> fields;
  for (int i = 0; i < 100; ++i) fields.push_back({"F" + std::to_string(i), 'C', 254, 0, 0});
  TestSession t;
  ASSERT_TRUE(t.Create(path, fields, {})) << t.Error();
  ASSERT_EQ(t.Close(), kSuccess);

  // All but one of the records that it can hold, as holes.
  const std::uint64_t header = std::filesystem::file_size(path) - 1;
  const auto most = static_cast<std::uint32_t>((kLargest - header - 1) / kRecordLength);
  {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    char count[4];
    StoreLe32(count, most - 1);
    file.seekp(4);
    file.write(count, 4);
  }
  std::filesystem::resize_file(path, header + (most - 1) * kRecordLength + 1);

  for (const std::int32_t mode : {0, 1}) {
    ASSERT_TRUE(t.Open(path, mode)) << t.Error();
    d4appendStart(t.table(), 0);
    f4assignCharVB(d4fieldJ(t.table(), 1), "the last one");
    if (mode == 0) {
      EXPECT_EQ(d4append(t.table()), kSuccess) << t.Error();
      d4appendStart(t.table(), 0);
    }
    const std::uint64_t size = std::filesystem::file_size(path);
    EXPECT_LE(size, kLargest);
    EXPECT_EQ(d4append(t.table()), kErrTooLarge);
    const std::string text = error4text(t.session(), kErrTooLarge);
    EXPECT_NE(text.find(std::to_string(kLargest)), std::string::npos) << text;
    EXPECT_EQ(std::filesystem::file_size(path), size);
    EXPECT_EQ(d4recCountDo(t.table()), static_cast<std::int32_t>(most));
    ASSERT_EQ(d4bottom(t.table()), kSuccess);
    EXPECT_EQ(Trimmed(f4ptr(d4fieldJ(t.table(), 1)), 254), "the last one");
    ASSERT_EQ(t.Close(), kSuccess) << t.Error();
  }
  std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace pv::engine

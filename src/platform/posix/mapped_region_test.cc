#include "platform/posix/mapped_region.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/test_folder.h"

namespace pv::platform {
namespace {

class MappedRegionTest : public testing::Test {
 protected:
  MappedRegionTest()
      : descriptor_(::open((folder_ / "a").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
    EXPECT_GE(descriptor_, 0);
  }
  ~MappedRegionTest() override { ::close(descriptor_); }

  void Resize(off_t size) { ASSERT_EQ(::ftruncate(descriptor_, size), 0); }

  TestFolder folder_;
  int descriptor_;
};

// Kilobytes of mapped files that are resident in this process.
long ResidentFileKilobytes() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("RssFile:", 0) == 0) return std::stol(line.substr(8));
  }
  return -1;
}

TEST_F(MappedRegionTest, CopiesThatMeetTheEndSaySo) {
  Resize(8192);
  MappedRegion region;
  ASSERT_TRUE(region.Cover(descriptor_, 8192, true));
  std::string bytes(8192, '?');
  ASSERT_TRUE(region.Admit(0, 8192));
  EXPECT_TRUE(region.CopyOut(0, bytes.data(), 8192));
  EXPECT_TRUE(region.CopyIn(4000, "across the pages", 16));
  Resize(4096);
  EXPECT_FALSE(region.CopyOut(0, bytes.data(), 8192));
  EXPECT_FALSE(region.CopyIn(8000, "x", 1));
  EXPECT_TRUE(region.CopyOut(0, bytes.data(), 4096));
  EXPECT_EQ(bytes.substr(4000, 6), "across");
  Resize(8192);
  EXPECT_TRUE(region.CopyIn(8000, "x", 1));
}

TEST_F(MappedRegionTest, EveryThreadIsGuardedByItself) {
  Resize(4096);
  std::vector<std::thread> threads;
  std::atomic<int> wrong = 0;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      MappedRegion region;
      char bytes[64];
      if (!region.Cover(descriptor_, 1 << 20, false) || !region.Admit(0, 1 << 20)) ++wrong;
      for (int i = 0; i < 500; ++i) {
        if (region.CopyOut(500'000, bytes, sizeof bytes)) ++wrong;
        if (!region.CopyOut(100, bytes, sizeof bytes)) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

TEST_F(MappedRegionTest, RefusesWhatTheSystemDoesNotMap) {
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  MappedRegion region;
  EXPECT_FALSE(region.Cover(ends[0], 100, false));
  EXPECT_FALSE(region.Cover(ends[0], 100, false));
  ::close(ends[0]);
  ::close(ends[1]);
  MappedRegion huge;
  EXPECT_FALSE(huge.Cover(descriptor_, UINT64_MAX / 2, true));
}

TEST_F(MappedRegionTest, ResidentPagesStayBoundedInAnyOrder) {
  constexpr std::uint64_t kSize = std::uint64_t{128} << 20;
  const std::string block(1 << 20, 'x');
  for (std::uint64_t offset = 0; offset < kSize; offset += block.size()) {
    ASSERT_EQ(::pwrite(descriptor_, block.data(), block.size(), static_cast<off_t>(offset)),
              static_cast<ssize_t>(block.size()));
  }
  MappedRegion region{MappedRegion::Passing()};
  ASSERT_TRUE(region.Cover(descriptor_, kSize, true));
  const long before = ResidentFileKilobytes();
  ASSERT_GT(before, 0);
  long most = 0;
  char bytes[300];
  std::uint64_t offset = 0;
  int admitted[2] = {};
  for (int i = 0; i < 800'000; ++i) {
    // First in order, then jumping about.
    const bool jumping = i >= 400'000;
    offset = (offset + (jumping ? 77'777'777 : 300)) % (kSize - sizeof bytes);
    if (region.Admit(offset, sizeof bytes)) {
      ++admitted[jumping];
      ASSERT_TRUE(region.CopyOut(offset, bytes, sizeof bytes));
      ASSERT_EQ(bytes[0], 'x');
    }
    if (i % 4000 == 0) most = std::max(most, ResidentFileKilobytes() - before);
  }
  // The limit and what else the program itself has touched meanwhile.
  EXPECT_LT(most, 2048 + 2048);
  EXPECT_GT(most, 256);
  // In order nearly everything is mapped; jumping about, the share that the limit allows.
  EXPECT_GT(admitted[0], 395'000);
  EXPECT_GT(admitted[1], 1'000);
  EXPECT_LT(admitted[1], 20'000);
}

// A fault of our own is caught, and one at a foreign address goes to the handler that was there
// before. Runs twice: the second time in a new program, where no handler of ours is yet.
TEST_F(MappedRegionTest, AForeignFaultReachesTheHandlerBefore) {
  constexpr const char* kVariable = "PV_TEST_FOREIGN_FAULT";
  if (std::getenv(kVariable) == nullptr) {
    const pid_t child = ::fork();
    if (child == 0) {
      ::setenv(kVariable, "1", 1);
      ::execl("/proc/self/exe", "platform_test",
              "--gtest_filter=MappedRegionTest.AForeignFaultReachesTheHandlerBefore",
              static_cast<char*>(nullptr));
      ::_exit(1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << status;
    EXPECT_EQ(WEXITSTATUS(status), 42);
    return;
  }
  struct sigaction action = {};
  action.sa_handler = [](int) { ::_exit(42); };
  ASSERT_EQ(::sigaction(SIGBUS, &action, nullptr), 0);
  Resize(4096);
  MappedRegion region;
  ASSERT_TRUE(region.Cover(descriptor_, 8192, true) && region.Admit(0, 8192));
  char c = 0;
  ASSERT_FALSE(region.CopyOut(8000, &c, 1));
  const void* const foreign = ::mmap(nullptr, 8192, PROT_READ, MAP_SHARED, descriptor_, 0);
  ASSERT_NE(foreign, MAP_FAILED);
  c = static_cast<const volatile char*>(foreign)[8000];
  FAIL() << "the fault went by unseen";
}

}  // namespace
}  // namespace pv::platform

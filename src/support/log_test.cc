#include "support/log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "platform/memory/memory_system.h"

namespace pv::support {
namespace {

class LogTest : public testing::Test {
 protected:
  LogTest() { EXPECT_TRUE(machine_.files.CreateFolders("/var").ok()); }
  ~LogTest() override { StopLog(); }

  // What a file holds, with the line ends of the system as "\n".
  std::string Text(const std::string& path) {
    std::string text = machine_.files.Get(path);
#ifdef _WIN32
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'),
              std::count(text.begin(), text.end(), '\r'));
    std::erase(text, '\r');
#endif
    return text;
  }

  static constexpr const char* kFile = "/var/pv.log";
  platform::MemorySystem machine_;
  platform::ScopedSystem scope_{machine_.system()};
};

#ifdef _WIN32
constexpr const char* kEnd = "\r\n";
#else
constexpr const char* kEnd = "\n";
#endif

constexpr const char* kHeading = "\n** Logging Started 29 Feb 2024 13:45:00 Level : 3\n** \n\n";

TEST_F(LogTest, OpeningWritesTheHeading) {
  EXPECT_FALSE(IsLogging());
  OpenLog(kFile, 3);
  EXPECT_TRUE(IsLogging());
  EXPECT_EQ(Text(kFile), kHeading);
}

TEST_F(LogTest, OpeningAppendsToAnEarlierLog) {
  machine_.files.Put(kFile, "earlier" + std::string(kEnd));
  OpenLog(kFile, 3);
  EXPECT_EQ(Text(kFile), std::string("earlier\n") + kHeading);
}

TEST_F(LogTest, WritesLabelAndMessage) {
  OpenLog(kFile, 3);
  Log("MoveFirst", "Entry", 3);
  EXPECT_EQ(Text(kFile), std::string(kHeading) + "MoveFirst - Entry\n");
}

TEST_F(LogTest, EmptyLabelLeavesTheMessageAlone) {
  OpenLog(kFile, 3);
  Log("", "just this", 1);
  EXPECT_EQ(Text(kFile), std::string(kHeading) + "just this\n");
}

TEST_F(LogTest, LineAboveTheLevelIsNotWritten) {
  OpenLog(kFile, 1);
  const std::string heading = Text(kFile);
  EXPECT_TRUE(LogsAt(1));
  EXPECT_FALSE(LogsAt(2));
  Log("a", "b", 2);
  EXPECT_EQ(Text(kFile), heading);
  Log("a", "b", 1);
  EXPECT_EQ(Text(kFile), heading + "a - b\n");
}

TEST_F(LogTest, RollsOverBehind65536Bytes) {
  OpenLog(kFile, 3);
  machine_.files.Put(kFile, std::string(65'536, 'x'));
  Log("a", "at the limit", 3);
  EXPECT_FALSE(machine_.files.Has("/var/pv.log.old")) << "65536 bytes are not more than 65536";
  machine_.files.Put("/var/pv.log.old", "older");
  machine_.files.Put(kFile, std::string(65'537, 'y'));
  Log("a", "new", 3);
  EXPECT_EQ(Text(kFile), "a - new\n");
  EXPECT_TRUE(machine_.files.Get("/var/pv.log.old") == std::string(65'537, 'y'));
}

TEST_F(LogTest, StoppingWritesNothingMore) {
  OpenLog(kFile, 3);
  StopLog();
  EXPECT_FALSE(IsLogging());
  Log("a", "b", 1);
  EXPECT_EQ(Text(kFile), kHeading);
}

TEST_F(LogTest, FileThatCannotBeOpenedEndsTheCallQuietly) {
  machine_.files.FailCall(1, platform::Call::kOpen, platform::Fault::kDenied, true);
  OpenLog(kFile, 3);
  EXPECT_FALSE(IsLogging());
  machine_.files.ClearFault();
  OpenLog(kFile, 3);
  machine_.files.FailCall(1, platform::Call::kAny, platform::Fault::kIoError, true);
  EXPECT_NO_THROW(Log("a", "b", 1));
  machine_.files.ClearFault();
  EXPECT_EQ(Text(kFile), kHeading);
}

TEST_F(LogTest, FileThatCannotBeRolledOverEndsTheCallQuietly) {
  OpenLog(kFile, 3);
  machine_.files.Put(kFile, std::string(70'000, 'x'));
  machine_.files.FailCall(1, platform::Call::kRename, platform::Fault::kDenied);
  EXPECT_NO_THROW(Log("a", "b", 1));
  EXPECT_EQ(Text(kFile).size(), 70'000U);
}

TEST_F(LogTest, WriterOfAnotherProcessIsWaitedFor) {
  OpenLog(kFile, 3);
  auto other = machine_.files.Open(kFile, {});
  ASSERT_TRUE(other.ok());
  ASSERT_TRUE((*other)->TryLock(0x7FFFFFFE, 1, platform::LockKind::kExclusive).ok());
  int pauses = 0;
  machine_.files.SetHook(platform::Call::kSleep, [&](platform::Call, const std::string&) {
    if (++pauses != 2) return;
    const std::string line = "theirs" + std::string(kEnd);
    EXPECT_TRUE((*other)->Write((*other)->Size().value(), line.data(), line.size()).ok());
    EXPECT_TRUE((*other)->Unlock(0x7FFFFFFE, 1).ok());
  });
  Log("", "ours", 1);
  machine_.files.SetHook(platform::Call::kSleep, {});
  EXPECT_EQ(Text(kFile), std::string(kHeading) + "theirs\nours\n");
}

TEST_F(LogTest, FileIsNotHeldOpenBetweenLines) {
  OpenLog(kFile, 3);
  Log("a", "b", 1);
  EXPECT_EQ(machine_.files.OpenFileCount(), 0);
}

}  // namespace
}  // namespace pv::support

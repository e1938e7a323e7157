// The operating system's trace windows.
#include "platform/trace_windows.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <thread>

#include "platform/system.h"
#include "platform/test_folder.h"

#ifndef _WIN32
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#endif

namespace pv::platform {
namespace {

constexpr std::uint32_t kPatience = 30'000;  // for what is certain to come

class TraceWindowsTest : public testing::Test {
 protected:
  TraceWindowsTest() {
#ifndef _WIN32
    const char* old = std::getenv("XDG_RUNTIME_DIR");
    if (old != nullptr) old_ = old;
    ::chmod(folder_.path().c_str(), 0700);
    ::setenv("XDG_RUNTIME_DIR", folder_.path().c_str(), 1);
#endif
  }
  ~TraceWindowsTest() override {
#ifndef _WIN32
    if (old_) {
      ::setenv("XDG_RUNTIME_DIR", old_->c_str(), 1);
    } else {
      ::unsetenv("XDG_RUNTIME_DIR");
    }
#endif
  }

  TestFolder folder_;
  std::optional<std::string> old_;
  TraceWindows& windows_ = *OperatingSystem().trace_windows;
  // Nobody else's window has it.
  const std::string title_ = "Test :: Trace " + std::to_string(std::random_device()());
};

// Sends from a thread of its own: on Windows a send waits for the receiver.
std::optional<TraceMessage> SendAndReceive(TraceWindows& windows, TraceHandle to,
                                           TraceListener* listener, const TraceMessage& message) {
  std::thread sender([&] { windows.Send(to, message); });
  auto got = listener->Receive(kPatience);
  sender.join();
  EXPECT_TRUE(got.ok()) << got.status().message();
  return got.ok() ? *got : std::nullopt;
}

TEST_F(TraceWindowsTest, NoneIsFoundUntilOneListens) {
  EXPECT_EQ(windows_.Find(title_), 0U);
  auto listener = windows_.Listen(title_);
  ASSERT_TRUE(listener.ok()) << listener.status().message();
  EXPECT_NE(windows_.Find(title_), 0U);
  EXPECT_EQ(windows_.Find(title_ + "x"), 0U);
  listener->reset();
  EXPECT_EQ(windows_.Find(title_), 0U);
}

TEST_F(TraceWindowsTest, ListenerIsFoundAfterManyQuestionsInVain) {
  for (int i = 0; i < 5000; ++i) ASSERT_EQ(windows_.Find(title_), 0U);
  auto listener = windows_.Listen(title_);
  ASSERT_TRUE(listener.ok()) << listener.status().message();
  int questions = 1;
  while (windows_.Find(title_) == 0 && questions < 1000) ++questions;
  EXPECT_LE(questions, 256);
  EXPECT_NE(windows_.Find(title_), 0U) << "from then on it is looked for at once";
  listener->reset();
  EXPECT_EQ(windows_.Find(title_), 0U);
}

TEST_F(TraceWindowsTest, MessageArrivesAsItWasSent) {
  auto listener = windows_.Listen(title_);
  ASSERT_TRUE(listener.ok()) << listener.status().message();
  const TraceHandle window = windows_.Find(title_);
  ASSERT_NE(window, 0U);
  EXPECT_EQ(windows_.Find(title_), window) << "one window, one handle";
  for (const TraceMessage& message :
       {TraceMessage{3, std::string("a line\0", 7)}, TraceMessage{3, std::string(1, '\0')},
        TraceMessage{0xFFFFFFFF, std::string("\xFF\x00\x80", 3)},
        TraceMessage{3, std::string(255, 'x')}}) {
    EXPECT_EQ(SendAndReceive(windows_, window, listener->get(), message), message);
  }
}

TEST_F(TraceWindowsTest, NothingComesWhenNothingIsSent) {
  auto listener = windows_.Listen(title_);
  ASSERT_TRUE(listener.ok()) << listener.status().message();
  const auto got = (*listener)->Receive(0);
  ASSERT_TRUE(got.ok());
  EXPECT_EQ(*got, std::nullopt);
}

TEST_F(TraceWindowsTest, SendingToNobodyIsLost) {
  windows_.Send(0, {3, "x"});
  auto listener = windows_.Listen(title_);
  ASSERT_TRUE(listener.ok()) << listener.status().message();
  const TraceHandle window = windows_.Find(title_);
  listener->reset();
  windows_.Send(window, {3, "x"});
#ifndef _WIN32
  windows_.Send(window + 1000, {3, "x"});
#endif
}

#ifndef _WIN32

TEST_F(TraceWindowsTest, ReceiverThatHangsIsNotWaitedFor) {
  auto listener = windows_.Listen(title_);
  ASSERT_TRUE(listener.ok()) << listener.status().message();
  const TraceHandle window = windows_.Find(title_);
  // More than any socket's queue holds; this returns.
  for (int i = 0; i < 20'000; ++i) windows_.Send(window, {3, std::string(255, 'x')});
  const auto first = (*listener)->Receive(kPatience);
  ASSERT_TRUE(first.ok());
  EXPECT_TRUE(first->has_value());
}

TEST_F(TraceWindowsTest, OneListenerATitle) {
  auto first = windows_.Listen(title_);
  ASSERT_TRUE(first.ok()) << first.status().message();
  const auto second = windows_.Listen(title_);
  ASSERT_FALSE(second.ok());
  EXPECT_EQ(second.status().code(), StatusCode::kBusy);
  EXPECT_NE(second.status().message().find(title_), std::string::npos);
  EXPECT_TRUE(windows_.Listen(title_ + "x").ok());
}

TEST_F(TraceWindowsTest, SocketOfADeadListenerIsNoWindowAndIsReplaced) {
  const std::string path = folder_ / title_;
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  ASSERT_LT(path.size(), sizeof address.sun_path);
  std::memcpy(address.sun_path, path.c_str(), path.size());
  const int dead = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(::bind(dead, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ::close(dead);
  EXPECT_EQ(windows_.Find(title_), 0U);
  auto listener = windows_.Listen(title_);
  ASSERT_TRUE(listener.ok()) << listener.status().message();
  EXPECT_NE(windows_.Find(title_), 0U);
}

TEST_F(TraceWindowsTest, ListenerThatComesBackIsReachedByTheOldHandle) {
  auto listener = windows_.Listen(title_);
  ASSERT_TRUE(listener.ok()) << listener.status().message();
  const TraceHandle window = windows_.Find(title_);
  listener->reset();
  auto again = windows_.Listen(title_);
  ASSERT_TRUE(again.ok()) << again.status().message();
  const TraceMessage message{3, "back"};
  EXPECT_EQ(SendAndReceive(windows_, window, again->get(), message), message);
}

TEST_F(TraceWindowsTest, DatagramsThatContradictThemselvesAreToldAndPassed) {
  auto listener = windows_.Listen(title_);
  ASSERT_TRUE(listener.ok()) << listener.status().message();
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  const std::string path = folder_ / title_;
  std::memcpy(address.sun_path, path.c_str(), path.size());
  const int out = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const auto send = [&](const std::string& bytes) {
    ASSERT_EQ(::sendto(out, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&address),
                       sizeof address),
              static_cast<ssize_t>(bytes.size()));
  };
  for (const std::string& bytes :
       {std::string(), std::string(7, '\0'), std::string("\3\0\0\0\2\0\0\0x", 9),
        std::string("\3\0\0\0\xFF\xFF\xFF\xFFx", 9), std::string(70'000, '\0')}) {
    send(bytes);
    const auto got = (*listener)->Receive(kPatience);
    EXPECT_EQ(got.status().code(), StatusCode::kCorrupt) << bytes.size();
  }
  send(std::string("\3\0\0\0\1\0\0\0x", 9));
  const auto got = (*listener)->Receive(kPatience);
  ASSERT_TRUE(got.ok());
  EXPECT_EQ(*got, (TraceMessage{3, "x"}));
  ::close(out);
}

TEST_F(TraceWindowsTest, FolderThatOthersMayWriteToIsNotTrusted) {
  auto listener = windows_.Listen(title_);
  ASSERT_TRUE(listener.ok()) << listener.status().message();
  ::chmod(folder_.path().c_str(), 0770);
  EXPECT_EQ(windows_.Find(title_), 0U);
  EXPECT_EQ(windows_.Listen(title_ + "x").status().code(), StatusCode::kDenied);
  ::chmod(folder_.path().c_str(), 0700);
  EXPECT_NE(windows_.Find(title_), 0U);
}

TEST_F(TraceWindowsTest, PathTooLongForASocketIsRefused) {
  const std::string longest(120, 'x');
  EXPECT_EQ(windows_.Find(longest), 0U);
  EXPECT_EQ(windows_.Listen(longest).status().code(), StatusCode::kLimit);
}

#endif

}  // namespace
}  // namespace pv::platform

// The operating system's registry: what holds for both kinds.
#include "platform/registry.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <random>
#include <set>
#include <vector>

#include "platform/system.h"
#include "platform/test_folder.h"

#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace pv::platform {
namespace {

class OperatingSystemRegistry : public testing::Test {
 protected:
  OperatingSystemRegistry() {
#ifndef _WIN32
    const char* old = std::getenv("XDG_CONFIG_HOME");
    if (old != nullptr) old_ = old;
    ::setenv("XDG_CONFIG_HOME", folder_.path().c_str(), 1);
#endif
    key_ = Make(path_);
  }
  ~OperatingSystemRegistry() override {
    for (const char* name : {"\\a", "\\b", ""})
      (void)registry_.DeleteKey(kCurrentUser, path_ + name);
    registry_.Close(key_);
#ifndef _WIN32
    if (old_) {
      ::setenv("XDG_CONFIG_HOME", old_->c_str(), 1);
    } else {
      ::unsetenv("XDG_CONFIG_HOME");
    }
#endif
  }
  RegistryKey Make(const std::string& path) {
    const auto key = registry_.Create(kCurrentUser, path, kRegistryAll);
    EXPECT_TRUE(key.ok()) << key.status().message();
    return key.ok() ? *key : 0;
  }

  TestFolder folder_;
  std::optional<std::string> old_;
  Registry& registry_ = *OperatingSystem().registry;
  const std::string path_ = "Software\\PvTest" + std::to_string(std::random_device()());
  RegistryKey key_ = 0;
};

TEST_F(OperatingSystemRegistry, KeepsEveryTypeAsItIs) {
  for (const RegistryValue& value :
       {RegistryValue{kRegistryText, std::string("Grüße\0", 8)},
        RegistryValue{kRegistryExpandable, std::string("%PATH%\0", 7)},
        RegistryValue{kRegistryBinary, std::string("\0\x01\xFF", 3)},
        RegistryValue{kRegistryBinary, ""}, RegistryValue{kRegistryNumber, "\x01\x02\x03\x04"},
        RegistryValue{kRegistryBigEndianNumber, "\x01\x02\x03\x04"},
        RegistryValue{kRegistryTextList, std::string("a\0b\0\0", 5)},
        RegistryValue{11, "12345678"}}) {
    ASSERT_TRUE(registry_.SetValue(key_, "Name", value).ok()) << value.type;
    const auto got = registry_.QueryValue(key_, "NAME");
    ASSERT_TRUE(got.ok()) << value.type;
    EXPECT_EQ(*got, value) << value.type;
  }
  EXPECT_EQ(registry_.QueryInfo(key_)->values, 1U);
}

TEST_F(OperatingSystemRegistry, FailuresHaveTheSystemsNumbers) {
  EXPECT_EQ(registry_.Open(kCurrentUser, path_ + "\\none", kRegistryRead).status().detail(),
            kRegistryNotFound);
  EXPECT_EQ(registry_.QueryValue(key_, "none").status().detail(), kRegistryNotFound);
  EXPECT_EQ(registry_.DeleteValue(key_, "none").detail(), kRegistryNotFound);
  EXPECT_EQ(registry_.DeleteKey(key_, "none").detail(), kRegistryNotFound);
  EXPECT_EQ(registry_.EnumKey(key_, 0).status().detail(), kRegistryNoMoreItems);
  EXPECT_EQ(registry_.EnumValue(key_, 0).status().detail(), kRegistryNoMoreItems);
  EXPECT_EQ(registry_.Open(0, "a", kRegistryRead).status().detail(), kRegistryInvalidHandle);
  const RegistryKey below = Make(path_ + "\\a");
  registry_.Close(below);
  const auto reader = registry_.Open(key_, "a", kRegistryRead);
  ASSERT_TRUE(reader.ok());
  EXPECT_EQ(registry_.SetValue(*reader, "n", {kRegistryText, std::string(1, '\0')}).detail(),
            kRegistryAccessDenied);
  registry_.Close(*reader);
}

TEST_F(OperatingSystemRegistry, ListsKeysAndValues) {
  registry_.Close(Make(path_ + "\\b"));
  registry_.Close(Make(path_ + "\\a"));
  for (const char* name : {"first", ""}) {
    ASSERT_TRUE(registry_.SetValue(key_, name, {kRegistryText, std::string(1, '\0')}).ok());
  }
  EXPECT_EQ(*registry_.EnumKey(key_, 0), "a");
  EXPECT_EQ(*registry_.EnumKey(key_, 1), "b");
  EXPECT_EQ(registry_.EnumKey(key_, 2).status().detail(), kRegistryNoMoreItems);
  EXPECT_EQ(registry_.QueryInfo(key_)->values, 2U);
  EXPECT_EQ(registry_.QueryInfo(key_)->longest_value_name, 5U);
  std::set<std::string> names{*registry_.EnumValue(key_, 0), *registry_.EnumValue(key_, 1)};
  EXPECT_EQ(names, (std::set<std::string>{"", "first"}));
}

TEST_F(OperatingSystemRegistry, KeyWithKeysBelowItStays) {
  registry_.Close(Make(path_ + "\\a"));
  EXPECT_EQ(registry_.DeleteKey(kCurrentUser, path_).detail(), kRegistryAccessDenied);
  EXPECT_TRUE(registry_.DeleteKey(key_, "a").ok());
  EXPECT_TRUE(registry_.DeleteKey(kCurrentUser, path_).ok());
}

TEST_F(OperatingSystemRegistry, LongValuesAreWhole) {
  const RegistryValue value{kRegistryBinary, std::string(100'000, 'x')};
  ASSERT_TRUE(registry_.SetValue(key_, "long", value).ok());
  EXPECT_EQ(*registry_.QueryValue(key_, "long"), value);
}

TEST_F(OperatingSystemRegistry, EnvironmentIsExpanded) {
  Process& process = *OperatingSystem().process;
  const std::string path = process.Environment("PATH").value_or("");
  ASSERT_FALSE(path.empty());
  EXPECT_EQ(process.ExpandEnvironment("a %PATH% b"), "a " + path + " b");
  for (const char* kept :
       {"", "%", "100%", "%PV_NO_SUCH_VARIABLE%", "%PV NONE%b%PV NONE%", "50%%PATH%"}) {
    EXPECT_EQ(process.ExpandEnvironment(kept), kept);
  }
}

#ifndef _WIN32

TEST_F(OperatingSystemRegistry, WritersOfSeveralProcessesLoseNothing) {
  constexpr int kWriters = 4;
  constexpr int kValues = 25;
  std::vector<pid_t> writers;
  for (int w = 0; w < kWriters; ++w) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child != 0) {
      writers.push_back(child);
      continue;
    }
    bool ok = true;
    for (int i = 0; i < kValues; ++i) {
      const std::string name = std::to_string(w) + "." + std::to_string(i);
      // Who waits in vain because the machine is busy tries again.
      Status status;
      do {
        status = registry_.SetValue(key_, name, {kRegistryText, name + '\0'});
      } while (status.detail() == kRegistryInUse);
      ok = ok && status.ok();
    }
    ::_exit(ok ? 0 : 1);
  }
  for (const pid_t writer : writers) {
    int status = -1;
    EXPECT_EQ(::waitpid(writer, &status, 0), writer);
    EXPECT_EQ(status, 0);
  }
  EXPECT_EQ(registry_.QueryInfo(key_)->values, static_cast<std::uint32_t>(kWriters * kValues));
}

TEST_F(OperatingSystemRegistry, FileIsTheUsersAlone) {
  ASSERT_TRUE(registry_.SetValue(key_, "n", {kRegistryText, std::string("v\0", 2)}).ok());
  const auto info = std::filesystem::status(folder_ / "pvgroup/registry.txt");
  EXPECT_EQ(info.permissions() & std::filesystem::perms::mask,
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

#endif

}  // namespace
}  // namespace pv::platform

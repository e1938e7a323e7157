#include "platform/system.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <set>
#include <thread>

#include "platform/memory/memory_system.h"
#include "platform/test_folder.h"

namespace pv::platform {
namespace {

TEST(CurrentSystem, IsTheOperatingSystemUnlessAScopeLives) {
  EXPECT_EQ(CurrentSystem().files, OperatingSystem().files);
  MemorySystem outer;
  MemorySystem inner;
  {
    ScopedSystem one(outer.system());
    EXPECT_EQ(CurrentSystem().files, &outer.files);
    {
      ScopedSystem two(inner.system());
      EXPECT_EQ(CurrentSystem().files, &inner.files);
      EXPECT_EQ(CurrentSystem().profiles, &inner.profiles);
      EXPECT_EQ(CurrentSystem().process, &inner.process);
      EXPECT_EQ(CurrentSystem().code_pages, &inner.code_pages);
    }
    EXPECT_EQ(CurrentSystem().files, &outer.files);
    const FileSystem* elsewhere = nullptr;
    std::thread([&] { elsewhere = CurrentSystem().files; }).join();
    EXPECT_EQ(elsewhere, OperatingSystem().files);
  }
  EXPECT_EQ(CurrentSystem().files, OperatingSystem().files);
}

TEST(OperatingSystemProfiles, ReadAndWrite) {
  TestFolder folder;
  Profiles& profiles = *OperatingSystem().profiles;
  const auto page = CodePage::Windows1252();
  const std::string file = folder / "a.dat";
  EXPECT_EQ(profiles.Read(file, "Properties", "Name", *page), std::nullopt);
  ASSERT_TRUE(profiles.Write(file, "Properties", "Name", "Grüße", *page).ok());
  EXPECT_EQ(profiles.Read(file, "PROPERTIES", "name", *page), "Grüße");
}

TEST(OperatingSystemProcess, KnowsItsHost) {
  Process& process = *OperatingSystem().process;
  EXPECT_EQ(process.HostName(), "platform_test");
  const std::string folder = process.HostFolder();
  ASSERT_FALSE(folder.empty());
  EXPECT_TRUE(folder.back() == '/' || folder.back() == '\\');
}

TEST(OperatingSystemProcess, KnowsItsOwnFolder) {
  Process& process = *OperatingSystem().process;
  EXPECT_EQ(process.OwnFolder(), process.HostFolder());  // this code is part of the executable
}

TEST(OperatingSystemProcess, LoadsFunctionsOfLibraries) {
  TestFolder folder;
  Process& process = *OperatingSystem().process;
  EXPECT_EQ(process.LoadFunction(folder / "none.so", "f").status().code(), StatusCode::kNotFound);
  EXPECT_EQ(process.LoadFunction("libm.so.6", "cos").status().code(), StatusCode::kInvalid);
  std::ofstream(folder / "text.so") << "no library";
  const Status text = process.LoadFunction(folder / "text.so", "f").status();
  EXPECT_EQ(text.code(), StatusCode::kUnsupported);
  EXPECT_NE(text.message().find("text.so"), std::string::npos) << text.message();
}

TEST(OperatingSystemProcess, LoadsFunctionsOfTheSystemsLibraries) {
  Process& process = *OperatingSystem().process;
#ifndef _WIN32
  const auto cosine = process.LoadSystemFunction("libm.so.6", "cos");
  ASSERT_TRUE(cosine.ok()) << cosine.status().message();
  EXPECT_EQ(reinterpret_cast<double (*)(double)>(*cosine)(0), 1);
  EXPECT_EQ(process.LoadSystemFunction("libm.so.6", "no_such").status().code(),
            StatusCode::kUnsupported);
#endif
  for (const char* name : {"libnone.so.9", "/lib/libm.so.6"}) {
    EXPECT_EQ(process.LoadSystemFunction(name, "cos").status().code(), StatusCode::kUnsupported);
  }
}

TEST(OperatingSystemProcess, IdentifiersAreOfVersionFourAndDiffer) {
  std::set<std::array<std::uint8_t, 16>> seen;
  for (int i = 0; i < 1000; ++i) {
    const auto id = OperatingSystem().process->NewIdentifier();
    ASSERT_TRUE(id.has_value());
    EXPECT_EQ((*id)[6] >> 4, 4);
    EXPECT_EQ((*id)[8] >> 6, 2);
    EXPECT_TRUE(seen.insert(*id).second);
  }
}

TEST(OperatingSystemProcess, LocalTimeIsAMoment) {
  const CivilDateTime now = OperatingSystem().process->LocalTime();
  EXPECT_TRUE(IsValidDate(now.date));
  EXPECT_GE(now.date.year, 2024);
  EXPECT_TRUE(DateTimeFromAutomation(AutomationFromDateTime(now)) == now);
}

#ifndef _WIN32
class ScopedVariable {
 public:
  ScopedVariable(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    Set(value);
  }
  ~ScopedVariable() { Set(old_ ? old_->c_str() : nullptr); }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  void Set(const char* value) {
    if (value == nullptr) {
      ::unsetenv(name_);
    } else {
      ::setenv(name_, value, 1);
    }
  }
  const char* name_;
  std::optional<std::string> old_;
};

TEST(OperatingSystemProcess, EnvironmentAndFolders) {
  Process& process = *OperatingSystem().process;
  const ScopedVariable unset("PV_TEST_VARIABLE", nullptr);
  EXPECT_EQ(process.Environment("PV_TEST_VARIABLE"), std::nullopt);
  const ScopedVariable empty("PV_TEST_VARIABLE", "");
  EXPECT_EQ(process.Environment("PV_TEST_VARIABLE"), "");

  const ScopedVariable home("HOME", "/home/somebody/");
  const ScopedVariable config("XDG_CONFIG_HOME", nullptr);
  const ScopedVariable data("XDG_DATA_HOME", "");
  EXPECT_EQ(process.ConfigFolder(), "/home/somebody/.config");
  EXPECT_EQ(process.DataFolder(), "/home/somebody/.local/share");
  const ScopedVariable set("XDG_CONFIG_HOME", "/etc/elsewhere//");
  const ScopedVariable relative("XDG_DATA_HOME", "not/absolute");
  EXPECT_EQ(process.ConfigFolder(), "/etc/elsewhere");
  EXPECT_EQ(process.DataFolder(), "/home/somebody/.local/share");
}

TEST(OperatingSystemProcess, MessagesAreOneLineOnStandardError) {
  testing::internal::CaptureStderr();
  OperatingSystem().process->ShowMessage("Title", "one\r\ntwo");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Title: one  two\n");
}
#endif

TEST(MemorySystem, IsWhatTheTestSays) {
  MemorySystem machine;
  machine.process.environment["A"] = "1";
  machine.process.host_folder = "C:\\app\\";
  machine.process.time = {{1999, 12, 31}, 23, 59, 59};
  machine.code_pages.system_page = 1251;
  const ScopedSystem scope(machine.system());
  Process& process = *CurrentSystem().process;
  EXPECT_EQ(process.Environment("A"), "1");
  EXPECT_EQ(process.Environment("B"), std::nullopt);
  EXPECT_EQ(process.HostFolder(), "C:\\app\\");
  EXPECT_EQ(process.LocalTime().date.year, 1999);
  process.ShowMessage("t", "m");
  ASSERT_EQ(machine.process.messages.size(), 1u);
  EXPECT_EQ(machine.process.messages[0].second, "m");
  const auto first = process.NewIdentifier();
  const auto second = process.NewIdentifier();
  ASSERT_TRUE(first && second);
  EXPECT_NE(*first, *second);
  EXPECT_EQ((*second)[15], 2);
  machine.process.has_identifiers = false;
  EXPECT_EQ(process.NewIdentifier(), std::nullopt);
  EXPECT_EQ(CurrentSystem().code_pages->SystemPage(), 1251);
  EXPECT_EQ((*CurrentSystem().code_pages->Load(1251))->Decode("\xC0"), "А");
}

}  // namespace
}  // namespace pv::platform

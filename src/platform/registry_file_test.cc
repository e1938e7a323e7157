#include "platform/registry_file.h"

#include <gtest/gtest.h>

#include "platform/memory/crash_replay.h"
#include "platform/memory/memory_system.h"

namespace pv::platform {
namespace {

constexpr const char* kFile = "/home/user/.config/pvgroup/registry.txt";

RegistryValue Text(const std::string& text) { return {kRegistryText, text + '\0'}; }

class FileRegistryTest : public testing::Test {
 protected:
  // Sets a value below the current user as a caller does it.
  static Status Set(MemorySystem& machine, const std::string& path, const std::string& name,
                    const RegistryValue& value) {
    PV_ASSIGN_OR_RETURN(const RegistryKey key,
                        machine.registry.Create(kCurrentUser, path, kRegistryAll));
    const Status status = machine.registry.SetValue(key, name, value);
    machine.registry.Close(key);
    return status;
  }
  static Result<RegistryValue> Get(MemorySystem& machine, const std::string& path,
                                   const std::string& name) {
    PV_ASSIGN_OR_RETURN(const RegistryKey key,
                        machine.registry.Open(kCurrentUser, path, kRegistryRead));
    Result<RegistryValue> value = machine.registry.QueryValue(key, name);
    machine.registry.Close(key);
    return value;
  }
  RegistryKey Make(const std::string& path, RegistryKey root = kCurrentUser) {
    const auto key = registry_.Create(root, path, kRegistryAll);
    EXPECT_TRUE(key.ok()) << key.status().message();
    return key.ok() ? *key : 0;
  }

  MemorySystem machine_;
  FileRegistry& registry_ = machine_.registry;
};

TEST_F(FileRegistryTest, IsOneReadableFile) {
  ASSERT_TRUE(Set(machine_, "Software\\Parvane", "Folder", Text("C:\\Daten")).ok());
  EXPECT_EQ(machine_.files.Get(kFile),
            "pvgroup registry 1\n\n[HKEY_CURRENT_USER\\Software\\Parvane]\n"
            "\"Folder\" = text \"C:\\\\Daten\"\n");
  EXPECT_EQ(machine_.files.List("/home/user/.config/pvgroup")->size(), 1U);
  EXPECT_EQ(machine_.files.OpenFileCount(), 0);
  EXPECT_EQ(registry_.OpenKeys(), 0U);
}

TEST_F(FileRegistryTest, ReadingWritesNothing) {
  EXPECT_EQ(Get(machine_, "Software", "x").status().detail(), kRegistryNotFound);
  EXPECT_EQ(registry_.EnumKey(kCurrentUser, 0).status().detail(), kRegistryNoMoreItems);
  EXPECT_EQ(registry_.QueryValue(kClassesRoot, "").status().detail(), kRegistryNotFound);
  EXPECT_TRUE(machine_.files.Events().empty());
  EXPECT_FALSE(machine_.files.Has(kFile));
}

TEST_F(FileRegistryTest, ClassesRootIsAPartOfTheLocalMachine) {
  const RegistryKey here = Make(".pvg", kClassesRoot);
  ASSERT_TRUE(registry_.SetValue(here, "", Text("Parvane.Group")).ok());
  const auto there = registry_.Open(kLocalMachine, "software\\classes\\.PVG", kRegistryRead);
  ASSERT_TRUE(there.ok());
  EXPECT_EQ(*registry_.QueryValue(*there, ""), Text("Parvane.Group"));
  EXPECT_EQ(*registry_.EnumKey(kClassesRoot, 0), ".pvg");
  ASSERT_TRUE(registry_.DeleteKey(kClassesRoot, ".pvg").ok());
  EXPECT_EQ(registry_.QueryValue(*there, "").status().detail(), kRegistryKeyDeleted);
}

TEST_F(FileRegistryTest, PredefinedKeysAreAlwaysThere) {
  for (const RegistryKey root :
       {kClassesRoot, kCurrentUser, kLocalMachine, kUsers, kCurrentConfig}) {
    const auto key = registry_.Open(root, "", kRegistryAll);
    ASSERT_TRUE(key.ok());
    EXPECT_EQ(registry_.QueryInfo(root)->values, 0U);
    ASSERT_TRUE(registry_.SetValue(root, "n", Text("v")).ok());
    EXPECT_EQ(registry_.QueryInfo(root)->values, 1U);
    EXPECT_EQ(registry_.DeleteKey(root, "").detail(), kRegistryAccessDenied);
    EXPECT_TRUE(registry_.DeleteValue(root, "N").ok());
  }
}

TEST_F(FileRegistryTest, UnknownHandlesAreRefused) {
  for (const RegistryKey key :
       {RegistryKey{0}, RegistryKey{12345}, static_cast<RegistryKey>(INT32_MIN + 4)}) {
    EXPECT_EQ(registry_.Open(key, "a", kRegistryRead).status().detail(), kRegistryInvalidHandle);
    EXPECT_EQ(registry_.Create(key, "a", kRegistryAll).status().detail(), kRegistryInvalidHandle);
    EXPECT_EQ(registry_.DeleteKey(key, "a").detail(), kRegistryInvalidHandle);
    EXPECT_EQ(registry_.DeleteValue(key, "a").detail(), kRegistryInvalidHandle);
    EXPECT_EQ(registry_.QueryValue(key, "a").status().detail(), kRegistryInvalidHandle);
    EXPECT_EQ(registry_.SetValue(key, "a", Text("")).detail(), kRegistryInvalidHandle);
    EXPECT_EQ(registry_.QueryInfo(key).status().detail(), kRegistryInvalidHandle);
    EXPECT_EQ(registry_.EnumKey(key, 0).status().detail(), kRegistryInvalidHandle);
    EXPECT_EQ(registry_.EnumValue(key, 0).status().detail(), kRegistryInvalidHandle);
    registry_.Close(key);
  }
  const RegistryKey closed = Make("a");
  registry_.Close(closed);
  EXPECT_EQ(registry_.QueryInfo(closed).status().detail(), kRegistryInvalidHandle);
}

TEST_F(FileRegistryTest, OtherMachinesCannotBeReached) {
  const auto key = registry_.Connect("\\\\other", kLocalMachine);
  EXPECT_EQ(key.status().detail(), kRegistryNoNetworkPath);
}

TEST_F(FileRegistryTest, KeyOpenForReadingCannotBeChanged) {
  ASSERT_TRUE(Set(machine_, "a", "n", Text("v")).ok());
  for (const std::uint32_t access : {kRegistryRead, kRegistryQuery}) {
    const auto key = registry_.Open(kCurrentUser, "a", access);
    ASSERT_TRUE(key.ok());
    EXPECT_EQ(registry_.SetValue(*key, "n", Text("w")).detail(), kRegistryAccessDenied);
    EXPECT_EQ(registry_.DeleteValue(*key, "n").detail(), kRegistryAccessDenied);
  }
  EXPECT_EQ(*Get(machine_, "a", "n"), Text("v"));
}

TEST_F(FileRegistryTest, PathsAreChecked) {
  EXPECT_EQ(registry_.Open(kCurrentUser, "\\a", kRegistryRead).status().detail(), kRegistryBadPath);
  for (const std::string& path :
       {std::string("a\\\\b"), std::string("a\nb"), std::string("a\0b", 3), std::string("\xFF"),
        std::string(256, 'k')}) {
    EXPECT_EQ(registry_.Create(kCurrentUser, path, kRegistryAll).status().detail(),
              kRegistryInvalidParameter)
        << path;
  }
  const RegistryKey key = Make("a\\");
  EXPECT_EQ(*registry_.EnumKey(kCurrentUser, 0), "a");
  EXPECT_EQ(registry_.SetValue(key, std::string("a\0b", 3), Text("")).detail(),
            kRegistryInvalidParameter);
  std::string deep = "k";
  for (std::size_t depth = 2; depth < kDeepestKey; ++depth) deep += "\\k";
  EXPECT_TRUE(registry_.Create(kCurrentUser, deep, kRegistryAll).ok());
  EXPECT_EQ(registry_.Create(kCurrentUser, deep + "\\k", kRegistryAll).status().detail(),
            kRegistryInvalidParameter);
}

TEST_F(FileRegistryTest, ValuesKeepTheirOrderAndKeysAreSorted) {
  const RegistryKey key = Make("p");
  for (const char* name : {"z", "", "a"}) {
    ASSERT_TRUE(registry_.SetValue(key, name, Text(name)).ok());
  }
  ASSERT_TRUE(registry_.SetValue(key, "Z", Text("again")).ok());
  EXPECT_EQ(registry_.QueryInfo(key)->values, 3U);
  EXPECT_EQ(registry_.QueryInfo(key)->longest_value_name, 1U);
  EXPECT_EQ(*registry_.EnumValue(key, 0), "z");
  EXPECT_EQ(*registry_.EnumValue(key, 1), "");
  EXPECT_EQ(*registry_.EnumValue(key, 2), "a");
  EXPECT_EQ(registry_.EnumValue(key, 3).status().detail(), kRegistryNoMoreItems);
  for (const char* name : {"p\\b", "p\\C", "p\\a\\x"}) Make(name);
  EXPECT_EQ(*registry_.EnumKey(key, 0), "a");
  EXPECT_EQ(*registry_.EnumKey(key, 1), "b");
  EXPECT_EQ(*registry_.EnumKey(key, 2), "C");
  EXPECT_EQ(registry_.EnumKey(key, 3).status().detail(), kRegistryNoMoreItems);
}

TEST_F(FileRegistryTest, DeletingKeys) {
  const RegistryKey key = Make("a\\b");
  EXPECT_EQ(registry_.DeleteKey(kCurrentUser, "a").detail(), kRegistryAccessDenied);
  EXPECT_EQ(registry_.DeleteKey(kCurrentUser, "x").detail(), kRegistryNotFound);
  ASSERT_TRUE(registry_.DeleteKey(kCurrentUser, "A\\B").ok());
  ASSERT_TRUE(registry_.DeleteKey(kCurrentUser, "a").ok());
  EXPECT_EQ(registry_.EnumKey(kCurrentUser, 0).status().detail(), kRegistryNoMoreItems);
  EXPECT_EQ(registry_.SetValue(key, "n", Text("")).detail(), kRegistryKeyDeleted);
  EXPECT_EQ(registry_.QueryInfo(key).status().detail(), kRegistryKeyDeleted);
  EXPECT_EQ(registry_.DeleteValue(key, "n").detail(), kRegistryNotFound);
  const RegistryKey other = Make("c");
  ASSERT_TRUE(registry_.DeleteKey(other, "").ok()) << "an open key deletes itself";
}

TEST_F(FileRegistryTest, UnchangedValueIsNotWritten) {
  ASSERT_TRUE(Set(machine_, "a", "n", Text("v")).ok());
  const std::size_t before = machine_.files.Events().size();
  ASSERT_TRUE(Set(machine_, "a", "N", Text("v")).ok());
  EXPECT_EQ(machine_.files.Events().size(), before);
}

TEST_F(FileRegistryTest, ChangesOfOthersAreSeen) {
  ASSERT_TRUE(Set(machine_, "a", "n", Text("v")).ok());
  FileRegistry other(&machine_.files, &machine_.process);
  const auto key = other.Create(kCurrentUser, "a", kRegistryAll);
  ASSERT_TRUE(key.ok());
  ASSERT_TRUE(other.SetValue(*key, "n", Text("theirs")).ok());
  ASSERT_TRUE(other.SetValue(*key, "m", Text("too")).ok());
  EXPECT_EQ(*Get(machine_, "a", "n"), Text("theirs"));
  ASSERT_TRUE(Set(machine_, "a", "o", Text("ours")).ok());
  EXPECT_EQ(*other.QueryValue(*key, "o"), Text("ours"));
  EXPECT_EQ(*other.QueryValue(*key, "m"), Text("too"));
}

TEST_F(FileRegistryTest, DamagedFileIsNamedAndNeverWrittenOver) {
  const std::string damaged = "pvgroup registry 1\n[HKEY_CURRENT_USER\\a]\n\"n\" = text \"v\n";
  machine_.files.Put(kFile, damaged);
  const Status read = Get(machine_, "a", "n").status();
  EXPECT_EQ(read.detail(), kRegistryDamaged);
  EXPECT_EQ(read.message(), std::string(kFile) + ": line 3: a text has no closing quote");
  EXPECT_EQ(Set(machine_, "a", "n", Text("w")).detail(), kRegistryDamaged);
  EXPECT_EQ(registry_.DeleteKey(kCurrentUser, "a").detail(), kRegistryDamaged);
  EXPECT_EQ(registry_.SetValue(kCurrentUser, "n", Text("w")).detail(), kRegistryDamaged);
  EXPECT_EQ(registry_.DeleteValue(kCurrentUser, "n").detail(), kRegistryDamaged);
  EXPECT_EQ(machine_.files.Get(kFile), damaged);
  machine_.files.Put(kFile, damaged.substr(0, damaged.size() - 1) + "\"\n");
  EXPECT_EQ(*Get(machine_, "a", "n"), Text("v")) << "mended by hand";
}

TEST_F(FileRegistryTest, FailuresOfTheFileHaveTheRegistrysNumbers) {
  ASSERT_TRUE(Set(machine_, "a", "n", Text("v")).ok());
  machine_.files.SetReadOnly(true);
  EXPECT_EQ(*Get(machine_, "a", "n"), Text("v"));
  EXPECT_TRUE(Set(machine_, "a", "n", Text("v")).ok()) << "nothing to write";
  EXPECT_EQ(Set(machine_, "a", "n", Text("w")).detail(), kRegistryAccessDenied);
  machine_.files.SetReadOnly(false);
  OpenOptions alone;
  alone.share = ShareMode::kDenyAll;
  {
    const auto held = machine_.files.Open(kFile, alone);
    EXPECT_EQ(Get(machine_, "a", "n").status().detail(), kRegistryInUse);
    EXPECT_EQ(Set(machine_, "a", "n", Text("w")).detail(), kRegistryInUse);
  }
  std::string big = machine_.files.Get(kFile);
  big.resize(kLargestRegistry, '\n');
  machine_.files.Put(kFile, big);
  EXPECT_EQ(*Get(machine_, "a", "n"), Text("v"));
  machine_.files.Put(kFile, big + "\n");
  EXPECT_EQ(Get(machine_, "a", "n").status().detail(), kRegistryNoMemory);
  EXPECT_EQ(Set(machine_, "a", "n", Text("w")).detail(), kRegistryNoMemory);
  machine_.files.Put(kFile, "");
  EXPECT_EQ(Set(machine_, "a", "n", {3, std::string(kLargestRegistry / 3, 'x')}).detail(),
            kRegistryNoMemory);
  machine_.process.config_folder.clear();
  EXPECT_EQ(Get(machine_, "a", "n").status().detail(), kRegistryPathNotFound);
  EXPECT_EQ(Set(machine_, "a", "n", Text("w")).detail(), kRegistryPathNotFound);
}

TEST_F(FileRegistryTest, FailuresAndCrashesLeaveOldOrNew) {
  ASSERT_TRUE(Set(machine_, "a", "n", Text("old")).ok());
  const MemoryImage start = machine_.files.Snapshot();
  int failures = 0;
  for (std::uint64_t n = 1;; ++n) {
    machine_.files.Restore(start);
    machine_.files.FailCall(n, Call::kAny, Fault::kIoError);
    const bool ok = Set(machine_, "a", "n", Text("new")).ok();
    const bool hit = machine_.files.FaultHit();
    machine_.files.ClearFault();
    EXPECT_EQ(ok, !hit) << n;
    const auto value = Get(machine_, "a", "n");
    ASSERT_TRUE(value.ok()) << n << ": " << value.status().message();
    EXPECT_TRUE(*value == Text("old") || *value == Text("new")) << n;
    EXPECT_EQ(registry_.OpenKeys(), 0U) << n;
    if (!hit) break;
    ++failures;
  }
  EXPECT_GE(failures, 6);
  CrashReplay replay(machine_.files);
  ASSERT_GE(replay.size(), 4U);
  for (std::size_t n = 0; n <= replay.size(); ++n) {
    replay.StepTo(n);
    MemorySystem crashed(replay.Image());
    const auto value = Get(crashed, "a", "n");
    ASSERT_TRUE(value.ok()) << n << ": " << value.status().message();
    EXPECT_TRUE(*value == Text("old") || *value == Text("new")) << n;
  }
}

TEST_F(FileRegistryTest, FirstWriteThatDiesLeavesAnEmptyRegistry) {
  const MemoryImage start = machine_.files.Snapshot();
  ASSERT_TRUE(Set(machine_, "a", "n", Text("new")).ok());
  machine_.files.Restore(start);
  ASSERT_TRUE(Set(machine_, "a", "n", Text("new")).ok());
  CrashReplay replay(machine_.files);
  for (std::size_t n = 0; n <= replay.size(); ++n) {
    replay.StepTo(n);
    MemorySystem crashed(replay.Image());
    const auto value = Get(crashed, "a", "n");
    EXPECT_TRUE(value.ok() ? *value == Text("new") : value.status().detail() == kRegistryNotFound)
        << n << ": " << value.status().message();
    EXPECT_TRUE(Set(crashed, "a", "n", Text("next")).ok()) << n;
  }
}

}  // namespace
}  // namespace pv::platform

#include "platform/ini_file.h"

#include <gtest/gtest.h>

#include "platform/memory/crash_replay.h"
#include "platform/memory/memory_system.h"

namespace pv::platform {
namespace {

const CodePage& Page1252() { return *CodePage::Windows1252(); }

std::optional<std::string> Read(std::string_view content, std::string_view section,
                                std::string_view key) {
  return ReadIniValue(content, section, key, Page1252());
}

std::string Write(std::string_view content, std::string_view section, std::string_view key,
                  std::string_view value) {
  const Result<std::string> result = WriteIniValue(content, section, key, value, Page1252());
  EXPECT_TRUE(result.ok()) << result.status().message();
  return result.ok() ? *result : "";
}

StatusCode WriteCode(std::string_view section, std::string_view key, std::string_view value) {
  return WriteIniValue("", section, key, value, Page1252()).status().code();
}

TEST(IniRead, NamesIgnoreLetterCaseAndBlanks) {
  const char* const content = "[ Properties ]\r\n  Name  =  My group \t\r\nOTHER=1\r\n";
  EXPECT_EQ(Read(content, "properties", "NAME"), "My group");
  EXPECT_EQ(Read(content, "PROPERTIES", "other"), "1");
  EXPECT_EQ(Read(content, " Properties ", " Name "), "My group");
  EXPECT_EQ(Read(content, "Properties", "Nam"), std::nullopt);
  EXPECT_EQ(Read(content, "Property", "Name"), std::nullopt);
  EXPECT_EQ(Read("", "Properties", "Name"), std::nullopt);
}

TEST(IniRead, NamesOfForeignLettersIgnoreLetterCase) {
  EXPECT_EQ(Read("[Gr\xFC\xDF"
                 "e]\n\xC4rger=1\n",
                 "GRÜßE", "ärger"),
            "1");
}

TEST(IniRead, TheFirstMatchWins) {
  const char* const content = "[a]\nx=1\nX=2\n[b]\ny=3\n[A]\nx=4\nz=5\n";
  EXPECT_EQ(Read(content, "a", "x"), "1");
  EXPECT_EQ(Read(content, "A", "z"), std::nullopt);
}

TEST(IniRead, KeysBelongToTheirSection) {
  const char* const content = "x=0\n[a]\n[b]\nx=1\n";
  EXPECT_EQ(Read(content, "a", "x"), std::nullopt);
  EXPECT_EQ(Read(content, "", "x"), std::nullopt);
  EXPECT_EQ(Read(content, "b", "x"), "1");
}

TEST(IniRead, CommentsAndOtherLinesArePassedOver) {
  const char* const content = ";[a]\n[a]\n;x=1\n  ; x=2\nx\njust text\nx=3 ; no comment\n";
  EXPECT_EQ(Read(content, "a", "x"), "3 ; no comment");
  EXPECT_EQ(Read(content, "a", ";x"), std::nullopt);
}

TEST(IniRead, OnePairOfQuotesIsTakenOff) {
  EXPECT_EQ(Read("[a]\nx=\" v \"", "a", "x"), " v ");
  EXPECT_EQ(Read("[a]\nx=' v '", "a", "x"), " v ");
  EXPECT_EQ(Read("[a]\nx=\"\"v\"\"", "a", "x"), "\"v\"");
  EXPECT_EQ(Read("[a]\nx=\"v'", "a", "x"), "\"v'");
  EXPECT_EQ(Read("[a]\nx=\"", "a", "x"), "\"");
  EXPECT_EQ(Read("[a]\nx=\"\"", "a", "x"), "");
  EXPECT_EQ(Read("[a]\nx=say \"v\"", "a", "x"), "say \"v\"");
}

TEST(IniRead, OddLines) {
  EXPECT_EQ(Read("[a]\nx=", "a", "x"), "");
  EXPECT_EQ(Read("[a]\nx=   \ny=1", "a", "x"), "");
  EXPECT_EQ(Read("[a]\nx=   \ny=1", "a", "y"), "1");
  EXPECT_EQ(Read("[a]\nx=a=b", "a", "x"), "a=b");
  EXPECT_EQ(Read("[a]\n=v\n", "a", ""), "v");
  EXPECT_EQ(Read("[a\nx=1\n", "a", "x"), "1");
  EXPECT_EQ(Read("[a]trailing\nx=1\n", "a", "x"), "1");
  EXPECT_EQ(Read("  [a]\r\r\n\r\n\r\nx=1\r\r\n", "a", "x"), "1");
  EXPECT_EQ(Read("[]\nx=1", "", "x"), "1");
  EXPECT_EQ(Read("[a]\nx=\x80\xE4", "a", "x"), "€ä");
}

// The second byte of a pair can be that of a bracket.
TEST(IniRead, DoubleByteText) {
  const auto page = OperatingSystem().code_pages->Load(932);
  ASSERT_TRUE(page.ok()) << page.status().message();
  const std::string section = (*page)->Decode("\x81\x5D\x83\x5B");
  const std::string content = "[\x81\x5D\x83\x5B]\nx=\x83\x5D\n";
  EXPECT_EQ(ReadIniValue(content, section, "x", **page), (*page)->Decode("\x83\x5D"));
  const auto changed = WriteIniValue(content, section, "y", "1", **page);
  ASSERT_TRUE(changed.ok());
  EXPECT_EQ(*changed, content + "y=1\n");
}

TEST(IniWrite, MakesSectionsAndKeys) {
  EXPECT_EQ(Write("", "Properties", "Name", "Grüße €"),
            "[Properties]\r\nName=Gr\xFC\xDF"
            "e \x80\r\n");
  EXPECT_EQ(Write("[a]\r\nx=1\r\n", "b", "y", "2"), "[a]\r\nx=1\r\n[b]\r\ny=2\r\n");
  EXPECT_EQ(Write("[a]\nx=1", "b", "y", "2"), "[a]\nx=1\n[b]\ny=2\n");
  EXPECT_EQ(Write("[a]", "a", "y", "2"), "[a]\r\ny=2\r\n");
  EXPECT_EQ(Write("[a]\n[b]\n", "a", "y", "2"), "[a]\ny=2\n[b]\n");
}

TEST(IniWrite, NewKeysFollowTheLastLineThatIsNotBlank) {
  EXPECT_EQ(Write("[a]\r\nx=1\r\n; note\r\n\r\n \r\n[b]\r\nx=2\r\n", "A", "y", "3"),
            "[a]\r\nx=1\r\n; note\r\ny=3\r\n\r\n \r\n[b]\r\nx=2\r\n");
  EXPECT_EQ(Write("[a]\n\n\n", "a", "y", "3"), "[a]\ny=3\n\n\n");
}

TEST(IniWrite, KeepsEveryOtherByte) {
  const std::string content =
      "junk\r\n; c \x81\n[ A ]\r\r\n\t x\t= \"old\" \r\n\x00\x01=\n[b]\nx = keep\nx=too\n[a]\nx=5";
  EXPECT_EQ(Write(content, "a", "X", "new"),
            "junk\r\n; c \x81\n[ A ]\r\r\n\t x\t= new \r\n\x00\x01=\n[b]\nx = keep\nx=too\n"
            "[a]\nx=5");
  EXPECT_EQ(Write("[a]\nx=\n", "a", "x", "1"), "[a]\nx=1\n");
  EXPECT_EQ(Write("[a]\nx=1", "a", "x", ""), "[a]\nx=");
  EXPECT_EQ(Write("[a]\nx=1\nX=2\n", "a", "X", "3"), "[a]\nx=3\nX=2\n");
  EXPECT_EQ(Write("[a]\nx=   \ny=1\n", "a", "x", "v"), "[a]\nx=v   \ny=1\n");
}

TEST(IniWrite, RefusesWhatWouldNotBeReadBack) {
  EXPECT_EQ(WriteCode("a]b", "x", "1"), StatusCode::kInvalid);
  EXPECT_EQ(WriteCode("a\nb", "x", "1"), StatusCode::kInvalid);
  EXPECT_EQ(WriteCode("", "x", "1"), StatusCode::kInvalid);
  EXPECT_EQ(WriteCode("  ", "x", "1"), StatusCode::kInvalid);
  EXPECT_EQ(WriteCode("a", "", "1"), StatusCode::kInvalid);
  EXPECT_EQ(WriteCode("a", "x]", "1"), StatusCode::kInvalid);
  EXPECT_EQ(WriteCode("a", "x\r", "1"), StatusCode::kInvalid);
  EXPECT_EQ(WriteCode("a", "x=y", "1"), StatusCode::kInvalid);
  EXPECT_EQ(WriteCode("a", ";x", "1"), StatusCode::kInvalid);
  EXPECT_EQ(WriteCode("a", "[x", "1"), StatusCode::kInvalid);
  EXPECT_EQ(WriteCode("a", "имя", "1"), StatusCode::kInvalid);
  EXPECT_EQ(WriteCode("a", "x", "1\n[b]"), StatusCode::kInvalid);
  EXPECT_EQ(WriteCode("a", "x", "1\r"), StatusCode::kInvalid);
  EXPECT_EQ(WriteCode("a", "x", std::string_view("1\0", 2)), StatusCode::kInvalid);
  EXPECT_EQ(WriteCode("a", "x", "] = ; ["), StatusCode::kOk);
  EXPECT_EQ(Write("", "a", "x", "имя"), "[a]\r\nx=???\r\n");
}

TEST(IniProfiles, ReadsAndWritesFiles) {
  MemorySystem machine;
  ASSERT_TRUE(machine.files.CreateFolders("/data").ok());
  Profiles& profiles = *machine.system().profiles;
  EXPECT_EQ(profiles.Read("/data/a.ini", "S", "k", Page1252()), std::nullopt);
  ASSERT_TRUE(profiles.Write("\\data\\a.ini", "S", "k", "v", Page1252()).ok());
  EXPECT_EQ(profiles.Read("/data/a.ini", "s", "K", Page1252()), "v");
  EXPECT_EQ(machine.files.Get("/data/a.ini"), "[S]\r\nk=v\r\n");
  ASSERT_TRUE(profiles.Write("/data/a.ini", "s", "K", "w", Page1252()).ok());
  EXPECT_EQ(machine.files.Get("/data/a.ini"), "[S]\r\nk=w\r\n");
  EXPECT_EQ(machine.files.List("/data")->size(), 1u);
  EXPECT_EQ(machine.files.OpenFileCount(), 0);
  EXPECT_EQ(profiles.Write("/none/a.ini", "S", "k", "v", Page1252()).code(), StatusCode::kNotFound);
  EXPECT_EQ(profiles.Write("/data/b.ini", "S]", "k", "v", Page1252()).code(), StatusCode::kInvalid);
  EXPECT_FALSE(machine.files.Has("/data/b.ini"));
  EXPECT_EQ(profiles.Read("/data", "S", "k", Page1252()), std::nullopt);
}

TEST(IniProfiles, AnUnchangedValueWritesNothing) {
  MemorySystem machine;
  machine.files.Put("/a.ini", "[S]\nk=v\n");
  machine.files.StartRecording();
  ASSERT_TRUE(machine.profiles.Write("/a.ini", "S", "k", "v", Page1252()).ok());
  EXPECT_TRUE(machine.files.Events().empty());
}

TEST(IniProfiles, SizesAreBounded) {
  MemorySystem machine;
  std::string big = "[S]\nk=v\n";
  big.resize(kLargestIniFile, '\n');
  machine.files.Put("/a.ini", big);
  EXPECT_EQ(machine.profiles.Read("/a.ini", "S", "k", Page1252()), "v");
  EXPECT_EQ(machine.profiles.Write("/a.ini", "S", "k", "vv", Page1252()).code(),
            StatusCode::kLimit);
  machine.files.Put("/a.ini", big + "\n");
  EXPECT_EQ(machine.profiles.Read("/a.ini", "S", "k", Page1252()), std::nullopt);
  EXPECT_EQ(machine.profiles.Write("/a.ini", "S", "k", "v", Page1252()).code(), StatusCode::kLimit);
  EXPECT_EQ(machine.files.Get("/a.ini").size(), big.size() + 1);
}

TEST(IniProfiles, ReadOnlyFilesRefuse) {
  MemorySystem machine;
  machine.files.Put("/a.ini", "[S]\nk=v\n");
  machine.files.SetReadOnly(true);
  EXPECT_EQ(machine.profiles.Read("/a.ini", "S", "k", Page1252()), "v");
  EXPECT_EQ(machine.profiles.Write("/a.ini", "S", "k", "w", Page1252()).code(),
            StatusCode::kDenied);
}

TEST(IniProfiles, WaitForEachOther) {
  MemorySystem machine;
  machine.files.Put("/a.ini", "[S]\nk=v\n");
  OpenOptions alone;
  alone.share = ShareMode::kDenyAll;
  std::unique_ptr<File> other = *machine.files.Open("/a.ini", alone);
  int sleeps = 0;
  machine.files.SetHook(Call::kSleep, [&](Call, const std::string&) {
    if (++sleeps == 3) other.reset();
  });
  EXPECT_EQ(machine.profiles.Read("/a.ini", "S", "k", Page1252()), "v");
  EXPECT_EQ(sleeps, 3);
  other = *machine.files.Open("/a.ini", alone);
  EXPECT_TRUE(machine.files.Get("/a.ini").starts_with("[S]"));
  sleeps = 0;
  EXPECT_TRUE(machine.profiles.Write("/a.ini", "S", "k", "w", Page1252()).ok());
  EXPECT_EQ(sleeps, 3);
  other = *machine.files.Open("/a.ini", alone);
  machine.files.SetHook(Call::kSleep, {});
  EXPECT_EQ(machine.profiles.Write("/a.ini", "S", "k", "x", Page1252()).code(), StatusCode::kBusy);
  EXPECT_EQ(machine.profiles.Read("/a.ini", "S", "k", Page1252()), std::nullopt);
}

TEST(IniProfiles, FailuresAndCrashesLeaveOldOrNew) {
  MemorySystem machine;
  const std::string before = "[S]\nk=v\nother=1\n";
  const std::string after = "[S]\nk=w\nother=1\n";
  machine.files.Put("/a.ini", before);
  const MemoryImage start = machine.files.Snapshot();
  int failures = 0;
  for (std::uint64_t n = 1;; ++n) {
    machine.files.Restore(start);
    machine.files.FailCall(n, Call::kAny, Fault::kIoError);
    const bool ok = machine.profiles.Write("/a.ini", "S", "k", "w", Page1252()).ok();
    const bool hit = machine.files.FaultHit();
    machine.files.ClearFault();
    EXPECT_EQ(ok, !hit) << n;
    const std::string content = machine.files.Get("/a.ini");
    EXPECT_TRUE(content == before || content == after) << n << content;
    if (!hit) break;
    ++failures;
  }
  EXPECT_GE(failures, 6);
  CrashReplay replay(machine.files);
  ASSERT_GE(replay.size(), 4u);
  for (std::size_t n = 0; n <= replay.size(); ++n) {
    replay.StepTo(n);
    MemorySystem crashed(replay.Image());
    const auto value = crashed.profiles.Read("/a.ini", "S", "k", Page1252());
    EXPECT_TRUE(value == "v" || value == "w") << n;
  }
}

TEST(IniProfiles, SeveralValuesAreSetInOneStep) {
  MemorySystem machine;
  machine.files.Put("/a.ini", "[S]\nk=v\n");
  machine.files.StartRecording();
  const std::vector<ProfileEntry> entries = {{"k", "w"}, {"l", "x"}, {"k", "y"}};
  ASSERT_TRUE(machine.profiles.WriteAll("/a.ini", "S", entries, Page1252()).ok());
  EXPECT_EQ(machine.files.Get("/a.ini"), "[S]\nk=y\nl=x\n");
  CrashReplay replay(machine.files);
  for (std::size_t n = 0; n <= replay.size(); ++n) {
    replay.StepTo(n);
    MemorySystem crashed(replay.Image());
    const bool old = crashed.profiles.Read("/a.ini", "S", "k", Page1252()) == "v";
    EXPECT_EQ(crashed.profiles.Read("/a.ini", "S", "l", Page1252()).has_value(), !old) << n;
  }
  const std::vector<ProfileEntry> bad = {{"k", "z"}, {"l", "two\nlines"}};
  EXPECT_EQ(machine.profiles.WriteAll("/a.ini", "S", bad, Page1252()).code(), StatusCode::kInvalid);
  EXPECT_EQ(machine.files.Get("/a.ini"), "[S]\nk=y\nl=x\n");
}

}  // namespace
}  // namespace pv::platform

#include "pvgroupman/support/settings.h"

#include <gtest/gtest.h>

#include "automation/test_support.h"
#include "platform/memory/memory_system.h"
#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/member_table.h"
#include "support/configuration.h"

namespace pv::support {
namespace {

using automation::ErrorFrom;
using automation::Value;

class SettingsTest : public testing::Test {
 protected:
  ~SettingsTest() override {
    SetHostGroupDataFolder("");
    SetHostCodePage(0);
  }
  void Configure(std::string_view lines) {
    machine_.files.Put("/home/user/.config/pvgroup/config.ini", lines);
  }
  std::string Folder() { return automation::GetProperty(settings_, "GroupDataFolder").ToText(); }
  std::int32_t Page() { return automation::GetProperty(settings_, "CodePage").ToI4(); }

  platform::MemorySystem machine_;
  platform::ScopedSystem scope_{machine_.system()};
  automation::Ref<automation::Object> settings_ = automation::MakeObject<Settings>();
};

TEST_F(SettingsTest, FolderDefaultsToTheDataFolder) {
  EXPECT_EQ(Folder(), "/home/user/.local/share/pvgroup\\");
}

TEST_F(SettingsTest, FolderFromTheConfigurationFile) {
  Configure("[settings]\ngroupdatafolder=/srv/groups\n");
  EXPECT_EQ(Folder(), "/srv/groups\\");
}

TEST_F(SettingsTest, ConfigurationFileIsUtf8) {
  Configure("[Settings]\nGroupDataFolder=/srv/Empfänger\n");
  EXPECT_EQ(Folder(), "/srv/Empfänger\\");
  Configure("[Settings]\nGroupDataFolder=/srv/Empf\xE4nger\n");
  EXPECT_EQ(Folder(), "/srv/Empfänger\\") << "a file in Windows-1252 is read too";
}

TEST_F(SettingsTest, EnvironmentGoesBeforeTheConfigurationFile) {
  Configure("[Settings]\nGroupDataFolder=/srv/groups\nCodePage=1250\n");
  machine_.process.environment["PVGROUP_DATA"] = "/env/groups/";
  machine_.process.environment["PVGROUP_CODEPAGE"] = "1251";
  EXPECT_EQ(Folder(), "/env/groups\\");
  EXPECT_EQ(Page(), 1251);
}

TEST_F(SettingsTest, HostGoesBeforeEverythingAndCanBeTakenBack) {
  machine_.process.environment["PVGROUP_DATA"] = "/env/groups";
  machine_.process.environment["PVGROUP_CODEPAGE"] = "1251";
  automation::PutProperty(settings_, "GroupDataFolder", Value("C:\\Data"));
  automation::PutProperty(settings_, "CodePage", Value(1250));
  const auto another = automation::MakeObject<Settings>();
  EXPECT_EQ(another->GetGroupDataFolder(), "C:\\Data\\");
  EXPECT_EQ(another->GetCodePage(), 1250);
  automation::PutProperty(settings_, "GroupDataFolder", Value(""));
  automation::PutProperty(settings_, "CodePage", Value(0));
  EXPECT_EQ(Folder(), "/env/groups\\");
  EXPECT_EQ(Page(), 1251);
}

TEST_F(SettingsTest, FolderEndsInOneBackslash) {
  for (const char* given : {"/a", "/a/", "/a\\"}) {
    SetHostGroupDataFolder(given);
    EXPECT_EQ(Folder(), "/a\\") << given;
  }
  SetHostGroupDataFolder("/");
  EXPECT_EQ(Folder(), "\\");
}

TEST_F(SettingsTest, ReadingCreatesNothing) {
  Folder();
  Page();
  EXPECT_TRUE(machine_.files.Events().empty());
}

TEST_F(SettingsTest, NoHomeFolderIsAnError) {
  machine_.process.data_folder.clear();
  machine_.process.config_folder.clear();
  const auto e = ErrorFrom([&] { Folder(); });
  EXPECT_EQ(e.number(), 5);
  EXPECT_EQ(e.description(), "no group data folder is set, and there is no home folder");
}

TEST_F(SettingsTest, PageDefaultsToTheSystems) {
  EXPECT_EQ(Page(), 1252);
  machine_.code_pages.system_page = 1250;
  EXPECT_EQ(Page(), 1250);
}

TEST_F(SettingsTest, PageFromTheConfigurationFile) {
  Configure("[Settings]\nCodePage=1253\n");
  EXPECT_EQ(Page(), 1253);
  EXPECT_EQ(CurrentCodePage()->number(), 1253);
}

TEST_F(SettingsTest, UnknownPageIsRefused) {
  EXPECT_EQ(
      ErrorFrom([&] { automation::PutProperty(settings_, "CodePage", Value(4711)); }).number(), 5);
  // Known, but no table can say that it is in it.
  EXPECT_EQ(
      ErrorFrom([&] { automation::PutProperty(settings_, "CodePage", Value(10000)); }).number(), 5);
  EXPECT_EQ(Page(), 1252);
  machine_.process.environment["PVGROUP_CODEPAGE"] = "latin";
  const auto e = ErrorFrom([&] { Page(); });
  EXPECT_EQ(e.number(), 5);
  EXPECT_EQ(e.description(), "PVGROUP_CODEPAGE is \"latin\", which is no code page number");
}

TEST_F(SettingsTest, MembersInInterfaceOrder) {
  const auto& members = settings_->Members().members();
  ASSERT_EQ(members.size(), 4U);
  EXPECT_EQ(members[0].name, "GroupDataFolder");
  EXPECT_EQ(members[3].name, "CodePage");
  EXPECT_EQ(members[3].id, 2);
}

}  // namespace
}  // namespace pv::support

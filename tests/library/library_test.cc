// The shared library as its users meet it: public headers, late binding by ProgID, errors that
// cross the border of the library.
#include <gtest/gtest.h>
#include <pvgroupman/automation/call.h>
#include <pvgroupman/automation/error.h>
#include <pvgroupman/automation/progid.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>

namespace pv {
namespace {

using automation::Call;
using automation::Value;

class LibraryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string name = (std::filesystem::temp_directory_path() / "pv-library-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder_ = name;
    ASSERT_EQ(setenv("PVGROUP_DATA", folder_.c_str(), 1), 0);
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }
  std::string folder_;
};

TEST_F(LibraryTest, EveryClassIsThereByItsProgId) {
  const auto classes = automation::RegisteredClasses();
  for (const char* name :
       {"Groups", "Database", "Recipients", "Field", "Fields", "FieldDef", "FieldDefs", "IndexDef",
        "IndexDefs", "GroupLink", "GroupLinks", "GroupFieldType", "GroupFieldTypes", "Settings"}) {
    const std::string prog_id = std::string("PVGroupMan.") + name;
    EXPECT_NE(std::find(classes.begin(), classes.end(), prog_id), classes.end()) << prog_id;
    EXPECT_TRUE(automation::CreateObject(prog_id)) << prog_id;
  }
}

TEST_F(LibraryTest, MembersAreCalledByNameInAnyLetterCase) {
  auto groups = automation::CreateObject("pvgroupman.groups");
  Call get{automation::kCallGet, {}, {}};
  const Value version = automation::Invoke(groups, "VERSION", get);
  EXPECT_EQ(version.ToText().substr(0, 4), "4.0.");
}

TEST_F(LibraryTest, ErrorsCrossTheBorderWhole) {
  auto groups = automation::CreateObject("PVGroupMan.Groups");
  Call open{automation::kCallMethod, {Value("0123456789ABCDEF0123456789ABCDEF")}, {}};
  try {
    automation::Invoke(groups, "OpenGroup", open);
    FAIL() << "a group that is not there was opened";
  } catch (const automation::Error& e) {
    EXPECT_EQ(e.number(), 2409);
    EXPECT_EQ(e.source(), "Groups::OpenGroup");
    EXPECT_EQ(e.description(), "The Group could not be opened as it no longer exists.");
  }
  EXPECT_THROW(automation::CreateObject("PVGroupMan.Nothing"), automation::Error);
}

}  // namespace
}  // namespace pv

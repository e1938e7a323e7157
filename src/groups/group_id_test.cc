#include "groups/group_id.h"

#include <gtest/gtest.h>

#include "automation/test_support.h"

namespace pv::groups {
namespace {

TEST(GroupId, AdmitsWhatIsAFileName) {
  for (const char* id : {"0123456789ABCDEF0123456789ABCDEF", "a", "My group", "x.y", "Grüße", "COM",
                         "COM10", "console", "{4711}", "..a"}) {
    EXPECT_EQ(WhyNotInFileNames(id), "") << id;
  }
}

TEST(GroupId, RefusesWhatLeadsElsewhere) {
  for (const char* id : {"../x", "a/b", "a\\b", "/", "\\\\host\\share"}) {
    EXPECT_EQ(WhyNotInFileNames(id), "contains a path separator") << id;
  }
  for (const char* id : {"C:x", "a:b", "a*", "a?", "a<b", "a|b", "a\"b"}) {
    EXPECT_EQ(WhyNotInFileNames(id), "contains a character that file names cannot have") << id;
  }
  for (const char* id : {".", "..", "...."}) {
    EXPECT_EQ(WhyNotInFileNames(id), "consists of points alone") << id;
  }
}

TEST(GroupId, RefusesControlCharacters) {
  for (const std::string& id : {std::string("a\nb"), std::string("a\0b", 3), std::string("\x7F")}) {
    EXPECT_EQ(WhyNotInFileNames(id), "contains a control character");
  }
  EXPECT_EQ(WhyNotInFileNames("a\xFF"), "is not well-formed text");
}

TEST(GroupId, RefusesDevicesInAnyCaseAndWithAnyExtension) {
  for (const char* id : {"CON", "nul", "Com1", "LPT9", "aux.x", "PRN.tar.gz", "CON .x", "conin$"}) {
    EXPECT_EQ(WhyNotInFileNames(id), "is the name of a device") << id;
  }
}

TEST(GroupId, RefusesEndsThatFileSystemsDrop) {
  EXPECT_EQ(WhyNotInFileNames("a."), "ends in a point or a blank");
  EXPECT_EQ(WhyNotInFileNames("a "), "ends in a point or a blank");
}

TEST(GroupId, RefusesTheComponentsOwnTables) {
  for (const char* id :
       {"groups", "GROUPS", "DataSrc", "GroupADO", "AddrSrc", "AddrCat", "AddrDist"}) {
    EXPECT_EQ(WhyNotInFileNames(id), "is the name of one of the component's own tables") << id;
  }
}

TEST(GroupId, RefusesEmptyAndLongOnes) {
  EXPECT_EQ(WhyNotInFileNames(""), "is empty");
  EXPECT_EQ(WhyNotInFileNames(std::string(32, 'a')), "");
  EXPECT_EQ(WhyNotInFileNames(std::string(33, 'a')), "has more than 32 characters");
}

TEST(GroupId, CheckSaysWhy) {
  const auto e = automation::ErrorFrom([] { CheckGroupId("a/b"); });
  EXPECT_EQ(e.number(), 5);
  EXPECT_EQ(e.description(), "The group ID \"a/b\" contains a path separator.");
  EXPECT_NO_THROW(CheckGroupId("ab"));
}

}  // namespace
}  // namespace pv::groups

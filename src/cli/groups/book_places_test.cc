#include "cli/groups/book_places.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "platform/test_folder.h"

namespace pv::cli {
namespace {

namespace fs = std::filesystem;

class BookPlacesTest : public testing::Test {
 protected:
  void Put(const std::string& path) {
    const fs::path file = fs::path(home_.path()) / path;
    fs::create_directories(file.parent_path());
    std::ofstream(file) << "x";
  }
  std::string Found() const {
    std::string all;
    for (const BookPlace& place : FindBookPlaces(home_.path())) {
      all += place.format + ":" + fs::relative(place.path, home_.path()).generic_string() + " ";
    }
    return all;
  }
  platform::TestFolder home_;
};

TEST_F(BookPlacesTest, EmptyHomeHasNone) { EXPECT_EQ(Found(), ""); }

TEST_F(BookPlacesTest, HomeThatIsNotThereHasNone) {
  EXPECT_TRUE(FindBookPlaces(home_.path() + "/none").empty());
}

TEST_F(BookPlacesTest, UsualPlacesOfEveryProgram) {
  Put(".thunderbird/abc.default/abook.mab");
  Put(".thunderbird/abc.default/history.mab");
  Put(".addressbook");
  Put(".addressbook.lu");
  Put(".opera/contacts.adr");
  Put(".jpilot/AddressDB.pdb");
  Put(".wine/drive_c/users/ann/AppData/Roaming/Microsoft/Address Book/Ann.WAB");
  Put("Documents/Outlook Files/Outlook.pst");
  EXPECT_EQ(Found(),
            "ADR:.opera/contacts.adr MAB:.thunderbird/abc.default/abook.mab "
            "MAB:.thunderbird/abc.default/history.mab PALM:.jpilot/AddressDB.pdb "
            "PINE:.addressbook PST:Documents/Outlook Files/Outlook.pst "
            "WAB:.wine/drive_c/users/ann/AppData/Roaming/Microsoft/Address Book/Ann.WAB ");
}

TEST_F(BookPlacesTest, ExportsLieWherePeopleKeepTheirFiles) {
  Put("people.LDIF");
  Put("Downloads/contacts.ldif");
  Put("Downloads/deep/down/other.ldif");
  Put("Music/song.ldif");
  EXPECT_EQ(Found(), "LDIF:Downloads/contacts.ldif LDIF:people.LDIF ");
}

TEST_F(BookPlacesTest, FoldersAreNoAddressBooks) {
  fs::create_directories(fs::path(home_.path()) / "people.ldif");
  fs::create_directories(fs::path(home_.path()) / ".thunderbird/a/abook.mab");
  EXPECT_EQ(Found(), "");
}

TEST(MatchesPatternTest, StarStandsForAnyCharacters) {
  EXPECT_TRUE(MatchesPattern("abook.mab", "*.mab"));
  EXPECT_TRUE(MatchesPattern("ABOOK.MAB", "*.mab"));
  EXPECT_TRUE(MatchesPattern(".mab", "*.mab"));
  EXPECT_TRUE(MatchesPattern("anything", "*"));
  EXPECT_TRUE(MatchesPattern("exact", "Exact"));
  EXPECT_FALSE(MatchesPattern("abook.mab.bak", "*.mab"));
  EXPECT_FALSE(MatchesPattern("mab", "*.mab"));
  EXPECT_FALSE(MatchesPattern("exactly", "exact"));
  EXPECT_FALSE(MatchesPattern("ab", "a*ab")) << "front and back do not overlap";
}

}  // namespace
}  // namespace pv::cli

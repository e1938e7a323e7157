#include "providers/converter/open_book.h"

#include <gtest/gtest.h>

#include "providers/converter/book_fixture_test.h"

namespace pv::converter {
namespace {

using Texts = std::vector<std::string>;
using OpenBookTest = BookTest;

std::string Person(const std::string& name) {
  return "dn: cn=" + name + "\nobjectclass: person\ncn: " + name + "\nmail: " + name + "@x\n";
}

TEST_F(OpenBookTest, CodesAreFoundWhateverTheirCaseAndBlanks) {
  EXPECT_STREQ(FindFormat(" ldif ")->code, "LDIF");
  EXPECT_EQ(FindFormat("LDI"), nullptr);
  EXPECT_EQ(FindFormat(""), nullptr);
}

TEST_F(OpenBookTest, AFolderStandsForAllItsBooksInTheOrderOfTheirNames) {
  Put("/home/b.LDIF", Person("b1") + "\n" + Person("b2"));
  Put("/home/a.ldif", Person("a") +
                          "\ndn: cn=L\nobjectclass: groupOfNames\ncn: L\n"
                          "member: cn=a\nmember: cn=M\n\n"
                          "dn: cn=M\nobjectclass: groupOfNames\ncn: M\n");
  Put("/home/c.ldif", Person("c") + "\ndn: cn=N\nobjectclass: groupOfNames\ncn: N\nmember: cn=c\n");
  Put("/home/notes.txt", "no book");
  Put("/home/x.ldif/inner", "a folder that looks like a book");
  const auto roster = Open("LDIF", "/home");
  EXPECT_EQ(Everybody(roster.get()), (Texts{"a@x", "b1@x", "b2@x", "c@x"}));
  EXPECT_EQ(MembersOf(roster.get(), "L"), Texts{"a@x"});
  EXPECT_EQ(MembersOf(roster.get(), "N"), Texts{"c@x"});
}

TEST_F(OpenBookTest, AFolderWithoutABookSaysWhatIsMissing) {
  Put("/home/notes.txt", "no book");
  const Status status = OpenRoster("MAB", "/home").status();
  EXPECT_EQ(status.code(), StatusCode::kNotFound);
  EXPECT_EQ(status.message(), "/home: the folder has no MAB file (*.mab)");
  EXPECT_EQ(OpenRoster("PINE", "/none").status().code(), StatusCode::kNotFound);
  EXPECT_EQ(OpenRoster("EUD", "/home").status().code(), StatusCode::kNotFound);
}

TEST_F(OpenBookTest, EudorasFolderIsOneBook) {
  Put("/mail/nndbase.txt", "alias ann ann@x\nalias all ann,bob\n");
  Put("/mail/Nickname/work.txt", "alias bob bob@x\n");
  Put("/mail/Nickname/work.toc", "no book");
  Put("/mail/descmap.pce", "no book");
  const auto roster = Open("EUD", "/mail");
  EXPECT_EQ(Everybody(roster.get()), (Texts{"ann@x", "bob@x"}));
  EXPECT_EQ(MembersOf(roster.get(), "all"), (Texts{"ann@x", "bob@x"}));
}

TEST_F(OpenBookTest, TheBatsOwnFileIsRefusedByName) {
  Put("/bat/People.ABD", "binary");
  for (const char* const location : {"/bat/People.ABD", "/bat"}) {
    const Status status = OpenRoster("TB", location).status();
    EXPECT_EQ(status.code(), StatusCode::kUnsupported);
    EXPECT_TRUE(status.message().starts_with("/bat/People.ABD: ")) << status.message();
    EXPECT_NE(status.message().find("export"), std::string::npos);
  }
  Put("/bat/people.ldif", Person("a"));
  EXPECT_EQ(Everybody(Open("TB", "/bat").get()), Texts{"a@x"});
}

TEST_F(OpenBookTest, OwnersAreNeitherKeptOutNorWaitedFor) {
  Put("/books/a.ldif", Person("a"));
  platform::OpenOptions alone;
  alone.share = platform::ShareMode::kDenyAll;
  {
    const auto owner = machine_.files.Open("/books/a.ldif", alone);
    ASSERT_TRUE(owner.ok());
    EXPECT_EQ(Everybody(Open("LDIF", "/books/a.ldif").get()), Texts{"a@x"});
  }
  const auto roster = Open("LDIF", "/books/a.ldif");
  EXPECT_TRUE(machine_.files.Open("/books/a.ldif", alone).ok());
}

}  // namespace
}  // namespace pv::converter

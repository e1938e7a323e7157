#include "providers/converter/readers/opera_book.h"

#include <gtest/gtest.h>

#include "providers/converter/book_fixture_test.h"

namespace pv::converter {
namespace {

using Texts = std::vector<std::string>;
using OperaBookTest = BookTest;

TEST_F(OperaBookTest, FoldersAreCategoriesAndTrashIsNot) {
  const auto book = OpenText("ADR",
                             "Opera Hotlist version 2.0\nOptions: encoding = utf8, version=3\n\n"
                             "#CONTACT\n\tNAME=Top\n\tMAIL=top@x\n\n"
                             "#FOLDER\n\tNAME=Work\n\n#CONTACT\n\tNAME=Ann\n\tMAIL=ann@x\n"
                             "#FOLDER\n\tNAME=Team\n#CONTACT\n\tNAME=Bob\n\tMAIL=bob@x\n-\n"
                             "#CONTACT\n\tNAME=Cid\n-\n"
                             "#FOLDER\n\tNAME=Trash\n\tTRASH FOLDER=YES\n#CONTACT\n\tNAME=Gone\n"
                             "#FOLDER\n\tNAME=In trash\n#CONTACT\n\tNAME=Gone too\n-\n-\n-\n-\n"
                             "#CONTACT\n\tNAME=End\n#OTHER\n\tNAME=no contact\n");
  EXPECT_EQ(Everybody(book.get()), (Texts{"top@x", "ann@x", "bob@x", "Cid", "End"}));
  EXPECT_EQ(ReadContact(book.get(), 0).categories(), Texts());
  EXPECT_EQ(ReadContact(book.get(), 1).categories(), Texts{"Work"});
  EXPECT_EQ(ReadContact(book.get(), 2).categories(), (Texts{"Work", "Team"}));
  EXPECT_EQ(ReadContact(book.get(), 3).categories(), Texts{"Work"});
}

TEST_F(OperaBookTest, TwoControlCharactersPartLinesAndAddresses) {
  const auto book = OpenText("ADR",
                             "Opera Hotlist version 2.0\r\n#CONTACT\r\n\tNAME=A\xE4\r\n"
                             "\tMAIL=a@x\x02\x02"
                             "b@x\r\n\tPOSTALADDRESS=Way 1\x02\x02Town\r\n"
                             "\tSHORT NAME=s\r\n\tCREATED=1405955335\r\n\tPHONE=1\r\n\tFAX=2\r\n"
                             "\tURL=http://a\r\n\tDESCRIPTION=d=e\r\n");
  const Contact contact = ReadContact(book.get(), 0);
  EXPECT_EQ(contact.Text(kDisplayName), "Aä");
  EXPECT_EQ(contact.addresses(), (Texts{"a@x", "b@x"}));
  EXPECT_EQ(contact.Text(kPostalAddress), "Way 1\nTown");
  EXPECT_EQ(contact.Text(kNickName), "s");
  EXPECT_EQ(contact.Text(kHomePhone), "1");
  EXPECT_EQ(contact.Text(kHomeFax), "2");
  EXPECT_EQ(contact.Text(kPersonalHomePage), "http://a");
  EXPECT_EQ(contact.Text(kComment), "d=e");
  EXPECT_EQ(DateText(contact, kCreationTime), "2014-07-21 15:08:55");
}

TEST_F(OperaBookTest, FoldersMayLieDeep) {
  std::string text = "Opera Hotlist version 2.0\n";
  for (int i = 0; i < 50'000; ++i) text += "#FOLDER\n\tNAME=f" + std::to_string(i) + "\n";
  text += "#CONTACT\n\tNAME=A\n";
  const auto book = OpenText("ADR", text);
  EXPECT_EQ(ReadContact(book.get(), 0).categories().size(), 32U);
  EXPECT_EQ(ReadContact(book.get(), 0).categories().back(), "f49999");
}

TEST_F(OperaBookTest, OtherFilesAreRefused) {
  EXPECT_EQ(Failure("ADR", "").code(), StatusCode::kCorrupt);
  EXPECT_EQ(Failure("ADR", "#CONTACT\n\tNAME=A\n").message(),
            "/books/book: this is no Opera contacts file: its first line does not say so");
}

}  // namespace
}  // namespace pv::converter

#include "providers/converter/readers/eudora_book.h"

#include <gtest/gtest.h>

#include "providers/converter/book_fixture_test.h"

namespace pv::converter {
namespace {

using Texts = std::vector<std::string>;
using EudoraBookTest = BookTest;

TEST_F(EudoraBookTest, NotesHoldFieldsAndText) {
  const auto book = OpenText("EUD",
                             "alias ann \"Lee, Ann\" <ann@x>\r\n"
                             "NOTE ann <Name:Ann <the first> Lee><first:Ann><address:Way 1\x03"
                             "Flat 2><phone2:12>"
                             "<otheremail:b@x, c@x><odd:kept>likes\x03tea <3\r\n");
  const Contact ann = ReadContact(book.get(), 0);
  EXPECT_EQ(ann.Text(kDisplayName), "Ann <the first> Lee");
  EXPECT_EQ(ann.Text(kGivenName), "Ann");
  EXPECT_EQ(ann.Text(kHomeStreet), "Way 1\nFlat 2");
  EXPECT_EQ(ann.Text(kBusinessPhone), "12");
  EXPECT_EQ(ann.addresses(), (Texts{"ann@x", "b@x", "c@x"}));
  EXPECT_EQ(ann.Text(kComment), "<odd:kept>likes\ntea <3");
}

TEST_F(EudoraBookTest, EveryFormOfAnAddress) {
  const auto book = OpenText("EUD",
                             "alias a a@x\nalias b <b@x>\nalias c Carl C <c@x>\n"
                             "alias d \"D, Dora\"<d@x>\nalias e e@x (Eve E)\n");
  EXPECT_EQ(Everybody(book.get()), (Texts{"a@x", "b@x", "c@x", "d@x", "e@x"}));
  EXPECT_EQ(ReadContact(book.get(), 0).Text(kDisplayName), "a");
  EXPECT_EQ(ReadContact(book.get(), 2).Text(kDisplayName), "Carl C");
  EXPECT_EQ(ReadContact(book.get(), 3).Text(kDisplayName), "D, Dora");
  EXPECT_EQ(ReadContact(book.get(), 4).Text(kDisplayName), "Eve E");
}

TEST_F(EudoraBookTest, ListsAreWhatHasSeveralItemsOrNamesANickname) {
  const auto book = OpenText("EUD",
                             "alias \"Ann Lee\" ann@x\nalias alone ann lee\nalias self self\n"
                             "alias many Ann Lee,\"B, b\" <b@x>,loop\nalias loop many,loop\n");
  EXPECT_EQ(book->lists().size(), 3U);
  EXPECT_EQ(Everybody(book.get()), (Texts{"ann@x", "self", "b@x"}));
  EXPECT_EQ(MembersOf(book.get(), "alone"), Texts{"ann@x"});
  EXPECT_EQ(MembersOf(book.get(), "loop"), (Texts{"ann@x", "b@x"}));
}

TEST_F(EudoraBookTest, LineEndsAndAlphabets) {
  const auto mac = OpenText("EUD", "alias a Ren\x8E <a@x>\ralias b b@x\r");
  EXPECT_EQ(Everybody(mac.get()), (Texts{"a@x", "b@x"}));
  EXPECT_EQ(ReadContact(mac.get(), 0).Text(kDisplayName), "René");
  const auto windows = OpenText("EUD", "alias a Ren\xE9 <a@x>\r\nalias b b@x\nrubbish\n");
  EXPECT_EQ(ReadContact(windows.get(), 0).Text(kDisplayName), "René");
  EXPECT_EQ(windows->notes().Texts(),
            Texts{"/books/book: byte 32: a line that is neither alias nor note is left out"});
  EXPECT_EQ(Failure("EUD", "rubbish\n").message(),
            "/books/book: this is no nickname file: it has no alias");
}

TEST_F(EudoraBookTest, LongLinesAreReadWhole) {
  std::string line = "alias many ";
  for (int i = 0; i < 2000; ++i) line += (i > 0 ? ",u" : "u") + std::to_string(i) + "@x";
  const auto book = OpenText("EUD", line + "\n");
  EXPECT_EQ(book->count(), 2000U);
}

}  // namespace
}  // namespace pv::converter

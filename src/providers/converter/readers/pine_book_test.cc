#include "providers/converter/readers/pine_book.h"

#include <gtest/gtest.h>

#include "providers/converter/book_fixture_test.h"

namespace pv::converter {
namespace {

using Texts = std::vector<std::string>;
using PineBookTest = BookTest;

TEST_F(PineBookTest, EntriesGoOnInLinesThatBeginWithABlank) {
  const auto book = OpenText("PINE",
                             "ann\tLee, Ann\tann@x\t\tlikes tea\n"
                             "#DELETED-96/01/02#old\tOld\told@x\n and more of it\n"
                             "bob\t\n   Bob B.\tBob <bob@x>\n"
                             "all\tEverybody\t(ann,\n   BOB,Carl <carl@x>,\n   inner)\n"
                             "inner\t\t(dora@x,all)\n\n");
  EXPECT_EQ(Everybody(book.get()), (Texts{"ann@x", "bob@x", "carl@x", "dora@x"}));
  const Contact ann = ReadContact(book.get(), 0);
  EXPECT_EQ(ann.Text(kDisplayName), "Ann Lee");
  EXPECT_EQ(ann.Text(kSurname), "Lee");
  EXPECT_EQ(ann.Text(kNickName), "ann");
  EXPECT_EQ(ann.Text(kComment), "likes tea");
  EXPECT_EQ(ReadContact(book.get(), 1).Text(kDisplayName), "Bob B.");
  EXPECT_EQ(ReadContact(book.get(), 2).Text(kDisplayName), "Carl");
  EXPECT_EQ(MembersOf(book.get(), "Everybody"), (Texts{"ann@x", "bob@x", "carl@x", "dora@x"}));
  EXPECT_EQ(book->lists()[1].name, "inner");  // without a name of its own
}

TEST_F(PineBookTest, HeaderWordsAreDecoded) {
  const auto book = OpenText("PINE",
                             "a\t=?UTF-8?Q?M=C3=BCller?= =?iso-8859-1?B?/A==?=\ta@x\n"
                             "b\tM\xFCller\tb@x\nc\t=?x-none?Q?a?=\tc@x\n");
  EXPECT_EQ(ReadContact(book.get(), 0).Text(kDisplayName), "Müllerü");
  EXPECT_EQ(ReadContact(book.get(), 1).Text(kDisplayName), "Müller");
  EXPECT_EQ(ReadContact(book.get(), 2).Text(kDisplayName), "=?x-none?Q?a?=");
}

TEST_F(PineBookTest, WhatIsNoEntryIsToldOf) {
  const auto book = OpenText("PINE", "ann\tAnn\tann@x\nno tabs here\n");
  EXPECT_EQ(Everybody(book.get()), Texts{"ann@x"});
  EXPECT_EQ(book->notes().Texts(),
            Texts{"/books/book: an entry without an address is left out: no tabs here"});
  EXPECT_EQ(Failure("PINE", "some text\nand more\n").message(),
            "/books/book: this is no Pine address book: it has no entry");
  EXPECT_EQ(OpenText("PINE", "\n")->count(), 0U);
}

}  // namespace
}  // namespace pv::converter

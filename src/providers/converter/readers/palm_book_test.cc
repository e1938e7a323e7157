#include "providers/converter/readers/palm_book.h"

#include <gtest/gtest.h>

#include "providers/converter/book_fixture_test.h"
#include "providers/converter/made_books_test.h"

namespace pv::converter {
namespace {

using Texts = std::vector<std::string>;
using PalmBookTest = BookTest;

TEST_F(PalmBookTest, PhonesGoByTheirLabels) {
  const auto book = OpenText("PALM", SmallPdb());
  EXPECT_EQ(book->own_count(), 2U);  // one is deleted
  const Contact ann = ReadContact(book.get(), 0);
  EXPECT_EQ(ann.Text(kDisplayName), "Ann Lee");
  EXPECT_EQ(ann.addresses(), (Texts{"a@x", "b@x"}));
  EXPECT_EQ(ann.Text(kBusinessPhone), "1");
  EXPECT_EQ(ann.Text(kHomePhone), "2");
  EXPECT_EQ(ann.Text(kCellPhone), "5");
  EXPECT_EQ(ann.Text(kBusinessStreet), "Way");
  EXPECT_EQ(ann.categories(), Texts{"Business"});
  EXPECT_EQ(*ann.Find(kEntryId), automation::Value(automation::Bytes{1, 0, 0, 0}));
  const Contact cafe = ReadContact(book.get(), 1);
  EXPECT_EQ(cafe.Text(kSurname), "Café");
  EXPECT_EQ(cafe.categories(), Texts{"Privé"});
}

TEST_F(PalmBookTest, ASecondNumberOfOneKindIsKept) {
  const auto book = OpenText("PALM", MakePdb({{0, 0x00010, {"L", "", "", "1", "2", "3", "4"}}}));
  const Contact contact = ReadContact(book.get(), 0);
  EXPECT_EQ(contact.Text(kBusinessPhone), "1");
  EXPECT_EQ(contact.Text(kHomePhone), "2");
  EXPECT_EQ(contact.Text(kBusiness2Phone), "3");
}

TEST_F(PalmBookTest, JapaneseNamesHaveReadingsBehindThem) {
  const auto book =
      OpenText("PALM", MakePdb({{0, 0, {"\x93\x63\x92\x86\x01\xCA\xC5", "", "\x83\x41"}}}));
  const Contact contact = ReadContact(book.get(), 0);
  EXPECT_EQ(contact.Text(kSurname), "田中");
  EXPECT_EQ(contact.Text(kCompany), "ア");
}

TEST_F(PalmBookTest, TheDesktopsFileHasTheSameFields) {
  const auto book = OpenText("PALM", MakeDat({"ann", std::string(300, 'b'), "gone"}));
  EXPECT_EQ(book->own_count(), 2U);
  const Contact ann = ReadContact(book.get(), 0);
  EXPECT_EQ(ann.Text(kSurname), "ann");
  EXPECT_EQ(ann.Text(kEmail), "ann@x");
  EXPECT_EQ(ann.Text(kBusinessPhone), "0");
  EXPECT_EQ(ann.Text(kBusinessStreet), "f0");
  EXPECT_EQ(ann.Text(kComment), "f5");
  EXPECT_EQ(ann.categories(), Texts{"Business"});
  const Contact second = ReadContact(book.get(), 1);
  EXPECT_EQ(second.Text(kSurname), std::string(300, 'b'));
  EXPECT_EQ(second.categories(), Texts());
}

TEST_F(PalmBookTest, DamageIsToldOf) {
  std::string file = SmallPdb();
  file.replace(78 + 16, 4, Be32(0xFFFFFF));
  const auto book = OpenText("PALM", file);
  EXPECT_EQ(book->own_count(), 1U);
  EXPECT_EQ(book->notes().Texts().size(), 1U);
  EXPECT_EQ(Failure("PALM", "no palm").message(),
            "/books/book: this is no Palm address book: its header does not say so");
  EXPECT_EQ(Failure("PALM", MakeDat({"a"}).substr(0, 40)).message(),
            "/books/book: the header leads out of the file");
  const auto cut = OpenText("PALM", MakeDat({"ann", "bob", "gone"}).substr(0, 600));
  EXPECT_EQ(cut->own_count(), 1U);
  EXPECT_EQ(cut->notes().Texts().size(), 1U);
}

}  // namespace
}  // namespace pv::converter

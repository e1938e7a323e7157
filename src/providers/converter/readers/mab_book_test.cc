#include "providers/converter/readers/mab_book.h"

#include <gtest/gtest.h>

#include "providers/converter/book_fixture_test.h"

namespace pv::converter {
namespace {

using Texts = std::vector<std::string>;

constexpr const char* kHead =
    "// <!-- <mdb:mork:z v=\"1.4\"/> -->\n"
    "< <(a=c)> // (f=iso-8859-1)\n"
    "  (80=ns:addrbk:db:row:scope:card:all)(81=ns:addrbk:db:row:scope:list:all)\n"
    "  (82=ns:addrbk:db:row:scope:data:all)(83=ns:addrbk:db:table:kind:pab)\n"
    "  (84=ns:addrbk:db:table:kind:deleted)(85=DisplayName)(86=PrimaryEmail)(87=Notes)\n"
    "  (88=ListName)(89=Address1)(8A=Address2)(8B=AddressA)(8C=LastModifiedDate)>\n";

class MabBookTest : public BookTest {
 protected:
  std::unique_ptr<Roster> Make(const std::string& body) { return OpenText("MAB", kHead + body); }
};

TEST_F(MabBookTest, AliasesMayBeGivenAnotherText) {
  const auto book = Make(
      "<(90=one@x)>\n{1:^80 {(k^83:c)(s=9)} [1(^86^90)]}\n<(90=two@x)>\n"
      "{1:^80 {(k^83:c)(s=9)} [2(^86^90)]}\n");
  EXPECT_EQ(Everybody(book.get()), (Texts{"one@x", "two@x"}));
}

TEST_F(MabBookTest, ValuesAreUnescaped) {
  const auto book = Make(
      "<(90=a\\)b\\\\c\\\n  d$C3$A4// no comment $zz)(91\n  = kept)>\n"
      "{1:^80 {(k^83:c)(s=9)} [1(^85^90)(^87^91)(^86=lit\\$eral)]}\n");
  const Contact contact = ReadContact(book.get(), 0);
  EXPECT_EQ(contact.Text(kDisplayName), "a)b\\c  dä// no comment $zz");
  EXPECT_EQ(contact.Text(kComment), " kept");
  EXPECT_EQ(contact.Text(kEmail), "lit$eral");
}

TEST_F(MabBookTest, ARowMayBeInSeveralTables) {
  const std::string tables =
      "[1:^80(^86=a@x)][2:^80(^86=b@x)][3:^80(^86=c@x)]\n"
      "{1:^80 {(k^84:c)(s=9)} 1 2}{2:^80 {(k^83:c)(s=9)} 2 1 2 3 1}\n";
  EXPECT_EQ(Everybody(Make(tables).get()), (Texts{"b@x", "a@x", "c@x"}));
  // Taken out of one of them, and back.
  EXPECT_EQ(Everybody(Make(tables + "{1:^80 -1 }{2:^80 -2 }").get()), (Texts{"a@x", "c@x"}));
  EXPECT_EQ(Everybody(Make(tables + "{1:^80 -2 }{2:^80 -2 2 }").get()),
            (Texts{"a@x", "c@x", "b@x"}));
  // A table that is emptied has no claim on its rows any more.
  EXPECT_EQ(Everybody(Make(tables + "{-1:^80 }{-2:^80 3 2 }").get()), (Texts{"c@x", "b@x"}));
}

TEST_F(MabBookTest, PropertiesOneByOne) {
  const auto book = Make(
      "{1:^80 {(k^83:c)(s=9)} [1(^85=Ann)(^86=a@x)(SecondEmail=a2@x)(FirstName=A)(LastName=B)"
      "(WorkAddress2=Flat)(WorkAddress=Way)(BirthYear=1980)(BirthMonth=2)(BirthDay=29)"
      "(^8C=1237281794)(^87=note)] [2(FirstName=C)(LastName=D)]}\n");
  EXPECT_EQ(ReadContact(book.get(), 0).Text(kBusinessStreet), "Way\nFlat");
  EXPECT_EQ(ReadContact(book.get(), 1).Text(kDisplayName), "C D");
  ExpectPartsAsTheWhole(book.get());
}

TEST_F(MabBookTest, RowsAreClearedMovedAndRemoved) {
  const auto book = Make(
      "{1:^80 {(k^83:c)(s=9)} [1(^86=a@x)(^87=note)] [2(^86=b@x)] [3(^86=c@x)(^87=n)] "
      "[4(^86=d@x)]\n"
      "}\n[-1:^80(^86=a2@x)]\n[3:^80 -(^87)(^86=c2@x)]{1:^80 {(k^83:c)(s=9)} -2 4!0 }\n");
  EXPECT_EQ(Everybody(book.get()), (Texts{"d@x", "a2@x", "c2@x"}));
  EXPECT_FALSE(ReadContact(book.get(), 1).Has(kComment));
  EXPECT_FALSE(ReadContact(book.get(), 2).Has(kComment));
}

TEST_F(MabBookTest, ATableCanBeEmptied) {
  const auto book =
      Make("{1:^80 {(k^83:c)(s=9)} [1(^86=a@x)] [2(^86=b@x)]}\n{-1:^80 {(k^83:c)(s=9)} 2 }\n");
  EXPECT_EQ(Everybody(book.get()), Texts{"b@x"});
}

TEST_F(MabBookTest, OnlyTheAddressBooksTableCounts) {
  const auto book = Make(
      "{1:^80 {(k^84:c)(s=9)} [1(^86=a@x)]}\n{2:^80 {(k^83:c)(s=9)} [2(^86=b@x)] "
      "[9:^82(^86=no@x)]}\n[7:^80(^86=loose@x)]\n");
  EXPECT_EQ(Everybody(book.get()), Texts{"b@x"});
}

TEST_F(MabBookTest, TransactionsCountWhenTheyWereFinished) {
  const std::string table = "{1:^80 {(k^83:c)(s=9)} [";
  const auto book =
      Make(table + "1(^86=a@x)]}\n@$${1{@\n" + table + "2(^86=b@x)]}\n@$$}1}@\n@$${2{@\n" + table +
           "3(^86=c@x)]}\n@$$}~~}@\n@$${3{@\n" + table + "4(^86=d@x)]}\n@$$}3}@\n@$${4{@\n" +
           table + "5(^86=e@x)]}\n");
  EXPECT_EQ(Everybody(book.get()), (Texts{"a@x", "b@x", "d@x"}));
  EXPECT_EQ(book->notes().Texts().size(), 1U);
}

TEST_F(MabBookTest, NumbersInListsAreHexadecimalAndListsMayHoldLists) {
  const auto book = Make(
      "{1:^80 {(k^83:c)(s=9)} [A(^86=a@x)] [10(^86=b@x)] [11(^86=Inner)] [12(^86=c@x)]\n"
      "[1:^81(^88=Outer)(^89=A)(^8A=11)(^8B=10)] [2:^81(^88=Inner)(^89=12)(^8A=11)(^8B=99)]}\n");
  EXPECT_EQ(Everybody(book.get()), (Texts{"a@x", "b@x", "c@x"}));  // the stand-in is hidden
  EXPECT_EQ(MembersOf(book.get(), "Outer"), (Texts{"a@x", "b@x", "c@x"}));
  EXPECT_EQ(MembersOf(book.get(), "Inner"), Texts{"c@x"});
}

TEST_F(MabBookTest, TimesAreHexadecimalInOldFilesAndDecimalInNewOnes) {
  const auto book =
      Make("{1:^80 {(k^83:c)(s=9)} [1(^8C=47910253)] [2(^8C=1237281794)] [3(^8C=0)(^85=n)]}\n");
  EXPECT_EQ(DateText(ReadContact(book.get(), 0), kLastModification), "2008-01-18 19:47:31");
  EXPECT_EQ(DateText(ReadContact(book.get(), 1), kLastModification), "2009-03-17 09:23:14");
  EXPECT_EQ(DateText(ReadContact(book.get(), 2), kLastModification), "");
}

TEST_F(MabBookTest, ListsOfManyMembers) {
  std::string columns = "< <(a=c)> ";
  std::string cards;
  std::string cells;
  for (int i = 1; i <= 500; ++i) {
    char hex[16];
    std::snprintf(hex, sizeof hex, "%X", i);
    columns += "(" + std::to_string(1000 + i) + "=Address" + hex + ")";
    cards += std::string("[") + hex + "(^86=u" + std::to_string(i) + "@x)]";
    cells += "(^" + std::to_string(1000 + i) + "=" + hex + ")";
  }
  const auto book = Make(columns + ">\n{1:^80 {(k^83:c)(s=9)} " + cards + "[1:^81(^88=Big)" +
                         cells + "] }\n[1:^81(^1001=2)(^1003=)]");
  EXPECT_EQ(MembersOf(book.get(), "Big").size(), 498U);  // the first and third are not there now
}

TEST_F(MabBookTest, OtherFilesAreRefused) {
  EXPECT_EQ(Failure("MAB", "").message(),
            "/books/book: this is no MAB file: its first line does not say so");
  EXPECT_EQ(Failure("MAB", "// <!-- <mdb:mork:z v=\"2.0\"/> -->\n").code(), StatusCode::kCorrupt);
}

}  // namespace
}  // namespace pv::converter

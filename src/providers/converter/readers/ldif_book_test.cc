#include "providers/converter/readers/ldif_book.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "providers/converter/book_fixture_test.h"
#include "providers/converter/readers/ldif_entry.h"

namespace pv::converter {
namespace {

using Texts = std::vector<std::string>;
using LdifBookTest = BookTest;

TEST_F(LdifBookTest, LinesAreFoldedAndEntriesPartedByAnyNumberOfBlankLines) {
  const auto book = OpenText("LDIF",
                             "\xEF\xBB\xBFversion: 1\n\n\n# a comment\n  that goes on\n"
                             "dn: cn=A\nobjectClass: per\n son\ncn:Anna\n  Lena\n# in between\n"
                             " and on\nmail:: YW\n 5uQHg=\n\n\n\n"
                             "dn: cn=B\r\nobjectclass: person\r\nCN: B\r\n\r\n"
                             "dn: cn=C\nobjectclass: person\ncn: C\ndn: cn=D\nobjectclass: person\n"
                             "cn: D");
  EXPECT_EQ(Everybody(book.get()), (Texts{"ann@x", "B", "C", "D"}));
  EXPECT_EQ(ReadContact(book.get(), 0).Text(kDisplayName), "Anna Lena");
}

TEST_F(LdifBookTest, VariantsUrlsAndChangesAreLeftOut) {
  const auto book = OpenText(
      "LDIF",
      "dn: cn=A\nobjectclass: person\ncn;lang-ja: other\ncn: A\ncn: second\n"
      "description:< file:///etc/passwd\njpegPhoto:: ####\n\n"
      "dn: cn=gone\nchangetype: delete\n\ndn: cn=changed\nchangetype: modify\nreplace: mail\n"
      "mail: x@y\n\ndn: cn=New\nchangetype: add\nobjectclass: person\ncn: New\n\n"
      "dn: ou=Unit\nobjectclass: organizationalUnit\nou: Unit\n\n"
      "dn: cn=box\nobjectclass: person\nobjectclass: computer\ncn: box\n\n"
      "dn: cn=plain\nmail: plain@x\n");
  EXPECT_EQ(Everybody(book.get()), (Texts{"A", "New", "plain@x"}));
  EXPECT_FALSE(ReadContact(book.get(), 0).Has(kComment));
  // A value that nobody wants may be as it likes; one that is wanted is told of.
  EXPECT_EQ(
      book->notes().Texts(),
      Texts{"/books/book: contact 1: the value of description cannot be read and is left out"});
}

TEST_F(LdifBookTest, TextIsUtf8OrElseAnsi) {
  const auto book =
      OpenText("LDIF", "dn: cn=A\nobjectclass: person\ncn: M\xC3\xBCller\nl: K\xF6ln\n");
  const Contact contact = ReadContact(book.get(), 0);
  EXPECT_EQ(contact.Text(kDisplayName), "Müller");
  EXPECT_EQ(contact.Text(kBusinessCity), "Köln");
}

TEST_F(LdifBookTest, MeaningsOfTheLessUsualAttributes) {
  const auto book = OpenText(
      "LDIF",
      "dn: cn=A\nobjectclass: person\ndisplayname: Shown\ncn: A\nc: DE\nco: Germany\n"
      "labeledURI: http://a.example My page\nhomepostaladdress: Way 1$1000 Town\n"
      "manager: cn=Boss\\, The,o=x\nmodifytimestamp: 20240229134510Z\nxbatBirthday: 19800229\n");
  const Contact contact = ReadContact(book.get(), 0);
  EXPECT_EQ(contact.Text(kDisplayName), "A");
  EXPECT_EQ(contact.Text(kBusinessCountry), "Germany");
  EXPECT_EQ(contact.Text(kPersonalHomePage), "http://a.example");
  EXPECT_EQ(contact.Text(kHomeStreet), "Way 1\n1000 Town");
  EXPECT_EQ(contact.Text(kManagerName), "Boss, The");
  EXPECT_EQ(DateText(contact, kLastModification), "2024-02-29 13:45:10");
  EXPECT_EQ(DateText(contact, kBirthday), "1980-02-29");
  ExpectPartsAsTheWhole(book.get());
}

TEST_F(LdifBookTest, PropertiesOneByOne) {
  const auto book = OpenText(
      "LDIF",
      "dn: cn=x\nGIVENNAME: Ann\nsn: Lee\nL: Town\nl: Other\nc: x\nco: Land\no;lang-ja: no\n"
      "O: Example\nou: Dep\nmobile: 1\nmail: a@x\nmozillaSecondEmail: b@x\nModifyTimestamp: "
      "1237281794\n"
      "description:: Zm\n 9v\nst\n reet: Way\ntitle: T\n\ndn: cn=y\ncn: Bob\nsn: B\n");
  EXPECT_EQ(ReadContact(book.get(), 0).Text(kDisplayName), "Ann Lee");
  EXPECT_EQ(ReadContact(book.get(), 0).Text(kBusinessCountry), "Land");
  EXPECT_EQ(ReadContact(book.get(), 0).Text(kComment), "foo");
  EXPECT_EQ(ReadContact(book.get(), 1).Text(kDisplayName), "Bob");
  ExpectPartsAsTheWhole(book.get());
}

TEST(LdifNames, EveryAttributeOfAPropertyPassesItsFilter) {
  for (const char* const* name = DirectoryAttributes(); *name != nullptr; ++name) {
    const LdifMeaning meaning = MeaningOf(*name, LdifProfile::kAddressBook);
    if (meaning.use == LdifUse::kNone) continue;
    Wanted wanted;
    wanted.Add(meaning.tag);
    const LdifFilter filter(wanted);
    for (const char* const end : {":", ": x", ":: eA==", ";lang-ja: x"}) {
      EXPECT_TRUE(filter.MayBegin(*name + std::string(end))) << *name;
      EXPECT_TRUE(filter.MayBegin(ToUpper(*name) + std::string(end))) << *name;
    }
    EXPECT_EQ(MeaningOf(ToUpper(*name), LdifProfile::kAddressBook).tag, meaning.tag) << *name;
  }
  EXPECT_EQ(MeaningOf("description1", LdifProfile::kAddressBook).use, LdifUse::kNone);
  EXPECT_EQ(MeaningOf("descriptiom", LdifProfile::kAddressBook).use, LdifUse::kNone);
  // Not a letter in another case, though the bits say so.
  EXPECT_EQ(MeaningOf("DISPLAY\rNAME", LdifProfile::kAddressBook).use, LdifUse::kNone);
  EXPECT_EQ(MeaningOf("DISPLAY-NAME", LdifProfile::kAddressBook).tag, kDisplayName);
  EXPECT_EQ(MeaningOf("", LdifProfile::kAddressBook).use, LdifUse::kNone);
}

TEST_F(LdifBookTest, MembersAreMatchedByNameThenByAddressThenByTheNameOfAList) {
  const auto book = OpenText(
      "LDIF",
      "dn: cn=All\nobjectclass: groupOfUniqueNames\ncn: All\nxnavnickname: a\ndescription: d\n"
      "uniquemember: CN = Lee\\2c Ann , O=x\nuniquemember: cn=Someone,mail=BOB@x\n"
      "uniquemember: cn=Inner\nuniquemember: cn=Away,mail=away@x\nuniquemember: uid=7\n\n"
      "dn: cn=Lee\\, Ann,o=x\nobjectclass: person\ncn: Ann\n\n"
      "dn: cn=Bob\nobjectclass: person\ncn: Bob\nmail: bob@x\n\n"
      "dn: cn=Inner,o=x\nobjectclass: groupOfNames\ncn: Inner\nmember: cn=All\n"
      "member: cn=Inner,o=x\nmember: cn=Cid\n\n"
      "dn: cn=Cid\nobjectclass: person\ncn: Cid\n");
  EXPECT_EQ(book->lists()[0].nickname, "a");
  EXPECT_EQ(book->lists()[0].description, "d");
  EXPECT_EQ(MembersOf(book.get(), "All"), (Texts{"Ann", "bob@x", "Cid", "away@x", "uid=7"}));
  EXPECT_EQ(MembersOf(book.get(), "Inner"), (Texts{"Ann", "bob@x", "Cid", "away@x", "uid=7"}));
}

TEST_F(LdifBookTest, ClassesAreThoseOfTheEntryItself) {
  std::string text;
  for (const char* const kind : {"person", "groupOfNames", "PERSON", "computer", "", "device"}) {
    text += std::string("dn: cn=") + kind + "\nobjectclass: top\nobjectClass: " + kind +
            "\ncn: " + kind + "\n\n";
  }
  text += "dn: cn=last\nobjectclass: top\nobjectclass: per\n son\ncn;lang-ja: no\ncn: last\n";
  const auto book = OpenText("LDIF", text);
  EXPECT_EQ(Everybody(book.get()), (Texts{"person", "PERSON", "last"}));
  EXPECT_EQ(book->lists().size(), 1U);
}

TEST_F(LdifBookTest, OtherFilesAreRefused) {
  EXPECT_EQ(Failure("LDIF", "just text\n").message(),
            "/books/book: this is no LDIF file: it has no entry");
  EXPECT_NE(Failure("LDIF",
                    "\xFF\xFE"
                    "d")
                .message()
                .find("UTF-16"),
            std::string::npos);
  EXPECT_EQ(OpenText("LDIF", "")->count(), 0U);
}

TEST_F(LdifBookTest, LongLinesAreNotHeld) {
  std::string text = "dn: cn=A\nobjectclass: person\ncn: A\ndescription: ";
  text.append(3 << 20, 'x').append("\nmail: a@x\njpegphoto: ").append(3 << 20, 'y');
  text.append("\nl: Town\n\ndn: cn=B\nobjectclass: person\ncn: B\n");
  const auto book = OpenText("LDIF", text);
  EXPECT_EQ(Everybody(book.get()), (Texts{"a@x", "B"}));
  const Contact contact = ReadContact(book.get(), 0);
  EXPECT_FALSE(contact.Has(kComment));
  EXPECT_EQ(contact.Text(kBusinessCity), "Town");
  EXPECT_EQ(book->notes().Texts().size(), 1U);
}

TEST_F(LdifBookTest, AFileThatIsCutMeanwhileIsNoticed) {
  const std::string first = "dn: cn=A\nmail: a@x\n\n";
  std::string between;
  for (int i = 0; i < 10; ++i) between += "#" + std::string(100'000, 'x') + "\n";
  const auto book = OpenText("LDIF", first + between + "\ndn: cn=B\nmail: b@x\n");
  EXPECT_EQ(Everybody(book.get()), (Texts{"a@x", "b@x"}));
  Contact contact;
  ASSERT_TRUE(book->Read(0, &contact).ok());
  Put("/books/book", first);
  EXPECT_EQ(book->Read(1, &contact).message(),
            "/books/book: contact 2: the file was changed while it was read");
  EXPECT_TRUE(book->Read(0, &contact).ok());
}

TEST(LdifNames, PartsOfADistinguishedName) {
  const Dn dn = ParseDn("CN=Lee\\, Ann\\ ,mail = a@x + uid=\\41b, o=\"A, B\" ");
  EXPECT_EQ(DnPart(dn, "cn"), "Lee, Ann ");
  EXPECT_EQ(DnPart(dn, "mail"), "a@x");
  EXPECT_EQ(DnPart(dn, "uid"), "Ab");
  EXPECT_EQ(DnPart(dn, "o"), "A, B");
  EXPECT_EQ(DnPart(dn, "c"), "");
  EXPECT_EQ(NormalDn("cn=A B, O=X"), NormalDn("CN=a b,o=x"));
  EXPECT_NE(NormalDn("cn=a,o=x"), NormalDn("cn=a"));
  EXPECT_TRUE(ParseDn(",,;").empty());
}

}  // namespace
}  // namespace pv::converter

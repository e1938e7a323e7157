// Address books that other programs wrote: how many contacts and lists each has, and what is in
// them. They are only read.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "providers/converter/book_fixture_test.h"

namespace pv::converter {
namespace {

using testing::Test;
using Texts = std::vector<std::string>;

class SampleBooksTest : public Test {
 protected:
  void SetUp() override {
    const char* const folder = std::getenv("PV_SAMPLE_DATA");
    if (folder == nullptr) GTEST_SKIP() << "PV_SAMPLE_DATA names no folder of sample data";
    folder_ = std::string(folder) + "/addressbooks/";
  }

  std::unique_ptr<Roster> Open(const char* code, const std::string& file) {
    auto roster = OpenRoster(code, folder_ + file);
    EXPECT_TRUE(roster.ok()) << roster.status().message();
    return roster.ok() ? std::move(*roster) : nullptr;
  }

  std::string folder_;
};

TEST_F(SampleBooksTest, EveryBookHasItsContactsAndLists) {
  const struct {
    const char* code;
    const char* file;
    std::uint32_t contacts;
    std::size_t lists;
  } books[] = {
      {"MAB", "MAB/tb-abLists1.mab", 5, 3},
      {"MAB", "MAB/tb-autocomplete.mab", 5, 4},
      {"MAB", "MAB/tb-badlists.mab", 2, 4},
      {"MAB", "MAB/tb-cardForEmail.mab", 4, 0},
      {"MAB", "MAB/tb-collect.mab", 1, 0},
      {"MAB", "MAB/tb-empty.mab", 0, 0},
      {"MAB", "MAB/tb-import.mab", 1, 1},
      {"MAB", "MAB/redacted-cut-table.mab", 3, 0},
      {"LDIF", "LDIF/tb-basic_ldif_addressbook.ldif", 1, 0},
      {"LDIF", "LDIF/tb-export.ldif", 2, 1},
      {"LDIF", "LDIF/turba-import.ldif", 2, 0},
      {"LDIF", "LDIF/cpan-ldifSample.ldif", 4, 2},
      {"LDIF", "LDIF/rfc2849-example1.ldif", 2, 0},
      {"LDIF", "LDIF/rfc2849-example2.ldif", 1, 0},
      {"LDIF", "LDIF/rfc2849-example3.ldif", 1, 0},
      {"LDIF", "LDIF/rfc2849-example4.ldif", 1, 0},
      {"LDIF", "LDIF/kcontacts-group-and-address.ldif", 1, 1},
      {"WAB", "WAB/tb-OutlookExpress.wab", 1, 0},
      {"PALM", "PALM/p5palm-AddressDB.pdb", 2, 0},
      {"PALM", "PALM/palmpdb-AddressDB-PalmV-FR.pdb", 2, 0},
      {"EUD", "EUD/cpan-EudoraSampleFile.txt", 7, 3},
      {"PINE", "PINE/cpan-pineSample.addressbook", 5, 2},
      {"ADR", "ADR/redacted-opera12-contacts.adr", 5, 0},
      {"TB", "TB/kcontacts-thebat-emails.ldif", 1, 0},
  };
  for (const auto& book : books) {
    const auto roster = Open(book.code, book.file);
    ASSERT_NE(roster, nullptr) << book.file;
    EXPECT_EQ(roster->own_count(), book.contacts) << book.file;
    EXPECT_EQ(roster->lists().size(), book.lists) << book.file;
    EXPECT_EQ(Everybody(roster.get()).size(), roster->count()) << book.file;
    ExpectPartsAsTheWhole(roster.get());
    EXPECT_EQ(roster->notes().Texts(), Texts()) << book.file;
  }
}

TEST_F(SampleBooksTest, MabLists) {
  const auto lists = Open("MAB", "MAB/tb-abLists1.mab");
  EXPECT_EQ(MembersOf(lists.get(), "TestList1"),
            (Texts{"test1@invalid.com", "test2@invalid.com", "test3@invalid.com"}));
  EXPECT_EQ(MembersOf(lists.get(), "TestList2"), Texts{"test4@invalid.com"});
  EXPECT_EQ(MembersOf(lists.get(), "TestList3"), Texts{"test5@invalid.com"});
  // Hexadecimal: 0x4791024e seconds.
  EXPECT_EQ(DateText(ReadContact(lists.get(), 3), kLastModification), "2008-01-18 19:47:26");

  const auto names = Open("MAB", "MAB/tb-badlists.mab");
  EXPECT_EQ(names->lists()[1].name, "test; list");
  EXPECT_EQ(names->lists()[3].name, "<>");
  EXPECT_EQ(MembersOf(names.get(), "test  list"), (Texts{"one@invalid", "two@invalid"}));

  const auto empty = Open("MAB", "MAB/tb-autocomplete.mab");
  const Contact first = ReadContact(empty.get(), 0);
  EXPECT_EQ(first.Text(kGivenName), "firs");
  EXPECT_EQ(first.Text(kSurname), "lastn");
  EXPECT_EQ(first.Text(kNickName), "ni");
  EXPECT_EQ(first.Text(kEmail), "ema@foo.invalid");
  bool found = false;
  for (const DistributionList& list : empty->lists()) {
    if (list.name != "test") continue;
    found = true;
    EXPECT_EQ(list.nickname, "abcdef");
    EXPECT_EQ(list.description, "l");
  }
  EXPECT_TRUE(found);
}

TEST_F(SampleBooksTest, MabValues) {
  const auto full = Open("MAB", "MAB/tb-cardForEmail.mab");
  const Contact card = ReadContact(full.get(), 1);
  EXPECT_EQ(card.Text(kDisplayName), "DisplayName1");
  EXPECT_EQ(card.Text(kEmail), "PrimaryEmail1@test.invalid");
  EXPECT_EQ(card.addresses(), (Texts{"PrimaryEmail1@test.invalid", "SecondEmail1Ð@test.invalid"}));
  EXPECT_EQ(card.Text(kHomeStreet), "HomeAddress11\nHomeAddress21");
  EXPECT_EQ(card.Text(kBusinessPostalCode), "WorkZipCode1");
  EXPECT_EQ(DateText(card, kLastModification), "2009-03-17 09:23:14");
  EXPECT_FALSE(ReadContact(full.get(), 0).Has(kEmail));

  const auto cut = Open("MAB", "MAB/redacted-cut-table.mab");
  EXPECT_EQ(ReadContact(cut.get(), 0).Text(kDisplayName), "Alice Archer  ");
  const Contact third = ReadContact(cut.get(), 2);
  EXPECT_EQ(DateText(third, kBirthday), "1986-02-05");
  EXPECT_EQ(third.Text(kBusinessPhone), "+11117777777");
}

TEST_F(SampleBooksTest, LdifValues) {
  const auto basic = Open("LDIF", "LDIF/tb-basic_ldif_addressbook.ldif");
  const Contact card = ReadContact(basic.get(), 0);
  EXPECT_EQ(card.Text(kComment), "Notes line 1\nNotes line 2\nNotes line 3\nNotes line 4");
  EXPECT_EQ(DateText(card, kBirthday), "1900-01-02");
  EXPECT_EQ(card.Text(kBusinessStreet), "Work Address Line 1\nWork Address Line 2");
  EXPECT_EQ(card.Text(kCompany), "Organization Name");
  EXPECT_EQ(card.Text(kDepartment), "Department");

  const auto export_file = Open("LDIF", "LDIF/tb-export.ldif");
  EXPECT_EQ(MembersOf(export_file.get(), "new list"), Texts{"contact1@invalid"});
  EXPECT_TRUE(ReadContact(export_file.get(), 1).Text(kComment).ends_with("\u2026"));

  const auto turba = Open("LDIF", "LDIF/turba-import.ldif");
  const Contact chuck = ReadContact(turba.get(), 1);
  EXPECT_EQ(chuck.Text(kNickName), "Chuck");
  EXPECT_EQ(chuck.addresses().back(), "brown@gmail.com");
  EXPECT_EQ(chuck.Text(kComment), "hi mom\n");

  const auto nested = Open("LDIF", "LDIF/cpan-ldifSample.ldif");
  EXPECT_EQ(MembersOf(nested.get(), "list1"),
            (Texts{"acar@noplace.siwash.edu", "devrep1@nowhere.com"}));
  EXPECT_EQ(nested->ListsOf(2), (std::vector<std::uint32_t>{0, 1}));

  const auto several = Open("LDIF", "LDIF/rfc2849-example1.ldif");
  EXPECT_EQ(ReadContact(several.get(), 0).Text(kDisplayName), "Barbara Jensen");
  const auto folded = Open("LDIF", "LDIF/rfc2849-example2.ldif");
  EXPECT_EQ(ReadContact(folded.get(), 0).Text(kComment),
            "Babs is a big sailing fan, and travels extensively in search of perfect sailing "
            "conditions.");
  const auto japanese = Open("LDIF", "LDIF/rfc2849-example4.ldif");
  EXPECT_EQ(ReadContact(japanese.get(), 0).Text(kDisplayName), "小笠原 ロドニー");

  const auto loose = Open("LDIF", "LDIF/kcontacts-group-and-address.ldif");
  EXPECT_EQ(Everybody(loose.get()), (Texts{"foo@kde.org", "jim.doe@foobar.com",
                                           "jane.doe@foobar.com", "john.doe@foobar.com"}));
  EXPECT_EQ(ReadContact(loose.get(), 1).Text(kDisplayName), "Jim Doe");
}

#ifdef PV_WITH_PST
TEST_F(SampleBooksTest, OutlookStores) {
  if (const Status status = FindFormat("PST")->available(); !status.ok()) {
    GTEST_SKIP() << "Outlook's stores are unavailable: " << status.message();
  }
  const auto book = Open("PST", "PST/javalibpst-dist-list.pst");
  ASSERT_EQ(book->own_count(), 1U);
  ASSERT_EQ(book->lists().size(), 1U);
  const Contact contact = ReadContact(book.get(), 0);
  EXPECT_EQ(contact.Text(kDisplayName), "contact name 1");
  EXPECT_EQ(contact.Text(kGivenName), "contact");
  EXPECT_EQ(contact.Text(kMiddleName), "name");
  EXPECT_EQ(contact.Text(kSurname), "1");
  EXPECT_EQ(contact.Text(kEmail), "contact1@rjohnson.id.au");
  EXPECT_EQ(contact.Find(kEntryId)->TryGet<automation::Bytes>()->size(), 24U);
  EXPECT_EQ(book->lists()[0].name, "test dist list");
  EXPECT_EQ(book->lists()[0].members[0].kind, Member::Kind::kContact);
  EXPECT_EQ(MembersOf(book.get(), "test dist list"),
            (Texts{"contact1@rjohnson.id.au", "dist1@rjohnson.id.au", "dist2@rjohnson.id.au"}));
  EXPECT_TRUE(book->notes().empty());
  for (const char* const empty : {"PST/pstsdk-test_unicode.pst", "PST/pstsdk-test_ansi.pst"}) {
    const auto roster = Open("PST", empty);
    EXPECT_EQ(roster->count(), 0U) << empty;
    EXPECT_TRUE(roster->lists().empty()) << empty;
  }
}
#endif

TEST_F(SampleBooksTest, WindowsAddressBook) {
  const auto book = Open("WAB", "WAB/tb-OutlookExpress.wab");
  const Contact john = ReadContact(book.get(), 0);
  EXPECT_EQ(john.Text(kDisplayName), "John Doe");
  EXPECT_EQ(john.Text(kGivenName), "John");
  EXPECT_EQ(john.Text(kSurname), "Doe");
  EXPECT_EQ(john.Text(kEmail), "johndoe@host.invalid");
  EXPECT_EQ(john.Text(kAddressType), "SMTP");
  EXPECT_EQ(DateText(john, kLastModification), "2011-11-30 16:49:05");
  EXPECT_EQ(*john.Find(kEntryId), automation::Value(automation::Bytes{6, 0, 0, 0}));
}

TEST_F(SampleBooksTest, Palm) {
  const auto book = Open("PALM", "PALM/p5palm-AddressDB.pdb");
  EXPECT_EQ(ReadContact(book.get(), 0).Text(kSurname), "Accessories");
  const Contact support = ReadContact(book.get(), 1);
  EXPECT_EQ(support.Text(kSurname), "Technical Support");
  EXPECT_EQ(support.Text(kCompany), "Palm, Inc.");
  EXPECT_EQ(support.Text(kEmail), "support@palm.com");
  const auto french = Open("PALM", "PALM/palmpdb-AddressDB-PalmV-FR.pdb");
  const Contact first = ReadContact(french.get(), 0);
  EXPECT_FALSE(first.Text(kDisplayName).empty());
  EXPECT_EQ(first.categories(), Texts{"Non classé"});
}

TEST_F(SampleBooksTest, Eudora) {
  const auto book = Open("EUD", "EUD/cpan-EudoraSampleFile.txt");
  const Contact second = ReadContact(book.get(), 1);
  EXPECT_EQ(second.Text(kNickName), "jhd2");
  EXPECT_EQ(second.Text(kDisplayName), "Joe Davidson2");
  EXPECT_EQ(second.Text(kComment), "Note for jhd2");
  EXPECT_EQ(ReadContact(book.get(), 2).Text(kNickName), "Harry Shetty");
  EXPECT_EQ(MembersOf(book.get(), "list2"), (Texts{"jhd@radix.net", "jdavidson@interguru.com"}));
  EXPECT_EQ(MembersOf(book.get(), "list3"),
            (Texts{"harry@wipsys.spl.net", "sameer@pardo.com", "mjoseph@wipsys.slp.net"}));
}

TEST_F(SampleBooksTest, Pine) {
  const auto book = Open("PINE", "PINE/cpan-pineSample.addressbook");
  const Contact joe = ReadContact(book.get(), 1);
  EXPECT_EQ(joe.Text(kSurname), "Davidson1");
  EXPECT_EQ(joe.Text(kGivenName), "Joe");
  EXPECT_EQ(joe.Text(kDisplayName), "Joe Davidson1");
  EXPECT_EQ(joe.Text(kNickName), "jhd1");
  EXPECT_EQ(book->lists()[1].nickname, "list2");
  EXPECT_EQ(MembersOf(book.get(), "List Number 2"),
            (Texts{"jhd@radix.net", "jdavidson@interguru.com"}));
}

TEST_F(SampleBooksTest, Opera) {
  const auto book = Open("ADR", "ADR/redacted-opera12-contacts.adr");
  const Contact wang = ReadContact(book.get(), 1);
  EXPECT_EQ(wang.Text(kDisplayName), "王小明");
  EXPECT_EQ(wang.Text(kEmail), "wang@example.org");
  EXPECT_EQ(ReadContact(book.get(), 4).Text(kEmail), "last@example.org");
}

TEST_F(SampleBooksTest, TheBat) {
  const auto book = Open("TB", "TB/kcontacts-thebat-emails.ldif");
  EXPECT_EQ(ReadContact(book.get(), 0).addresses(),
            (Texts{"foo@kde.org", "foo2@kde.org", "foo3@kde.org"}));
}

}  // namespace
}  // namespace pv::converter

#include "providers/converter/model/contact.h"

#include <gtest/gtest.h>

namespace pv::converter {
namespace {

TEST(Contact, KeepsTheFirstTextOfAProperty) {
  Contact contact;
  contact.AddText(kCompany, " \t");
  EXPECT_FALSE(contact.Has(kCompany));
  contact.AddText(kCompany, "One");
  contact.AddText(kCompany, "Two");
  EXPECT_EQ(contact.Text(kCompany), "One");
  contact.PutText(kCompany, "");
  contact.PutText(kCompany, "Three");
  EXPECT_EQ(contact.Text(kCompany), "Three");
  contact.AddLine(kHomeStreet, "1 Way");
  contact.AddLine(kHomeStreet, "");
  contact.AddLine(kHomeStreet, "Flat 2");
  EXPECT_EQ(contact.Text(kHomeStreet), "1 Way\nFlat 2");
}

TEST(Contact, TheFirstAddressIsItsOwn) {
  Contact contact;
  for (const char* address : {" ", "ann@example.org", "ANN@example.org", " b@example.org "}) {
    contact.AddAddress(address);
  }
  contact.Finish();
  EXPECT_EQ(contact.Text(kEmail), "ann@example.org");
  EXPECT_EQ(contact.Text(kAddressType), "SMTP");
  EXPECT_EQ(*contact.Find(kAllAddresses),
            automation::Value(automation::TextArray{"ann@example.org", "b@example.org"}));
  Contact one;
  one.AddAddress("ann@example.org");
  one.Finish();
  EXPECT_FALSE(one.Has(kAllAddresses));
  Contact none;
  none.Finish();
  EXPECT_TRUE(none.empty());
}

TEST(Contact, VeryManyOfAKindAreFoundAsFewAre) {
  Contact contact;
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < 20'000; ++i) {
      const std::string n = std::to_string(i);
      contact.AddText(static_cast<PropertyTag>(0x60000000 + i), n);
      contact.AddAddress((round == 0 ? "a" : "A") + n + "@x");
      contact.AddCategory("c" + n);
      contact.AddLine(static_cast<PropertyTag>(0x70000000 + i % 3), n);
    }
  }
  contact.Finish();
  EXPECT_EQ(contact.addresses().size(), 20'000U);
  EXPECT_EQ(contact.AddressAt(19'999), "a19999@x");
  EXPECT_EQ(contact.categories().size(), 20'000U);
  EXPECT_EQ(contact.Text(0x60000000 + 12'345), "12345");
  EXPECT_EQ(contact.Find(0x60000000 + 19'999), automation::Value("19999"));
  EXPECT_TRUE(contact.Text(0x70000002).starts_with("2\n5\n8\n"));
  EXPECT_FALSE(contact.Has(0x70000003));
  const Contact copy = contact;
  contact.Clear();
  EXPECT_TRUE(contact.empty());
  EXPECT_FALSE(contact.Has(kEmail));
  EXPECT_EQ(copy.Text(kEmail), "a0@x");
}

TEST(Contact, NameToDisplayIsMadeOfItsParts) {
  Contact contact;
  contact.AddText(kSurname, "Lee");
  contact.AddText(kGivenName, " Ann ");
  contact.AddText(kMiddleName, "M.");
  contact.Finish();
  EXPECT_EQ(contact.Text(kDisplayName), "Ann M. Lee");
}

TEST(Contact, DatesAreThereOnlyWhenTheyAreDates) {
  Contact contact;
  contact.AddDate(kBirthday, {2023, 2, 29});
  contact.AddDate(kWeddingAnniversary, {1900, 1, 1});
  EXPECT_FALSE(contact.Has(kBirthday));
  EXPECT_EQ(*contact.Find(kWeddingAnniversary), automation::Value(automation::Date{2}));
  contact.AddUnixTime(kLastModification, 0);
  contact.AddUnixTime(kLastModification, 253'402'300'800);
  EXPECT_FALSE(contact.Has(kLastModification));
  contact.AddUnixTime(kLastModification, 1'709'214'310);
  EXPECT_EQ(contact.Find(kLastModification)->ToText(), "2024-02-29 13:45:10");
}

TEST(Contact, CategoriesAreKeptOnce) {
  Contact contact;
  contact.AddCategory(" Friends ");
  contact.AddCategory("Friends");
  contact.AddCategory("friends");
  contact.AddCategory("");
  EXPECT_EQ(contact.categories(), (std::vector<std::string>{"Friends", "friends"}));
  contact.Clear();
  EXPECT_TRUE(contact.categories().empty());
}

}  // namespace
}  // namespace pv::converter

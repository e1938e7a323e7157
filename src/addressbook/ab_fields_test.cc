#include "pvgroupman/addressbook/ab_fields.h"

#include <gtest/gtest.h>

#include <set>

#include "addressbook/contact_properties.h"
#include "automation/test_support.h"
#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/member_table.h"

namespace pv::addressbook {
namespace {

using automation::CallMember;
using automation::ErrorFrom;
using automation::GetProperty;
using automation::MakeObject;
using automation::Value;

struct Row {
  const char* test;
  std::uint32_t tag;
  const char* display_name;
  const char* name;
};

// Written out again on purpose: what hosts know is not what the source happens to say.
constexpr Row kRows[] = {
    {"Row01Tag3002001E", 0x3002001E, "Address Type", "AddressType"},
    {"Row02Tag3A30001E", 0x3A30001E, "Assistant", "Assistant"},
    {"Row03Tag3A2E001E", 0x3A2E001E, "Assistant Telephone Number", "AssistantPhone"},
    {"Row04Tag3A420040", 0x3A420040, "Birthday", "Birthday"},
    {"Row05Tag3A1B001E", 0x3A1B001E, "Business2 Telephone Number", "Business2Phone"},
    {"Row06Tag3A27001E", 0x3A27001E, "Business Address City", "BusinessCity"},
    {"Row07Tag3A26001E", 0x3A26001E, "Business Address Country", "BusinessCountry"},
    {"Row08Tag3A2B001E", 0x3A2B001E, "Business Address PO Box", "BusinessPOBox"},
    {"Row09Tag3A2A001E", 0x3A2A001E, "Business Address Postal Code", "BusinessPostalCode"},
    {"Row10Tag3A28001E", 0x3A28001E, "Business Address State or Province", "BusinessState"},
    {"Row11Tag3A29001E", 0x3A29001E, "Business Address Street", "BusinessStreet"},
    {"Row12Tag3A24001E", 0x3A24001E, "Business Fax Number", "BusinessFax"},
    {"Row13Tag3A51001E", 0x3A51001E, "Business Home Page", "BusinessHomePage"},
    {"Row14Tag3A08001E", 0x3A08001E, "Business Telephone Number", "BusinessPhone"},
    {"Row15Tag3A02001E", 0x3A02001E, "Callback Telephone Number", "CallbackPhone"},
    {"Row16Tag3A1E001E", 0x3A1E001E, "Car Telephone Number", "CarPhone"},
    {"Row17Tag3A1C001E", 0x3A1C001E, "Cellular Telephone Number", "CellPhone"},
    {"Row18Tag3A58101E", 0x3A58101E, "Childrens Names", "ChildrensNames"},
    {"Row19Tag3004001E", 0x3004001E, "Comment", "Comment"},
    {"Row20Tag3A57001E", 0x3A57001E, "Company Main Phone Number", "CompanyMainPhone"},
    {"Row21Tag3A16001E", 0x3A16001E, "Company Name", "Company"},
    {"Row22Tag3A49001E", 0x3A49001E, "Computer Network Name", "ComputerNetwork"},
    {"Row23Tag3A4A001E", 0x3A4A001E, "CustomerID", "CustomerID"},
    {"Row24Tag3A18001E", 0x3A18001E, "Department Name", "Department"},
    {"Row25Tag3001001E", 0x3001001E, "Display Name", "DisplayName"},
    {"Row26Tag3A45001E", 0x3A45001E, "Display Name Prefix", "DisplayNamePrefix"},
    {"Row27Tag3003001E", 0x3003001E, "Email Address", "Email"},
    {"Row28Tag0FFF0102", 0x0FFF0102, "EntryID", "EntryID"},
    {"Row29Tag3A4C001E", 0x3A4C001E, "FTP Site", "FTPSite"},
    {"Row30Tag3A05001E", 0x3A05001E, "Generation", "Generation"},
    {"Row31Tag3A06001E", 0x3A06001E, "Given Name", "GivenName"},
    {"Row32Tag3A07001E", 0x3A07001E, "Government ID Number", "GovernmentID"},
    {"Row33Tag3A43001E", 0x3A43001E, "Hobbies", "Hobbies"},
    {"Row34Tag3A2F001E", 0x3A2F001E, "Home2 Telephone Number", "Home2Phone"},
    {"Row35Tag3A59001E", 0x3A59001E, "Home Address City", "HomeCity"},
    {"Row36Tag3A5A001E", 0x3A5A001E, "Home Address Country", "HomeCountry"},
    {"Row37Tag3A5E001E", 0x3A5E001E, "Home Address Post Office Box", "HomePOBox"},
    {"Row38Tag3A5B001E", 0x3A5B001E, "Home Address Postal Code", "HomePostalCode"},
    {"Row39Tag3A5C001E", 0x3A5C001E, "Home Address State or Province", "HomeState"},
    {"Row40Tag3A5D001E", 0x3A5D001E, "Home Address Street", "HomeStreet"},
    {"Row41Tag3A25001E", 0x3A25001E, "Home Fax Number", "HomeFax"},
    {"Row42Tag3A09001E", 0x3A09001E, "Home Telephone Number", "HomePhone"},
    {"Row43Tag3A0A001E", 0x3A0A001E, "Initials", "Initials"},
    {"Row44Tag3A2D001E", 0x3A2D001E, "ISDN Number", "ISDN"},
    {"Row45Tag3A0B001E", 0x3A0B001E, "Keyword", "Keyword"},
    {"Row46Tag3A0C001E", 0x3A0C001E, "Language", "Language"},
    {"Row47Tag30080040", 0x30080040, "Last Modification Time", "LastModification"},
    {"Row48Tag3A0D001E", 0x3A0D001E, "Location", "Location"},
    {"Row49Tag3A4E001E", 0x3A4E001E, "Manager Name", "ManagerName"},
    {"Row50Tag3A44001E", 0x3A44001E, "Middle Name", "MiddleName"},
    {"Row51Tag3A4F001E", 0x3A4F001E, "Nick Name", "NickName"},
    {"Row52Tag3A19001E", 0x3A19001E, "Office Location", "OfficeLocation"},
    {"Row53Tag3A5F001E", 0x3A5F001E, "Other Address City", "OtherCity"},
    {"Row54Tag3A60001E", 0x3A60001E, "Other Address Country", "OtherCountry"},
    {"Row55Tag3A64001E", 0x3A64001E, "Other Address Post Office Box", "OtherPOBox"},
    {"Row56Tag3A61001E", 0x3A61001E, "Other Address Postal Code", "OtherPostalCode"},
    {"Row57Tag3A62001E", 0x3A62001E, "Other Address State or Province", "OtherState"},
    {"Row58Tag3A63001E", 0x3A63001E, "Other Address Street", "OtherStreet"},
    {"Row59Tag3A1F001E", 0x3A1F001E, "Other Telephone Number", "OtherPhone"},
    {"Row60Tag3A21001E", 0x3A21001E, "Pager Telephone Number", "Pager"},
    {"Row61Tag3A50001E", 0x3A50001E, "Personal Home Page", "PersonalHomePage"},
    {"Row62Tag3A15001E", 0x3A15001E, "Postal Address", "PostalAddress"},
    {"Row63Tag3A23001E", 0x3A23001E, "Primary Fax Number", "PrimaryFax"},
    {"Row64Tag3A1A001E", 0x3A1A001E, "Primary Telephone Number", "PrimaryPhone"},
    {"Row65Tag3A46001E", 0x3A46001E, "Profession", "Profession"},
    {"Row66Tag3A1D001E", 0x3A1D001E, "Radio Telephone Number", "RadioPhone"},
    {"Row67Tag3A48001E", 0x3A48001E, "Spouse Name", "SpouseName"},
    {"Row68Tag3A11001E", 0x3A11001E, "Surname", "Surname"},
    {"Row69Tag3A2C001E", 0x3A2C001E, "Telex Number", "Telex"},
    {"Row70Tag3A17001E", 0x3A17001E, "Title", "Title"},
    {"Row71Tag3A20001E", 0x3A20001E, "Transmitable Display Name", "TransmitableDisplayName"},
    {"Row72Tag3A4B001E", 0x3A4B001E, "TTYTDD Phone Number", "TTYTDDPhone"},
    {"Row73Tag3A410040", 0x3A410040, "Wedding Anniversary", "WeddingAnniversary"},
};

class CatalogueRowTest : public testing::TestWithParam<Row> {};

TEST_P(CatalogueRowTest, TagGivesBothNames) {
  const Row& row = GetParam();
  const auto field = MakeObject<ABField>();
  const auto tag = static_cast<std::int32_t>(row.tag);
  automation::PutProperty(field, "PropertyID", Value(tag));
  EXPECT_EQ(field->GetPropertyId(), tag);
  EXPECT_EQ(GetProperty(field, "Name"), Value(row.name));
  EXPECT_EQ(field->display_name(), row.display_name);
}

INSTANTIATE_TEST_SUITE_P(Catalogue, CatalogueRowTest, testing::ValuesIn(kRows),
                         [](const auto& param) { return std::string(param.param.test); });

TEST(ContactPropertiesTest, TableHasTheseRowsInThisOrderAndNoOther) {
  const auto properties = ContactProperties();
  ASSERT_EQ(properties.size(), 73U);
  ASSERT_EQ(std::size(kRows), 73U);
  for (std::size_t i = 0; i < properties.size(); ++i) {
    EXPECT_EQ(properties[i].tag, kRows[i].tag) << i;
    EXPECT_STREQ(properties[i].name, kRows[i].name) << i;
  }
}

TEST(ContactPropertiesTest, TagsAndFieldNamesAreThereOnce) {
  std::set<std::uint32_t> tags;
  std::set<std::string> names;
  int same = 0;
  for (const ContactProperty& property : ContactProperties()) {
    EXPECT_TRUE(tags.insert(property.tag).second) << property.name;
    EXPECT_TRUE(names.insert(property.name).second) << property.name;
    same += std::string(property.name) == property.display_name ? 1 : 0;
  }
  EXPECT_EQ(same, 14) << "entries whose two names are the same text";
}

TEST(ABFieldTest, UnknownTagIsNamedByItsDecimalText) {
  const auto field = MakeObject<ABField>();
  field->SetPropertyId(0x3A4C0003);
  EXPECT_EQ(field->GetName(), "978059267");
  EXPECT_EQ(field->display_name(), "978059267");
}

TEST(ABFieldTest, UnknownNegativeTagKeepsItsMinusSign) {
  const auto field = MakeObject<ABField>();
  field->SetPropertyId(static_cast<std::int32_t>(0x80010003));
  EXPECT_EQ(field->GetName(), "-2147418109");
}

TEST(ABFieldTest, AnotherTypeOfAKnownPropertyIsAnUnknownTag) {
  const auto field = MakeObject<ABField>();
  field->SetPropertyId(0x3003001F);
  EXPECT_EQ(field->GetName(), std::to_string(0x3003001F));
}

TEST(ABFieldTest, NewFieldHasNoNamesAndASecondTagReplacesThem) {
  const auto field = MakeObject<ABField>();
  EXPECT_EQ(field->GetPropertyId(), 0);
  EXPECT_EQ(field->GetName(), "");
  field->SetPropertyId(0x3A08001E);
  EXPECT_EQ(field->GetName(), "BusinessPhone");
  field->SetPropertyId(0x3A410040);
  EXPECT_EQ(field->GetName(), "WeddingAnniversary");
  field->SetPropertyId(0x3A4B001E);
  EXPECT_EQ(field->GetName(), "TTYTDDPhone");
}

TEST(ABFieldTest, NameCannotBeWrittenAndTheDisplayNameIsNotShown) {
  const auto field = MakeObject<ABField>();
  EXPECT_EQ(ErrorFrom([&] { automation::PutProperty(field, "Name", Value("x")); }).number(), 438);
  EXPECT_EQ(field->IdOfName("DisplayName"), automation::Object::kNoSuchId);
}

TEST(ABFieldsTest, AddingATagTwiceReturnsTheFirstColumn) {
  const auto fields = MakeObject<ABFields>();
  const auto first = fields->Add(0x3003001E);
  EXPECT_EQ(first->GetName(), "Email");
  EXPECT_EQ(fields->Add(0x3A06001E)->GetName(), "GivenName");
  EXPECT_EQ(fields->Add(0x3003001E), first);
  EXPECT_EQ(fields->Count(), 2);
}

TEST(ABFieldsTest, ItemByPositionAndByTheDecimalTextOfTheTag) {
  const auto fields = MakeObject<ABFields>();
  CallMember(fields, "Add", {0x3003001E});
  CallMember(fields, "Add", {static_cast<std::int32_t>(0x80010003)});
  EXPECT_EQ(fields->Item(1)->GetName(), "Email");
  EXPECT_EQ(fields->Item(std::to_string(0x3003001E)), fields->Item(1));
  EXPECT_EQ(fields->Item("-2147418109"), fields->Item(2));
  EXPECT_EQ(ErrorFrom([&] { fields->Item("Email"); }).number(), 5) << "names are no keys";
  EXPECT_EQ(ErrorFrom([&] { fields->Item(3); }).number(), 9);
}

TEST(ABFieldsTest, FollowsTheCollectionPattern) {
  const auto fields = MakeObject<ABFields>();
  for (const std::int32_t tag : {0x3003001E, 0x3A06001E, 0x3A11001E}) fields->Add(tag);
  CallMember(fields, "Delete", {2});
  EXPECT_EQ(GetProperty(fields, "Count"), Value(2));
  std::string names;
  const auto e = automation::Enumerate(fields);
  for (Value v; e->Next(&v);) names += GetProperty(v.ToObject(), "Name").ToText() + " ";
  EXPECT_EQ(names, "Email Surname ");
  EXPECT_EQ(automation::GetDefault(fields, {Value(2)}).ToObject(),
            automation::Ref<automation::Object>(fields->Item(2)));
  EXPECT_EQ(ErrorFrom([&] { CallMember(fields, "Delete", {3}); }).number(), 9);
}

}  // namespace
}  // namespace pv::addressbook

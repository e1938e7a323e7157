#include "groups/address_book_group.h"

#include "addressbook/fake_converter_test.h"
#include "groups/groups_fixture_test.h"
#include "pvgroupman/addressbook/address_book.h"
#include "pvgroupman/addressbook/address_book_source.h"
#include "support/trace.h"

namespace pv::groups {
namespace {

using addressbook::FakeScript;

constexpr std::int32_t kEmail = 0x3003001E;
constexpr std::int32_t kDisplayName = 0x3001001E;
constexpr std::int32_t kBirthday = 0x3A420040;

class AddressBookGroupTest : public GroupsTest {
 protected:
  AddressBookGroupTest() {
    automation::RegisterClass<addressbook::AddressBook>("PVGroupMan.AddressBook");
    automation::RegisterClass<addressbook::AddressBookContacts>("PVGroupMan.AddressBookContacts");
    const auto source = MakeObject<addressbook::CAddressBookSource>();
    source->SetId("S1");
    source->SetSourceFormat("LDIF");
    source->SetSourceLocation("/book.ldif");
    source->SaveAddressBookSource();
    groups_ = Make();
    groups_->AddGroup("G1", "Friends", GroupType::kAddressBook, "S1", "", "");
    for (const char* email : {"a@x", "b@x"}) {
      FakeScript::Get().contacts.push_back({{{kEmail, Value(email)},
                                             {kDisplayName, Value("Name")},
                                             {kBirthday, Value(automation::Date{10000})},
                                             {0x66010003, Value(7)},
                                             {0x66020002, Value(std::int16_t{7})},
                                             {0x6603000B, Value(true)},
                                             {0x66040005, Value(1.5)},
                                             {0x66050102, Value(automation::Bytes{1})}},
                                            {"Family"},
                                            {},
                                            false});
    }
  }

  std::string Types() {
    std::string all;
    for (std::int32_t i = 1; i <= groups_->GetFieldTypes()->Count(); ++i) {
      const auto type = groups_->GetFieldTypes()->Item(i);
      all += type->GetName() + "=" + std::to_string(static_cast<int>(type->GetType())) + " ";
      EXPECT_EQ(type->GetLength(), 254) << type->GetName();
    }
    return all;
  }

  addressbook::ScopedFakeConverter converter_;
  Ref<Groups> groups_;
};

TEST_F(AddressBookGroupTest, OpenGroupGivesTheContactsCursor) {
  const auto cursor = CallMember(groups_, "OpenGroup", {"G1"}).ToObject();
  EXPECT_EQ(cursor->Members().class_name(), "AddressBookContacts");
  EXPECT_EQ(groups_->GetTb(), cursor);
  EXPECT_EQ(groups_->GetDb()->Members().class_name(), "AddressBook");
  EXPECT_TRUE(groups_->GetIsGroupOpen());
  std::string addresses;
  CallMember(cursor, "MoveFirst");
  while (!GetProperty(cursor, "EOF").ToBoolean()) {
    addresses += GetProperty(CallMember(cursor, "Fields", {"Email"}).ToObject(), "Value").ToText();
    CallMember(cursor, "MoveNext");
  }
  EXPECT_EQ(addresses, "a@xb@x");
}

TEST_F(AddressBookGroupTest, SourceMayBeNamedAsTheGroupsProperties) {
  groups_->AddGroup("G2", "Others", GroupType::kAddressBook, "  ", "S1", "");
  EXPECT_NO_THROW(groups_->OpenGroup("G2"));
}

TEST_F(AddressBookGroupTest, RecipientCountIsTheCursorsCount) {
  groups_->OpenGroup("G1");
  EXPECT_EQ(CallMember(groups_, "RecipientCount"), Value(2));
}

TEST_F(AddressBookGroupTest, CloseGroupReleasesTheCursorWithoutClosingIt) {
  const auto cursor = groups_->OpenGroup("G1");
  groups_->CloseGroup();
  EXPECT_FALSE(groups_->GetIsGroupOpen());
  EXPECT_FALSE(groups_->GetTb());
  EXPECT_FALSE(groups_->GetDb());
  EXPECT_EQ(cursor->reference_count(), 1);
  EXPECT_EQ(CallMember(cursor, "MoveFirst"), Value(true)) << "who holds it can go on";
}

TEST_F(AddressBookGroupTest, CloseGroupLetsTheConverterGo) {
  groups_->OpenGroup("G1");
  EXPECT_EQ(FakeScript::Get().converters, 1);
  groups_->CloseGroup();
  EXPECT_EQ(FakeScript::Get().converters, 0);
}

TEST_F(AddressBookGroupTest, FailureKeepsItsNumberAndTextAndOpensNothing) {
  groups_->AddGroup("G2", "Gone", GroupType::kAddressBook, "S2", "", "");
  ExpectError(ErrorFrom([&] { groups_->OpenGroup("G2"); }), 1234, "Groups::OpenGroup",
              "Cannot create new Accress Book Instance, the saved settings can not be opened, "
              "ID=S2");
  FakeScript::Get().formats.clear();
  ExpectError(ErrorFrom([&] { groups_->OpenGroup("G1"); }), 1234, "Groups::OpenGroup",
              "Source application for Address Book format is not Installed/read access is not "
              "available.");
  EXPECT_FALSE(groups_->GetIsGroupOpen());
  EXPECT_FALSE(groups_->GetTb());
}

TEST_F(AddressBookGroupTest, FieldTypesFollowTheValues) {
  groups_->OpenGroup("G1");
  CallMember(groups_->GetTb(), "MoveFirst");
  EXPECT_EQ(CallMember(groups_, "GetGroupFieldTypes"), Value(true));
  EXPECT_EQ(Types(),
            "Email=0 Displayname=0 Birthday=3 1711341571=1 1711407106=1 1711472651=5 "
            "1711538181=0 1711603970=0 Categories=0 ");
  EXPECT_EQ(GetProperty(groups_->GetTb(), "RecordNo"), Value(1));
}

TEST_F(AddressBookGroupTest, FieldTypesBeforeTheFirstContactAreThatContacts) {
  groups_->OpenGroup("G1");
  groups_->GetGroupFieldTypes();
  EXPECT_EQ(groups_->GetFieldTypes()->Item("Birthday")->GetType(), PVGroupFieldType::kDate);
  EXPECT_EQ(GetProperty(groups_->GetTb(), "RecordNo"), Value(0)) << "the cursor is put back";
}

TEST_F(AddressBookGroupTest, FieldTypesOfEmptyValuesAreText) {
  FakeScript::Get().contacts[1].properties.resize(1);
  groups_->OpenGroup("G1");
  CallMember(groups_->GetTb(), "MoveLast");
  groups_->GetGroupFieldTypes();
  EXPECT_EQ(groups_->GetFieldTypes()->Item("Birthday")->GetType(), PVGroupFieldType::kText);
  EXPECT_EQ(GetProperty(groups_->GetTb(), "RecordNo"), Value(2));
}

TEST_F(AddressBookGroupTest, FieldTypesCalledTwiceLeaveOneEntryPerField) {
  groups_->OpenGroup("G1");
  groups_->GetGroupFieldTypes();
  groups_->GetGroupFieldTypes();
  EXPECT_EQ(groups_->GetFieldTypes()->Count(), 9);
}

TEST_F(AddressBookGroupTest, FieldTypesOfAnEmptyAddressBook) {
  FakeScript::Get().contacts.clear();
  groups_->OpenGroup("G1");
  groups_->GetGroupFieldTypes();
  EXPECT_EQ(Types(), "Categories=0 ");
}

TEST_F(AddressBookGroupTest, CompactAndDeleteTouchTheCatalogueOnly) {
  EXPECT_NO_THROW(groups_->CompactGroup("G1"));
  EXPECT_TRUE(groups_->DeleteGroup("G1"));
  EXPECT_TRUE(machine_.files.Has("/data/AddrSrc.pvg"));
  groups_->Refresh();
  EXPECT_EQ(groups_->GetGroups()->Count(), 0);
}

}  // namespace
}  // namespace pv::groups

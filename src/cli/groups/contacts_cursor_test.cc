#include "cli/groups/contacts_cursor.h"

#include <gtest/gtest.h>

#include "addressbook/fake_converter_test.h"
#include "cli/failure.h"
#include "platform/memory/memory_system.h"
#include "pvgroupman/addressbook/address_book.h"
#include "pvgroupman/addressbook/address_book_source.h"
#include "server/class_list.h"

namespace pv::cli {
namespace {

using addressbook::FakeScript;
using automation::Date;
using automation::MakeObject;
using automation::Value;

constexpr std::int32_t kEmail = 0x3003001E;
constexpr std::int32_t kBirthday = 0x3A420040;
constexpr std::int32_t kModified = 0x30080040;

class ContactsCursorTest : public testing::Test {
 protected:
  ContactsCursorTest() {
    server::RegisterPublicClasses();
    machine_.process.environment["PVGROUP_DATA"] = "/data";
    const auto source = MakeObject<addressbook::CAddressBookSource>();
    source->SetId("S1");
    source->SetSourceFormat("LDIF");
    source->SaveAddressBookSource();
    for (const char* email : {"a@x", "b@x", "c@x"}) {
      FakeScript::Get().contacts.push_back(
          {{{kEmail, Value(email)}, {kBirthday, Value(Date{10000})}}, {"F", "W"}, {}, false});
    }
  }
  static ContactsCursor Open() {
    return ContactsCursor(MakeObject<addressbook::AddressBook>()->OpenAddressBook("S1"));
  }
  static std::string Text(GroupCursor* cursor, const char* field) {
    Cell cell;
    cursor->Read(cursor->Get(field), &cell);
    return cell.text;
  }
  platform::MemorySystem machine_;
  platform::ScopedSystem scope_{machine_.system()};
  addressbook::ScopedFakeConverter converter_;
};

TEST_F(ContactsCursorTest, WalksTheContacts) {
  auto cursor = Open();
  ASSERT_EQ(cursor.fields().size(), 3U);
  EXPECT_EQ(cursor.fields()[1].name, "Birthday");
  EXPECT_EQ(cursor.fields()[1].shape.type, 'D');
  EXPECT_EQ(cursor.address_field(), "Email");
  std::string all;
  while (cursor.Next()) {
    all += Text(&cursor, "email") + "," + Text(&cursor, "Birthday") + "," +
           Text(&cursor, "Categories") + "|";
  }
  EXPECT_EQ(all, "a@x,1927-05-18,F; W|b@x,1927-05-18,F; W|c@x,1927-05-18,F; W|");
}

TEST_F(ContactsCursorTest, ContactThatCannotBeReadIsNoEnd) {
  auto cursor = Open();
  FakeScript::Get().failing = 2;
  EXPECT_TRUE(cursor.Next());
  try {
    cursor.Next();
    FAIL() << "the walk went on";
  } catch (const Failure& failure) {
    EXPECT_STREQ(failure.what(), "book.ldif: contact 2 is damaged");
  }
}

TEST_F(ContactsCursorTest, FindsAnAddress) {
  auto cursor = Open();
  EXPECT_TRUE(cursor.FindAddress(" B@X"));
  EXPECT_EQ(Text(&cursor, "Email"), "b@x");
  EXPECT_FALSE(cursor.FindAddress("none@x"));
}

TEST_F(ContactsCursorTest, BookWithoutAddressesHasNoAddressField) {
  for (auto& contact : FakeScript::Get().contacts)
    contact.properties.erase(contact.properties.begin());
  EXPECT_EQ(Open().address_field(), "");
}

TEST(SetContactCellTest, EveryKindOfValue) {
  const auto text = [](const Value& value, CellKind kind) {
    Cell cell;
    SetContactCell(value, &cell);
    EXPECT_EQ(cell.kind, kind);
    return cell.text;
  };
  EXPECT_EQ(text({}, CellKind::kNone), "");
  EXPECT_EQ(text("a", CellKind::kText), "a");
  EXPECT_EQ(text(7, CellKind::kNumber), "7");
  EXPECT_EQ(text(true, CellKind::kBoolean), "true");
  EXPECT_EQ(text(Date{45351}, CellKind::kText), "2024-02-29");
  EXPECT_EQ(text(Date{45351.5}, CellKind::kText), "2024-02-29T12:00:00");
  EXPECT_EQ(text(automation::Bytes{0x0F, 0xA0}, CellKind::kText), "0FA0");
  EXPECT_EQ(text(automation::TextArray{"a", "b"}, CellKind::kText), "a; b");
}

TEST(ShapeOfPropertyTest, FollowsTheTypeInTheTag) {
  EXPECT_EQ(ShapeOfProperty(kEmail), (FieldShape{'C', 0, 0}));
  EXPECT_EQ(ShapeOfProperty(kBirthday), (FieldShape{'D', 8, 0}));
  EXPECT_EQ(ShapeOfProperty(kModified), (FieldShape{'T', 8, 0}));
  EXPECT_EQ(ShapeOfProperty(0x66010003).type, 'I');
  EXPECT_EQ(ShapeOfProperty(0x66010002).type, 'I');
  EXPECT_EQ(ShapeOfProperty(0x66010005).type, 'B');
  EXPECT_EQ(ShapeOfProperty(0x6601000B).type, 'L');
  EXPECT_EQ(ShapeOfProperty(0x0FFF0102).type, 'C');
  EXPECT_EQ(ShapeOfProperty(0x3A58101E).type, 'C');
}

}  // namespace
}  // namespace pv::cli

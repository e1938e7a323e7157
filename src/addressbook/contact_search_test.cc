#include "addressbook/address_book_fixture_test.h"
#include "addressbook/contact_cursor.h"

namespace pv::addressbook {
namespace {

using automation::Date;

class ContactSearchTest : public AddressBookTest {
 protected:
  ContactSearchTest() {
    Add("ann@x", "Ann", {"Friends"}, Date{10000});
    Add("bob@x", "Bob");
    Add(" Cid@X ", "Cid=1", {"Work", "Friends"});
    Add("bob@x", "Bobby");
    Add("", "Nobody");
    Save("S1");
    cursor_ = Open();
  }

  static void Add(const char* email, const char* name, TextArray categories = {},
                  Value birthday = {}) {
    FakeContact contact;
    contact.properties = {{kEmail, Value(email)}, {kGivenName, Value(name)}};
    if (!birthday.IsEmpty()) contact.properties.emplace_back(kBirthday, birthday);
    contact.categories = std::move(categories);
    FakeScript::Get().contacts.push_back(std::move(contact));
  }

  // Where a search leads: the position, or 0 when it finds nothing (and is then at the end).
  std::int32_t Find(const std::string& criteria, std::int32_t skip = 0,
                    std::int32_t direction = 1) {
    const Value found = CallMember(cursor_, "Find", {criteria, skip, direction});
    EXPECT_EQ(found, found.IsEmpty() ? Value() : Value(true));
    EXPECT_EQ(cursor_->IsEof(), found.IsEmpty());
    if (found.IsEmpty()) {
      EXPECT_EQ(cursor_->GetRecordNo(), cursor_->GetRecordCount() + 1);
    }
    return found.IsEmpty() ? 0 : cursor_->GetRecordNo();
  }

  Ref<AddressBookContacts> cursor_;
};

TEST_F(ContactSearchTest, FindsTheAddressWhenNoFieldIsNamed) {
  EXPECT_EQ(Find("bob@x"), 2);
  EXPECT_EQ(FieldOf(cursor_, "GivenName"), Value("Bob")) << "the record is read";
  EXPECT_EQ(Find("=bob@x"), 2);
  EXPECT_EQ(Find("  = bob@x"), 2);
}

TEST_F(ContactSearchTest, FindsByAnyField) {
  EXPECT_EQ(Find("GivenName=Bobby"), 4);
  EXPECT_EQ(Find(" givenname = bobby "), 4);
  EXPECT_EQ(Find("Email=ann@x"), 1);
}

TEST_F(ContactSearchTest, IgnoresLetterCaseAndBlanksAround) {
  EXPECT_EQ(Find("Email=  BOB@X  "), 2);
  EXPECT_EQ(Find("cid@x"), 3);
  EXPECT_EQ(Find("Email='  ann@X '"), 1);
}

TEST_F(ContactSearchTest, ValueMayStandInQuotes) {
  for (const char* criteria : {"Email='bob@x'", "Email=#bob@x#", "Email = '#bob@x#'", "'bob@x'",
                               "Email='bob@x", "Email=bob@x#"}) {
    EXPECT_EQ(Find(criteria), 2) << criteria;
  }
  EXPECT_EQ(Find("Email=#'bob@x'#"), 0) << "the outer pair is the ' one";
}

TEST_F(ContactSearchTest, ValueIsWhatFollowsTheFirstEqualsSign) {
  EXPECT_EQ(Find("GivenName=Cid=1"), 3);
}

TEST_F(ContactSearchTest, BeginsAtTheFirstContactWhereverTheCursorIs) {
  cursor_->MoveLast();
  EXPECT_EQ(Find("bob@x"), 2);
  EXPECT_EQ(Find("bob@x"), 2);
}

TEST_F(ContactSearchTest, SkippingRowsGoesOnBehindTheCurrentContact) {
  EXPECT_EQ(Find("bob@x", 1), 2) << "before the first contact";
  EXPECT_EQ(Find("bob@x", 1), 4);
  EXPECT_EQ(Find("bob@x", -5), 0) << "any number but 0";
  EXPECT_EQ(Find("bob@x", 1), 0) << "behind the last contact";
}

TEST_F(ContactSearchTest, NegativeDirectionSearchesBackwards) {
  EXPECT_EQ(Find("bob@x", 0, -1), 4);
  EXPECT_EQ(Find("bob@x", 1, -1), 2);
  EXPECT_EQ(Find("bob@x", 1, -1), 0);
  EXPECT_EQ(Find("bob@x", 1, -1), 4) << "from behind the last contact";
}

TEST_F(ContactSearchTest, NotFoundLeavesTheCursorPastTheLastContact) {
  cursor_->MoveFirst();
  EXPECT_EQ(Find("none@x"), 0);
  EXPECT_EQ(FieldOf(cursor_, "Email"), Value());
  EXPECT_TRUE(cursor_->MovePrev());
  EXPECT_EQ(cursor_->GetRecordNo(), 5);
}

TEST_F(ContactSearchTest, FieldThatTheRecordLacksMatchesNothing) {
  EXPECT_EQ(Find("Nonsense=bob@x"), 0);
}

TEST_F(ContactSearchTest, EmptyValueFindsAnEmptyField) {
  EXPECT_EQ(Find("Email="), 5);
  EXPECT_EQ(Find("Birthday="), 2);
}

TEST_F(ContactSearchTest, CategoriesMatchOneByOneAndTogether) {
  EXPECT_EQ(Find("Categories=friends"), 1);
  EXPECT_EQ(Find("Categories=friends", 1), 3);
  EXPECT_EQ(Find("Categories=Work; Friends"), 3);
  EXPECT_EQ(Find("Categories=Fri"), 0);
}

TEST_F(ContactSearchTest, DatesMatchInEveryFormOfTheDay) {
  for (const char* day : {"1927-05-18", "1927/05/18", "19270518", "#1927-05-18#"}) {
    EXPECT_EQ(Find(std::string("Birthday=") + day), 1) << day;
  }
  EXPECT_EQ(Find("Birthday=1927-05-19"), 0);
  EXPECT_EQ(Find("Birthday=10000"), 0) << "a number is no day";
}

TEST_F(ContactSearchTest, StartIsNotUsedAndArgumentsMayBeLeftOut) {
  EXPECT_EQ(CallMember(cursor_, "Find", {"bob@x", Value::Missing(), Value::Missing(), 5}),
            Value(true));
  EXPECT_EQ(cursor_->GetRecordNo(), 2);
  EXPECT_EQ(CallMember(cursor_, "Find", {"bob@x"}), Value(true));
  EXPECT_EQ(cursor_->GetRecordNo(), 2);
}

TEST_F(ContactSearchTest, ReadsOnePropertyOfEachContactOnly) {
  FakeScript::Get().calls.clear();
  EXPECT_EQ(Find("bob@x"), 2);
  EXPECT_EQ(FakeScript::Get().calls, (std::vector<std::string>{"item 1", "property 805503006",
                                                               "item 2", "property 805503006"}));
}

TEST_F(ContactSearchTest, ContactThatCannotBeReadIsAnErrorAndLogged) {
  FakeScript::Get().failing = 2;
  support::OpenLog("/log.txt", support::kLogErrors);
  const Error e = ErrorFrom([&] { cursor_->Find("none@x"); });
  support::StopLog();
  ExpectError(e, 321, "Find", "book.ldif: contact 2 is damaged");
  EXPECT_NE(machine_.files.Get("/log.txt").find("Find - Exit error 321 book.ldif: contact 2 is"),
            std::string::npos);
}

TEST_F(ContactSearchTest, SeekFirstSearchesTheAddressFromTheStart) {
  cursor_->MoveLast();
  EXPECT_EQ(CallMember(cursor_, "SeekFirst", {" BOB@x", "Email"}), Value(true));
  EXPECT_EQ(cursor_->GetRecordNo(), 2);
  EXPECT_EQ(FieldOf(cursor_, "GivenName"), Value("Bob"));
  EXPECT_TRUE(cursor_->SeekFirst("ann@x", "GivenName")) << "the index is not used";
  EXPECT_FALSE(cursor_->SeekFirst("GivenName=Bob", "GivenName")) << "a value, no criterion";
  EXPECT_TRUE(cursor_->IsEof());
}

TEST_F(ContactSearchTest, SeekFirstLogsItsEntryAndExit) {
  support::OpenLog("/log.txt", support::kLogTrace);
  cursor_->SeekFirst("none@x", "Email");
  support::StopLog();
  std::string log = machine_.files.Get("/log.txt");
  std::erase(log, '\r');
  EXPECT_NE(log.find("SeekFirst - Entry\n"), std::string::npos);
  EXPECT_NE(log.find("SeekFirst - Exit\n"), std::string::npos);
}

TEST_F(ContactSearchTest, AddressIsFoundEvenWhereNoSampledContactHadOne) {
  FakeScript::Get().contacts.clear();
  for (int i = 0; i < 30; ++i) {
    FakeScript::Get().contacts.push_back({{{kGivenName, Value("N")}}, {}, {}, false});
  }
  AddContact("late@x");
  const auto cursor = Open();
  EXPECT_FALSE(cursor->GetFields()->Find("Email"));
  EXPECT_TRUE(cursor->SeekFirst("late@x", ""));
  EXPECT_EQ(cursor->GetRecordNo(), 31);
}

TEST_F(ContactSearchTest, UnboundCursorFindsNothing) {
  const auto cursor = MakeObject<AddressBookContacts>();
  EXPECT_EQ(cursor->Find("bob@x"), Value());
  EXPECT_FALSE(cursor->SeekFirst("bob@x", ""));
}

TEST(DateDigitsTest, EightDigitsOrZeros) {
  EXPECT_EQ(DateDigits(Date{45351}), "20240229");
  EXPECT_EQ(DateDigits(Date{45351.75}), "20240229");
  EXPECT_EQ(DateDigits(Value()), "00000000");
  EXPECT_EQ(DateDigits("2024-02-29"), "00000000");
}

}  // namespace
}  // namespace pv::addressbook

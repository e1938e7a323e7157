#include "pvgroupman/addressbook/address_book_contacts.h"

#include "addressbook/address_book_fixture_test.h"
#include "pvgroupman/tablestore/database.h"

namespace pv::addressbook {
namespace {

using automation::Date;

constexpr const char* kLabel = "AddressBookContacts::CreateInst";
constexpr const char* kNotReadable =
    "Source application for Address Book format is not Installed/read access is not available.";

class AddressBookContactsTest : public AddressBookTest {
 protected:
  FakeScript& script_ = FakeScript::Get();

  void AddThree() {
    AddContact("a@x");
    AddContact("b@x");
    AddContact("c@x");
  }

  static std::string Names(const Ref<AddressBookContacts>& cursor) {
    std::string names;
    for (std::int32_t i = 0; i < cursor->GetFields()->Count(); ++i) {
      names += cursor->GetFields()->Item(i)->GetName() + " ";
    }
    return names;
  }
};

// Binding.

TEST_F(AddressBookContactsTest, OpenAddressBookGivesACursorBeforeTheFirstContact) {
  AddThree();
  Save("S1");
  const auto book = MakeObject<AddressBook>();
  const auto object = CallMember(book, "OpenAddressBook", {"S1"}).ToObject();
  EXPECT_EQ(object->Members().class_name(), "AddressBookContacts");
  EXPECT_EQ(GetProperty(object, "RecordCount"), Value(3));
  EXPECT_EQ(GetProperty(object, "RecordNo"), Value(0));
  EXPECT_EQ(GetProperty(object, "BOF"), Value(true));
  EXPECT_EQ(GetProperty(object, "EOF"), Value(true));
}

TEST_F(AddressBookContactsTest, ConverterIsToldWhatToReadInThisOrder) {
  AddContact("a@x");
  Save("S1", {}, {"Team"});
  Open();
  const std::vector<std::string> expected = {"format LDIF",         "time",      "format=LDIF",
                                             "location=/book.ldif", "silent=-1", "lists on"};
  ASSERT_GE(script_.calls.size(), expected.size());
  EXPECT_EQ(std::vector<std::string>(script_.calls.begin(), script_.calls.begin() + 6), expected);
  EXPECT_EQ(automation::FormatDate(script_.time_stamp, "yyyy-mm-dd hh:nn:ss"),
            "2024-02-29 13:45:00");
}

TEST_F(AddressBookContactsTest, SilentModeIsPassedAsAnInteger) {
  script_.formats = {{"AOL"}};
  Save("S1", {}, {}, "AOL");
  Open();
  EXPECT_NE(std::find(script_.calls.begin(), script_.calls.end(), "silent=0"), script_.calls.end());
}

TEST_F(AddressBookContactsTest, DistributionListsAreSwitchedOffWithoutSelectedOnes) {
  Save("S1", {"Friends"});
  Open();
  EXPECT_NE(std::find(script_.calls.begin(), script_.calls.end(), "lists off"),
            script_.calls.end());
  EXPECT_EQ(std::find(script_.calls.begin(), script_.calls.end(), "lists on"), script_.calls.end());
}

TEST_F(AddressBookContactsTest, SecondCreateInstFailsEvenThoughTheFirstSucceeded) {
  AddThree();
  Save("S1");
  const auto cursor = MakeObject<AddressBookContacts>();
  EXPECT_EQ(CallMember(cursor, "CreateInst", {"S1"}), Value(true));
  ExpectError(ErrorFrom([&] { cursor->CreateInst("S1"); }), 1234, kLabel,
              "Cannot create new Accress Book Instance, another instance already exists");
  EXPECT_EQ(Walk(cursor), "a@x b@x c@x ") << "the first one is as it was";
}

TEST_F(AddressBookContactsTest, SourceThatCannotBeOpened) {
  Save("S1");
  const auto cursor = MakeObject<AddressBookContacts>();
  for (const char* id : {"none", "", "  "}) {
    ExpectError(ErrorFrom([&] { cursor->CreateInst(id); }), 1234, kLabel,
                std::string("Cannot create new Accress Book Instance, the saved settings can not "
                            "be opened, ID=") +
                    id);
  }
  EXPECT_EQ(script_.converters, 0);
  EXPECT_TRUE(cursor->CreateInst("S1")) << "a cursor that was not bound can be";
}

TEST_F(AddressBookContactsTest, FailureOfTheTableStoreKeepsItsNumber) {
  Save("S1");
  machine_.files.Put("/data/AddrSrc.pvg", "no table");
  const Error e = ErrorFrom([&] { MakeObject<AddressBookContacts>()->CreateInst("S1"); });
  EXPECT_EQ(e.number(), -210);
  EXPECT_EQ(e.source(), kLabel);
  EXPECT_NE(e.description().find("AddrSrc.pvg"), std::string::npos);
}

TEST_F(AddressBookContactsTest, FormatThatTheConverterDoesNotOffer) {
  Save("S1", {}, {}, "NSF");
  const auto cursor = MakeObject<AddressBookContacts>();
  ExpectError(ErrorFrom([&] { cursor->CreateInst("S1"); }), 1234, kLabel, kNotReadable);
  EXPECT_EQ(script_.converters, 0) << "the converter is released";
}

TEST_F(AddressBookContactsTest, FormatWithoutAReader) {
  script_.formats = {{"LDIF", false, true}};
  Save("S1");
  ExpectError(ErrorFrom([&] { MakeObject<AddressBookContacts>()->CreateInst("S1"); }), 1234, kLabel,
              kNotReadable);
}

TEST_F(AddressBookContactsTest, FormatThatIsNotInstalled) {
  script_.formats = {{"LDIF", true, false}};
  Save("S1");
  ExpectError(ErrorFrom([&] { MakeObject<AddressBookContacts>()->CreateInst("S1"); }), 1234, kLabel,
              kNotReadable);
}

TEST_F(AddressBookContactsTest, WalkOfFormatsStopsAtTheFirstValidOne) {
  script_.formats = {{"MAB"}, {"LDIF", false}, {"LDIF"}, {"LDIF"}, {"PINE"}};
  Save("S1");
  Open();
  EXPECT_EQ(std::vector<std::string>(script_.calls.begin(), script_.calls.begin() + 4),
            (std::vector<std::string>{"format MAB", "format LDIF", "format LDIF", "time"}));
}

TEST_F(AddressBookContactsTest, FormatsAreComparedWithoutLetterCaseAndBlanks) {
  script_.formats = {{" ldif "}};
  Save("S1");
  EXPECT_NO_THROW(Open());
}

TEST_F(AddressBookContactsTest, WithoutAConverterTheClassIsMissed) {
  Save("S1");
  automation::UnregisterClass("Cardweave.Converter");
  const Error e = ErrorFrom([&] { MakeObject<AddressBookContacts>()->CreateInst("S1"); });
  EXPECT_EQ(e.number(), 429);
  EXPECT_EQ(e.source(), kLabel);
  EXPECT_NE(e.description().find("Cardweave.Converter"), std::string::npos);
}

TEST_F(AddressBookContactsTest, AddressBookThatCannotBeReadGivesTheConvertersError) {
  Save("S1");
  script_.failure = "/book.ldif: there is no such file";
  const auto cursor = MakeObject<AddressBookContacts>();
  ExpectError(ErrorFrom([&] { cursor->CreateInst("S1"); }), 53, kLabel,
              "/book.ldif: there is no such file");
  EXPECT_EQ(script_.converters, 0);
  script_.failure.clear();
  EXPECT_TRUE(cursor->CreateInst("S1"));
}

TEST_F(AddressBookContactsTest, OpenAddressBookReportsUnderItsLabel) {
  support::OpenLog("/log.txt", support::kLogErrors);
  const Error e = ErrorFrom([&] { MakeObject<AddressBook>()->OpenAddressBook("none"); });
  support::StopLog();
  EXPECT_EQ(e.number(), 1234);
  EXPECT_EQ(e.source(), "AddressBook::OpenAddressBook");
  EXPECT_NE(machine_.files.Get("/log.txt").find("AddressBook::OpenAddressBook - Exit error 1234 "),
            std::string::npos);
}

TEST_F(AddressBookContactsTest, CursorLetsTheConverterGo) {
  AddThree();
  Save("S1");
  auto cursor = Open();
  EXPECT_EQ(script_.converters, 1);
  EXPECT_EQ(CallMember(cursor, "CloseTable"), Value(false));
  EXPECT_EQ(Walk(cursor), "a@x b@x c@x ") << "CloseTable does nothing";
  cursor = nullptr;
  EXPECT_EQ(script_.converters, 0);
}

// Trace lines.

TEST_F(AddressBookContactsTest, TraceOfASuccessfulOpening) {
  AddThree();
  Save("S1", {}, {"Team", "Staff"});
  script_.contacts[1].lists = {"Team"};
  OpenTraceWindow();
  Open();
  EXPECT_EQ(Traces(), (std::vector<std::string>{
                          "CreateInst Start", "Valid Format Selected: LDIF", "SilentMode: On",
                          "Distribution Lists: 2", "GetAddressBookCount=1",
                          "AddressBook contact count:1", "CreateInst succeeded"}));
}

TEST_F(AddressBookContactsTest, TraceOfSilentModeOff) {
  script_.formats = {{"PFC"}};
  Save("S1", {}, {}, "PFC");
  OpenTraceWindow();
  Open();
  const auto traces = Traces();
  ASSERT_GE(traces.size(), 4u);
  EXPECT_EQ(traces[2], "SilentMode: Off");
  EXPECT_EQ(traces[3], "Distribution Lists: 0");
}

TEST_F(AddressBookContactsTest, TraceOfAFormatThatIsNotInstalled) {
  Save("S1", {}, {}, "WAB");
  OpenTraceWindow();
  EXPECT_EQ(ErrorFrom([&] { Open(); }).number(), 1234);
  EXPECT_EQ(Traces(), (std::vector<std::string>{"CreateInst Start", "INVALID Format Selected: WAB",
                                                "CreateInst failed"}));
}

TEST_F(AddressBookContactsTest, TraceOfEof) {
  AddThree();
  Save("S1");
  const auto cursor = Open();
  cursor->MoveFirst();
  OpenTraceWindow();
  EXPECT_FALSE(cursor->IsEof());
  EXPECT_EQ(Traces(),
            (std::vector<std::string>{"EOF: CurrentContact = 1", "EOF: RecordCount = 3"}));
}

TEST_F(AddressBookContactsTest, TraceOfAMoveThatReadsNothing) {
  AddThree();
  Save("S1");
  const auto cursor = Open();
  cursor->MoveLast();
  OpenTraceWindow();
  EXPECT_FALSE(cursor->MoveNext());
  EXPECT_EQ(Traces(),
            (std::vector<std::string>{"ReadRecordBuffer error: lRecordNo=4 mlCurrentContact=4"}));
}

// Columns.

TEST_F(AddressBookContactsTest, FieldsAreTheUnionOfTheSampledPropertiesAndTheCategories) {
  script_.contacts = {{{{kEmail, Value("a@x")}, {kGivenName, Value("A")}}, {}, {}, false},
                      {{{kBirthday, Value(Date{1})}, {kEmail, Value("b@x")}}, {}, {}, false}};
  Save("S1");
  const auto cursor = Open();
  EXPECT_EQ(Names(cursor), "Email GivenName Birthday Categories ");
  EXPECT_EQ(cursor->columns()->Count(), 3);
  EXPECT_EQ(FieldOf(cursor, "Email"), Value()) << "no contact is read yet";
}

TEST_F(AddressBookContactsTest, TwentyOneContactsAreSampledAndNoMore) {
  for (std::int32_t i = 1; i <= 25; ++i) {
    script_.contacts.push_back({{{0x66000000 + i * 0x10000 + 0x1E, Value("x")}},
                                {"Category " + std::to_string(i)},
                                {},
                                false});
  }
  Save("S1");
  script_.calls.clear();
  const auto cursor = Open();
  EXPECT_EQ(cursor->columns()->Count(), 21);
  EXPECT_EQ(cursor->sampled_categories().size(), 21u);
  EXPECT_EQ(script_.fetches, 21);
}

TEST_F(AddressBookContactsTest, SampleIsOfTheAddressBookNotOfTheSelection) {
  script_.contacts = {{{{kGivenName, Value("A")}}, {}, {}, false},
                      {{{kEmail, Value("b@x")}}, {"Friends"}, {}, false}};
  Save("S1", {"Friends"});
  const auto cursor = Open();
  EXPECT_EQ(Names(cursor), "GivenName Email Categories ");
  EXPECT_EQ(cursor->GetRecordCount(), 1);
}

TEST_F(AddressBookContactsTest, SampledCategoriesAreListedOnce) {
  AddContact("a@x", {"Work", "Friends"});
  AddContact("b@x", {"Friends"});
  Save("S1");
  EXPECT_EQ(Open()->sampled_categories(), (std::vector<std::string>{"Work", "Friends"}));
}

TEST_F(AddressBookContactsTest, UnknownPropertiesGetAColumnToo) {
  script_.contacts = {{{{static_cast<std::int32_t>(0x80010003), Value(7)}}, {}, {}, false}};
  Save("S1");
  const auto cursor = Open();
  cursor->MoveFirst();
  EXPECT_EQ(FieldOf(cursor, "-2147418109"), Value(7));
}

// Values.

TEST_F(AddressBookContactsTest, ValuesOfEveryKind) {
  const automation::Bytes id = {1, 2, 3};
  script_.contacts = {{{{kEmail, Value("a@x")},
                        {kBirthday, Value(Date{10000})},
                        {kChildren, Value(TextArray{"Tim", "Tom"})},
                        {kEntryId, Value(id)},
                        {0x66010003, Value(42)},
                        {0x6602000B, Value(true)}},
                       {"Friends", "Work"},
                       {},
                       false}};
  Save("S1");
  const auto cursor = Open();
  cursor->MoveFirst();
  EXPECT_EQ(FieldOf(cursor, "Email"), Value("a@x"));
  EXPECT_EQ(FieldOf(cursor, "Birthday"), Value(Date{10000})) << "dates are dates";
  EXPECT_EQ(FieldOf(cursor, "ChildrensNames"), Value("Tim; Tom")) << "joined in a field";
  EXPECT_EQ(FieldOf(cursor, "EntryID"), Value(id));
  EXPECT_EQ(FieldOf(cursor, "1711341571"), Value(42));
  EXPECT_EQ(FieldOf(cursor, "1711407115"), Value(true));
  EXPECT_EQ(FieldOf(cursor, "Categories"), Value(TextArray{"Friends", "Work"})) << "whole";
}

TEST_F(AddressBookContactsTest, WhatIsEmptyInTheBookIsEmptyInTheRecord) {
  script_.contacts = {{{{kEmail, Value()},
                        {kGivenName, Value("")},
                        {kBirthday, Value::Null()},
                        {kChildren, Value(TextArray{})}},
                       {},
                       {},
                       false}};
  Save("S1");
  const auto cursor = Open();
  cursor->MoveFirst();
  for (const char* field : {"Email", "GivenName", "Birthday", "ChildrensNames", "Categories"}) {
    EXPECT_TRUE(FieldOf(cursor, field).IsEmpty()) << field;
  }
}

TEST_F(AddressBookContactsTest, FieldIsReadWhenItIsAskedForAndOnce) {
  AddContact("a@x");
  Save("S1");
  const auto cursor = Open();
  script_.calls.clear();
  cursor->MoveFirst();
  EXPECT_EQ(script_.calls, std::vector<std::string>{"item 1"});
  FieldOf(cursor, "Email");
  FieldOf(cursor, "email");
  EXPECT_EQ(script_.calls, (std::vector<std::string>{"item 1", "property 805503006"}));
}

TEST_F(AddressBookContactsTest, FieldThatIsHeldKeepsItsValue) {
  AddThree();
  Save("S1");
  auto cursor = Open();
  cursor->MoveFirst();
  const auto first = cursor->GetFields()->Find("Email");
  cursor->MoveNext();
  EXPECT_EQ(first->GetValue(), Value("a@x"));
  const auto fields = cursor->GetFields();
  cursor = nullptr;
  EXPECT_EQ(fields->Find("Email")->GetValue(), Value("b@x")) << "the cursor is gone";
}

TEST_F(AddressBookContactsTest, HostMaySetAFieldsObjectOfItsOwn) {
  AddThree();
  Save("S1");
  const auto cursor = Open();
  const auto own = MakeObject<tablestore::Fields>();
  PutProperty(cursor, "Fields", Value(own));
  cursor->MoveFirst();
  EXPECT_EQ(cursor->GetFields(), own);
  EXPECT_EQ(own->Find("Email")->GetValue(), Value("a@x"));
}

TEST_F(AddressBookContactsTest, FieldsIsOneObjectFromBeforeCreateInst) {
  AddThree();
  Save("S1");
  const auto cursor = MakeObject<AddressBookContacts>();
  const auto fields = cursor->GetFields();
  EXPECT_EQ(fields->Count(), 0);
  cursor->CreateInst("S1");
  cursor->MoveFirst();
  EXPECT_EQ(cursor->GetFields(), fields);
  EXPECT_EQ(fields->Find("Email")->GetValue(), Value("a@x"));
}

// Selection.

class SelectionTest : public AddressBookContactsTest {
 protected:
  SelectionTest() {
    AddContact("friend@x", {"Friends"});
    AddContact("plain@x");
    AddContact("both@x", {"Work", "Friends"}, {"Team"});
    AddContact("work@x", {"Work"});
    AddContact("member@x", {}, {"Staff", "Team"});
    AddContact("loose@x", {}, {"Team"}, true);
  }
  std::string Selected(std::initializer_list<const char*> categories,
                       std::initializer_list<const char*> lists) {
    Save("S1", categories, lists);
    const auto cursor = Open();
    const std::string walked = Walk(cursor);
    EXPECT_EQ(cursor->GetRecordCount(), std::count(walked.begin(), walked.end(), ' '));
    return walked;
  }
};

TEST_F(SelectionTest, WithoutNamesEveryContactOfTheBookIsIn) {
  EXPECT_EQ(Selected({}, {}), "friend@x plain@x both@x work@x member@x ");
}

TEST_F(SelectionTest, ByCategory) {
  EXPECT_EQ(Selected({"Friends"}, {}), "friend@x both@x ");
  EXPECT_EQ(Selected({"Work", "Friends"}, {}), "friend@x both@x work@x ");
}

TEST_F(SelectionTest, NamesAreComparedExactly) {
  EXPECT_EQ(Selected({"friends"}, {}), "");
  EXPECT_EQ(Selected({"Friend"}, {}), "");
  EXPECT_EQ(Selected({}, {"team"}), "");
}

TEST_F(SelectionTest, ByDistributionListWithMembersThatHaveNoContact) {
  EXPECT_EQ(Selected({}, {"Team"}), "both@x member@x loose@x ");
  EXPECT_EQ(Selected({}, {"Staff"}), "member@x ");
  EXPECT_EQ(Selected({}, {"Staff", "Team"}), "both@x member@x loose@x ");
}

TEST_F(SelectionTest, WithBothKindsAContactPassesByEither) {
  EXPECT_EQ(Selected({"Friends"}, {"Staff"}), "friend@x both@x member@x ");
  EXPECT_EQ(Selected({"Work"}, {"Team"}), "both@x work@x member@x loose@x ");
}

TEST_F(SelectionTest, BlanksAtTheEndOfANameDoNotCount) {
  AddContact("blank@x", {"Odd  "});
  EXPECT_EQ(Selected({"Odd  "}, {}), "blank@x ");
}

TEST_F(SelectionTest, IsMadeOnceAndHoldsIdentifiers) {
  Save("S1", {"Friends"});
  const auto cursor = Open();
  const int before = script_.fetches;
  script_.contacts[0].categories = {};
  script_.contacts[1].categories = {"Friends"};
  script_.calls.clear();
  EXPECT_EQ(Walk(cursor), "friend@x both@x ");
  EXPECT_EQ(script_.fetches, before + 2);
  EXPECT_EQ(script_.calls, (std::vector<std::string>{"id 1001", "property 805503006", "id 1003",
                                                     "property 805503006"}));
}

TEST_F(SelectionTest, ContactThatCannotBeReadWhileSelectingIsAnError) {
  Save("S1", {"Friends"});
  script_.failing = 4;
  ExpectError(ErrorFrom([&] { MakeObject<AddressBookContacts>()->CreateInst("S1"); }), 321, kLabel,
              "book.ldif: contact 4 is damaged");
}

// Moves.

TEST_F(AddressBookContactsTest, MovesOneByOne) {
  AddThree();
  Save("S1");
  const auto cursor = Open();
  EXPECT_TRUE(cursor->MoveFirst());
  EXPECT_EQ(cursor->GetRecordNo(), 1);
  EXPECT_TRUE(cursor->IsBof()) << "on the first contact already";
  EXPECT_FALSE(cursor->IsEof());
  EXPECT_TRUE(cursor->MoveNext());
  EXPECT_FALSE(cursor->IsBof());
  EXPECT_EQ(FieldOf(cursor, "Email"), Value("b@x"));
  EXPECT_EQ(CallMember(cursor, "MoveLast"), Value(true));
  EXPECT_EQ(cursor->GetRecordNo(), 3);
  EXPECT_EQ(FieldOf(cursor, "Email"), Value("c@x"));
  EXPECT_TRUE(cursor->MovePrev());
  EXPECT_EQ(FieldOf(cursor, "Email"), Value("b@x"));
}

TEST_F(AddressBookContactsTest, MoveNextFromANewCursorGoesToTheFirstContact) {
  AddThree();
  Save("S1");
  const auto cursor = Open();
  EXPECT_TRUE(cursor->MoveNext());
  EXPECT_EQ(cursor->GetRecordNo(), 1);
}

TEST_F(AddressBookContactsTest, MoveNextBehindTheLastIsEof) {
  AddThree();
  Save("S1");
  const auto cursor = Open();
  cursor->MoveLast();
  EXPECT_EQ(CallMember(cursor, "MoveNext"), Value(false));
  EXPECT_TRUE(cursor->IsEof());
  EXPECT_EQ(cursor->GetRecordNo(), 4);
  EXPECT_EQ(FieldOf(cursor, "Email"), Value());
  EXPECT_EQ(cursor->GetFields()->Count(), 2) << "the fields stay, empty";
  EXPECT_EQ(cursor->read_error(), "");
}

TEST_F(AddressBookContactsTest, MovePrevFromTheFirstIsBofAndEof) {
  AddThree();
  Save("S1");
  const auto cursor = Open();
  cursor->MoveFirst();
  EXPECT_EQ(CallMember(cursor, "MovePrev"), Value(false));
  EXPECT_EQ(cursor->GetRecordNo(), 0);
  EXPECT_TRUE(cursor->IsBof());
  EXPECT_TRUE(cursor->IsEof());
}

TEST_F(AddressBookContactsTest, SteppingFurtherOffAnEndStaysThere) {
  AddThree();
  Save("S1");
  const auto cursor = Open();
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(cursor->MovePrev());
  EXPECT_EQ(cursor->GetRecordNo(), 0);
  EXPECT_TRUE(cursor->MoveNext());
  cursor->MoveLast();
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(cursor->MoveNext());
  EXPECT_EQ(cursor->GetRecordNo(), 4);
  EXPECT_TRUE(cursor->MovePrev());
  EXPECT_EQ(cursor->GetRecordNo(), 3);
}

TEST_F(AddressBookContactsTest, MoveIsRelativeAndStaysWhenItFails) {
  AddThree();
  Save("S1");
  const auto cursor = Open();
  EXPECT_EQ(CallMember(cursor, "Move", {2}), Value(true));
  EXPECT_EQ(cursor->GetRecordNo(), 2);
  EXPECT_EQ(CallMember(cursor, "Move", {1}), Value(true));
  EXPECT_EQ(CallMember(cursor, "Move", {-2}), Value(true));
  EXPECT_EQ(cursor->GetRecordNo(), 1);
  EXPECT_EQ(CallMember(cursor, "Move", {0}), Value(true));
  for (const std::int32_t off : {3, -1, -2, 2147483647, -2147483647 - 1}) {
    EXPECT_EQ(CallMember(cursor, "Move", {off}), Value(false)) << off;
    EXPECT_EQ(cursor->GetRecordNo(), 1) << off;
    EXPECT_EQ(FieldOf(cursor, "Email"), Value()) << "the buffer was cleared first";
  }
}

TEST_F(AddressBookContactsTest, EmptyAddressBook) {
  Save("S1");
  const auto cursor = Open();
  EXPECT_EQ(cursor->GetRecordCount(), 0);
  EXPECT_TRUE(cursor->IsEof());
  EXPECT_FALSE(cursor->MoveFirst());
  EXPECT_EQ(cursor->GetRecordNo(), 0) << "the position is restored";
  EXPECT_EQ(CallMember(cursor, "MoveLast"), Value(false));
  EXPECT_EQ(cursor->GetRecordNo(), 0);
  EXPECT_FALSE(cursor->MoveNext());
  EXPECT_TRUE(cursor->IsEof());
  EXPECT_EQ(Names(cursor), "Categories ");
}

TEST_F(AddressBookContactsTest, ContactThatCannotBeReadFailsTheMoveAndIsLogged) {
  AddThree();
  Save("S1");
  const auto cursor = Open();
  cursor->MoveFirst();
  script_.failing = 2;
  support::OpenLog("/log.txt", support::kLogErrors);
  EXPECT_FALSE(cursor->MoveNext());
  support::StopLog();
  EXPECT_EQ(cursor->GetRecordNo(), 2) << "kept, so that a walk goes on";
  EXPECT_FALSE(cursor->IsEof());
  EXPECT_EQ(cursor->read_error(), "book.ldif: contact 2 is damaged");
  EXPECT_NE(machine_.files.Get("/log.txt").find("ReadRecordBuffer - Exit error 321 book.ldif"),
            std::string::npos);
  EXPECT_TRUE(cursor->MoveNext());
  EXPECT_EQ(cursor->read_error(), "");
  std::int32_t back = -1;
  EXPECT_FALSE(cursor->Move(back));
  EXPECT_EQ(cursor->GetRecordNo(), 3) << "restored";
}

TEST_F(AddressBookContactsTest, WalkAsksForEachContactOnce) {
  for (int i = 0; i < 50; ++i) AddContact("n@x");
  Save("S1");
  const auto cursor = Open();
  script_.fetches = 0;
  Walk(cursor);
  EXPECT_EQ(script_.fetches, 50);
}

// What does nothing.

TEST_F(AddressBookContactsTest, EditingDoesNothing) {
  AddThree();
  Save("S1");
  const auto cursor = Open();
  cursor->MoveFirst();
  EXPECT_EQ(CallMember(cursor, "AddNew"), Value());
  EXPECT_EQ(CallMember(cursor, "Update"), Value());
  EXPECT_EQ(CallMember(cursor, "Delete"), Value(false));
  EXPECT_EQ(GetProperty(cursor, "TableHandle"), Value(0));
  EXPECT_EQ(FieldOf(cursor, "Email"), Value("a@x"));
  EXPECT_EQ(cursor->GetRecordCount(), 3);
}

TEST_F(AddressBookContactsTest, RecordNoLogsItsEntryAndExit) {
  Save("S1");
  const auto cursor = Open();
  support::OpenLog("/log.txt", support::kLogTrace);
  cursor->GetRecordNo();
  support::StopLog();
  std::string log = machine_.files.Get("/log.txt");
  std::erase(log, '\r');
  EXPECT_NE(log.find("RecordNo - Entry\n"), std::string::npos);
  EXPECT_NE(log.find("RecordNo - Exit\n"), std::string::npos);
}

TEST_F(AddressBookContactsTest, UnboundCursorHasNoContacts) {
  const auto cursor = MakeObject<AddressBookContacts>();
  EXPECT_EQ(cursor->GetRecordCount(), 0);
  EXPECT_TRUE(cursor->IsBof());
  EXPECT_TRUE(cursor->IsEof());
  EXPECT_FALSE(cursor->MoveFirst());
  EXPECT_FALSE(cursor->MoveNext());
  EXPECT_FALSE(cursor->MovePrev());
  EXPECT_EQ(cursor->MoveLast(), Value(false));
  EXPECT_TRUE(cursor->Warnings().empty());
}

TEST_F(AddressBookContactsTest, MembersAreInInterfaceOrder) {
  std::string names;
  const auto cursor = MakeObject<AddressBookContacts>();
  for (const automation::Member& m : cursor->Members().members()) {
    names += m.name + ":" + std::to_string(static_cast<int>(m.kind)) + " ";
  }
  EXPECT_EQ(names,
            "Fields:2 Fields:8 CreateInst:1 TableHandle:2 AddNew:1 Update:1 Delete:1 MoveFirst:1 "
            "Find:1 SeekFirst:1 Move:1 MoveNext:1 MovePrev:1 MoveLast:1 BOF:2 EOF:2 RecordCount:2 "
            "RecordNo:2 CloseTable:1 ");
}

}  // namespace
}  // namespace pv::addressbook

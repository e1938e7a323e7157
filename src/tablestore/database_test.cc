#include "pvgroupman/tablestore/database.h"

#include "tablestore/table_fixture_test.h"

namespace pv::tablestore {
namespace {

class DatabaseTest : public TableTest {
 protected:
  // The log, with line ends as they are where text files have the shorter ones.
  std::string Log() {
    std::string text = machine_.files.Get("/data/pv.log");
    std::erase(text, '\r');
    return text;
  }
  // The log's lines from `from` on, without the heading's.
  std::vector<std::string> Lines() {
    std::vector<std::string> lines;
    std::string text = Log();
    text = text.substr(text.find("** \n\n") + 5);
    for (std::size_t end = 0; (end = text.find('\n')) != std::string::npos;) {
      lines.push_back(text.substr(0, end));
      text.erase(0, end + 1);
    }
    return lines;
  }
  std::int32_t WidthOf(const Ref<Recipients>& c, const char* name) {
    return engine::f4len_v(engine::d4field(c->GetTableHandle(), name));
  }
  char LetterOf(const Ref<Recipients>& c, const char* name) {
    return static_cast<char>(engine::f4type(engine::d4field(c->GetTableHandle(), name)));
  }
  // The one session that there is: the handle that the engine's session operations take.
  static engine::Handle SessionHandle() {
    for (engine::Handle h = 1; h < 1 << 26; ++h) {
      if (engine::code4accessMode(h, -1) >= 0) return h;
    }
    return 0;
  }
  static constexpr auto kExclusive = AccessModeType::kExclusive;
};

TEST_F(DatabaseTest, MembersInSlotOrder) {
  std::vector<std::string> names;
  for (const auto& m : database_->Members().members()) names.push_back(m.name);
  EXPECT_EQ(names, (std::vector<std::string>{"Fields", "Fields", "CreateTable", "State",
                                             "SetLogging", "OpenTable", "CompactTable"}));
}

TEST_F(DatabaseTest, OptionalArgumentsAreDescribed) {
  const auto& members = database_->Members().members();
  std::vector<bool> optional;
  for (const auto& a : members[2].arguments) optional.push_back(a.optional);
  EXPECT_EQ(optional, (std::vector<bool>{false, false, false, false, true, true}));
  EXPECT_EQ(members[2].arguments[4].name, "AccessMode");
  EXPECT_STREQ(members[2].arguments[4].type.enumeration->name, "AccessModeType");
  EXPECT_STREQ(members[2].arguments[2].type.record->name, "FieldStruct");
  EXPECT_STREQ(members[2].result.class_name, "Recipients");
}

TEST_F(DatabaseTest, StateIsOpenFromCreationOn) {
  EXPECT_EQ(GetProperty(database_, "State"), Value(1));
}

TEST_F(DatabaseTest, FieldsIsAPlainReference) {
  EXPECT_FALSE(database_->GetFields());
  const auto fields = automation::MakeObject<Fields>();
  automation::PutProperty(database_, "Fields", Value(fields));
  EXPECT_EQ(database_->GetFields(), fields);
}

TEST_F(DatabaseTest, CreatesEveryFieldType) {
  const std::pair<FieldType, char> types[] = {{FieldType::kBinary, 'B'},
                                              {FieldType::kCharacter, 'C'},
                                              {FieldType::kCharacterBinary, 'Z'},
                                              {FieldType::kCurrency, 'Y'},
                                              {FieldType::kDate, 'D'},
                                              {FieldType::kDateTime, 'T'},
                                              {FieldType::kDouble, 'B'},
                                              {FieldType::kFloat, 'F'},
                                              {FieldType::kGeneral, 'G'},
                                              {FieldType::kInteger, 'I'},
                                              {FieldType::kLogical, 'L'},
                                              {FieldType::kMemo, 'M'},
                                              {FieldType::kMemoBinary, 'X'},
                                              {FieldType::kNumeric, 'N'},
                                              {FieldType::kUnicode, 'W'}};
  for (const auto& [type, letter] : types) {
    EXPECT_EQ(LetterOf(MakeOne(type, 10), "F"), letter) << static_cast<int>(type);
  }
}

TEST_F(DatabaseTest, DateAndLogicalHaveTheirOwnWidth) {
  EXPECT_EQ(WidthOf(MakeOne(FieldType::kDate, 20), "F"), 8);
  EXPECT_EQ(WidthOf(MakeOne(FieldType::kLogical, 10), "F"), 1);
  EXPECT_EQ(WidthOf(MakeOne(FieldType::kCurrency, 0), "F"), 8);
}

TEST_F(DatabaseTest, BinaryAndDoubleBothCreateTypeB) {
  EXPECT_EQ(LetterOf(MakeOne(FieldType::kBinary, 8), "F"), 'B');
  EXPECT_EQ(LetterOf(MakeOne(FieldType::kDouble, 8), "F"), 'B');
}

TEST_F(DatabaseTest, TypeOutsideTheEnumerationIsTheEnginesError) {
  const Error e = ErrorFrom([&] { MakeOne(static_cast<FieldType>(15)); });
  EXPECT_EQ(e.number(), -620);
  EXPECT_EQ(e.source(), "CreateTable");
}

TEST_F(DatabaseTest, DecimalsAndNullsAreStored) {
  const auto cursor = MakeOne(FieldType::kNumeric, 9, 3, true);
  const engine::Handle field = engine::d4field(cursor->GetTableHandle(), "F");
  EXPECT_EQ(engine::f4decimals(field), 3);
  EXPECT_TRUE(Through(cursor, Value::Null()).IsNull());
}

TEST_F(DatabaseTest, TagsAreCreatedUniqueAndDescending) {
  const auto cursor = database_->CreateTable(
      "/data", "t.pvg", {{"A", FieldType::kCharacter, 5, 0, false}},
      {{"Up", "A", "", true, false}, {"Down", "A", ".NOT. DELETED()", false, true}});
  const engine::TableInfo info = engine::d4info(cursor->GetTableHandle());
  ASSERT_EQ(info.tags.size(), 2U);
  EXPECT_TRUE(info.tags[0].unique);
  EXPECT_FALSE(info.tags[0].descending);
  EXPECT_FALSE(info.tags[1].unique);
  EXPECT_TRUE(info.tags[1].descending);
  EXPECT_EQ(info.tags[1].filter, ".NOT. DELETED()");
}

TEST_F(DatabaseTest, CreatingOverATableFailsAndTheSafetySettingIsAsBefore) {
  MakePeople()->CloseTable();
  const Error e = ErrorFrom([&] { MakePeople(); });
  EXPECT_EQ(e.number(), -120);
  EXPECT_EQ(e.source(), "CreateTable");
  EXPECT_NE(e.description().find("people.pvg"), std::string::npos) << e.description();
  // The session's own setting comes back, whichever it was.
  const engine::Handle session = SessionHandle();
  ASSERT_NE(session, 0);
  for (const std::int32_t setting : {0, 1}) {
    engine::code4safety(session, setting);
    EXPECT_EQ(ErrorFrom([&] { MakePeople(); }).number(), -120);
    EXPECT_EQ(engine::code4safety(session, setting), setting);
    MakeOne(FieldType::kInteger);
    EXPECT_EQ(engine::code4safety(session, setting), setting);
  }
}

TEST_F(DatabaseTest, FailedCreationLeavesNoFileOpen) {
  MakePeople()->CloseTable();
  ErrorFrom([&] { MakePeople(); });
  EXPECT_EQ(machine_.files.OpenFileCount(), 0);
}

TEST_F(DatabaseTest, RecordsGoThroughALateBoundCall) {
  const auto fields = std::make_shared<automation::Records>();
  fields->type = &automation::RecordOf<FieldStruct>::Describe();
  fields->rows = {{"EMAIL", 1, 30, 0, false}, {"JOINED", 4, 0, 0, false}};
  const auto tags = std::make_shared<automation::Records>();
  tags->type = &automation::RecordOf<IndexStruct>::Describe();
  tags->rows = {{"Email", "EMAIL", ".NOT. DELETED()", true, false}};
  const Value cursor =
      CallMember(database_, "createtable",
                 {"/data", "late.pvg", std::shared_ptr<const automation::Records>(fields),
                  std::shared_ptr<const automation::Records>(tags), Value::Missing(), "email"});
  EXPECT_EQ(GetProperty(cursor.ToObject(), "State"), Value(1));
  CallMember(cursor.ToObject(), "CloseTable");
  const Value again = CallMember(database_, "OpenTable", {"/data", "late.pvg"});
  EXPECT_EQ(GetProperty(again.ToObject(), "RecordCount"), Value(0));
}

TEST_F(DatabaseTest, OpenTableWithAnIndexThatIsNoTagOpensInNaturalOrder) {
  const auto cursor = MakePeople();
  AddPerson(cursor, "b@x");
  AddPerson(cursor, "a@x");
  cursor->CloseTable();
  for (const std::optional<std::string>& index :
       {std::optional<std::string>("NoSuchTag"), std::optional<std::string>(""),
        std::optional<std::string>()}) {
    const auto natural = database_->OpenTable("/data", "people.pvg", std::nullopt, index);
    natural->MoveFirst();
    EXPECT_EQ(Get(natural, "EMAIL"), Value("b@x"));
  }
  const auto tagged = database_->OpenTable("/data", "people.pvg", std::nullopt, "EMAIL");
  tagged->MoveFirst();
  EXPECT_EQ(Get(tagged, "EMAIL"), Value("a@x"));
}

TEST_F(DatabaseTest, OpenedTableStandsOnItsFirstRecordWithoutValues) {
  const auto cursor = MakePeople();
  AddPerson(cursor, "b@x");
  AddPerson(cursor, "a@x");
  cursor->CloseTable();
  const auto again = database_->OpenTable("/data", "people.pvg", std::nullopt, "Email");
  EXPECT_EQ(again->GetRecordNo(), 2);
  EXPECT_FALSE(again->IsEof());
  EXPECT_EQ(again->GetFields()->Count(), 0);
}

TEST_F(DatabaseTest, OpenTableThatIsNotThereCarriesTheEnginesCode) {
  const Error e = ErrorFrom([&] { database_->OpenTable("/data", "none.pvg"); });
  EXPECT_EQ(e.number(), -110);
  EXPECT_EQ(e.source(), "OpenTable");
  EXPECT_NE(e.description().find("none.pvg"), std::string::npos) << e.description();
}

TEST_F(DatabaseTest, OpenTableThatIsNoTable) {
  machine_.files.Put("/data/no.pvg", "hello");
  EXPECT_EQ(ErrorFrom([&] { database_->OpenTable("/data", "no.pvg"); }).number(), -210);
}

TEST_F(DatabaseTest, FolderWithAndWithoutItsSeparatorIsTheSame) {
  MakePeople()->CloseTable();
  for (const char* folder : {"/data", "/data\\", "/data/", "\\data", "\\data\\"}) {
    EXPECT_NO_THROW(database_->OpenTable(folder, "people.pvg")->CloseTable()) << folder;
  }
}

TEST_F(DatabaseTest, EmptyPathIsTheHostsFolder) {
  ASSERT_TRUE(machine_.files.CreateFolders("/app").ok());
  database_->CreateTable("", "h.pvg", {{"A", FieldType::kCharacter, 5, 0, false}}, {})
      ->CloseTable();
  EXPECT_TRUE(machine_.files.Has("/app/h.pvg"));
  EXPECT_NO_THROW(database_->OpenTable("/app", "h.pvg"));
}

TEST_F(DatabaseTest, AccessModes) {
  MakePeople()->CloseTable();
  const auto exclusive = database_->OpenTable("/data", "people.pvg", kExclusive);
  const Error e = ErrorFrom([&] { database_->OpenTable("/data", "people.pvg"); });
  EXPECT_EQ(e.number(), -130);
  exclusive->CloseTable();
  const auto shared = database_->OpenTable("/data", "people.pvg", AccessModeType::kShared);
  EXPECT_EQ(ErrorFrom([&] {
              database_->OpenTable("/data", "people.pvg", AccessModeType::kLocked);
            }).number(),
            -130);
}

TEST_F(DatabaseTest, ModeLeftOutIsSharedAndAnUnknownOneKeepsTheLast) {
  MakePeople()->CloseTable();
  database_->OpenTable("/data", "people.pvg", kExclusive)->CloseTable();
  const auto kept = database_->OpenTable("/data", "people.pvg", static_cast<AccessModeType>(9));
  EXPECT_EQ(ErrorFrom([&] { database_->OpenTable("/data", "people.pvg"); }).number(), -130)
      << "still exclusive";
  kept->CloseTable();
  const auto shared = database_->OpenTable("/data", "people.pvg");
  EXPECT_NO_THROW(database_->OpenTable("/data", "people.pvg")) << "shared again";
}

TEST_F(DatabaseTest, CompactRemovesDeletedRecords) {
  const auto cursor = MakePeople();
  AddPerson(cursor, "a@x");
  AddPerson(cursor, "b@x");
  cursor->MoveFirst();
  cursor->Delete();
  cursor->CloseTable();
  EXPECT_EQ(CallMember(database_, "CompactTable", {"/data", "people.pvg"}), Value(true));
  const auto again = database_->OpenTable("/data", "people.pvg", std::nullopt, "Email");
  EXPECT_EQ(again->GetRecordCount(), 1);
  again->MoveFirst();
  EXPECT_EQ(Get(again, "EMAIL"), Value("b@x"));
}

TEST_F(DatabaseTest, CompactOfATableInUseFailsWithItsText) {
  const auto cursor = MakePeople();
  const Error e = ErrorFrom([&] { database_->CompactTable("/data", "people.pvg"); });
  ExpectError(e, -130, "CompactTable", "CompactTable failed.");
  cursor->CloseTable();
  ExpectError(ErrorFrom([&] { database_->CompactTable("/data", "none.pvg"); }), -110,
              "CompactTable", "CompactTable failed.");
}

TEST_F(DatabaseTest, CompactThatFailsLeavesTheTableClosedAndWhole) {
  const auto cursor = MakePeople();
  AddPerson(cursor, "a@x");
  cursor->MoveFirst();
  cursor->Delete();
  cursor->CloseTable();
  machine_.files.FailCall(1, platform::Call::kWrite, platform::Fault::kNoSpace, true);
  const Error e = ErrorFrom([&] { database_->CompactTable("/data", "people.pvg"); });
  machine_.files.ClearFault();
  EXPECT_EQ(e.number(), -160);
  EXPECT_EQ(machine_.files.OpenFileCount(), 0);
  EXPECT_EQ(database_->OpenTable("/data", "people.pvg")->GetRecordCount(), 1);
}

TEST_F(DatabaseTest, CompactThatFindsADuplicateKeyIs20) {
  // A foreign program may leave two live records with one key behind a unique tag.
  const auto cursor = MakePeople();
  AddPerson(cursor, "a@x");
  AddPerson(cursor, "b@x");
  cursor->CloseTable();
  std::string bytes = machine_.files.Get("/data/people.pvg");
  bytes.replace(bytes.find("b@x"), 3, "a@x");
  machine_.files.Put("/data/people.pvg", bytes);
  ExpectError(ErrorFrom([&] { database_->CompactTable("/data", "people.pvg"); }), 20,
              "CompactTable", "Compacting the table caused a unique key violation.");
}

TEST_F(DatabaseTest, TablesEndWithTheirSession) {
  const auto cursor = MakePeople();
  database_ = nullptr;
  EXPECT_EQ(machine_.files.OpenFileCount(), 0);
}

TEST_F(DatabaseTest, NewTablesAreInTheCodePageOfTheSettings) {
  machine_.process.environment["PVGROUP_CODEPAGE"] = "nonsense";
  const Error e = ErrorFrom([] { automation::MakeObject<Database>(); });
  EXPECT_EQ(e.number(), 5);
  machine_.process.environment["PVGROUP_CODEPAGE"] = "1251";
  const auto database = automation::MakeObject<Database>();
  const auto cursor =
      database->CreateTable("/data", "ru.pvg", {{"A", FieldType::kCharacter, 5, 0, false}}, {});
  EXPECT_EQ(engine::d4codePage(cursor->GetTableHandle())->number(), 1251);
}

TEST_F(DatabaseTest, LogsEntryAndExitUnderTheOperationsNames) {
  CallMember(database_, "SetLogging", {3, "/data/pv.log"});
  const auto cursor = MakePeople();
  cursor->AddNew();
  Set(cursor, "EMAIL", "a@x");
  cursor->Update();
  cursor->MoveFirst();
  EXPECT_EQ(Lines(), (std::vector<std::string>{
                         "CreateTable - Entry", "CreatePVTable - Entry", "CreatePVTable - Exit",
                         "Table::CreateInst - Entry", "Table::CreateInst - Exit",
                         "CreateTable - Exit", "AddNew - Entry", "AddNew - Exit", "Update - Entry",
                         "Update - Exit", "MoveFirst - Entry", "MoveFirst - Exit"}));
}

TEST_F(DatabaseTest, LogsErrorsWithNumberAndDescription) {
  database_->SetLogging(LogLevel::kErrOnly, "/data/pv.log");
  const auto cursor = MakePeople();
  ErrorFrom([&] { cursor->MoveFirst(); });
  ErrorFrom([&] { database_->CompactTable("/data", "none.pvg"); });
  EXPECT_EQ(Lines(),
            (std::vector<std::string>{"MoveFirst - Exit error 3 No records found.",
                                      "CompactTable - Exit error -110 CompactTable failed."}));
}

TEST_F(DatabaseTest, SetLoggingWithNoLogStops) {
  database_->SetLogging(LogLevel::kErrFullTrace, "/data/pv.log");
  database_->SetLogging(LogLevel::kNoLog, "/data/pv.log");
  const std::string before = Log();
  MakePeople();
  EXPECT_EQ(Log(), before);
  EXPECT_FALSE(support::IsLogging());
}

TEST_F(DatabaseTest, SetLoggingWithoutAFileNamesItAfterTheHost) {
  ASSERT_TRUE(machine_.files.CreateFolders("/app").ok());
  CallMember(database_, "SetLogging", {1, ""});
  EXPECT_TRUE(machine_.files.Has("/app/host.log"));
}

TEST_F(DatabaseTest, NoticesOfTheEngineAreLogged) {
  const auto cursor = MakePeople();
  AddPerson(cursor, "a@x");
  cursor->CloseTable();
  std::string bytes = machine_.files.Get("/data/people.pvg");
  bytes[4] = 9;  // the header says nine records
  machine_.files.Put("/data/people.pvg", bytes);
  database_->SetLogging(LogLevel::kErrOnly, "/data/pv.log");
  const auto again = database_->OpenTable("/data", "people.pvg");
  ASSERT_EQ(Lines().size(), 1U);
  EXPECT_EQ(Lines()[0].substr(0, 12), "OpenTable - ");
  EXPECT_NE(Lines()[0].find("people.pvg"), std::string::npos);
}

}  // namespace
}  // namespace pv::tablestore

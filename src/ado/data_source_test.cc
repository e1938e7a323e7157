#include "ado/ado_fixture_test.h"
#include "tablestore/settings_table.h"

namespace pv::ado {
namespace {

class DataSourceTest : public AdoStoresTest {
 protected:
  // A catalogue whose groups use these data sources.
  static void MakeCatalogue(std::initializer_list<const char*> used) {
    using tablestore::FieldType;
    const auto database = MakeObject<Database>();
    const auto rows =
        database->CreateTable("/data", "groups.pvg",
                              {{"ID", FieldType::kCharacter, 32, 0, false},
                               {"DSNID", FieldType::kCharacter, 32, 0, false}},
                              {{"ID", "ID", tablestore::kSettingsFilter, true, false}});
    int n = 0;
    for (const char* id : used) {
      rows->AddNew();
      tablestore::SetField(rows, "ID", "G" + std::to_string(++n));
      tablestore::SetField(rows, "DSNID", id);
      rows->Update();
    }
    rows->CloseTable();
  }

  static Ref<CDataSource> Open(const std::string& id) {
    const auto source = MakeObject<CDataSource>();
    EXPECT_TRUE(source->OpenDataSource(id, std::nullopt));
    return source;
  }

  // The stored password, which no member gives.
  static std::string PasswordOf(const std::string& id) {
    const auto database = MakeObject<Database>();
    const auto rows = database->OpenTable("/data", "DataSrc.pvg", std::nullopt, "ID");
    return rows->SeekFirst(id, "ID") ? tablestore::FieldOf(rows, "Password").ToText() : "(none)";
  }
};

TEST_F(DataSourceTest, NewObjectHasTheValuesOfAReset) {
  const auto source = MakeObject<CDataSource>();
  for (const char* text : {"ID", "Name", "ConnectionString", "Parameters"}) {
    EXPECT_EQ(GetProperty(source, text), Value("")) << text;
  }
  EXPECT_EQ(GetProperty(source, "CursorLocation"), Value(2));
  EXPECT_EQ(GetProperty(source, "ConnectOptions"), Value(-1));
  EXPECT_EQ(GetProperty(source, "CursorType"), Value(2));
  EXPECT_EQ(GetProperty(source, "LockType"), Value(1));
  EXPECT_EQ(GetProperty(source, "RecordSetOptions"), Value(1));
  EXPECT_TRUE(machine_.files.Events().empty());
}

TEST_F(DataSourceTest, ThePasswordCanBeSetAndNotRead) {
  const auto source = MakeObject<CDataSource>();
  PutProperty(source, "password", Value("secret"));
  EXPECT_EQ(ErrorFrom([&] { GetProperty(source, "password"); }).number(), 438);
}

TEST_F(DataSourceTest, SaveMakesTheStoreWithItsFieldsAndTags) {
  SaveSource("DS1", "Shop");
  EXPECT_EQ(LayoutOf("DataSrc.pvg"),
            "ID C32.0; NAME C240.0; CONNECTSTR M4.0; PASSWORD C100.0; CURSORLOC I4.0; "
            "CONNECTOPT I4.0; CURSORTYPE I4.0; LOCKTYPE I4.0; RSOPTIONS I4.0; PARAMETERS C254.0; "
            "tag ID on ID for .NOT. DELETED() unique; "
            "tag NAME on Name for .NOT. DELETED() unique; ");
  EXPECT_EQ(RecordsIn("DataSrc.pvg"), 1);
}

TEST_F(DataSourceTest, EveryMemberIsKept) {
  const auto source = MakeObject<CDataSource>();
  PutProperty(source, "ID", Value("DS1"));
  PutProperty(source, "Name", Value("Shop"));
  PutProperty(source, "ConnectionString", Value("Driver={Größe};PWD={a;b}}c}"));
  PutProperty(source, "password", Value("secret"));
  PutProperty(source, "CursorLocation", Value(3));
  PutProperty(source, "ConnectOptions", Value(16));
  PutProperty(source, "CursorType", Value(0));
  PutProperty(source, "LockType", Value(-7));
  PutProperty(source, "RecordSetOptions", Value(512));
  PutProperty(source, "Parameters", Value("p=1"));
  EXPECT_EQ(CallMember(source, "SaveDataSource"), Value(true));
  const auto read = MakeObject<CDataSource>();
  EXPECT_EQ(CallMember(read, "OpenDataSource", {"DS1", "not used"}), Value(true));
  EXPECT_EQ(read->GetId(), "DS1");
  EXPECT_EQ(read->GetName(), "Shop");
  EXPECT_EQ(read->GetConnectionString(), "Driver={Größe};PWD={a;b}}c}");
  EXPECT_EQ(read->GetCursorLocation(), 3);
  EXPECT_EQ(read->GetConnectOptions(), 16);
  EXPECT_EQ(read->GetCursorType(), 0);
  EXPECT_EQ(read->GetLockType(), -7) << "numbers are never checked";
  EXPECT_EQ(read->GetRecordSetOptions(), 512);
  EXPECT_EQ(read->GetParameters(), "p=1");
  EXPECT_EQ(PasswordOf("DS1"), "secret");
  read->SetId("DS2");
  read->SetName("Copy");
  read->SaveDataSource();
  EXPECT_EQ(PasswordOf("DS2"), "secret") << "the password was loaded too";
}

TEST_F(DataSourceTest, ALongConnectionStringIsKeptWhole) {
  const auto source = Source("DS1", "Shop");
  const std::string text = "Driver=" + std::string(5000, 'x');
  source->SetConnectionString(text);
  source->SaveDataSource();
  EXPECT_EQ(Open("DS1")->GetConnectionString(), text);
}

TEST_F(DataSourceTest, SavingAgainReplacesTheRecord) {
  SaveSource("DS1", "Shop");
  SaveSource("DS1", "Shop 2");
  EXPECT_EQ(Open("DS1")->GetName(), "Shop 2");
  EXPECT_EQ(RecordsIn("DataSrc.pvg"), 1);
}

TEST_F(DataSourceTest, ABlankIdIs2308) {
  SaveSource("DS1", "Shop");
  for (const char* id : {"", "   "}) {
    const auto source = Open("DS1");
    ExpectError(ErrorFrom([&] { source->OpenDataSource(id, std::nullopt); }), 2308,
                "CDataSource::OpenDataSource", "The DSN ID specified was blank.");
    EXPECT_EQ(source->GetName(), "") << "the members are reset first";
    source->SetId(id);
    ExpectError(ErrorFrom([&] { source->SaveDataSource(); }), 2308, "CDataSource::SaveDataSource",
                "The DSN ID specified was blank.");
    ExpectError(ErrorFrom([&] { source->DeleteDataSource(id); }), 2308,
                "CDataSource::DeleteDataSource", "The DSN ID specified was blank.");
  }
}

TEST_F(DataSourceTest, AnIdWithBlanksAroundItIsSoughtUntrimmed) {
  SaveSource(" DS1 ", "Shop");
  EXPECT_EQ(Open(" DS1 ")->GetId(), " DS1 ");
  EXPECT_EQ(ErrorFrom([&] { MakeObject<CDataSource>()->OpenDataSource("DS1", "x"); }).number(),
            2306);
}

TEST_F(DataSourceTest, OpeningWithoutAStoreIs2306) {
  const auto source = MakeObject<CDataSource>();
  ExpectError(ErrorFrom([&] { source->OpenDataSource("DS1", std::nullopt); }), 2306,
              "CDataSource::OpenDataSource", "DSN does not exist.");
  EXPECT_EQ(source->GetId(), "DS1");
  EXPECT_FALSE(machine_.files.Has("/data/DataSrc.pvg")) << "opening creates nothing";
}

TEST_F(DataSourceTest, OpeningAnUnknownIdIs2306) {
  SaveSource("DS1", "Shop");
  for (const char* id : {"DS2", "ds1", "DS", "DS11"}) {
    ExpectError(ErrorFrom([&] { Open(id); }), 2306, "CDataSource::OpenDataSource",
                "DSN does not exist.");
  }
  SaveSource(std::string(32, 'A'), "Long");
  EXPECT_EQ(ErrorFrom([&] { Open(std::string(33, 'A')); }).number(), 2306)
      << "an ID is not cut to its field";
}

TEST_F(DataSourceTest, AResetLeavesParameters) {
  const auto source = Source("DS1", "Shop");
  source->SetParameters("mine");
  EXPECT_EQ(ErrorFrom([&] { source->OpenDataSource("none", std::nullopt); }).number(), 2306);
  EXPECT_EQ(source->GetParameters(), "mine");
  EXPECT_EQ(source->GetName(), "");
  SaveSource("DS1", "Shop");
  source->OpenDataSource("DS1", std::nullopt);
  EXPECT_EQ(source->GetParameters(), "") << "the record's value is copied";
}

TEST_F(DataSourceTest, ANameThatAnotherSourceHasIs20) {
  SaveSource("DS1", "Shop");
  ExpectError(ErrorFrom([&] { SaveSource("DS2", "Shop"); }), 20, "CDataSource::SaveDataSource",
              "Duplicate Key Value.");
  EXPECT_EQ(RecordsIn("DataSrc.pvg"), 1);
  EXPECT_EQ(machine_.files.OpenFileCount(), 0);
}

TEST_F(DataSourceTest, DeleteRemovesTheRecordForGood) {
  SaveSource("DS1", "Shop");
  SaveSource("DS2", "Mill");
  const auto source = Open("DS1");
  EXPECT_EQ(CallMember(source, "DeleteDataSource", {"DS1"}), Value(true));
  EXPECT_EQ(source->GetId(), "");
  EXPECT_EQ(RecordsIn("DataSrc.pvg"), 1) << "the store is compacted";
  EXPECT_EQ(ErrorFrom([&] { Open("DS1"); }).number(), 2306);
  EXPECT_EQ(Open("DS2")->GetName(), "Mill");
}

TEST_F(DataSourceTest, DeletingWhatIsNotThereIsTrue) {
  EXPECT_TRUE(MakeObject<CDataSource>()->DeleteDataSource("DS1"));
  EXPECT_FALSE(machine_.files.Has("/data/DataSrc.pvg"));
  SaveSource("DS1", "Shop");
  EXPECT_TRUE(MakeObject<CDataSource>()->DeleteDataSource("DS2"));
  EXPECT_EQ(RecordsIn("DataSrc.pvg"), 1);
}

TEST_F(DataSourceTest, DeletingASourceThatAGroupUsesIs2406) {
  SaveSource("DS1", "Shop");
  MakeCatalogue({"", "other", "DS1"});
  ExpectError(ErrorFrom([&] { MakeObject<CDataSource>()->DeleteDataSource("DS1"); }), 2406,
              "CDataSource::DeleteDataSource",
              "The Data Source is in use by a Group. To delete the Data Source, please remove the "
              "Group first.");
  EXPECT_EQ(Open("DS1")->GetName(), "Shop");
  EXPECT_EQ(machine_.files.OpenFileCount(), 0);
}

TEST_F(DataSourceTest, UseIsComparedExactly) {
  SaveSource("DS1", "Shop");
  MakeCatalogue({"ds1", "DS11"});
  EXPECT_TRUE(MakeObject<CDataSource>()->DeleteDataSource("DS1"));
}

TEST_F(DataSourceTest, AnEmptyCatalogueUsesNothing) {
  SaveSource("DS1", "Shop");
  MakeCatalogue({});
  EXPECT_TRUE(MakeObject<CDataSource>()->DeleteDataSource("DS1"));
}

TEST_F(DataSourceTest, GetDataSourcesListsThemByIdWithoutPasswords) {
  const auto source = Source("DS2", "A");
  source->SetPassword("secret");
  source->SetCursorType(3);
  source->SetParameters("p");
  source->SaveDataSource();
  SaveSource("DS1", "B");
  auto list = MakeObject<CDataSources>();
  EXPECT_TRUE(source->GetDataSources(list));
  ASSERT_EQ(list->Count(), 2);
  EXPECT_EQ(list->Item(1)->GetId(), "DS1");
  EXPECT_EQ(list->Item("ds2")->GetName(), "A");
  EXPECT_EQ(list->Item(2)->GetCursorType(), 3);
  EXPECT_EQ(list->Item(2)->GetParameters(), "p");
  list->Item(2)->SetId("DS3");
  list->Item(2)->SetName("C");
  list->Item(2)->SaveDataSource();
  EXPECT_EQ(PasswordOf("DS3"), "") << "the listed source carries none";
}

TEST_F(DataSourceTest, GetDataSourcesOfNoStoreOrAnEmptyOneAddsNothing) {
  auto list = MakeObject<CDataSources>();
  const auto source = MakeObject<CDataSource>();
  EXPECT_TRUE(source->GetDataSources(list));
  SaveSource("DS1", "Shop");
  source->DeleteDataSource("DS1");
  EXPECT_TRUE(source->GetDataSources(list));
  EXPECT_EQ(list->Count(), 0);
}

TEST_F(DataSourceTest, GetDataSourcesLateBoundFillsTheCallersCollection) {
  SaveSource("DS1", "Shop");
  const auto list = MakeObject<CDataSources>();
  CallMember(MakeObject<CDataSource>(), "GetDataSources", {Value(list)});
  EXPECT_EQ(list->Count(), 1);
}

TEST_F(DataSourceTest, AddOfTheCollectionTakesZeroForNumbersLeftOut) {
  const auto list = MakeObject<CDataSources>();
  const auto added = list->Add("DS1", "Shop", "DSN=x");
  EXPECT_EQ(added->GetCursorLocation(), 0);
  EXPECT_EQ(added->GetConnectOptions(), 0);
  EXPECT_EQ(added->GetRecordSetOptions(), 0);
  EXPECT_EQ(added->GetParameters(), "");
  EXPECT_EQ(ErrorFrom([&] { list->Add("ds1", "Other", ""); }).number(), 457);
  EXPECT_EQ(list->Count(), 1);
  EXPECT_EQ(ErrorFrom([&] { list->Item(2); }).number(), 9);
  EXPECT_EQ(ErrorFrom([&] { list->Item("none"); }).number(), 5);
  list->Delete("DS1");
  EXPECT_EQ(list->Count(), 0);
}

TEST_F(DataSourceTest, TextThatAFieldCannotKeepIsRefused) {
  const std::pair<void (CDataSource::*)(const std::string&), std::string> cases[] = {
      {&CDataSource::SetId, std::string(33, 'A')},
      {&CDataSource::SetName, std::string(241, 'A')},
      {&CDataSource::SetParameters, std::string(255, 'A')},
      {&CDataSource::SetPassword, std::string(101, 'A')},
      {&CDataSource::SetConnectionString, "Server=Łódź"}};
  for (const auto& [set, text] : cases) {
    const auto source = Source("DS1", "Shop");
    ((*source).*set)(text);
    const Error e = ErrorFrom([&] { source->SaveDataSource(); });
    EXPECT_EQ(e.number(), 5) << e.description();
    EXPECT_FALSE(machine_.files.Has("/data/DataSrc.pvg"));
  }
  const auto source = Source("DS1", "Shop");
  source->SetConnectionString("PWD=geheim;Server=Łódź");
  EXPECT_EQ(ErrorFrom([&] { source->SaveDataSource(); }).description(),
            "The data source's connection string has characters that code page 1252 lacks.");
}

TEST_F(DataSourceTest, ErrorsAreLoggedUnderTheProceduresLabel) {
  SaveSource("DS1", "Shop");
  MakeCatalogue({"DS1"});
  const std::string log = LogOf([&] {
    const auto source = MakeObject<CDataSource>();
    ErrorFrom([&] { source->OpenDataSource("none", std::nullopt); });
    source->SetId("");
    ErrorFrom([&] { source->SaveDataSource(); });
    ErrorFrom([&] { source->DeleteDataSource("DS1"); });
    machine_.files.Put("/data/DataSrc.pvg", "no table");
    auto list = MakeObject<CDataSources>();
    ErrorFrom([&] { source->GetDataSources(list); });
    machine_.files.Put("/data/groups.pvg", "no table");
    ErrorFrom([&] { source->DeleteDataSource("DS1"); });
  });
  for (const char* line :
       {"CDataSource::OpenDataSource - Exit error 2306 DSN does not exist.",
        "CDataSource::SaveDataSource - Exit error 2308 The DSN ID specified was blank.",
        "CDataSource::DeleteDataSource - Exit error 2406 The Data Source is in use",
        "CDataSource::GetDataSources - Exit error -210", "CDataSource::DataSourceInUse - Exit"}) {
    EXPECT_NE(log.find(line), std::string::npos) << line << "\n" << log;
  }
}

TEST_F(DataSourceTest, AFailedCreationIsLoggedUnderItsOwnLabel) {
  const std::string log = LogOf([&] {
    machine_.files.FailCall(1, platform::Call::kCreateFolder, platform::Fault::kDenied);
    EXPECT_EQ(ErrorFrom([&] { SaveSource("DS1", "Shop"); }).number(), 75);
  });
  EXPECT_NE(log.find("CDSN::CreateDataSourceStore - Exit error 75"), std::string::npos) << log;
}

TEST_F(DataSourceTest, AMissingSettingsClassIsLoggedAsTheFoldersError) {
  automation::UnregisterClass("PVGroupMan.Settings");
  const std::string log = LogOf([&] {
    const Error e =
        ErrorFrom([&] { MakeObject<CDataSource>()->OpenDataSource("DS1", std::nullopt); });
    EXPECT_EQ(e.number(), 429);
    EXPECT_EQ(e.source(), "CDataSource::OpenDataSource");
  });
  EXPECT_NE(log.find("CDataSource::GetGroupDataFolder - Exit error 429"), std::string::npos) << log;
}

TEST_F(DataSourceTest, PasswordsNeverReachTheLog) {
  support::OpenLog("/log.txt", support::kLogTrace);
  const auto source = Source("DS1", "Shop");
  source->SetConnectionString("Driver={X};PWD=geheim1");
  source->SetPassword("geheim2");
  source->SaveDataSource();
  const auto other = Source("DS2", "Shop");
  other->SetConnectionString("Driver={X};PWD=geheim1");
  ErrorFrom([&] { other->SaveDataSource(); });
  source->OpenDataSource("DS1", "geheim3");
  support::StopLog();
  const std::string log = machine_.files.Get("/log.txt");
  EXPECT_NE(log.find("CDataSource::SaveDataSource - Exit"), std::string::npos);
  EXPECT_EQ(log.find("geheim"), std::string::npos) << log;
}

TEST_F(DataSourceTest, TheDataFolderIsAskedForOnce) {
  const auto source = Source("DS1", "Shop");
  source->SaveDataSource();
  machine_.process.environment["PVGROUP_DATA"] = "/elsewhere";
  EXPECT_TRUE(source->OpenDataSource("DS1", std::nullopt));
  EXPECT_EQ(ErrorFrom([&] { Open("DS1"); }).number(), 2306);
}

TEST_F(DataSourceTest, NothingIsHeldOpenBetweenCalls) {
  const auto source = Source("DS1", "Shop");
  source->SaveDataSource();
  source->OpenDataSource("DS1", std::nullopt);
  auto list = MakeObject<CDataSources>();
  source->GetDataSources(list);
  ErrorFrom([&] { source->OpenDataSource("none", std::nullopt); });
  EXPECT_EQ(machine_.files.OpenFileCount(), 0);
  source->DeleteDataSource("DS1");
  EXPECT_EQ(machine_.files.OpenFileCount(), 0);
}

TEST_F(DataSourceTest, AnObjectCanBeOpenedAndDeletedByItsOwnId) {
  const auto source = Source("DS1", "Shop");
  source->SaveDataSource();
  const std::string& id = source->GetId();
  EXPECT_TRUE(source->OpenDataSource(id, std::nullopt));
  EXPECT_TRUE(source->DeleteDataSource(source->GetId()));
  EXPECT_EQ(RecordsIn("DataSrc.pvg"), 0);
}

}  // namespace
}  // namespace pv::ado

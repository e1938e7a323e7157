#include "groups/ado_group.h"

#include "groups/fake_ado_test.h"
#include "groups/groups_fixture_test.h"

namespace pv::groups {
namespace {

class AdoGroupTest : public GroupsTest {
 protected:
  AdoGroupTest() {
    source_ = MakeObject<ado::CDataSource>();
    source_->SetId("DS1");
    source_->SetName("Shop");
    source_->SetConnectionString("Driver={X};PWD=geheim");
    source_->SetPassword("kept for the host");
    source_->SetCursorLocation(3);
    source_->SetConnectOptions(16);
    source_->SetCursorType(1);
    source_->SetLockType(3);
    source_->SetRecordSetOptions(512);
    properties_ = MakeObject<ado::CADOGroupProperties>();
    properties_->SetId("P1");
    properties_->SetTable("customers");
    properties_->SetLeftBrace("[");
    properties_->SetRightBrace("]");
  }

  void Filter(const char* field, const char* op, const char* value, const char* logical = "AND") {
    properties_->GetFilters()->Add(field, "shown", op, value, logical);
  }
  // Saves both and enters the group under the ID "G1".
  void Save() {
    source_->SaveDataSource();
    properties_->SaveADOGroupProperties();
    groups_->AddGroup("G1", "Group", GroupType::kAdoRecordset, "DS1", "P1", "");
  }
  // Opens the group and gives the calls that it took.
  std::string CallsOfOpening() {
    Save();
    ado_->calls.clear();
    groups_->OpenGroup("G1");
    return ado_->Calls();
  }

  ScopedFakeAdo ado_;
  Ref<ado::CDataSource> source_;
  Ref<ado::CADOGroupProperties> properties_;
  Ref<Groups> groups_ = Make();
};

constexpr const char* kConnected =
    "Connection.CursorLocation(3)\nConnection.Open(Driver={X};PWD=geheim|||16)\n";

TEST_F(AdoGroupTest, ATableWithoutFiltersIsOpenedAsATable) {
  EXPECT_EQ(CallsOfOpening(), std::string(kConnected) + "Recordset.Open([customers]|open|1|3|2)\n");
}

TEST_F(AdoGroupTest, ATableWithFiltersIsOpenedAsCommandText) {
  Filter("country", "=", "'DE'");
  EXPECT_EQ(CallsOfOpening(),
            std::string(kConnected) +
                "Recordset.Open(select * from [customers] where country = 'DE'|open|1|3|1)\n");
}

TEST_F(AdoGroupTest, AStatementIsOpenedAsItIsWithTheSourcesOptions) {
  properties_->SetFilterMethod(1);
  properties_->SetSql("select a,\n b from t");
  Filter("country", "=", "'DE'");
  EXPECT_EQ(CallsOfOpening(),
            std::string(kConnected) + "Recordset.Open(select a,\n b from t|open|1|3|512)\n");
}

TEST_F(AdoGroupTest, AnyFilterMethodButZeroMeansTheStatement) {
  properties_->SetFilterMethod(-1);
  properties_->SetSql("select a from t");
  EXPECT_NE(CallsOfOpening().find("Recordset.Open(select a from t|"), std::string::npos);
}

TEST_F(AdoGroupTest, OpenGroupGivesTheRecordsetAndKeepsBothObjects) {
  Save();
  const auto cursor = CallMember(groups_, "OpenGroup", {"G1"}).ToObject();
  EXPECT_EQ(cursor->Members().class_name(), "Recordset");
  EXPECT_EQ(groups_->GetTb(), cursor);
  EXPECT_EQ(groups_->GetDb()->Members().class_name(), "Connection");
  EXPECT_TRUE(groups_->GetIsGroupOpen());
}

TEST_F(AdoGroupTest, AdoInstalledTriesBothClassesAndTheCursorLocation) {
  EXPECT_TRUE(groups_->AdoInstalled());
  EXPECT_EQ(ado_->Calls(), "Connection.CursorLocation(2)\n");
  ado_->fail.emplace("Connection.CursorLocation", Error(3251, "", "no"));
  EXPECT_FALSE(groups_->AdoInstalled());
}

TEST_F(AdoGroupTest, WithoutAdoOpeningIs429) {
  Save();
  automation::UnregisterClass("ADODB.Recordset");
  const Error e = ErrorFrom([&] { groups_->OpenGroup("G1"); });
  EXPECT_EQ(e.number(), 429);
  EXPECT_EQ(e.source(), "Groups::OpenGroup");
  EXPECT_NE(e.description().find("ADODB.Recordset"), std::string::npos);
  EXPECT_EQ(ado_->Calls(), "");
}

TEST_F(AdoGroupTest, AMissingDataSourceOpensNothingMore) {
  Save();
  groups_->AddGroup("G2", "Other", GroupType::kAdoRecordset, "none", "P1", "");
  ExpectError(ErrorFrom([&] { groups_->OpenGroup("G2"); }), 2306, "Groups::OpenGroup",
              "DSN does not exist.");
  EXPECT_EQ(ado_->Calls(), "");
  EXPECT_FALSE(groups_->GetIsGroupOpen());
}

TEST_F(AdoGroupTest, AMissingDefinitionIs2306BehindTheConnection) {
  Save();
  groups_->AddGroup("G2", "Other", GroupType::kAdoRecordset, "DS1", "none", "");
  ExpectError(ErrorFrom([&] { groups_->OpenGroup("G2"); }), 2306, "Groups::OpenGroup",
              "DSN does not exist.");
  EXPECT_EQ(ado_->Calls(), kConnected);
  EXPECT_FALSE(groups_->GetDb()) << "the connection goes with the failed opening";
}

TEST_F(AdoGroupTest, FailuresOfAdoKeepTheirNumberAndText) {
  Save();
  for (const char* call : {"Connection.CursorLocation", "Connection.Open", "Recordset.Open"}) {
    ado_->fail.clear();
    ado_->fail.emplace(call, Error(-2147467259, "ADODB", "[08001] no way"));
    ExpectError(ErrorFrom([&] { groups_->OpenGroup("G1"); }), -2147467259, "Groups::OpenGroup",
                "[08001] no way");
    EXPECT_FALSE(groups_->GetIsGroupOpen());
  }
}

TEST_F(AdoGroupTest, AFailedConnectionDoesNotTellThePassword) {
  Save();
  ado_->fail.emplace("Connection.Open", Error(1, "", "bad login: Driver={X};PWD=geheim"));
  EXPECT_EQ(ErrorFrom([&] { groups_->OpenGroup("G1"); }).description(),
            "bad login: Driver={X};PWD=***");
}

TEST_F(AdoGroupTest, AFailedOpeningLeavesTheOpenGroupAsItWas) {
  Save();
  groups_->OpenGroup("G1");
  const auto cursor = groups_->GetTb();
  groups_->AddGroup("G2", "Other", GroupType::kAdoRecordset, "none", "P1", "");
  EXPECT_EQ(ErrorFrom([&] { groups_->OpenGroup("G2"); }).number(), 2306);
  EXPECT_EQ(groups_->GetTb(), cursor);
  EXPECT_TRUE(groups_->GetIsGroupOpen());
}

TEST_F(AdoGroupTest, CloseGroupClosesRecordsetThenConnection) {
  Save();
  groups_->OpenGroup("G1");
  ado_->calls.clear();
  groups_->CloseGroup();
  EXPECT_EQ(ado_->Calls(), "Recordset.Close()\nConnection.Close()\n");
  EXPECT_FALSE(groups_->GetIsGroupOpen());
  EXPECT_NO_THROW(groups_->CloseGroup());
}

TEST_F(AdoGroupTest, CloseGroupLeavesAloneWhatTheHostClosed) {
  Save();
  CallMember(groups_->OpenGroup("G1"), "Close");
  ado_->calls.clear();
  groups_->CloseGroup();
  EXPECT_EQ(ado_->Calls(), "Connection.Close()\n");
}

TEST_F(AdoGroupTest, CloseGroupWithoutItsObjectsCloses) {
  Save();
  groups_->OpenGroup("G1");
  groups_->SetTb(nullptr);
  groups_->SetDb(nullptr);
  EXPECT_NO_THROW(groups_->CloseGroup());
  EXPECT_FALSE(groups_->GetIsGroupOpen());
}

TEST_F(AdoGroupTest, AFailedCloseOfTheRecordsetClosesTheConnectionAllTheSame) {
  Save();
  groups_->OpenGroup("G1");
  ado_->calls.clear();
  ado_->fail.emplace("Recordset.Close", Error(3219, "ADODB", "not now"));
  ExpectError(ErrorFrom([&] { groups_->CloseGroup(); }), 3219, "Groups::CloseGroup", "not now");
  EXPECT_EQ(ado_->Calls(), "Recordset.Close()\nConnection.Close()\n");
  EXPECT_FALSE(groups_->GetIsGroupOpen());
}

TEST_F(AdoGroupTest, RecipientCountAsksTheDatabaseInARecordsetOfItsOwn) {
  Filter("country", "=", "'DE'");
  Save();
  const auto cursor = groups_->OpenGroup("G1");
  ado_->calls.clear();
  ado_->columns = {{.name = "n", .value = Value("1234567")}};
  EXPECT_EQ(CallMember(groups_, "RecipientCount"), Value(1234567));
  EXPECT_EQ(ado_->Calls(),
            "Recordset.Open(select count(*) from [customers] where country = 'DE'|open|0|1|1)\n"
            "Recordset.MoveFirst()\n"
            "Recordset.Close()\n");
  EXPECT_EQ(groups_->GetTb(), cursor);
  EXPECT_EQ(GetProperty(cursor, "State"), Value(1)) << "the open cursor stays where it is";
}

TEST_F(AdoGroupTest, RecipientCountOfAStatementUsesItsRewrite) {
  properties_->SetFilterMethod(1);
  properties_->SetSql("select a, b from t");
  Save();
  groups_->OpenGroup("G1");
  ado_->calls.clear();
  ado_->columns = {{.name = "n", .value = Value(7)}};
  EXPECT_EQ(groups_->RecipientCount(), 7);
  EXPECT_EQ(ado_->calls[0], "Recordset.Open(select  count(a) from t|open|0|1|1)");
}

TEST_F(AdoGroupTest, RecipientCountPassesFailuresOn) {
  Save();
  groups_->OpenGroup("G1");
  ado_->fail.emplace("Recordset.Open", Error(-2147217900, "ADODB", "syntax"));
  ExpectError(ErrorFrom([&] { groups_->RecipientCount(); }), -2147217900, "Groups::RecipientCount",
              "syntax");
}

TEST_F(AdoGroupTest, CompactGroupDoesNothing) {
  Save();
  EXPECT_NO_THROW(groups_->CompactGroup("G1"));
  EXPECT_EQ(ado_->Calls(), "");
}

TEST_F(AdoGroupTest, DeleteGroupLeavesSourceAndDefinition) {
  Save();
  EXPECT_TRUE(groups_->DeleteGroup("G1"));
  EXPECT_TRUE(source_->OpenDataSource("DS1", std::nullopt));
  EXPECT_EQ(properties_->OpenADOGroupProperties("P1"), Value(true));
  EXPECT_TRUE(source_->DeleteDataSource("DS1")) << "no group uses it any more";
}

TEST_F(AdoGroupTest, ADataSourceOfAGroupCannotBeDeleted) {
  Save();
  EXPECT_EQ(ErrorFrom([&] { source_->DeleteDataSource("DS1"); }).number(), 2406);
}

TEST_F(AdoGroupTest, FieldTypesOfEveryAdoType) {
  Save();
  groups_->OpenGroup("G1");
  std::map<std::int32_t, PVGroupFieldType> expected;
  for (const std::int32_t type : {2, 3, 4, 5, 9, 14, 16, 17, 18, 19, 20, 21, 131}) {
    expected[type] = PVGroupFieldType::kNumber;
  }
  expected[6] = PVGroupFieldType::kCurrency;
  for (const std::int32_t type : {7, 133}) expected[type] = PVGroupFieldType::kDate;
  for (const std::int32_t type : {134, 135}) expected[type] = PVGroupFieldType::kDateTime;
  expected[11] = PVGroupFieldType::kBoolean;
  for (const std::int32_t type :
       {8, 72, 128, 129, 130, 132, 200, 201, 202, 203, 204, 205, 0, 12, 64, 139, 9999}) {
    expected[type] = PVGroupFieldType::kText;
  }
  for (const auto& [type, kind] : expected) {
    ado_->columns.push_back({.name = "FIRST_" + std::to_string(type), .type = type, .size = type});
  }
  EXPECT_EQ(CallMember(groups_, "GetGroupFieldTypes"), Value(true));
  ASSERT_EQ(groups_->GetFieldTypes()->Count(), static_cast<std::int32_t>(expected.size()));
  std::int32_t i = 0;
  for (const auto& [type, kind] : expected) {
    const auto seen = groups_->GetFieldTypes()->Item(++i);
    EXPECT_EQ(seen->GetType(), kind) << type;
    EXPECT_EQ(seen->GetLength(), type);
    EXPECT_EQ(seen->GetName(), "First_" + std::to_string(type));
  }
}

TEST_F(AdoGroupTest, AnIdentityColumnIsNoUpdateWhateverItsType) {
  Save();
  groups_->OpenGroup("G1");
  for (const std::int32_t type : {3, 6, 7, 135, 11, 200}) {
    ado_->columns.push_back(
        {.name = "C" + std::to_string(type), .type = type, .auto_increment = Value(true)});
  }
  groups_->GetGroupFieldTypes();
  for (std::int32_t i = 1; i <= groups_->GetFieldTypes()->Count(); ++i) {
    EXPECT_EQ(groups_->GetFieldTypes()->Item(i)->GetType(), PVGroupFieldType::kNoUpdate);
  }
}

TEST_F(AdoGroupTest, AProviderWithoutThePropertyHasNoIdentityColumns) {
  Save();
  groups_->OpenGroup("G1");
  ado_->columns = {{.name = "a", .type = 3, .auto_increment = std::nullopt},
                   {.name = "b", .type = 3, .auto_increment = Value::Null()}};
  groups_->GetGroupFieldTypes();
  EXPECT_EQ(groups_->GetFieldTypes()->Item(1)->GetType(), PVGroupFieldType::kNumber);
  EXPECT_EQ(groups_->GetFieldTypes()->Item(2)->GetType(), PVGroupFieldType::kNumber);
}

TEST_F(AdoGroupTest, FieldTypesCalledTwiceLeaveOneEntryPerField) {
  Save();
  groups_->OpenGroup("G1");
  ado_->columns = {{.name = "a"}, {.name = "b"}};
  groups_->GetGroupFieldTypes();
  groups_->GetGroupFieldTypes();
  EXPECT_EQ(groups_->GetFieldTypes()->Count(), 2);
}

TEST_F(AdoGroupTest, ColumnsOfOneNameAreTheCollectionsError) {
  Save();
  groups_->OpenGroup("G1");
  ado_->columns = {{.name = "a"}, {.name = "A"}};
  const Error e = ErrorFrom([&] { groups_->GetGroupFieldTypes(); });
  EXPECT_EQ(e.number(), 457);
  EXPECT_EQ(e.source(), "Groups::GetGroupFieldTypes");
}

TEST_F(AdoGroupTest, ANativeGroupBehindAnAdoGroupIsHandledAsOne) {
  Save();
  const std::string id = AddNative(groups_, "N");
  groups_->OpenGroup("G1");
  groups_->OpenGroup(id);
  EXPECT_EQ(groups_->RecipientCount(), 0);
  groups_->GetGroupFieldTypes();
  EXPECT_EQ(groups_->GetFieldTypes()->Count(), 2);
  groups_->CloseGroup();
  EXPECT_EQ(machine_.files.OpenFileCount(), 0);
}

// The SQL builder.

TEST_F(AdoGroupTest, SqlOfATableStandsBetweenItsBraces) {
  EXPECT_EQ(BuildSql(properties_.get(), false), "select * from [customers]");
  EXPECT_EQ(BuildSql(properties_.get(), true), "select count(*) from [customers]");
  properties_->SetTable("  order lines  ");
  EXPECT_EQ(BuildSql(properties_.get(), false), "select * from [order lines]");
  properties_->SetLeftBrace("");
  properties_->SetRightBrace("");
  EXPECT_EQ(BuildSql(properties_.get(), false), "select * from order lines");
}

TEST_F(AdoGroupTest, SqlWithoutATableIsEmpty) {
  Filter("country", "=", "'DE'");
  for (const char* table : {"", "   "}) {
    properties_->SetTable(table);
    EXPECT_EQ(BuildSql(properties_.get(), false), "");
    EXPECT_EQ(BuildSql(properties_.get(), true), "");
  }
}

TEST_F(AdoGroupTest, SqlJoinsItsConditionsByTheirOwnOperators) {
  Filter("country", "=", "'DE'", "never seen");
  Filter("age", ">=", "18", "AND");
  Filter("vip", "is not", "null", "OR");
  EXPECT_EQ(BuildSql(properties_.get(), false),
            "select * from [customers] where country = 'DE' AND age >= 18 OR vip is not null");
  EXPECT_EQ(BuildSql(properties_.get(), true),
            "select count(*) from [customers] where country = 'DE' AND age >= 18 OR vip is not "
            "null");
}

TEST_F(AdoGroupTest, SqlPutsBackQuotesAroundAFieldNameWithABlank) {
  Filter("  first name ", "like", "'A%'");
  Filter(" country ", "=", "'DE'");
  EXPECT_EQ(BuildSql(properties_.get(), false),
            "select * from [customers] where `first name`  like 'A%' AND country = 'DE'");
}

TEST_F(AdoGroupTest, SqlTakesValuesAsTheyAre) {
  Filter("name", "=", "O'Brien #2");
  EXPECT_EQ(BuildSql(properties_.get(), false),
            "select * from [customers] where name = O'Brien #2");
}

TEST_F(AdoGroupTest, ErrorsOfTheBuilderCarryItsLabel) {
  EXPECT_EQ(ErrorFrom([&] { BuildSql(nullptr, false); }).source(), "Groups::BuildSQL - ");
}

TEST(CountRewrite, CountsTheFirstColumn) {
  EXPECT_EQ(CountRewrite("select a, b from t"), "select  count(a) from t");
  EXPECT_EQ(CountRewrite("SELECT Name FROM t WHERE x = 1"),
            "SELECT  count(Name) FROM t WHERE x = 1");
  EXPECT_EQ(CountRewrite("select * from t"), "select  count(*) from t");
  EXPECT_EQ(CountRewrite("Select  a , b  From t"), "Select  count(a) From t");
}

TEST(CountRewrite, WithoutSelectOrFromItIsEmpty) {
  EXPECT_EQ(CountRewrite(""), "");
  EXPECT_EQ(CountRewrite("select 1"), "");
  EXPECT_EQ(CountRewrite("delete from t"), "");
  EXPECT_EQ(CountRewrite("exec people"), "");
}

TEST(CountRewrite, FromCloserThanAColumnCountsNothing) {
  EXPECT_EQ(CountRewrite("select from t"), "select  count() from t");
  EXPECT_EQ(CountRewrite("from t select a"), "from t  count() from t select a");
}

}  // namespace
}  // namespace pv::groups

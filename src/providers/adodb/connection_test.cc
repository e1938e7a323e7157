#include "providers/adodb/connection.h"

#include "providers/adodb/database_test_support.h"
#include "providers/adodb/error_numbers.h"

namespace pv::adodb {
namespace {

class ConnectionTest : public DatabaseTest {};
PV_ON_ALL_DATABASES(ConnectionTest);

TEST_P(ConnectionTest, OpensAndCloses) {
  EXPECT_EQ(connection_->GetState(), kStateOpen);
  EXPECT_EQ(ErrorFrom([&] { connection_->Open({}, {}, {}, {}); }).number(), kErrObjectOpen);
  EXPECT_EQ(ErrorFrom([&] { connection_->SetConnectionString("x"); }).number(), kErrObjectOpen);
  connection_->Close();
  EXPECT_EQ(connection_->GetState(), kStateClosed);
  EXPECT_EQ(ErrorFrom([&] { connection_->Close(); }).number(), kErrObjectClosed);
  std::optional<Value> none;
  EXPECT_EQ(ErrorFrom([&] { connection_->Execute("select 1", none, {}); }).number(),
            kErrObjectClosed);
  // What it was opened with is still known.
  connection_->Open({}, {}, {}, {});
  EXPECT_EQ(One("select 1").ToI4(), 1);
}

TEST_P(ConnectionTest, TheOpenStringShowsNoPassword) {
  EXPECT_EQ(connection_->GetConnectionString().find("s3cret"), std::string::npos);
  EXPECT_NE(connection_->GetConnectionString().find("Driver="), std::string::npos);
}

TEST_P(ConnectionTest, LateBoundAsHostsOfGroupsCallIt) {
  const Ref<automation::Object> connection = MakeObject<Connection>();
  const Ref<automation::Object> recordset = MakeObject<Recordset>();
  CreateNumbers("late", 3);
  PutProperty(connection, "CursorLocation", 2);
  CallMember(connection, "Open", {string_, "", "", -1});
  EXPECT_EQ(GetProperty(connection, "State").ToI4(), 1);
  CallMember(recordset, "Open", {"select * from late order by id", connection, 2, 1, 1});
  std::string all;
  while (!GetProperty(recordset, "EOF").ToBoolean()) {
    const auto field = CallMember(recordset, "Fields", {"NAME"}).ToObject();
    all += GetProperty(field, "Value").ToText() + ";";
    CallMember(recordset, "MoveNext");
  }
  EXPECT_EQ(all, "name 1;name 2;name 3;");
  const auto id = CallMember(recordset, "Fields", {0}).ToObject();
  EXPECT_EQ(GetProperty(id, "Name").ToText(), "id");
  EXPECT_EQ(GetProperty(recordset, "State").ToI4(), 1);
  CallMember(recordset, "Close");
  CallMember(connection, "Close");
  EXPECT_EQ(GetProperty(connection, "State").ToI4(), 0);
}

TEST_P(ConnectionTest, ExecuteTellsHowManyRowsChanged) {
  CreateNumbers("some_rows", 5);
  std::optional<Value> affected = Value(0);
  const auto closed =
      connection_->Execute("delete from some_rows where id > 2", affected, kCommandText);
  EXPECT_EQ(affected->ToI4(), 3);
  EXPECT_EQ(closed->GetState(), kStateClosed);
  const auto rows = connection_->Execute("select * from some_rows", affected, kCommandUnspecified);
  EXPECT_EQ(rows->GetState(), kStateOpen);
  const auto table = connection_->Execute("some_rows", affected, kCommandTable);
  EXPECT_EQ(table->GetFields()->Count(), 2);
}

TEST_P(ConnectionTest, ErrorsCarryStateAndMessage) {
  const Error e = ErrorFrom([&] { Run("selekt 1"); });
  EXPECT_TRUE(e.number() == kErrCommand || e.number() == kErrDatabase) << e.number();
  EXPECT_EQ(e.description()[0], '[');
  const auto errors = connection_->GetErrors();
  ASSERT_GE(errors->Count(), 1);
  const auto first = errors->Item(Value(0));
  EXPECT_EQ(first->GetSqlState().size(), 5u);
  EXPECT_FALSE(first->GetDescription().empty());
  EXPECT_NE(e.description().find(first->GetSqlState()), std::string::npos);
  errors->Clear();
  EXPECT_EQ(errors->Count(), 0);
  // The connection is as good as before.
  EXPECT_EQ(One("select 1").ToI4(), 1);
}

TEST_P(ConnectionTest, AMissingTable) {
  const Error e = ErrorFrom([&] { Opened("nowhere", 0, 1, kCommandTable); });
  EXPECT_TRUE(e.number() == kErrNoTable || Is(Database::kSqlite)) << e.number();
  EXPECT_NE(e.description().find("nowhere"), std::string::npos) << e.description();
}

TEST_P(ConnectionTest, TransactionsAreKeptOrTakenBack) {
  CreateNumbers("kept", 2);
  EXPECT_EQ(connection_->BeginTrans(), 1);
  EXPECT_EQ(ErrorFrom([&] { connection_->BeginTrans(); }).number(), kErrOneTransaction);
  Run("delete from kept");
  connection_->RollbackTrans();
  EXPECT_EQ(One("select count(*) from kept").ToI4(), 2);
  connection_->BeginTrans();
  Run("delete from kept where id = 1");
  connection_->CommitTrans();
  const auto other = Connected();
  std::optional<Value> none;
  EXPECT_EQ(other->Execute("select count(*) from kept", none, {})
                ->GetFields()
                ->Item(Value(0))
                ->GetValue()
                .ToI4(),
            1);
  EXPECT_EQ(ErrorFrom([&] { connection_->CommitTrans(); }).number(), kErrNoTransaction);
  EXPECT_EQ(ErrorFrom([&] { connection_->RollbackTrans(); }).number(), kErrNoTransaction);
}

TEST_P(ConnectionTest, ClosingTheConnectionClosesItsRecordsets) {
  CreateNumbers("open_rows", 600);
  const auto recordset = Opened("open_rows", kForwardOnly, kReadOnly, kCommandTable);
  const auto name = recordset->GetFields()->Item(Value("name"));
  connection_->Close();
  EXPECT_EQ(recordset->GetState(), kStateClosed);
  EXPECT_EQ(ErrorFrom([&] { name->GetValue(); }).number(), kErrObjectClosed);
  EXPECT_EQ(ErrorFrom([&] { recordset->MoveNext(); }).number(), kErrObjectClosed);
  connection_->Open({}, {}, {}, {});
}

TEST_P(ConnectionTest, AWrongPasswordIsRefusedAndNotShown) {
  if (Is(Database::kSqlite)) GTEST_SKIP() << "SQLite has no passwords";
  ConnectionString settings = *ConnectionString::Parse(string_);
  const std::string wrong = "wr0ng}pass;word";
  settings.Set("PWD", wrong);
  const auto connection = MakeObject<Connection>();
  const Error e = ErrorFrom([&] { connection->Open(settings.Text(), {}, {}, {}); });
  EXPECT_NE(e.number(), 0);
  EXPECT_EQ(e.description()[0], '[');
  EXPECT_EQ(e.description().find("wr0ng"), std::string::npos) << e.description();
  EXPECT_EQ(connection->GetState(), kStateClosed);
  ASSERT_GE(connection->GetErrors()->Count(), 1);
  EXPECT_EQ(connection->GetErrors()->Item(Value(0))->GetDescription().find("wr0ng"),
            std::string::npos);
  // User and password may be given apart.
  settings.Set("PWD", "");
  connection->Open(settings.Text(), "pv", kTestPassword, -1);
  EXPECT_EQ(connection->GetState(), kStateOpen);
}

TEST_P(ConnectionTest, OleDbStringsWorkToo) {
  std::string quoted = string_;
  for (std::size_t at = 0; (at = quoted.find('"', at)) != std::string::npos; at += 2) {
    quoted.insert(at, 1, '"');
  }
  const auto connection = MakeObject<Connection>();
  connection->Open(
      "Provider=MSDASQL.1;Persist Security Info=False;Extended Properties=\"" + quoted + "\"", {},
      {}, {});
  EXPECT_EQ(connection->GetState(), kStateOpen);
  const auto other = MakeObject<Connection>();
  EXPECT_EQ(ErrorFrom([&] { other->Open("Provider=SQLOLEDB;Server=x", {}, {}, {}); }).number(),
            kErrProviderNotFound);
}

TEST(ConnectionWithoutDatabase, FailuresAreErrors) {
  const auto connection = MakeObject<Connection>();
  const Error none =
      ErrorFrom([&] { connection->Open("Driver={No such driver};PWD=hush", {}, {}, {}); });
  EXPECT_EQ(none.number(), kErrDatabase);
  EXPECT_EQ(none.description().find("hush"), std::string::npos) << none.description();
  EXPECT_NE(ErrorFrom([&] { connection->Open("DSN=no such source", {}, {}, {}); }).number(), 0);
  EXPECT_NE(ErrorFrom([&] { connection->Open("", {}, {}, {}); }).number(), 0);
  EXPECT_EQ(ErrorFrom([&] { connection->SetCursorLocation(1); }).number(), kErrInvalidArgument);
}

}  // namespace
}  // namespace pv::adodb

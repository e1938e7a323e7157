// Long walks: their memory, and connections that break in their middle.
#include <cstdio>
#include <fstream>
#include <string>

#include "base/instrumented_test.h"
#include "providers/adodb/database_test_support.h"
#include "providers/adodb/error_numbers.h"

namespace pv::adodb {
namespace {

// Resident memory of this process in KiB, now and at its highest.
long Memory(const char* which) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(which, 0) == 0) return std::atol(line.c_str() + std::string(which).size());
  }
  return -1;
}

// Begins a new highest value.
bool ForgetHighest() { return static_cast<bool>(std::ofstream("/proc/self/clear_refs") << 5); }

class WalkTest : public DatabaseTest {};
PV_ON_ALL_DATABASES(WalkTest);

TEST_P(WalkTest, AMillionRowsInConstantMemory) {
  // Where the sanitizers watch, what is bounded is their own memory.
  constexpr int kRows = kInstrumented ? 100'000 : 1'000'000;
  CreateNumbers("million", kRows);
  // A first walk over little brings in what the driver needs in any case.
  for (const auto warm = Opened("select * from million where id < 3000"); !warm->GetEof();) {
    warm->MoveNext();
  }
  const bool highest = ForgetHighest();
  const long before = Memory("VmRSS:");
  const auto rows = Opened("million", kDynamic, kReadOnly, kCommandTable);
  const auto id = rows->GetFields()->Item(Value("id"));
  const auto name = rows->GetFields()->Item(Value("name"));
  std::int64_t count = 0;
  std::int64_t sum = 0;
  std::size_t text = 0;
  long most = 0;
  for (; !rows->GetEof(); rows->MoveNext()) {
    ++count;
    sum += id->GetValue().ToI4();
    text += name->GetValue().ToText().size();
    if (count % 65536 == 0) most = std::max(most, Memory("VmRSS:"));
  }
  if (highest) most = std::max(most, Memory("VmHWM:"));
  EXPECT_EQ(count, kRows);
  EXPECT_EQ(sum, std::int64_t{kRows} * (kRows + 1) / 2);
  EXPECT_GT(text, 0u);
  EXPECT_EQ(rows->GetRecordCount(), kRows);
  std::printf("%d rows: %ld KiB resident before, %ld KiB more at the highest\n", kRows, before,
              most - before);
  // The values alone are some 18 MiB.
  if (!kInstrumented) {
    EXPECT_LT(most - before, 8 * 1024);
  }
}

TEST_P(WalkTest, AConnectionThatBreaksIsAnErrorAtThatRow) {
  if (Is(Database::kSqlite)) GTEST_SKIP() << "SQLite has no server";
  CreateNumbers("broken", 50'000);
  const auto other = Connected();
  const auto rows = Opened("select * from broken order by id");
  const std::string own = One(By("", "select pg_backend_pid()", "select connection_id()")).ToText();
  int seen = 0;
  Error error(0, "", "");
  for (; error.number() == 0 && !rows->GetEof();) {
    ++seen;
    ASSERT_EQ(At(rows, "id").ToI4(), seen);
    if (seen == 5'000) {
      std::optional<Value> none;
      other->Execute(
          By("", "select pg_terminate_backend(", "kill connection ") + own + By("", ")", ""), none,
          kCommandText);
    }
    error = ErrorFrom([&] { rows->MoveNext(); });
  }
  EXPECT_NE(error.number(), 0) << "a walk that broke ended as if it were whole";
  EXPECT_GE(seen, 5'000);
  EXPECT_LT(seen, 50'000);
  EXPECT_EQ(error.source(), "Recordset::MoveNext");
  EXPECT_GE(connection_->GetErrors()->Count(), 1);
  // It stays broken.
  EXPECT_NE(ErrorFrom([&] { rows->MoveNext(); }).number(), 0);
  rows->Close();
  connection_->Close();
  connection_->Open({}, {}, {}, {});
  EXPECT_EQ(One("select count(*) from broken").ToI4(), 50'000);
}

TEST_P(WalkTest, ARowThatCannotBeComputedIsAnErrorAtThatRow) {
  if (Is(Database::kMariaDb)) GTEST_SKIP() << "there such a value is null";
  CreateNumbers("computed", 5'000);
  // In the middle of a page, and of what was sent of it before the error was known.
  const auto rows =
      Opened(By("select id, case id when 3700 then abs(-9223372036854775807 - 1) end from computed",
                "select id, 1 / (id - 3700) from computed", ""));
  int seen = 0;
  Error error(0, "", "");
  while (error.number() == 0 && !rows->GetEof()) {
    ++seen;
    ASSERT_EQ(At(rows, "id").ToI4(), seen);
    error = ErrorFrom([&] { rows->MoveNext(); });
  }
  EXPECT_NE(error.number(), 0) << "a walk that broke ended as if it were whole";
  EXPECT_GE(seen, 2'000);
  EXPECT_LT(seen, 3'700);
  rows->Close();
  EXPECT_EQ(One("select count(*) from computed").ToI4(), 5'000) << "the connection is as good";
}

TEST_P(WalkTest, GoesOnWhateverElseIsDoneOnTheConnection) {
  CreateNumbers("walked", 5'000);
  const auto other = Connected();
  const auto name_of = [&](const Ref<Connection>& connection, int id) {
    std::optional<Value> none;
    const auto row = connection->Execute("select name from walked where id = " + std::to_string(id),
                                         none, kCommandText);
    return At(row, "name").ToText();
  };
  const auto first = Opened("select * from walked order by id");
  const auto second = Opened("select id, name from walked order by id desc");
  int seen = 0;
  for (; !first->GetEof(); first->MoveNext(), second->MoveNext()) {
    ++seen;
    ASSERT_EQ(At(first, "id").ToI4(), seen);
    ASSERT_EQ(At(second, "id").ToI4(), 5'001 - seen);
    switch (seen) {
      case 1'100:
        Run("update walked set name = 'new' where id = 1");
        EXPECT_EQ(name_of(other, 1), "new") << "it is written at once";
        break;
      case 1'200:
        connection_->BeginTrans();
        Run("update walked set name = 'other' where id = 2");
        connection_->RollbackTrans();
        break;
      case 1'300:
        EXPECT_NE(ErrorFrom([&] { Run("select nothing from nowhere"); }).number(), 0);
        break;
      case 1'400:
        connection_->BeginTrans();
        Run("update walked set name = 'third' where id = 3");
        break;
      case 2'600:
        connection_->CommitTrans();
        break;
      default:
        break;
    }
  }
  EXPECT_EQ(seen, 5'000);
  EXPECT_TRUE(second->GetEof());
  EXPECT_EQ(name_of(other, 2), "name 2");
  EXPECT_EQ(name_of(other, 3), "third");
}

TEST_P(WalkTest, AQueryWithoutACursorHarmsNoTransaction) {
  if (!Is(Database::kPostgreSql)) GTEST_SKIP() << "PostgreSQL alone has cursors in transactions";
  CreateNumbers("walked", 10);
  std::optional<Value> none;
  connection_->BeginTrans();
  connection_->Execute("delete from walked where id = 1", none, kCommandText);
  const auto rows =
      Opened("with gone as (delete from walked where id < 4 returning id) select id from gone");
  EXPECT_EQ(At(rows, "id").ToI4(), 2);
  rows->Close();
  connection_->CommitTrans();
  EXPECT_EQ(One("select count(*) from walked").ToI4(), 7);
}

TEST_P(WalkTest, LeavesNoTransactionOpen) {
  if (!Is(Database::kPostgreSql)) GTEST_SKIP() << "PostgreSQL alone has cursors in transactions";
  CreateNumbers("walked", 3'000);
  const auto other = Connected();
  const std::string own = One("select pg_backend_pid()").ToText();
  const auto state = [&] {
    std::optional<Value> none;
    return At(other->Execute("select state from pg_stat_activity where pid = " + own, none,
                             kCommandText),
              "state")
        .ToText();
  };
  const auto rows = Opened("select * from walked");
  EXPECT_EQ(state(), "idle in transaction");
  while (!rows->GetEof()) rows->MoveNext();
  EXPECT_EQ(state(), "idle") << "at the end";
  rows->Requery({});
  EXPECT_EQ(state(), "idle in transaction");
  rows->Close();
  EXPECT_EQ(state(), "idle") << "given up";
  const auto dressed = Opened("-- all; of them\nselect * from walked;");
  EXPECT_EQ(state(), "idle in transaction") << "what stands around a query is no hindrance";
  dressed->Close();
  EXPECT_NE(ErrorFrom([&] { Opened("select * from no_such_table"); }).number(), 0);
  EXPECT_EQ(state(), "idle") << "never begun";
  // A transaction that the host began by a statement is the host's.
  Run("begin");
  Run("update walked set name = 'new' where id = 1");
  EXPECT_EQ(One("select name from walked where id = 1").ToText(), "new");
  const auto within = Opened("select * from walked");
  while (!within->GetEof()) within->MoveNext();
  within->Close();
  EXPECT_EQ(state(), "idle in transaction");
  Run("rollback");
  EXPECT_EQ(One("select name from walked where id = 1").ToText(), "name 1");
  EXPECT_EQ(state(), "idle");
}

}  // namespace
}  // namespace pv::adodb

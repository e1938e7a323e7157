// Long walks: their memory, and connections that break in their middle.
#include <cstdio>
#include <fstream>
#include <string>

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
#if defined(__SANITIZE_ADDRESS__)
  constexpr int kRows = 100'000;  // what is bounded there is the sanitizer's own memory
#else
  constexpr int kRows = 1'000'000;
#endif
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
#if !defined(__SANITIZE_ADDRESS__)
  // The values alone are some 18 MiB.
  EXPECT_LT(most - before, 8 * 1024);
#endif
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

}  // namespace
}  // namespace pv::adodb

// What the tests on databases share: one suite that runs on SQLite, PostgreSQL and MariaDB. SQLite
// is a file of the test's own; tools/databases says where the servers are.
#ifndef PV_PROVIDERS_ADODB_DATABASE_TEST_SUPPORT_H_
#define PV_PROVIDERS_ADODB_DATABASE_TEST_SUPPORT_H_

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "automation/test_support.h"
#include "platform/test_folder.h"
#include "providers/adodb/connection.h"
#include "providers/adodb/recordset.h"
#include "pvgroupman/automation/call.h"

namespace pv::adodb {

using automation::CallMember;
using automation::Error;
using automation::ErrorFrom;
using automation::GetProperty;
using automation::MakeObject;
using automation::PutProperty;
using automation::Ref;
using automation::Value;

enum class Database { kSqlite, kPostgreSql, kMariaDb };

// The password that tools/databases sets.
constexpr const char* kTestPassword = "s3cret;{it's}";

class DatabaseTest : public testing::TestWithParam<Database> {
 protected:
  void SetUp() override {
    if (GetParam() == Database::kSqlite) {
      string_ = "Driver=SQLite3;Database=" + (folder_ / "test.db") + ";";
    } else {
      const char* variable =
          GetParam() == Database::kPostgreSql ? "PV_TEST_POSTGRESQL" : "PV_TEST_MARIADB";
      const char* set = std::getenv(variable);
      if (set == nullptr) GTEST_SKIP() << "Set " << variable << " to the string of a database";
      string_ = set;
    }
    connection_ = Connected();
  }

  void TearDown() override {
    if (!connection_ || connection_->GetState() != kStateOpen) return;
    for (const std::string& table : made_) TryRun("drop table " + table);
  }

  Ref<Connection> Connected() {
    auto connection = MakeObject<Connection>();
    connection->Open(string_, std::nullopt, std::nullopt, std::nullopt);
    return connection;
  }

  bool Is(Database database) const { return GetParam() == database; }

  // One of three texts, by database.
  const char* By(const char* sqlite, const char* postgresql, const char* mariadb) const {
    return Is(Database::kSqlite) ? sqlite : Is(Database::kPostgreSql) ? postgresql : mariadb;
  }

  std::string Quoted(const std::string& name) const {
    const char quote = Is(Database::kMariaDb) ? '`' : '"';
    std::string text(1, quote);
    for (const char c : name) text.append(c == quote ? 2 : 1, c);
    return text + quote;
  }

  // Runs a statement; gives the number of rows that it changed.
  std::int32_t Run(const std::string& sql) {
    std::optional<Value> affected = Value(0);
    connection_->Execute(sql, affected, kCommandText);
    return affected->ToI4();
  }
  void TryRun(const std::string& sql) {
    ErrorFrom([&] { Run(sql); });
  }

  // Makes a table that goes with the test.
  void Create(const std::string& table, const std::string& columns) {
    TryRun("drop table " + table);
    Run("create table " + table + " (" + columns + ")");
    made_.push_back(table);
  }

  Ref<Recordset> Opened(const std::string& source, std::int32_t cursor = kForwardOnly,
                        std::int32_t lock = kReadOnly, std::int32_t options = kCommandUnspecified) {
    auto recordset = MakeObject<Recordset>();
    recordset->Open(Value(source), Value(connection_), cursor, lock, options);
    return recordset;
  }

  // The first value of the first row.
  Value One(const std::string& sql) {
    const auto recordset = Opened(sql, kForwardOnly, kReadOnly, kCommandText);
    return recordset->GetFields()->Item(Value(0))->GetValue();
  }

  // `count` rows with the numbers from 1: id, and name "name 1".
  void CreateNumbers(const std::string& table, int count) {
    Create(table, "id integer primary key, name varchar(40)");
    if (count == 0) return;
    const std::string n = std::to_string(count);
    Run("insert into " + table +
        By(" with recursive s(x) as (select 1 union all select x + 1 from s where x < ",
           " select x, 'name ' || x from generate_series(1, ",
           " select seq, concat('name ', seq) from seq_1_to_") +
        n + By(") select x, 'name ' || x from s", ") x", ""));
  }

  platform::TestFolder folder_;
  std::string string_;
  Ref<Connection> connection_;
  std::vector<std::string> made_;
};

inline Value At(const Ref<Recordset>& recordset, const char* field) {
  return recordset->GetFields()->Item(Value(field))->GetValue();
}

inline void Put(const Ref<Recordset>& recordset, const char* field, const Value& value) {
  recordset->GetFields()->Item(Value(field))->SetValue(value);
}

inline std::string DatabaseName(const testing::TestParamInfo<Database>& info) {
  switch (info.param) {
    case Database::kSqlite:
      return "SQLite";
    case Database::kPostgreSql:
      return "PostgreSQL";
    default:
      return "MariaDB";
  }
}

#define PV_ON_ALL_DATABASES(suite)                                                              \
  INSTANTIATE_TEST_SUITE_P(                                                                     \
      On, suite, testing::Values(Database::kSqlite, Database::kPostgreSql, Database::kMariaDb), \
      DatabaseName)

}  // namespace pv::adodb

#endif  // PV_PROVIDERS_ADODB_DATABASE_TEST_SUPPORT_H_

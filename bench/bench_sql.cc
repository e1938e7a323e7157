// Walks a table through the recordset and through plain ODBC calls on the same driver with the same
// block size, reading two fields of every row; writes rows in batches. Run by bench/sql.
//
//   bench_sql NAME CONNECTION-STRING ROWS [LIMIT]      walk; ends with 1 when the ratio is missed
//   bench_sql write CONNECTION-STRING ROWS             seconds for a table of that many rows
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "providers/adodb/block_reader.h"
#include "providers/adodb/connection.h"
#include "providers/adodb/recordset.h"
#include "pvgroupman/automation/call.h"

namespace pv::adodb {
namespace {

using automation::Call;
using automation::MakeObject;
using automation::Object;
using automation::Ref;
using automation::Value;

constexpr const char* kTable = "pv_bench";
constexpr int kRounds = 5;

double Now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void Run(const Ref<Connection>& connection, const std::string& sql) {
  std::optional<Value> none;
  connection->Execute(sql, none, kCommandText);
}

Value Get(const Ref<Object>& object, std::int32_t id) {
  Call call{automation::kCallGet, {}, {}};
  return automation::Invoke(object, id, call);
}

// Late-bound, with dispatch ids asked for once, as hosts do.
double WalkOurs(const Ref<Connection>& connection, int rows) {
  const double start = Now();
  const Ref<Object> recordset = MakeObject<Recordset>();
  automation::CallMember(recordset, "Open", {kTable, connection, kForwardOnly, kReadOnly, 2});
  const Ref<Object> id = automation::CallMember(recordset, "Fields", {"id"}).ToObject();
  const Ref<Object> name = automation::CallMember(recordset, "Fields", {"name"}).ToObject();
  const std::int32_t value = automation::GetIdOfName(id, "Value");
  const std::int32_t eof = automation::GetIdOfName(recordset, "EOF");
  const std::int32_t next = automation::GetIdOfName(recordset, "MoveNext");
  std::int64_t sum = 0;
  while (!Get(recordset, eof).ToBoolean()) {
    sum += Get(id, value).ToI4();
    sum += static_cast<std::int64_t>(Get(name, value).TryGet<std::string>()->size());
    Call call{automation::kCallMethod, {}, {}};
    automation::Invoke(recordset, next, call);
  }
  if (sum < std::int64_t{rows} * (rows + 1) / 2) std::abort();
  return Now() - start;
}

void Require(SQLRETURN code) {
  if (!SQL_SUCCEEDED(code)) std::abort();
}

// What a C program would do.
double WalkPlain(SQLHDBC connection, std::size_t block, int rows) {
  const double start = Now();
  SQLHSTMT statement = SQL_NULL_HSTMT;
  Require(::SQLAllocHandle(SQL_HANDLE_STMT, connection, &statement));
  std::vector<SQLINTEGER> ids(block);
  std::vector<SQLWCHAR> names(block * 128);
  std::vector<SQLLEN> id_sizes(block);
  std::vector<SQLLEN> name_sizes(block);
  SQLULEN fetched = 0;
  Require(::SQLSetStmtAttrW(statement, SQL_ATTR_ROW_ARRAY_SIZE, AsPointer(block), 0));
  Require(::SQLSetStmtAttrW(statement, SQL_ATTR_ROWS_FETCHED_PTR, &fetched, 0));
  WideText sql(std::string("SELECT * FROM ") + kTable);
  Require(::SQLExecDirectW(statement, sql.data(), sql.size()));
  Require(::SQLBindCol(statement, 1, SQL_C_SLONG, ids.data(), 0, id_sizes.data()));
  Require(::SQLBindCol(statement, 2, SQL_C_WCHAR, names.data(), 256, name_sizes.data()));
  std::int64_t sum = 0;
  for (;;) {
    const SQLRETURN code = ::SQLFetchScroll(statement, SQL_FETCH_NEXT, 0);
    if (code == SQL_NO_DATA) break;
    Require(code);
    if (block == 1) fetched = 1;
    for (std::size_t i = 0; i < fetched; ++i) sum += ids[i] + name_sizes[i] / 2;
  }
  ::SQLFreeHandle(SQL_HANDLE_STMT, statement);
  if (sum < std::int64_t{rows} * (rows + 1) / 2) std::abort();
  return Now() - start;
}

void Fill(const Ref<Connection>& connection, int rows) {
  try {
    Run(connection, std::string("drop table ") + kTable);
  } catch (const automation::Error&) {
    // There is none yet.
  }
  Run(connection, std::string("create table ") + kTable +
                      " (id integer primary key, name varchar(60), city varchar(40))");
  const auto table = MakeObject<Recordset>();
  table->Open(Value(kTable), Value(connection), kForwardOnly, kBatchOptimistic, kCommandTable);
  const auto fields = table->GetFields();
  const auto id = fields->Item(Value(0));
  const auto name = fields->Item(Value(1));
  const auto city = fields->Item(Value(2));
  for (int i = 1; i <= rows; ++i) {
    table->AddNew();
    id->SetValue(i);
    name->SetValue("somebody." + std::to_string(i) + "@example.org");
    city->SetValue("City " + std::to_string(i % 1000));
    table->Update();
    if (i % 10'000 == 0 || i == rows) table->UpdateBatch({});
  }
  table->Close();
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

int Main(int argc, char** argv) {
  if (argc < 4) return 2;
  const std::string name = argv[1];
  const int rows = std::atoi(argv[3]);
  const auto connection = MakeObject<Connection>();
  connection->Open(std::string(argv[2]), {}, {}, {});
  const double start = Now();
  Fill(connection, rows);
  if (name == "write") {
    std::printf("%.3f\n", Now() - start);
    return 0;
  }
  // The plain program has the driver walk a cursor, which on PostgreSQL is an option of its own.
  const auto other = MakeObject<Connection>();
  other->Open(std::string(argv[2]) + (name == "PostgreSQL" ? ";UseDeclareFetch=1;Fetch=1000" : ""),
              {}, {}, {});
  const auto& session = other->OpenSession("bench");
  const std::size_t block = session->dialect() == Dialect::kSqlite ? 1 : BlockReader::kMostRows;
  std::vector<double> ours;
  std::vector<double> plain;
  std::vector<double> ratios;
  for (int i = 0; i < kRounds; ++i) {
    plain.push_back(WalkPlain(session->handle(), block, rows));
    ours.push_back(WalkOurs(connection, rows));
    ratios.push_back(ours.back() / plain.back());
  }
  Run(connection, std::string("drop table ") + kTable);
  const double ratio = Median(ratios);
  const double limit = argc > 4 ? std::atof(argv[4]) : 0;
  std::printf("walk %-11s %8d rows  %7.3f s  plain %7.3f s  ratio %.2f", name.c_str(), rows,
              Median(ours), Median(plain), ratio);
  if (limit > 0) std::printf(" (%.1f)%s", limit, ratio <= limit ? "" : "  MISSED");
  std::printf("\n");
  return 0;
}

}  // namespace
}  // namespace pv::adodb

int main(int argc, char** argv) {
  try {
    return pv::adodb::Main(argc, argv);
  } catch (const pv::automation::Error& e) {
    std::fprintf(stderr, "bench_sql: %s\n", e.description().c_str());
    return 2;
  }
}

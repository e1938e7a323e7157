// The peer: SQLite through its C interface, prepared statements, the same columns, a unique index,
// synchronous off.
#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include "sides.h"

namespace pv::bench {
namespace {

class Connection {
 public:
  explicit Connection(const std::string& path) {
    if (sqlite3_open(path.c_str(), &db_) != SQLITE_OK) Fail();
    Run("PRAGMA synchronous=OFF");
  }
  ~Connection() { sqlite3_close(db_); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void Run(const char* sql) {
    if (sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) Fail();
  }
  sqlite3_stmt* Prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db_, sql, -1, &statement, nullptr) != SQLITE_OK) Fail();
    return statement;
  }
  void Fail() const { throw std::runtime_error(std::string("sqlite: ") + sqlite3_errmsg(db_)); }

 private:
  sqlite3* db_ = nullptr;
};

constexpr const char* kCreate =
    "CREATE TABLE t(email TEXT, first TEXT, last TEXT, company TEXT, city TEXT, joined INTEGER, "
    "score REAL, active INTEGER); CREATE UNIQUE INDEX t_email ON t(email)";
constexpr const char* kInsert = "INSERT INTO t VALUES(?,?,?,?,?,?,?,?)";

void Bind(sqlite3_stmt* s, int i, const char* text, std::size_t size) {
  sqlite3_bind_text(s, i, text, static_cast<int>(size), SQLITE_STATIC);
}

// Reads the first column as a host does: its text, then how long it is.
std::size_t TextSize(sqlite3_stmt* s) {
  if (sqlite3_column_text(s, 0) == nullptr) return 0;
  return static_cast<std::size_t>(sqlite3_column_bytes(s, 0));
}

class Sqlite : public Side {
 public:
  explicit Sqlite(const std::string& folder) : path_(folder + "/peer.sqlite") {}
  const char* name() const override { return "sqlite"; }

  double AppendAll(const Rows& rows) override {
    Connection db(path_);
    db.Run(kCreate);
    db.Run("BEGIN");
    sqlite3_stmt* const insert = db.Prepare(kInsert);
    return TimedRows(
        rows, rows.size(), "", [&](const Row& row) { Insert(db, insert, row); },
        [&] {
          sqlite3_finalize(insert);
          db.Run("COMMIT");
        });
  }

  double SeekShared(const Rows& rows, std::uint32_t count) override {
    Connection db(path_);
    sqlite3_stmt* const select = db.Prepare("SELECT first FROM t WHERE email=?");
    const std::vector<std::string> emails = RandomEmails(rows, count);
    std::size_t bytes = 0;
    const double spent = Timed([&] {
      for (const std::string& email : emails) {
        Bind(select, 1, email.data(), email.size());
        if (sqlite3_step(select) != SQLITE_ROW) db.Fail();
        bytes += TextSize(select);
        sqlite3_reset(select);
      }
    });
    sqlite3_finalize(select);
    if (bytes <= count) throw std::runtime_error("sqlite: nothing was read");
    return spent;
  }
  // The same figure stands for both of our modes.
  double SeekExclusive(const Rows& rows, std::uint32_t count) override {
    return SeekShared(rows, count);
  }

  double WalkByEmail(const Rows& rows) override {
    return Walk(rows, "SELECT first FROM t ORDER BY email");
  }
  double WalkNaturally(const Rows& rows) override { return Walk(rows, "SELECT first FROM t"); }

  double AppendShared(const Rows& rows, std::uint32_t count) override {
    Connection db(path_);
    db.Run("PRAGMA journal_mode=WAL");
    sqlite3_stmt* const insert = db.Prepare(kInsert);
    const double spent = TimedRows(
        rows, count, "new-", [&](const Row& row) { Insert(db, insert, row); }, nullptr);
    sqlite3_finalize(insert);
    db.Run("PRAGMA journal_mode=DELETE");
    return spent;
  }

  double Compact(const Rows& rows) override {
    Connection db(path_);
    db.Run("BEGIN");
    sqlite3_stmt* const erase = db.Prepare("DELETE FROM t WHERE email=?");
    for (std::uint32_t i = 0; i < rows.size(); i += 10) {
      const std::string email = rows.Email(i);
      Bind(erase, 1, email.data(), email.size());
      if (sqlite3_step(erase) != SQLITE_DONE) db.Fail();
      sqlite3_reset(erase);
    }
    sqlite3_finalize(erase);
    db.Run("COMMIT");
    return Timed([&] { db.Run("VACUUM"); });
  }

  std::uint64_t BytesOnDisk() const override { return std::filesystem::file_size(path_); }

 private:
  static void Insert(Connection& db, sqlite3_stmt* s, const Row& r) {
    Bind(s, 1, r.email.data(), r.email.size());
    Bind(s, 2, r.first.data(), r.first.size());
    Bind(s, 3, r.last.data(), r.last.size());
    Bind(s, 4, r.company.data(), r.company.size());
    Bind(s, 5, r.city.data(), r.city.size());
    sqlite3_bind_int(s, 6, r.julian);
    sqlite3_bind_double(s, 7, r.score);
    sqlite3_bind_int(s, 8, r.active ? 1 : 0);
    if (sqlite3_step(s) != SQLITE_DONE) db.Fail();
    sqlite3_reset(s);
  }

  double Walk(const Rows& rows, const char* sql) {
    Connection db(path_);
    sqlite3_stmt* const select = db.Prepare(sql);
    std::size_t bytes = 0;
    std::uint32_t seen = 0;
    const double spent = Timed([&] {
      while (sqlite3_step(select) == SQLITE_ROW) {
        bytes += TextSize(select);
        ++seen;
      }
    });
    sqlite3_finalize(select);
    if (seen != rows.size() || bytes <= seen) throw std::runtime_error("sqlite: rows were missed");
    return spent;
  }

  std::string path_;
};

}  // namespace

std::unique_ptr<Side> MakeSqlite(const std::string& folder) {
  return std::make_unique<Sqlite>(folder);
}

// A plain reader: the benchmark's rows have no quotes. Numbers and dates are stored as such.
double ImportIntoSqlite(const std::string& csv, const std::string& folder) {
  const std::string path = folder + "/import.sqlite";
  std::filesystem::remove(path);
  const double start = Seconds();
  Connection db(path);
  db.Run(kCreate);
  db.Run("BEGIN");
  sqlite3_stmt* const insert = db.Prepare(kInsert);
  std::FILE* const in = std::fopen(csv.c_str(), "r");
  if (in == nullptr) throw std::runtime_error("sqlite: cannot read " + csv);
  char line[1024];
  bool heading = true;
  while (std::fgets(line, sizeof line, in) != nullptr) {
    if (heading) {
      heading = false;
      continue;
    }
    char* cell = line;
    line[std::strcspn(line, "\n")] = '\0';
    for (int i = 1; i <= 8; ++i) {
      char* const end = cell + std::strcspn(cell, ",");
      const auto size = static_cast<std::size_t>(end - cell);
      if (i == 7) {
        sqlite3_bind_double(insert, i, std::strtod(cell, nullptr));
      } else if (i == 8) {
        sqlite3_bind_int(insert, i, *cell == 't' ? 1 : 0);
      } else {
        Bind(insert, i, cell, size);
      }
      cell = end + 1;
    }
    if (sqlite3_step(insert) != SQLITE_DONE) db.Fail();
    sqlite3_reset(insert);
  }
  std::fclose(in);
  sqlite3_finalize(insert);
  db.Run("COMMIT");
  return Seconds() - start;
}

}  // namespace pv::bench

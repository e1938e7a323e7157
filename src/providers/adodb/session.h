// One connection to a database through its ODBC driver, and the statements on it.
#ifndef PV_PROVIDERS_ADODB_SESSION_H_
#define PV_PROVIDERS_ADODB_SESSION_H_

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/status.h"
#include "providers/adodb/connection_string.h"
#include "providers/adodb/odbc.h"

namespace pv::adodb {

// One report of a driver.
struct Diagnostic {
  std::string state;  // SQL state, five characters
  std::int32_t native = 0;
  std::string message;
};
using Diagnostics = std::vector<Diagnostic>;

// Databases whose drivers want special care.
enum class Dialect : std::uint8_t { kOther, kSqlite, kPostgreSql, kMariaDb };

// Somebody who has statements open on a session.
class SessionUser {
 public:
  // The session is about to be closed: close the statements.
  virtual void OnSessionClosing() = 0;

 protected:
  ~SessionUser() = default;
};

// A connection. Failures are Status with the error's number in `detail`; their messages carry SQL
// state and the driver's text, with passwords blotted out. What the drivers reported last stays in
// `diagnostics`.
class Session {
 public:
  // How many rows of a walk a server is asked for at once.
  static constexpr int kServerRows = 1000;

  // Connects. `timeout` is in seconds, 0 for the driver's own. What drivers need to be told so
  // that they do not read whole results into memory is added to the string.
  static Result<std::shared_ptr<Session>> Connect(const ConnectionString& settings,
                                                  std::int32_t timeout, Diagnostics* diagnostics);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Closes the statements of all users and disconnects; an open transaction is rolled back.
  void Close();
  bool is_open() const { return connection_ != SQL_NULL_HDBC; }

  Status Begin();
  Status End(bool commit);
  bool in_transaction() const { return in_transaction_; }

  // A cursor of PostgreSQL's is made in a transaction. Where the host has none a walk begins its
  // own, which ends with the walk, or before anything else is done on the connection.
  Status BeginWalk(const void* walk);
  void EndWalk(const void* walk);
  void SettleWalk();

  Dialect dialect() const { return dialect_; }
  // True when the driver can give values of any row of a block again, in full.
  bool can_reread_blocks() const { return dialect_ == Dialect::kPostgreSql; }
  // True when it can do so with columns that are not bound.
  bool can_bind_late() const { return can_reread_blocks() || dialect_ == Dialect::kSqlite; }
  // True when its narrow characters are UTF-8, whatever the locale.
  bool gives_utf8() const { return dialect_ == Dialect::kSqlite; }
  SQLHDBC handle() const { return connection_; }
  std::int32_t command_timeout = 0;  // seconds; 0 for none

  // A name as the database quotes it.
  std::string Quoted(std::string_view name) const;

  // Collects what a handle has to say into `diagnostics` and makes a failure of it.
  Status Fail(SQLSMALLINT kind, SQLHANDLE handle);
  Diagnostics diagnostics;

  // A name for a temporary table that no other on this connection has.
  std::string NewTemporaryName() { return "pv_walk_" + std::to_string(++temporary_names_); }

  void AddUser(SessionUser* user) { users_.insert(user); }
  void RemoveUser(SessionUser* user) { users_.erase(user); }

 private:
  Session() = default;
  Status Open(const ConnectionString& settings, std::int32_t timeout);
  void Disconnect();
  // For what begins and ends transactions. SQLite's driver ends every walk of the connection, as if
  // there were no more rows, when its own transactions end; those of statements leave walks alone.
  // *warned tells that the driver had something to say.
  Status Run(const char* sql, bool* warned = nullptr);
  std::string Info(SQLUSMALLINT what);

  SQLHENV environment_ = SQL_NULL_HENV;
  SQLHDBC connection_ = SQL_NULL_HDBC;
  ConnectionString settings_;
  Dialect dialect_ = Dialect::kOther;
  std::string quote_ = "\"";
  bool in_transaction_ = false;
  const void* walk_ = nullptr;  // whose transaction is open
  int temporary_names_ = 0;
  std::set<SessionUser*> users_;
};

// A statement handle.
class Statement {
 public:
  Statement() = default;
  ~Statement() { Free(); }
  Statement(Statement&& other) noexcept { *this = std::move(other); }
  Statement& operator=(Statement&& other) noexcept;

  static Result<Statement> Make(std::shared_ptr<Session> session);
  void Free();
  explicit operator bool() const { return handle_ != SQL_NULL_HSTMT; }

  Status Prepare(std::string_view sql);
  // Executes what was prepared. `done` tells that no row matched, which ODBC reports apart.
  Status Execute();
  Status ExecuteDirect(std::string_view sql);
  // The same for what a walk does, which leaves its transaction open.
  Status ExecuteInWalk(std::string_view sql);
  Status SetAttribute(SQLINTEGER attribute, SQLPOINTER value);
  // A failure when `code` is one.
  Status Check(SQLRETURN code);
  Result<std::int64_t> RowCount();
  Result<int> ColumnCount();

  SQLHSTMT handle() const { return handle_; }
  const std::shared_ptr<Session>& session() const { return session_; }

 private:
  std::shared_ptr<Session> session_;
  SQLHSTMT handle_ = SQL_NULL_HSTMT;
};

}  // namespace pv::adodb

#endif  // PV_PROVIDERS_ADODB_SESSION_H_

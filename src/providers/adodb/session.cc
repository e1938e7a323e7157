// Connections and statements. Tested by connection_test.cc.
#include "providers/adodb/session.h"

#include <locale.h>

#include <utility>

#include "providers/adodb/error_numbers.h"

namespace pv::adodb {
namespace {

bool Failed(SQLRETURN code) { return !SQL_SUCCEEDED(code) && code != SQL_NO_DATA; }

Diagnostics Collect(SQLSMALLINT kind, SQLHANDLE handle) {
  Diagnostics all;
  SQLWCHAR state[6];
  std::vector<SQLWCHAR> text(1024);
  SQLINTEGER native = 0;
  SQLSMALLINT size = 0;
  for (SQLSMALLINT i = 1; i <= 16; ++i) {
    SQLRETURN code = ::SQLGetDiagRecW(kind, handle, i, state, &native, text.data(),
                                      static_cast<SQLSMALLINT>(text.size()), &size);
    if (code == SQL_SUCCESS_WITH_INFO && static_cast<std::size_t>(size) >= text.size()) {
      text.resize(static_cast<std::size_t>(size) + 1);
      code = ::SQLGetDiagRecW(kind, handle, i, state, &native, text.data(),
                              static_cast<SQLSMALLINT>(text.size()), &size);
    }
    if (!SQL_SUCCEEDED(code)) break;
    all.push_back({FromWide(state, 5), native,
                   FromWide(text.data(), std::min<std::size_t>(static_cast<std::size_t>(size),
                                                               text.size() - 1))});
  }
  return all;
}

#ifndef _WIN32
// While it lives, the locale of this thread is one of UTF-8. The driver manager looks at it when
// its handles are made, to know what bytes a driver without W functions takes; without it
// characters of statements are cut to a byte.
class Utf8Locale {
 public:
  Utf8Locale() : locale_(::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)) {
    if (locale_ != nullptr) previous_ = ::uselocale(locale_);
  }
  ~Utf8Locale() {
    if (locale_ == nullptr) return;
    ::uselocale(previous_);
    ::freelocale(locale_);
  }
  Utf8Locale(const Utf8Locale&) = delete;
  Utf8Locale& operator=(const Utf8Locale&) = delete;

 private:
  locale_t locale_;
  locale_t previous_ = nullptr;
};
#else
class Utf8Locale {};
#endif

bool Contains(std::string_view text, std::string_view part) {
  return ToLower(text).find(part) != std::string::npos;
}

Dialect DialectOf(std::string_view driver) {
  if (Contains(driver, "sqlite")) return Dialect::kSqlite;
  if (Contains(driver, "psqlodbc") || Contains(driver, "postgres")) return Dialect::kPostgreSql;
  if (Contains(driver, "maodbc") || Contains(driver, "mariadb") || Contains(driver, "myodbc") ||
      Contains(driver, "mysql")) {
    return Dialect::kMariaDb;
  }
  return Dialect::kOther;
}

// Where a driver has one state for everything, its database's own codes tell errors apart.
std::int32_t NumberOf(const Diagnostic& diagnostic, Dialect dialect) {
  if (dialect == Dialect::kSqlite) {
    constexpr std::int32_t kTooBig = 18;
    constexpr std::int32_t kConstraint = 19;
    constexpr std::int32_t kMismatch = 20;
    if (diagnostic.native == kConstraint) return kErrIntegrity;
    if (diagnostic.native == kTooBig || diagnostic.native == kMismatch) return kErrConversion;
  }
  if (dialect == Dialect::kMariaDb) {
    constexpr std::int32_t kNoDefault = 1364;
    constexpr std::int32_t kWrongValue = 1366;
    if (diagnostic.native == kNoDefault) return kErrIntegrity;
    if (diagnostic.native == kWrongValue) return kErrConversion;
  }
  return NumberOfState(diagnostic.state);
}

// PostgreSQL's driver puts more behind a statement, which a comment at its end would swallow.
std::string Ended(std::string_view sql, const Session& session) {
  std::string text(sql);
  if (session.dialect() == Dialect::kPostgreSql) text += '\n';
  return text;
}

// Adds what makes drivers behave: reading row by row, booleans that are no text.
ConnectionString WithDriverOptions(ConnectionString settings, Dialect dialect) {
  if (dialect == Dialect::kSqlite) {
    settings.SetDefault("StepAPI", "1");
  } else if (dialect == Dialect::kPostgreSql) {
    // Its own cursors are not to be trusted (see server_cursor.h).
    settings.SetDefault("UseDeclareFetch", "0");
    settings.SetDefault("BoolsAsChar", "0");
  } else if (dialect == Dialect::kMariaDb) {
    // Rows that a change found count, also those that had the new values already.
    settings.SetDefault("Options", "2");
  }
  return settings;
}

}  // namespace

Result<std::shared_ptr<Session>> Session::Connect(const ConnectionString& settings,
                                                  std::int32_t timeout, Diagnostics* diagnostics) {
  const std::shared_ptr<Session> session(new Session);
  const std::string* driver = settings.Find("Driver");
  const Dialect named = driver != nullptr ? DialectOf(*driver) : Dialect::kOther;
  Status opened = session->Open(WithDriverOptions(settings, named), timeout);
  if (opened.ok()) {
    session->dialect_ = DialectOf(session->Info(SQL_DRIVER_NAME));
    // Which driver a DSN or the path of a driver leads to is known only now.
    if (session->dialect_ != named && session->dialect_ != Dialect::kOther) {
      session->Disconnect();
      opened = session->Open(WithDriverOptions(settings, session->dialect_), timeout);
    }
  }
  *diagnostics = session->diagnostics;
  if (!opened.ok()) return opened;
  session->quote_ = session->Info(SQL_IDENTIFIER_QUOTE_CHAR);
  if (session->quote_ == " ") session->quote_.clear();
  return session;
}

Session::~Session() {
  Disconnect();
  if (environment_ != SQL_NULL_HENV) ::SQLFreeHandle(SQL_HANDLE_ENV, environment_);
}

Status Session::Open(const ConnectionString& settings, std::int32_t timeout) {
  settings_ = settings;
  [[maybe_unused]] const Utf8Locale locale;
  if (environment_ == SQL_NULL_HENV) {
    if (Failed(::SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &environment_))) {
      return Status(StatusCode::kIoError, "ODBC cannot be started", kErrDatabase);
    }
    ::SQLSetEnvAttr(environment_, SQL_ATTR_ODBC_VERSION, AsPointer(SQL_OV_ODBC3), 0);
  }
  if (Failed(::SQLAllocHandle(SQL_HANDLE_DBC, environment_, &connection_))) {
    return Fail(SQL_HANDLE_ENV, environment_);
  }
  if (timeout > 0) {
    // Drivers that cannot bound the time connect without a bound.
    ::SQLSetConnectAttrW(connection_, SQL_ATTR_LOGIN_TIMEOUT,
                         AsPointer(static_cast<SQLULEN>(timeout)), SQL_IS_UINTEGER);
  }
  WideText text(settings.Text());
  const SQLRETURN code = ::SQLDriverConnectW(connection_, nullptr, text.data(), text.short_size(),
                                             nullptr, 0, nullptr, SQL_DRIVER_NOPROMPT);
  if (SQL_SUCCEEDED(code)) return Status::Ok();
  const Status failure = Fail(SQL_HANDLE_DBC, connection_);
  ::SQLFreeHandle(SQL_HANDLE_DBC, connection_);
  connection_ = SQL_NULL_HDBC;
  return failure;
}

void Session::Disconnect() {
  if (connection_ == SQL_NULL_HDBC) return;
  if (in_transaction_) ::SQLEndTran(SQL_HANDLE_DBC, connection_, SQL_ROLLBACK);
  in_transaction_ = false;
  walk_ = nullptr;
  ::SQLDisconnect(connection_);
  ::SQLFreeHandle(SQL_HANDLE_DBC, connection_);
  connection_ = SQL_NULL_HDBC;
}

void Session::Close() {
  const std::set<SessionUser*> users = std::move(users_);
  users_.clear();
  for (SessionUser* user : users) user->OnSessionClosing();
  Disconnect();
}

Status Session::Run(const char* sql, bool* warned) {
  SQLHSTMT statement = SQL_NULL_HSTMT;
  if (Failed(::SQLAllocHandle(SQL_HANDLE_STMT, connection_, &statement))) {
    return Fail(SQL_HANDLE_DBC, connection_);
  }
  WideText text(sql);
  const SQLRETURN code = ::SQLExecDirectW(statement, text.data(), text.size());
  Status status;
  if (Failed(code)) status = Fail(SQL_HANDLE_STMT, statement);
  if (warned != nullptr) *warned = code == SQL_SUCCESS_WITH_INFO;
  ::SQLFreeHandle(SQL_HANDLE_STMT, statement);
  return status;
}

Status Session::BeginWalk(const void* walk) {
  if (in_transaction_) return Status::Ok();
  SettleWalk();
  // The warning is that the host has begun a transaction by a statement of its own.
  bool has_one = false;
  PV_RETURN_IF_ERROR(Run("BEGIN", &has_one));
  if (!has_one) walk_ = walk;
  return Status::Ok();
}

void Session::EndWalk(const void* walk) {
  if (walk_ == walk) SettleWalk();
}

void Session::SettleWalk() {
  // Where the rest of a walk cannot be had its next page is an error.
  if (std::exchange(walk_, nullptr) != nullptr) (void)Run("COMMIT").ok();
}

Status Session::Begin() {
  SettleWalk();
  if (dialect_ == Dialect::kSqlite) {
    PV_RETURN_IF_ERROR(Run("BEGIN"));
    in_transaction_ = true;
    return Status::Ok();
  }
  const SQLRETURN code = ::SQLSetConnectAttrW(connection_, SQL_ATTR_AUTOCOMMIT,
                                              AsPointer(SQL_AUTOCOMMIT_OFF), SQL_IS_UINTEGER);
  if (Failed(code)) return Fail(SQL_HANDLE_DBC, connection_);
  in_transaction_ = true;
  return Status::Ok();
}

Status Session::End(bool commit) {
  if (dialect_ == Dialect::kSqlite) {
    Status ended = Run(commit ? "COMMIT" : "ROLLBACK");
    if (commit && !ended.ok()) (void)Run("ROLLBACK").ok();
    in_transaction_ = false;
    return ended;
  }
  Status status;
  const SQLRETURN code =
      ::SQLEndTran(SQL_HANDLE_DBC, connection_, commit ? SQL_COMMIT : SQL_ROLLBACK);
  if (Failed(code)) {
    status = Fail(SQL_HANDLE_DBC, connection_);
    if (commit) ::SQLEndTran(SQL_HANDLE_DBC, connection_, SQL_ROLLBACK);
  }
  in_transaction_ = false;
  const SQLRETURN back = ::SQLSetConnectAttrW(connection_, SQL_ATTR_AUTOCOMMIT,
                                              AsPointer(SQL_AUTOCOMMIT_ON), SQL_IS_UINTEGER);
  if (Failed(back) && status.ok()) return Fail(SQL_HANDLE_DBC, connection_);
  return status;
}

std::string Session::Quoted(std::string_view name) const {
  std::string text = quote_;
  for (const char c : name) {
    text.push_back(c);
    if (quote_.size() == 1 && c == quote_[0]) text.push_back(c);
  }
  return text + quote_;
}

Status Session::Fail(SQLSMALLINT kind, SQLHANDLE handle) {
  diagnostics = Collect(kind, handle);
  std::string message;
  for (Diagnostic& diagnostic : diagnostics) {
    diagnostic.message = settings_.Redacted(std::move(diagnostic.message));
    if (!message.empty()) message += "; ";
    message.append("[").append(diagnostic.state).append("] ").append(diagnostic.message);
  }
  if (message.empty()) message = "the driver reported a failure without a reason";
  return Status(StatusCode::kIoError, message,
                diagnostics.empty() ? kErrDatabase : NumberOf(diagnostics.front(), dialect_));
}

std::string Session::Info(SQLUSMALLINT what) {
  SQLWCHAR text[128];
  SQLSMALLINT bytes = 0;
  if (!SQL_SUCCEEDED(::SQLGetInfoW(connection_, what, text, sizeof(text), &bytes))) return {};
  const std::size_t most = sizeof(text) / sizeof(SQLWCHAR) - 1;
  return FromWide(text, std::min(static_cast<std::size_t>(bytes) / sizeof(SQLWCHAR), most));
}

Statement& Statement::operator=(Statement&& other) noexcept {
  if (this != &other) {
    Free();
    session_ = std::move(other.session_);
    handle_ = std::exchange(other.handle_, nullptr);
  }
  return *this;
}

Result<Statement> Statement::Make(std::shared_ptr<Session> session) {
  Statement statement;
  if (session == nullptr || !session->is_open()) {
    return Status(StatusCode::kInvalid, TextOfNumber(kErrObjectClosed), kErrObjectClosed);
  }
  if (Failed(::SQLAllocHandle(SQL_HANDLE_STMT, session->handle(), &statement.handle_))) {
    return session->Fail(SQL_HANDLE_DBC, session->handle());
  }
  if (session->command_timeout > 0) {
    ::SQLSetStmtAttrW(statement.handle_, SQL_ATTR_QUERY_TIMEOUT,
                      AsPointer(static_cast<SQLULEN>(session->command_timeout)), 0);
  }
  statement.session_ = std::move(session);
  return statement;
}

void Statement::Free() {
  // After the connection the driver manager has freed its statements itself.
  if (handle_ != SQL_NULL_HSTMT && session_->is_open()) {
    ::SQLFreeHandle(SQL_HANDLE_STMT, handle_);
  }
  handle_ = SQL_NULL_HSTMT;
  session_.reset();
}

Status Statement::Check(SQLRETURN code) {
  return Failed(code) ? session_->Fail(SQL_HANDLE_STMT, handle_) : Status::Ok();
}

Status Statement::Prepare(std::string_view sql) {
  WideText text(Ended(sql, *session_));
  return Check(::SQLPrepareW(handle_, text.data(), text.size()));
}

Status Statement::Execute() {
  session_->SettleWalk();
  return Check(::SQLExecute(handle_));
}

Status Statement::ExecuteDirect(std::string_view sql) {
  session_->SettleWalk();
  return ExecuteInWalk(sql);
}

Status Statement::ExecuteInWalk(std::string_view sql) {
  WideText text(Ended(sql, *session_));
  return Check(::SQLExecDirectW(handle_, text.data(), text.size()));
}

Status Statement::SetAttribute(SQLINTEGER attribute, SQLPOINTER value) {
  return Check(::SQLSetStmtAttrW(handle_, attribute, value, 0));
}

Result<std::int64_t> Statement::RowCount() {
  SQLLEN count = 0;
  PV_RETURN_IF_ERROR(Check(::SQLRowCount(handle_, &count)));
  return static_cast<std::int64_t>(count);
}

Result<int> Statement::ColumnCount() {
  SQLSMALLINT count = 0;
  PV_RETURN_IF_ERROR(Check(::SQLNumResultCols(handle_, &count)));
  return static_cast<int>(count);
}

}  // namespace pv::adodb

// ADODB.Connection, Errors and Error. Tested by connection_test.cc.
#include "providers/adodb/connection.h"

#include "providers/adodb/failure.h"
#include "providers/adodb/recordset.h"
#include "pvgroupman/automation/member_table.h"

namespace pv::adodb {

using automation::MakeObject;
using automation::Ref;
using automation::Value;

std::int32_t DriverError::GetNumber() const { return NumberOfState(diagnostic_.state); }

const automation::MemberTable& DriverError::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Get("Description", &DriverError::GetDescription)
          .Get("Number", &DriverError::GetNumber)
          .Get("Source", &DriverError::GetSource)
          .Get("SQLState", &DriverError::GetSqlState)
          .Get("NativeError", &DriverError::GetNativeError);
  return table;
}

void Errors::Fill(const Diagnostics& diagnostics) {
  items_.clear();
  for (const Diagnostic& d : diagnostics) items_.push_back(MakeObject<DriverError>(d));
}

const automation::MemberTable& Errors::Members() const {
  static const automation::MemberTable table = automation::Class(kClassName)
                                                   .Get("Count", &Errors::Count)
                                                   .Default("Item", &Errors::Item, {"Index"})
                                                   .Enumerator("NewEnum", &Errors::NewEnum)
                                                   .Method("Clear", &Errors::Clear);
  return table;
}

Connection::~Connection() {
  if (session_) session_->Close();
}

std::string Connection::GetConnectionString() const {
  return session_ ? shown_ : connection_string_;
}

void Connection::SetConnectionString(const std::string& value) {
  if (session_) Raise(kErrObjectOpen, "Connection::ConnectionString");
  connection_string_ = value;
}

void Connection::SetCursorLocation(std::int32_t value) {
  if (value != kUseServer && value != kUseClient) {
    Raise(kErrInvalidArgument, "Connection::CursorLocation");
  }
  cursor_location_ = value;
}

void Connection::SetConnectionTimeout(std::int32_t value) {
  if (value < 0) Raise(kErrInvalidArgument, "Connection::ConnectionTimeout");
  if (session_) Raise(kErrObjectOpen, "Connection::ConnectionTimeout");
  connection_timeout_ = value;
}

void Connection::SetCommandTimeout(std::int32_t value) {
  if (value < 0) Raise(kErrInvalidArgument, "Connection::CommandTimeout");
  command_timeout_ = value;
  if (session_) session_->command_timeout = value;
}

Ref<Errors> Connection::GetErrors() {
  if (!errors_) errors_ = MakeObject<Errors>();
  return errors_;
}

const std::shared_ptr<Session>& Connection::OpenSession(const char* source) const {
  if (!session_) Raise(kErrObjectClosed, source);
  return session_;
}

void Connection::CheckStatus(const Status& status, const char* source) {
  if (status.ok()) return;
  if (session_) GetErrors()->Fill(session_->diagnostics);
  Check(status, source);
}

void Connection::Open(const std::optional<std::string>& ConnectionString,
                      const std::optional<std::string>& UserID,
                      const std::optional<std::string>& Password,
                      const std::optional<std::int32_t>&) {
  constexpr const char* kSource = "Connection::Open";
  if (session_) Raise(kErrObjectOpen, kSource);
  if (ConnectionString && !ConnectionString->empty()) connection_string_ = *ConnectionString;
  adodb::ConnectionString settings =
      Check(adodb::ConnectionString::Parse(connection_string_), kSource);
  if (UserID && !UserID->empty()) settings.Set("UID", *UserID);
  if (Password && !Password->empty()) settings.Set("PWD", *Password);
  Diagnostics diagnostics;
  Result<std::shared_ptr<Session>> session =
      Session::Connect(settings, connection_timeout_, &diagnostics);
  GetErrors()->Fill(diagnostics);
  session_ = Check(std::move(session), kSource);
  session_->command_timeout = command_timeout_;
  shown_ = settings.TextWithoutSecrets();
}

void Connection::Close() {
  OpenSession("Connection::Close");
  const std::shared_ptr<Session> session = std::move(session_);
  session_.reset();
  session->Close();
}

Ref<Recordset> Connection::Execute(const std::string& CommandText,
                                   std::optional<Value>& RecordsAffected,
                                   const std::optional<std::int32_t>& Options) {
  OpenSession("Connection::Execute");
  const Ref<Recordset> recordset = MakeObject<Recordset>();
  const std::int64_t affected =
      recordset->OpenOn(Ref<Connection>(this), CommandText, kForwardOnly, kReadOnly,
                        Options.value_or(kCommandUnspecified), "Connection::Execute");
  if (RecordsAffected) RecordsAffected = Value(static_cast<std::int32_t>(affected));
  return recordset;
}

std::int32_t Connection::BeginTrans() {
  const std::shared_ptr<Session> session = OpenSession("Connection::BeginTrans");
  if (session->in_transaction()) {
    throw automation::Error(kErrOneTransaction, "Connection::BeginTrans",
                            "A transaction is active on this connection already.");
  }
  CheckStatus(session->Begin(), "Connection::BeginTrans");
  return 1;
}

void Connection::EndTransaction(bool commit, const char* source) {
  const std::shared_ptr<Session> session = OpenSession(source);
  if (!session->in_transaction()) {
    throw automation::Error(kErrNoTransaction, source, "No transaction is active.");
  }
  CheckStatus(session->End(commit), source);
}

void Connection::CommitTrans() { EndTransaction(true, "Connection::CommitTrans"); }

void Connection::RollbackTrans() { EndTransaction(false, "Connection::RollbackTrans"); }

const automation::MemberTable& Connection::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Property("ConnectionString", &Connection::GetConnectionString,
                    &Connection::SetConnectionString)
          .Property("CursorLocation", &Connection::GetCursorLocation,
                    &Connection::SetCursorLocation)
          .Property("ConnectionTimeout", &Connection::GetConnectionTimeout,
                    &Connection::SetConnectionTimeout)
          .Property("CommandTimeout", &Connection::GetCommandTimeout,
                    &Connection::SetCommandTimeout)
          .Get("State", &Connection::GetState)
          .Get("Provider", &Connection::GetProvider)
          .Get("Version", &Connection::GetVersion)
          .Get("Errors", &Connection::GetErrors)
          .Method("Open", &Connection::Open, {"ConnectionString", "UserID", "Password", "Options"})
          .Method("Close", &Connection::Close)
          .Method("Execute", &Connection::Execute, {"CommandText", "RecordsAffected", "Options"})
          .Method("BeginTrans", &Connection::BeginTrans)
          .Method("CommitTrans", &Connection::CommitTrans)
          .Method("RollbackTrans", &Connection::RollbackTrans);
  return table;
}

}  // namespace pv::adodb

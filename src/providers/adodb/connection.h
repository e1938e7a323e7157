// ADODB.Connection, Errors and Error.
#ifndef PV_PROVIDERS_ADODB_CONNECTION_H_
#define PV_PROVIDERS_ADODB_CONNECTION_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "providers/adodb/fields.h"
#include "providers/adodb/session.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/automation/value.h"

namespace pv::adodb {

class Recordset;

// Values of ADO's enumerations.
enum : std::int32_t {
  kStateClosed = 0,
  kStateOpen = 1,

  kUseServer = 2,
  kUseClient = 3,

  kForwardOnly = 0,
  kKeyset = 1,
  kDynamic = 2,
  kStatic = 3,

  kReadOnly = 1,
  kPessimistic = 2,
  kOptimistic = 3,
  kBatchOptimistic = 4,

  kCommandUnspecified = -1,
  kCommandText = 1,
  kCommandTable = 2,
  kCommandUnknown = 8,
  kCommandTableDirect = 512,
};

// One report of the driver.
class DriverError : public automation::Object {
 public:
  static constexpr const char* kClassName = "Error";
  explicit DriverError(Diagnostic diagnostic) : diagnostic_(std::move(diagnostic)) {}
  std::string GetName() const { return {}; }
  std::string GetDescription() const { return diagnostic_.message; }
  std::int32_t GetNumber() const;
  std::string GetSource() const { return "ODBC"; }
  std::string GetSqlState() const { return diagnostic_.state; }
  std::int32_t GetNativeError() const { return diagnostic_.native; }
  const automation::MemberTable& Members() const override;

 private:
  Diagnostic diagnostic_;
};

// What the driver reported about the operation that failed last.
class Errors : public NamedList<DriverError> {
 public:
  static constexpr const char* kClassName = "Errors";
  void Fill(const Diagnostics& diagnostics);
  void Clear() { items_.clear(); }
  const automation::MemberTable& Members() const override;
};

// A connection. Recordsets that it made or that were opened on it end with it. Once it is open,
// ConnectionString shows what was asked for without passwords.
class Connection : public automation::Object {
 public:
  static constexpr const char* kClassName = "Connection";
  Connection() = default;
  ~Connection() override;

  std::string GetConnectionString() const;
  void SetConnectionString(const std::string& value);
  std::int32_t GetCursorLocation() const { return cursor_location_; }
  void SetCursorLocation(std::int32_t value);
  std::int32_t GetConnectionTimeout() const { return connection_timeout_; }
  void SetConnectionTimeout(std::int32_t value);
  std::int32_t GetCommandTimeout() const { return command_timeout_; }
  void SetCommandTimeout(std::int32_t value);
  std::int32_t GetState() const { return session_ ? kStateOpen : kStateClosed; }
  std::string GetProvider() const { return "MSDASQL"; }
  std::string GetVersion() const { return "2.8"; }
  automation::Ref<Errors> GetErrors();

  // Opens the connection at once, whatever the options say about waiting.
  void Open(const std::optional<std::string>& ConnectionString,
            const std::optional<std::string>& UserID, const std::optional<std::string>& Password,
            const std::optional<std::int32_t>& Options);
  void Close();

  // Runs a statement, or reads a table; the recordset is closed when it gives no rows.
  automation::Ref<Recordset> Execute(const std::string& CommandText,
                                     std::optional<automation::Value>& RecordsAffected,
                                     const std::optional<std::int32_t>& Options);

  std::int32_t BeginTrans();  // 1: transactions do not nest
  void CommitTrans();
  void RollbackTrans();
  const automation::MemberTable& Members() const override;

  // The open session; throws when there is none.
  const std::shared_ptr<Session>& OpenSession(const char* source) const;

  // Throws a failure, after keeping the driver's reports in Errors.
  void CheckStatus(const Status& status, const char* source);

 private:
  void EndTransaction(bool commit, const char* source);

  std::string connection_string_;
  std::string shown_;  // while it is open
  std::int32_t cursor_location_ = kUseServer;
  std::int32_t connection_timeout_ = 15;
  std::int32_t command_timeout_ = 0;
  std::shared_ptr<Session> session_;
  automation::Ref<Errors> errors_;
};

}  // namespace pv::adodb

#endif  // PV_PROVIDERS_ADODB_CONNECTION_H_

// Connects, asks, counts. Tested by tests/cli.
#include "cli/groups/sql_group.h"

#include <charconv>
#include <exception>

#include "cli/failure.h"
#include "cli/groups/data_sources.h"
#include "cli/groups/recordset_cursor.h"
#include "groups/ado_group.h"
#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/progid.h"

namespace pv::cli {

using automation::Object;
using automation::Ref;

namespace {

// A cursor whose errors are Failures without the secrets of a connection string.
class GuardedCursor : public GroupCursor {
 public:
  GuardedCursor(const Ref<Object>& recordset, std::string connection)
      : recordset_(recordset), connection_(std::move(connection)), cursor_(recordset) {}
  ~GuardedCursor() override {
    try {
      groups::CloseAdo(recordset_);
    } catch (const std::exception&) {
      // A recordset that broke cannot be closed either.
    }
  }

  const std::vector<CursorField>& fields() const override { return cursor_.fields(); }
  std::string address_field() const override { return cursor_.address_field(); }
  bool Next() override {
    return Guarded([&] { return cursor_.Next(); });
  }
  void Read(std::size_t field, Cell* cell) override {
    Guarded([&] { cursor_.Read(field, cell); });
  }
  std::vector<std::string> rounded() const override { return cursor_.rounded(); }

 private:
  template <typename Work>
  auto Guarded(const Work& work) -> decltype(work()) {
    try {
      return work();
    } catch (const automation::Error& error) {
      FailWithoutSecrets(error, connection_);
    }
  }

  Ref<Object> recordset_;
  std::string connection_;
  RecordsetCursor cursor_;
};

}  // namespace

SqlGroup::SqlGroup(const GroupEntry& entry) {
  try {
    source_ = automation::MakeObject<ado::CDataSource>();
    source_->OpenDataSource(entry.data_source_id, std::nullopt);
  } catch (const automation::Error& error) {
    throw Failure(ExitCodeOf(error.number()),
                  "the data source of group \"" + entry.name + "\": " + error.description());
  }
  try {
    properties_ = automation::MakeObject<ado::CADOGroupProperties>();
    properties_->OpenADOGroupProperties(entry.properties_id);
  } catch (const automation::Error& error) {
    throw Failure(ExitCodeOf(error.number()),
                  "the definition of group \"" + entry.name + "\": " + error.description());
  }
}

SqlGroup::~SqlGroup() {
  try {
    groups::CloseAdo(connection_);
  } catch (const std::exception&) {
    // What it was for is done.
  }
}

std::string SqlGroup::Statement() const { return groups::BuildSql(properties_.get(), false); }

std::string SqlGroup::InnerStatement() const {
  std::string statement = Statement();
  const std::size_t last = statement.find_last_not_of("; \n\r\t");
  statement.resize(last == statement.npos ? 0 : last + 1);
  return statement;
}

const Ref<Object>& SqlGroup::Connection() {
  if (connection_) return connection_;
  opened_ = automation::MakeObject<ado::CDataSource>();
  opened_->SetConnectionString(ConnectionToOpen(*source_));
  opened_->SetCursorLocation(2);  // on the server: nothing is read ahead of the walk
  opened_->SetConnectOptions(source_->GetConnectOptions());
  opened_->SetCursorType(groups::kAdoForwardOnly);
  opened_->SetLockType(groups::kAdoReadOnly);
  opened_->SetRecordSetOptions(source_->GetRecordSetOptions());
  try {
    const Ref<Object> connection = automation::CreateObject("ADODB.Connection");
    groups::ConnectAdo(connection, *opened_);
    connection_ = connection;
  } catch (const automation::Error& error) {
    FailWithoutSecrets(error, opened_->GetConnectionString());
  }
  return connection_;
}

std::unique_ptr<GroupCursor> SqlGroup::Rows() {
  const Ref<Object>& connection = Connection();
  try {
    const Ref<Object> recordset = automation::CreateObject("ADODB.Recordset");
    groups::OpenAdoRecordset(recordset, connection, *opened_, properties_.get());
    return std::make_unique<GuardedCursor>(recordset, opened_->GetConnectionString());
  } catch (const automation::Error& error) {
    FailWithoutSecrets(error, opened_->GetConnectionString());
  }
}

std::unique_ptr<GroupCursor> SqlGroup::RowsOf(const std::string& statement) {
  const Ref<Object>& connection = Connection();
  try {
    const Ref<Object> recordset = automation::CreateObject("ADODB.Recordset");
    automation::CallMember(recordset, "Open",
                           {statement, connection, groups::kAdoForwardOnly, groups::kAdoReadOnly,
                            groups::kAdoCommandText});
    return std::make_unique<GuardedCursor>(recordset, opened_->GetConnectionString());
  } catch (const automation::Error& error) {
    FailWithoutSecrets(error, opened_->GetConnectionString());
  }
}

std::uint64_t SqlGroup::Count() {
  // The counting form that hosts use leaves out rows whose first column is null, so a statement is
  // counted as it stands.
  const std::string sql = properties_->GetFilterMethod() == 0
                              ? groups::BuildSql(properties_.get(), true)
                              : "select count(*) from (\n" + InnerStatement() + "\n) pv_rows";
  const Ref<Object>& connection = Connection();
  try {
    const std::string text = groups::CountAdo(connection, sql).ToText();
    std::uint64_t count = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
    if (error == std::errc() && end == text.data() + text.size()) return count;
  } catch (const automation::Error& error) {
    if (properties_->GetFilterMethod() == 0) {
      FailWithoutSecrets(error, opened_->GetConnectionString());
    }
    // Not every statement can stand inside another: its rows are counted one by one.
  }
  const auto rows = Rows();
  std::uint64_t count = 0;
  while (rows->Next()) ++count;
  return count;
}

}  // namespace pv::cli

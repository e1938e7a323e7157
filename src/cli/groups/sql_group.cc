// Opens groups. Tested by tests/cli.
#include "cli/groups/sql_group.h"

#include <algorithm>
#include <charconv>
#include <exception>

#include "base/text.h"
#include "cli/failure.h"
#include "cli/fields/conditions.h"
#include "cli/groups/address_books.h"
#include "cli/groups/address_tag.h"
#include "cli/groups/data_sources.h"
#include "cli/groups/recordset_cursor.h"
#include "cli/groups/sql_definition.h"
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

// A statement as part of another one.
std::string Inner(const std::string& sql) {
  std::string_view text = sql;
  while (!text.empty() && (text.back() == ';' || text.back() == ' ' || text.back() == '\n' ||
                           text.back() == '\r' || text.back() == '\t')) {
    text.remove_suffix(1);
  }
  return std::string(text);
}

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

std::unique_ptr<GroupCursor> SqlGroup::RowsLike(const std::string& field, const std::string& text) {
  const std::string wanted(TrimBlanks(ToLower(text)));
  const std::string statement = Inner(Statement());
  // Databases fold other letters each in its own way, a backslash may be an escape, and an order
  // within need not hold outside.
  if (wanted.empty() || !IsAscii(wanted) || wanted.find('\\') != wanted.npos ||
      ToLower(statement).find("order") != std::string::npos) {
    return nullptr;
  }
  try {
    const std::string from = "select * from (\n" + statement + "\n) pv_rows where ";
    const auto none = RowsOf(from + "1 = 0");
    const auto found = none->Find(field.empty() ? none->address_field() : field);
    if (!found) return nullptr;
    const CursorField& column = none->fields()[*found];
    if ((column.shape.type != 'C' && column.shape.type != 'M') || column.bytes) return nullptr;
    // "_" stands for any letter: in some languages the small "I" is not "i".
    std::string pattern = wanted;
    std::replace(pattern.begin(), pattern.end(), 'i', '_');
    const SqlDialect dialect = AskDialect(this);
    if (dialect.right.empty()) return nullptr;
    return RowsOf(from + "lower(" + dialect.Quoted(column.name) + ") like " +
                  SqlLiteral({"%" + pattern + "%", true}, ValueKind::kText,
                             dialect.backslash_escapes, column.name));
  } catch (const Failure&) {
    // Not every statement can stand inside another, nor every type be compared so.
    return nullptr;
  }
}

std::uint64_t SqlGroup::Count() {
  // The counting form that hosts use leaves out rows whose first column is null, so a statement is
  // counted as it stands.
  const std::string sql =
      properties_->GetFilterMethod() == 0
          ? groups::BuildSql(properties_.get(), true)
          : "select count(*) from (\n" + Inner(properties_->GetSql()) + "\n) pv_rows";
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

OpenedGroup::OpenedGroup(const Catalogue& catalogue, const GroupEntry& entry,
                         const Options& options) {
  switch (entry.type) {
    case groups::GroupType::kPvFormat:
      session_ = std::make_unique<Session>();
      table_ = std::make_unique<Table>(*session_, catalogue.GetNative(entry.id).table_path(),
                                       Access::kShared);
      // Deleted records are in no tag of a group.
      if (options.by_address && !options.deleted) table_->SelectTag(kAddressTag);
      cursor_ = std::make_unique<TableCursor>(table_.get());
      return;
    case groups::GroupType::kAdoRecordset:
      if (options.deleted) {
        throw Failure(kUsage, "group \"" + entry.name +
                                  "\" is a query on a database, where "
                                  "nothing is only marked deleted");
      }
      sql_ = std::make_unique<SqlGroup>(entry);
      if (options.find) cursor_ = sql_->RowsLike(options.field, options.text);
      if (cursor_ == nullptr) cursor_ = sql_->Rows();
      return;
    case groups::GroupType::kAddressBook:
      if (options.deleted) {
        throw Failure(kUsage, "group \"" + entry.name +
                                  "\" is an address book, where nothing is only marked deleted");
      }
      cursor_ = OpenContacts(entry);
      return;
  }
  throw Failure(kUnavailable, "group \"" + entry.name + "\" is of an unknown kind");
}

OpenedGroup::~OpenedGroup() = default;

}  // namespace pv::cli

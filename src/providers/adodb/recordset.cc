// Opening, closing and members of ADODB.Recordset. Tested by recordset_test.cc.
#include "providers/adodb/recordset.h"

#include "providers/adodb/failure.h"
#include "providers/adodb/statement_text.h"
#include "pvgroupman/automation/member_table.h"

namespace pv::adodb {

using automation::Cast;
using automation::MakeObject;
using automation::Object;
using automation::Ref;
using automation::Value;

namespace {

// Bits of the option that ask for waiting or for no result: neither changes anything here.
constexpr std::int32_t kExecuteBits = 0x10 | 0x20 | 0x40 | 0x80;

}  // namespace

Recordset::Recordset() : fields_(MakeObject<Fields>()) {}

Recordset::~Recordset() { LetGo(); }

void Recordset::RequireOpen(const char* source) const {
  if (!open_) Raise(kErrObjectClosed, source);
}

void Recordset::RequireClosed(const char* source) const {
  if (open_) Raise(kErrObjectOpen, source);
}

void Recordset::RequireRow(const char* source) const {
  RequireOpen(source);
  if (place_ != Place::kRow || deleted_) Raise(kErrNoCurrentRecord, source);
}

void Recordset::CheckStatus(const Status& status, const char* source) {
  if (status.ok()) return;
  if (connection_) connection_->CheckStatus(status, source);
  Check(status, source);
}

void Recordset::SetSource(const Value& value) {
  RequireClosed("Recordset::Source");
  source_ = Value(value.ToText());
}

void Recordset::SetActiveConnection(const Value& value) {
  constexpr const char* kSource = "Recordset::ActiveConnection";
  RequireClosed(kSource);
  if (value.IsObject()) {
    const Ref<Object> object = value.ToObject();
    connection_ = Cast<Connection>(object);
    if (object && !connection_) Raise(kErrInvalidConnection, kSource);
    return;
  }
  const std::string text = value.ToText();
  connection_ = nullptr;
  if (text.empty()) return;
  Ref<Connection> connection = MakeObject<Connection>();
  connection->Open(text, std::nullopt, std::nullopt, std::nullopt);
  connection_ = std::move(connection);
}

void Recordset::SetActiveConnectionObject(const Ref<Object>& value) {
  SetActiveConnection(Value(value));
}

void Recordset::SetCursorType(std::int32_t value) {
  RequireClosed("Recordset::CursorType");
  if (value < kForwardOnly || value > kStatic) Raise(kErrInvalidArgument, "Recordset::CursorType");
  cursor_type_ = value;
}

void Recordset::SetLockType(std::int32_t value) {
  RequireClosed("Recordset::LockType");
  if (value < kReadOnly || value > kBatchOptimistic) {
    Raise(kErrInvalidArgument, "Recordset::LockType");
  }
  lock_type_ = value;
}

void Recordset::SetCursorLocation(std::int32_t value) {
  RequireClosed("Recordset::CursorLocation");
  if (value != kUseServer && value != kUseClient) {
    Raise(kErrInvalidArgument, "Recordset::CursorLocation");
  }
  cursor_location_ = value;
  own_location_ = true;
}

void Recordset::Open(const std::optional<Value>& Source,
                     const std::optional<Value>& ActiveConnection,
                     const std::optional<std::int32_t>& CursorType,
                     const std::optional<std::int32_t>& LockType,
                     const std::optional<std::int32_t>& Options) {
  constexpr const char* kSource = "Recordset::Open";
  RequireClosed(kSource);
  if (Source) SetSource(*Source);
  if (ActiveConnection) SetActiveConnection(*ActiveConnection);
  // -1 stands for "not specified".
  if (CursorType && *CursorType != -1) SetCursorType(*CursorType);
  if (LockType && *LockType != -1) SetLockType(*LockType);
  if (!connection_) Raise(kErrInvalidConnection, kSource);
  OpenOn(connection_, source_.ToText(), cursor_type_, lock_type_,
         Options.value_or(kCommandUnspecified), kSource);
}

std::int64_t Recordset::OpenOn(const Ref<Connection>& connection, const std::string& source,
                               std::int32_t cursor_type, std::int32_t lock_type,
                               std::int32_t options, const char* label) {
  connection_ = connection;
  source_ = Value(source);
  if (connection->GetState() != kStateOpen) Raise(kErrInvalidConnection, label);
  if (options != kCommandUnspecified) options &= ~kExecuteBits;
  bool is_table = false;
  switch (options) {
    case kCommandText:
      break;
    case kCommandTable:
    case kCommandTableDirect:
      is_table = true;
      break;
    case 0:
    case kCommandUnspecified:
    case kCommandUnknown:
      is_table = !IsStatement(source);
      break;
    default:
      Raise(kErrInvalidArgument, label, "option " + std::to_string(options));
  }
  if (TrimBlanks(source).empty()) Raise(kErrInvalidArgument, label, "nothing to open");

  session_ = connection->OpenSession(label);
  table_ = is_table ? TableName(source, *session_) : "";
  sql_ = is_table ? "SELECT * FROM " + table_ : source;
  const Dialect dialect = session_->dialect();
  if (dialect == Dialect::kPostgreSql || dialect == Dialect::kOther) {
    sql_ = WithoutBackQuotes(sql_);
    table_ = WithoutBackQuotes(table_);
  }
  if (!own_location_) cursor_location_ = connection->GetCursorLocation();
  const bool client = cursor_location_ == kUseClient;
  cursor_obtained_ = cursor_type == kForwardOnly && !client ? kForwardOnly : kStatic;
  try {
    Result<std::unique_ptr<BlockReader>> reader = Execute(/*describe=*/true);
    CheckStatus(reader.status(), label);
    if (*reader == nullptr) {
      const std::int64_t affected = count_;
      LetGo();
      return affected;
    }
    reader_ = std::move(*reader);
    session_->AddUser(this);
    open_ = true;
    lock_obtained_ = kReadOnly;
    // SQLite's driver does not tell which columns stand behind other names.
    const bool names_known =
        dialect != Dialect::kSqlite || !table_.empty() || HasPlainColumns(sql_);
    if (lock_type != kReadOnly && names_known) {
      // A result that cannot be changed is opened to be read.
      Result<std::unique_ptr<TableEditor>> editor = TableEditor::Make(session_, &columns_, table_);
      if (editor.ok()) {
        editor_ = std::move(*editor);
        lock_obtained_ = lock_type == kBatchOptimistic ? kBatchOptimistic : kOptimistic;
      }
    }
    fields_->Fill(this, columns_);
    ordinal_ = 0;
    count_ = -1;
    Advance(label);
    empty_ = place_ != Place::kRow;
    at_first_ = true;
    if (client) {
      TakeAllRows(label);
      ArrangeRows();
    }
  } catch (...) {
    LetGo();
    throw;
  }
  return -1;
}

Result<std::unique_ptr<BlockReader>> Recordset::Execute(bool describe) {
  PV_ASSIGN_OR_RETURN(Statement statement, Statement::Make(session_));
  const std::string_view query = QueryOfManyRows(sql_);
  if (session_->dialect() == Dialect::kMariaDb && !query.empty() && statement.Prepare(query).ok()) {
    if (describe) {
      PV_ASSIGN_OR_RETURN(columns_, DescribeColumns(&statement));
    }
    Result<std::unique_ptr<BlockReader>> paged = BlockReader::MakePaged(session_, query, &columns_);
    // Where no such table can be made (no right to, two columns of one name) the driver reads it
    // all.
    if (paged.ok()) return paged;
    PV_ASSIGN_OR_RETURN(statement, Statement::Make(session_));
  }
  std::unique_ptr<ServerCursor> cursor;
  if (session_->dialect() == Dialect::kPostgreSql && !query.empty()) {
    // What is no query is executed, and so is what is none at all, to hear what is wrong with it.
    Result<std::unique_ptr<ServerCursor>> made = ServerCursor::Open(session_, query);
    if (made.ok()) cursor = std::move(*made);
  }
  PV_RETURN_IF_ERROR(cursor ? cursor->OpenPage(&statement) : statement.ExecuteDirect(sql_));
  PV_ASSIGN_OR_RETURN(const int columns, statement.ColumnCount());
  if (columns == 0) {
    PV_ASSIGN_OR_RETURN(count_, statement.RowCount());
    return std::unique_ptr<BlockReader>();
  }
  if (describe) {
    PV_ASSIGN_OR_RETURN(columns_, DescribeColumns(&statement));
  } else if (static_cast<std::size_t>(columns) != columns_.size()) {
    return Status(StatusCode::kInvalid, "the result has other columns than before", kErrDatabase);
  }
  return BlockReader::Make(std::move(statement), &columns_, std::move(cursor));
}

void Recordset::Start(const char* source) {
  reader_.reset();
  rows_.clear();
  shown_.clear();
  in_memory_ = false;
  LeaveRow();
  ordinal_ = 0;
  count_ = -1;
  Result<std::unique_ptr<BlockReader>> reader = Execute(/*describe=*/false);
  CheckStatus(reader.status(), source);
  reader_ = std::move(*reader);
  if (reader_ == nullptr) Raise(kErrIllegalOperation, source);
  place_ = Place::kBof;
  Advance(source);
  empty_ = place_ != Place::kRow;
  at_first_ = true;
  if (cursor_location_ == kUseClient) {
    TakeAllRows(source);
    ArrangeRows();
  }
}

void Recordset::Requery(const std::optional<std::int32_t>&) {
  constexpr const char* kSource = "Recordset::Requery";
  RequireOpen(kSource);
  if (edit_mode_ != kEditNone) Raise(kErrIllegalOperation, kSource);
  Start(kSource);
}

void Recordset::Close() {
  RequireOpen("Recordset::Close");
  if (edit_mode_ != kEditNone) Raise(kErrIllegalOperation, "Recordset::Close");
  LetGo();
}

void Recordset::OnSessionClosing() { LetGo(); }

void Recordset::LetGo() {
  open_ = false;
  editor_.reset();
  reader_.reset();
  fields_->Clear();
  columns_.clear();
  rows_.clear();
  shown_.clear();
  batch_.clear();
  in_memory_ = false;
  LeaveRow();
  edit_mode_ = kEditNone;
  place_ = Place::kEof;
  empty_ = true;
  filter_.reset();
  filter_text_ = Value(0);
  sort_.clear();
  sort_text_.clear();
  if (session_) session_->RemoveUser(this);
  session_.reset();
}

const automation::MemberTable& Recordset::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Get("Fields", &Recordset::GetFields)
          .Get("EOF", &Recordset::GetEof)
          .Get("BOF", &Recordset::GetBof)
          .Method("MoveNext", &Recordset::MoveNext)
          .Method("MoveFirst", &Recordset::MoveFirst)
          .Method("MovePrevious", &Recordset::MovePrevious)
          .Method("MoveLast", &Recordset::MoveLast)
          .Method("Move", &Recordset::Move, {"NumRecords", "Start"})
          .Method("Open", &Recordset::Open,
                  {"Source", "ActiveConnection", "CursorType", "LockType", "Options"})
          .Method("Close", &Recordset::Close)
          .Get("State", &Recordset::GetState)
          .Method("Requery", &Recordset::Requery, {"Options"})
          .Property("Source", &Recordset::GetSource, &Recordset::SetSource)
          .Get("ActiveConnection", &Recordset::GetActiveConnection)
          .Put("ActiveConnection", &Recordset::SetActiveConnection)
          .Put("ActiveConnection", &Recordset::SetActiveConnectionObject)
          .Property("CursorType", &Recordset::GetCursorType, &Recordset::SetCursorType)
          .Property("LockType", &Recordset::GetLockType, &Recordset::SetLockType)
          .Property("CursorLocation", &Recordset::GetCursorLocation, &Recordset::SetCursorLocation)
          .Get("RecordCount", &Recordset::GetRecordCount)
          .Property("AbsolutePosition", &Recordset::GetAbsolutePosition,
                    &Recordset::SetAbsolutePosition)
          .Property("Bookmark", &Recordset::GetBookmark, &Recordset::SetBookmark)
          .Method("Find", &Recordset::Find, {"Criteria", "SkipRecords", "SearchDirection", "Start"})
          .Property("Filter", &Recordset::GetFilter, &Recordset::SetFilter)
          .Property("Sort", &Recordset::GetSort, &Recordset::SetSort)
          .Method("GetRows", &Recordset::GetRows, {"Rows", "Start", "Fields"})
          .Method("AddNew", &Recordset::AddNew, {"FieldList", "Values"})
          .Method("Update", &Recordset::Update)
          .Method("CancelUpdate", &Recordset::CancelUpdate)
          .Method("Delete", &Recordset::Delete, {"AffectRecords"})
          .Method("UpdateBatch", &Recordset::UpdateBatch, {"AffectRecords"})
          .Method("CancelBatch", &Recordset::CancelBatch, {"AffectRecords"})
          .Get("EditMode", &Recordset::GetEditMode);
  return table;
}

}  // namespace pv::adodb

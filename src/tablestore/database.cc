// The session. Tested by database_test.cc.
#include "pvgroupman/tablestore/database.h"

#include "platform/system.h"
#include "pvgroupman/automation/member_table.h"
#include "support/configuration.h"
#include "tablestore/field_access.h"
#include "tablestore/recipients_impl.h"
#include "tablestore/traced.h"

namespace pv::tablestore {
namespace {

using automation::Error;

// The engine's letter of a field type; 0 for a number that is none.
std::int16_t LetterOf(FieldType type) {
  switch (type) {
    case FieldType::kBinary:
    case FieldType::kDouble:
      return 'B';
    case FieldType::kCharacter:
      return 'C';
    case FieldType::kUnicode:
      return 'W';
    case FieldType::kCharacterBinary:
      return 'Z';
    case FieldType::kCurrency:
      return 'Y';
    case FieldType::kDate:
      return 'D';
    case FieldType::kDateTime:
      return 'T';
    case FieldType::kFloat:
      return 'F';
    case FieldType::kGeneral:
      return 'G';
    case FieldType::kInteger:
      return 'I';
    case FieldType::kLogical:
      return 'L';
    case FieldType::kMemo:
      return 'M';
    case FieldType::kMemoBinary:
      return 'X';
    case FieldType::kNumeric:
      return 'N';
  }
  return 0;
}

engine::FieldRecord FieldRecordOf(const FieldStruct& field, const CodePage& page) {
  engine::FieldRecord record;
  record.name = page.Encode(field.Name);
  record.type = LetterOf(field.Type);
  record.length = static_cast<std::uint16_t>(field.Length);
  if (field.Type == FieldType::kDate) record.length = 8;
  if (field.Type == FieldType::kLogical) record.length = 1;
  record.decimals = static_cast<std::uint16_t>(field.Decimal);
  record.nulls = field.NullsAllowed ? 1 : 0;
  return record;
}

engine::TagRecord TagRecordOf(const IndexStruct& index, const CodePage& page) {
  engine::TagRecord record;
  record.name = page.Encode(index.Name);
  record.expression = page.Encode(index.expression);
  record.filter = page.Encode(index.filter);
  record.unique = index.unique ? static_cast<std::int16_t>(engine::kUniqueKey) : std::int16_t{0};
  record.descending = index.descending ? std::uint16_t{engine::kDescendingTag} : std::uint16_t{0};
  return record;
}

// A mode left out is the first one; a number that is no mode leaves the session's as it was.
void ApplyAccessMode(engine::Handle session, const std::optional<AccessModeType>& mode) {
  const auto number = static_cast<std::int32_t>(mode.value_or(AccessModeType::kShared));
  if (number >= 0 && number <= 2) engine::code4accessMode(session, number);
}

// Puts the session's safety setting back when it dies.
class SafetyOn {
 public:
  explicit SafetyOn(engine::Handle session)
      : session_(session), previous_(engine::code4safety(session, 1)) {}
  ~SafetyOn() { engine::code4safety(session_, previous_); }
  SafetyOn(const SafetyOn&) = delete;
  SafetyOn& operator=(const SafetyOn&) = delete;

 private:
  engine::Handle session_;
  std::int32_t previous_;
};

// Closes a table unless a cursor has taken it.
class TableHolder {
 public:
  explicit TableHolder(engine::Handle table) : table_(table) {}
  ~TableHolder() {
    if (table_ != 0) engine::d4close(table_);
  }
  TableHolder(const TableHolder&) = delete;
  TableHolder& operator=(const TableHolder&) = delete;

  engine::Handle get() const { return table_; }
  engine::Handle Release() { return std::exchange(table_, 0); }

 private:
  engine::Handle table_;
};

// Selects the tag, if there is one of this name, and makes the cursor over the table.
automation::Ref<Recipients> CursorOver(engine::Handle session, TableHolder* table,
                                       const std::optional<std::string>& index) {
  if (index && !index->empty()) {
    const auto page = engine::d4codePage(table->get());
    const engine::Handle tag = engine::d4tag(table->get(), page->Encode(*index));
    if (tag != 0) engine::d4tagSelect(table->get(), tag);
  }
  // Where this cannot be done, the cursor's first move says why.
  engine::d4top(table->get());
  engine::code4errorCode(session, 0);
  automation::Ref<Recipients> cursor = automation::MakeObject<Recipients>();
  cursor->CreateInst(session, table->get());
  table->Release();
  return cursor;
}

}  // namespace

Database::Database() {
  try {
    session_ = engine::code4initVB();
    if (session_ == 0) throw Error(kErrNoEngine, "Database::Class_Initialize", Text(kTextNoEngine));
    engine::code4errOff(session_, 1);
    engine::code4errDefaultUnique(session_, engine::kUniqueKey);
    engine::code4compatibility(session_, 30);
    engine::code4logOpenOff(session_);
    engine::u4switch();
    engine::code4codePage(session_, support::CurrentCodePage());
  } catch (...) {
    const Error error = automation::CurrentError("Database::Class_Initialize");
    LogError("Class_Initialise", error);
    if (session_ != 0) engine::code4initUndo(session_);
    throw error;
  }
}

Database::~Database() {
  try {
    TableRecordView::DetachSession(session_);
    const std::int32_t code = engine::code4initUndo(session_);
    if (code < 0) LogError("Class_Terminate", Error(code, {}, EngineErrorText(0, code)));
  } catch (...) {
    LogError("Class_Terminate", automation::CurrentError());
  }
}

std::string Database::FileName(const std::string& path, const std::string& name) const {
  std::string file = path.empty() ? platform::CurrentSystem().process->HostFolder() : path;
  if (file.empty() || (file.back() != '\\' && file.back() != '/')) file += '\\';
  return file + name;
}

automation::Ref<Recipients> Database::CreateTable(const std::string& Path, const std::string& Name,
                                                  const std::vector<FieldStruct>& audtFields,
                                                  const std::vector<IndexStruct>& audtIndex,
                                                  const std::optional<AccessModeType>& AccessMode,
                                                  const std::optional<std::string>& Index) {
  return Traced("CreateTable", [&] {
    if (session_ == 0) throw Error(kErrNotOpen, {}, Text(kTextNoSession));
    TableHolder table(Traced("CreatePVTable", [&] {
      const SafetyOn safety(session_);
      const auto page = support::CurrentCodePage();
      engine::code4codePage(session_, page);
      std::vector<engine::FieldRecord> fields;
      for (const FieldStruct& field : audtFields) fields.push_back(FieldRecordOf(field, *page));
      std::vector<engine::TagRecord> tags;
      for (const IndexStruct& index : audtIndex) tags.push_back(TagRecordOf(index, *page));
      ApplyAccessMode(session_, AccessMode);
      engine::code4errorCode(session_, 0);
      const engine::Handle created = engine::d4create(session_, FileName(Path, Name), fields, tags);
      LogSessionNotices(session_, "CreateTable");
      RaisePendingError(session_);
      return created;
    }));
    if (table.get() == 0) throw Error(kErrOpenFailed, {}, Text(kTextOpenFailed));
    return CursorOver(session_, &table, Index);
  });
}

StateConstants Database::GetState() const {
  return session_ != 0 ? StateConstants::kIsOpen : StateConstants::kIsClosed;
}

void Database::SetLogging(LogLevel enumLogLevel, const std::string& sLogFile) {
  if (enumLogLevel == LogLevel::kNoLog) {
    support::StopLog();
    return;
  }
  std::string file = sLogFile;
  if (file.empty()) {
    platform::Process* const process = platform::CurrentSystem().process;
    file = FileName({}, process->HostName() + ".log");
  }
  support::OpenLog(file, static_cast<std::int32_t>(enumLogLevel));
}

automation::Ref<Recipients> Database::OpenTable(const std::string& Path, const std::string& Name,
                                                const std::optional<AccessModeType>& AccessMode,
                                                const std::optional<std::string>& Index) {
  return Traced("OpenTable", [&] {
    if (session_ == 0) throw Error(kErrNotOpen, {}, Text(kTextNoSession));
    ApplyAccessMode(session_, AccessMode);
    engine::code4errorCode(session_, 0);
    TableHolder table(engine::d4open(session_, FileName(Path, Name)));
    LogSessionNotices(session_, "OpenTable");
    RaisePendingError(session_);
    if (table.get() == 0) throw Error(kErrOpenFailed, {}, Text(kTextOpenFailed));
    return CursorOver(session_, &table, Index);
  });
}

bool Database::CompactTable(const std::string& Path, const std::string& Name) {
  return Traced("CompactTable", [&] {
    if (session_ == 0) throw Error(kErrNotOpen, {}, Text(kTextNoSession));
    engine::code4accessMode(session_, static_cast<std::int32_t>(AccessModeType::kExclusive));
    engine::code4errorCode(session_, 0);
    TableHolder table(engine::d4open(session_, FileName(Path, Name)));
    LogSessionNotices(session_, "CompactTable");
    const std::int32_t opened = engine::code4errorCode(session_, 0);
    if (table.get() == 0) {
      throw Error(opened < 0 ? opened : std::int32_t{kErrCompactFailed}, {},
                  Text(kTextCompactFailed));
    }
    const std::int32_t packed = engine::d4pack(table.get());
    LogSessionNotices(session_, "CompactTable");
    if (packed == engine::kUniqueKey) throw Error(packed, {}, Text(kTextCompactDuplicate));
    if (packed == engine::kLocked) throw Error(packed, {}, Text(kTextCompactLocked));
    RaisePendingError(session_);
    if (packed != engine::kSuccess) {
      throw Error(packed < 0 ? packed : std::int32_t{kErrCompactFailed}, {},
                  Text(kTextCompactFailed));
    }
    if (engine::d4close(table.Release()) != engine::kSuccess) RaisePendingError(session_);
    return true;
  });
}

const automation::MemberTable& Database::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Property("Fields", &Database::GetFields, &Database::SetFields)
          .Method("CreateTable", &Database::CreateTable,
                  {"Path", "Name", "audtFields", "audtIndex", "AccessMode", "Index"})
          .Get("State", &Database::GetState)
          .Method("SetLogging", &Database::SetLogging, {"enumLogLevel", "sLogFile"})
          .Method("OpenTable", &Database::OpenTable, {"Path", "Name", "AccessMode", "Index"})
          .Method("CompactTable", &Database::CompactTable, {"Path", "Name"});
  return table;
}

}  // namespace pv::tablestore

// The flat operations on sessions and tables. Tested by operations_test.cc.
#include "tablestore/engine/operations.h"

#include <algorithm>
#include <cstring>

#include "base/date.h"
#include "base/text.h"
#include "tablestore/engine/error_codes.h"
#include "tablestore/engine/handles.h"
#include "tablestore/engine/repair.h"
#include "tablestore/engine/session.h"
#include "tablestore/engine/table.h"

namespace pv::engine {
namespace {

Session* FindSession(Handle handle) {
  const auto* target = HandleRegistry::OfThisThread().Find(handle, HandleKind::kSession);
  return target == nullptr ? nullptr : static_cast<Session*>(target->object);
}

Table* FindTable(Handle handle) {
  const auto* target = HandleRegistry::OfThisThread().Find(handle, HandleKind::kTable);
  return target == nullptr ? nullptr : static_cast<Table*>(target->object);
}

void RemoveHandles(Table* table) {
  HandleRegistry& registry = HandleRegistry::OfThisThread();
  for (const Handle h : table->field_handles) registry.Remove(h);
  for (const Handle h : table->tag_handles) registry.Remove(h);
  registry.Remove(table->handle);
}

Handle AdoptTable(Session* session, std::unique_ptr<Table> table) {
  HandleRegistry& registry = HandleRegistry::OfThisThread();
  bool full = false;
  const auto add = [&](HandleKind kind, std::size_t index) {
    const Handle h = registry.Add(kind, table.get(), static_cast<std::uint32_t>(index));
    full = full || h == 0;
    return h;
  };
  table->handle = add(HandleKind::kTable, 0);
  for (std::size_t i = 0; i < table->layout().fields.size(); ++i) {
    table->field_handles.push_back(add(HandleKind::kField, i));
  }
  for (std::size_t i = 0; i < table->tags().size(); ++i) {
    table->tag_handles.push_back(add(HandleKind::kTag, i));
  }
  if (full) {
    RemoveHandles(table.get());
    session->Fail({StatusCode::kLimit, "too many handles are in use", kErrOutOfMemory});
    return 0;
  }
  const Handle handle = table->handle;
  session->tables.push_back(std::move(table));
  return handle;
}

std::int32_t ToCode(std::uint32_t n) {
  return static_cast<std::int32_t>(std::min<std::uint32_t>(n, 0x7FFFFFFF));
}

}  // namespace

Handle code4initVB() {
  auto session = std::make_unique<Session>();
  const Handle handle = HandleRegistry::OfThisThread().Add(HandleKind::kSession, session.get());
  if (handle != 0) session.release();  // the registry's entry owns it until code4initUndo
  return handle;
}

std::int32_t code4initUndo(Handle handle) {
  Session* const session = FindSession(handle);
  if (session == nullptr) return kErrBadHandle;
  std::int32_t first = kSuccess;
  for (const auto& table : session->tables) {
    RemoveHandles(table.get());
    const std::int32_t code = session->Fail(table->Close());
    if (first == kSuccess) first = code;
  }
  HandleRegistry::OfThisThread().Remove(handle);
  delete session;
  return first;
}

std::int32_t code4errOff(Handle session, std::int32_t) {
  return FindSession(session) == nullptr ? std::int32_t{kErrBadHandle} : 0;
}

std::int32_t code4errDefaultUnique(Handle session, std::int32_t) {
  // Reporting is the only reaction there is.
  return FindSession(session) == nullptr ? std::int32_t{kErrBadHandle} : std::int32_t{kUniqueKey};
}

std::int32_t code4compatibility(Handle session, std::int32_t) {
  // Version 0x30 is the only format that is created.
  return FindSession(session) == nullptr ? std::int32_t{kErrBadHandle} : 30;
}

std::int32_t code4logOpenOff(Handle session) {
  return FindSession(session) == nullptr ? std::int32_t{kErrBadHandle} : 0;
}

std::int32_t u4switch() {
  // Bit 0: shared access; bit 1: compound index; bit 2: FoxPro-compatible files.
  return 7;
}

std::int32_t code4safety(Handle handle, std::int32_t on) {
  Session* const session = FindSession(handle);
  if (session == nullptr) return kErrBadHandle;
  return std::exchange(session->safety, on != 0) ? 1 : 0;
}

std::int32_t code4accessMode(Handle handle, std::int32_t mode) {
  Session* const session = FindSession(handle);
  if (session == nullptr) return kErrBadHandle;
  const auto previous = static_cast<std::int32_t>(session->access_mode);
  if (mode >= 0 && mode <= 2) session->access_mode = static_cast<AccessMode>(mode);
  return previous;
}

std::int32_t code4errorCode(Handle handle, std::int32_t new_code) {
  Session* const session = FindSession(handle);
  return session == nullptr ? std::int32_t{kErrBadHandle} : session->TakeErrorCode(new_code);
}

const char* error4text(Handle handle, std::int32_t code) {
  Session* const session = FindSession(handle);
  return session == nullptr ? ErrorMessage(code) : session->ErrorText(code);
}

void code4codePage(Handle handle, std::shared_ptr<const CodePage> page) {
  if (Session* const session = FindSession(handle); session != nullptr && page != nullptr) {
    session->page = std::move(page);
  }
}

void code4lockWait(Handle handle, std::uint32_t milliseconds) {
  if (Session* const session = FindSession(handle)) session->lock_wait_ms = milliseconds;
}

void code4ignoreIndex(Handle handle, std::int32_t on) {
  if (Session* const session = FindSession(handle)) session->ignore_index = on != 0;
}

std::vector<std::string> code4takeNotices(Handle handle) {
  Session* const session = FindSession(handle);
  return session == nullptr ? std::vector<std::string>() : session->TakeNotices();
}

Handle d4create(Handle handle, std::string_view name, const std::vector<FieldRecord>& fields,
                const std::vector<TagRecord>& tags) {
  Session* const session = FindSession(handle);
  if (session == nullptr) return 0;
  std::vector<NewField> new_fields;
  for (const FieldRecord& f : fields) {
    new_fields.push_back({f.name, static_cast<char>(f.type), f.length, f.decimals, f.nulls != 0});
  }
  const std::string path(name);
  Status s = Table::Create(session, path, new_fields, tags, !session->safety);
  if (!s.ok()) {
    session->Fail(s);
    return 0;
  }
  return d4open(handle, name);
}

Handle d4open(Handle handle, std::string_view name) {
  Session* const session = FindSession(handle);
  if (session == nullptr) return 0;
  auto table = Table::Open(session, std::string(name), session->access_mode);
  if (!table.ok()) {
    session->Fail(table.status());
    return 0;
  }
  return AdoptTable(session, std::move(*table));
}

std::int32_t d4close(Handle handle) {
  Table* const table = FindTable(handle);
  if (table == nullptr) return kErrBadHandle;
  Session* const session = table->session();
  const std::int32_t code = session->Fail(table->Close());
  RemoveHandles(table);
  std::erase_if(session->tables, [table](const auto& t) { return t.get() == table; });
  return code;
}

Handle d4tag(Handle handle, std::string_view tag_name) {
  Table* const table = FindTable(handle);
  if (table == nullptr) return 0;
  const int tag = table->FindTag(tag_name);
  return tag < 0 ? 0 : table->tag_handles[static_cast<std::size_t>(tag)];
}

std::int32_t d4tagSelect(Handle handle, Handle tag) {
  Table* const table = FindTable(handle);
  if (table == nullptr) return kErrBadHandle;
  if (tag == 0) {
    table->SelectTag(-1);
    return kSuccess;
  }
  const auto* target = HandleRegistry::OfThisThread().Find(tag, HandleKind::kTag);
  if (target == nullptr || target->object != table) {
    return table->session()->Fail(
        {StatusCode::kInvalid, "the tag is not of this table", kErrBadHandle});
  }
  table->SelectTag(static_cast<int>(target->index));
  return kSuccess;
}

#define PV_ON_TABLE(handle, expression)       \
  Table* const table = FindTable(handle);     \
  if (table == nullptr) return kErrBadHandle; \
  return (expression)

std::int32_t d4top(Handle handle) { PV_ON_TABLE(handle, table->Top()); }
std::int32_t d4bottom(Handle handle) { PV_ON_TABLE(handle, table->Bottom()); }
std::int32_t d4skip(Handle handle, std::int32_t count) { PV_ON_TABLE(handle, table->Skip(count)); }
std::int32_t d4go(Handle handle, std::int32_t record) { PV_ON_TABLE(handle, table->Go(record)); }
std::int32_t d4bof(Handle handle) { PV_ON_TABLE(handle, table->bof() ? 1 : 0); }
std::int32_t d4eof(Handle handle) { PV_ON_TABLE(handle, table->eof() ? 1 : 0); }
std::int32_t d4goEof(Handle handle) { PV_ON_TABLE(handle, (table->GoEof(), 0)); }
std::int32_t d4seek(Handle handle, std::string_view text) {
  PV_ON_TABLE(handle, table->Seek(text));
}
std::int32_t d4seekNext(Handle handle, std::string_view text) {
  PV_ON_TABLE(handle, table->SeekNext(text));
}
std::int32_t d4recNoLow(Handle handle) {
  PV_ON_TABLE(handle, table->record_number() == 0 ? -1 : ToCode(table->record_number()));
}
std::int32_t d4appendStart(Handle handle, std::int32_t) {
  PV_ON_TABLE(handle, (table->AppendStart(), 0));
}
std::int32_t d4append(Handle handle) { PV_ON_TABLE(handle, table->Append()); }
std::int32_t d4writeVB(Handle handle, std::int32_t record) {
  PV_ON_TABLE(handle, table->Write(record));
}
std::int32_t d4delete(Handle handle) { PV_ON_TABLE(handle, table->Delete()); }
std::int32_t d4recall(Handle handle) { PV_ON_TABLE(handle, (table->Recall(), 0)); }
std::int32_t d4pack(Handle handle) { PV_ON_TABLE(handle, table->Pack()); }
std::int32_t d4reindex(Handle handle) { PV_ON_TABLE(handle, table->Reindex()); }
std::int32_t d4flush(Handle handle) { PV_ON_TABLE(handle, table->session()->Fail(table->Flush())); }
std::int32_t d4deleted(Handle handle) {
  PV_ON_TABLE(handle, table->has_record() && table->record()[0] == kDeletedMark ? 1 : 0);
}
std::int32_t d4numFields(Handle handle) {
  PV_ON_TABLE(handle, static_cast<std::int32_t>(table->layout().fields.size()));
}
std::int32_t d4bulkStart(Handle handle) { PV_ON_TABLE(handle, table->BulkStart()); }
std::int32_t d4bulkEnd(Handle handle) { PV_ON_TABLE(handle, table->BulkEnd()); }

#undef PV_ON_TABLE

std::int32_t d4recCountDo(Handle handle) {
  Table* const table = FindTable(handle);
  if (table == nullptr) return kErrBadHandle;
  auto count = table->RecordCount();
  return count.ok() ? ToCode(*count) : table->session()->Fail(count.status());
}

Handle d4fieldJ(Handle handle, std::int32_t j) {
  Table* const table = FindTable(handle);
  if (table == nullptr || j < 1 || static_cast<std::size_t>(j) > table->field_handles.size()) {
    return 0;
  }
  return table->field_handles[static_cast<std::size_t>(j) - 1];
}

Handle d4field(Handle handle, std::string_view name) {
  Table* const table = FindTable(handle);
  if (table == nullptr) return 0;
  const auto& fields = table->layout().fields;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (EqualsIgnoreCase(fields[i].name, name)) return table->field_handles[i];
  }
  return 0;
}

std::shared_ptr<const CodePage> d4codePage(Handle handle) {
  Table* const table = FindTable(handle);
  return table == nullptr ? nullptr : table->layout().page;
}

const std::uint8_t* d4record(Handle handle, std::uint32_t* length) {
  Table* const table = FindTable(handle);
  if (table == nullptr || !table->has_record()) return nullptr;
  *length = table->layout().record_length;
  return table->record();
}

std::int32_t date4long(std::string_view yyyymmdd) {
  if (TrimBlanks(yyyymmdd).empty()) return 0;
  const auto date = ParseDigits(yyyymmdd.substr(0, 8));
  return date ? JulianFromDate(*date) : -1;
}

void date4assignLow(char* buffer9, std::int32_t julian, std::int32_t) {
  const auto date = DateFromJulian(julian);
  const std::string text = date ? FormatDigits(*date) : std::string(8, ' ');
  std::memcpy(buffer9, text.c_str(), 9);
}

TableInfo d4info(Handle handle) {
  Table* const table = FindTable(handle);
  return table == nullptr ? TableInfo() : table->Info();
}

std::int32_t d4repair(Handle handle, std::string_view name, std::string_view new_name,
                      RepairReport* report, const std::vector<TagRecord>& expected) {
  Session* const session = FindSession(handle);
  if (session == nullptr) return kErrBadHandle;
  return session->Fail(
      RepairTable(session, std::string(name), std::string(new_name), expected, report));
}

TableCheck d4check(Handle handle) {
  Table* const table = FindTable(handle);
  if (table != nullptr) return table->Check();
  TableCheck check;
  check.findings.emplace_back(ErrorMessage(kErrBadHandle));
  return check;
}

}  // namespace pv::engine

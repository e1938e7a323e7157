// The cursor's binding, record buffer and editing. Tested by recipients_edit_test.cc.
#include "pvgroupman/tablestore/recipients.h"

#include "pvgroupman/automation/member_table.h"
#include "tablestore/field_access.h"
#include "tablestore/recipients_impl.h"
#include "tablestore/traced.h"

namespace pv::tablestore {

using automation::Error;
using automation::Value;

void LogSessionNotices(engine::Handle session, const char* label) {
  for (const std::string& notice : engine::code4takeNotices(session)) {
    support::Log(label, notice, support::kLogErrors);
  }
}

void RaisePendingError(engine::Handle session) {
  const std::int32_t code = engine::code4errorCode(session, 0);
  if (code < 0) throw Error(code, {}, EngineErrorText(session, code));
}

void Recipients::Impl::RequireOpen() const {
  if (session == 0 || table == 0) throw Error(kErrNotOpen, {}, Text(kTextNotOpen));
}

void Recipients::Impl::ReadRecordBuffer(bool with_values) {
  try {
    view->Show(with_values ? RecordView::Shows::kRecord : RecordView::Shows::kNewRecord);
  } catch (const Error& e) {
    LogError("ReadRecordBuffer", e);
    throw;
  }
}

void Recipients::Impl::ClearRecordBuffer() { view->Clear(); }

void Recipients::Impl::BeginMove() {
  adding = false;
  RequireOpen();
  ClearRecordBuffer();
}

void Recipients::Impl::RaiseOther(std::int32_t code, ResourceString text, bool engine_text) const {
  const std::int32_t pending = engine::code4errorCode(session, 0);
  if (code >= 0 && pending < 0) code = pending;
  std::string description = Text(text);
  if (engine_text && code < 0) description = EngineErrorText(session, code);
  throw Error(code, {}, description);
}

void Recipients::Impl::LogNotices(const char* label) const {
  if (support::LogsAt(support::kLogErrors)) LogSessionNotices(session, label);
}

Recipients::Recipients() : impl_(std::make_unique<Impl>()) {}

Recipients::~Recipients() = default;

automation::Ref<Fields> Recipients::GetFields() {
  if (!impl_->fields) SetFields(automation::MakeObject<Fields>());
  return impl_->fields;
}

void Recipients::SetFields(const automation::Ref<Fields>& NewValue) {
  impl_->fields = NewValue ? NewValue : automation::MakeObject<Fields>();
  if (impl_->view) impl_->view->SetFields(impl_->fields);
}

bool Recipients::CreateInst(std::int32_t pSession, std::int32_t pTable) {
  return Traced("Table::CreateInst", [&] {
    impl_->view = nullptr;
    impl_->adding = false;
    impl_->session = pSession;
    impl_->table = pTable;
    if (pTable != 0) impl_->view = std::make_unique<TableRecordView>(pSession, pTable, GetFields());
    return true;
  });
}

StateConstants Recipients::GetState() const {
  return impl_->table != 0 ? StateConstants::kIsOpen : StateConstants::kIsClosed;
}

std::int32_t Recipients::GetTableHandle() const { return impl_->table; }

Value Recipients::AddNew() {
  return Traced("AddNew", [&] {
    impl_->RequireOpen();
    impl_->adding = true;
    impl_->ClearRecordBuffer();
    impl_->ReadRecordBuffer(false);
    return Value();
  });
}

Value Recipients::Update() {
  return Traced("Update", [&] {
    Impl& cursor = *impl_;
    cursor.RequireOpen();
    const engine::Handle table = cursor.table;
    TableRecordView& view = *cursor.view;
    if (!cursor.adding && view.shows() == RecordView::Shows::kNothing) {
      throw Error(kErrNoCurrentRecord, {}, Text(kTextNoCurrentRecord));
    }
    view.KeepOthers();
    engine::code4errorCode(cursor.session, 0);
    if (cursor.adding) {
      engine::d4appendStart(table, 0);
      cursor.RaisePending();
    }
    engine::d4recall(table);
    const auto& columns = view.columns();
    for (std::size_t i = 0; i < columns.size(); ++i) {
      const Value* const value = view.Pending(static_cast<std::int32_t>(i), cursor.adding);
      if (value == nullptr) continue;
      StoreField(columns[i], *value, view.page());
    }
    // A value that a field cannot hold must not leave the rest of the record behind.
    cursor.RaisePending();
    const std::int32_t code = cursor.adding ? engine::d4append(table)
                                            : engine::d4writeVB(table, engine::d4recNoLow(table));
    cursor.RaisePending();
    if (code == engine::kUniqueKey) throw Error(code, {}, Text(kTextDuplicateKey));
    if (code == engine::kLocked) throw Error(code, {}, Text(kTextRecordLocked));
    if (code != engine::kSuccess) throw Error(code, {}, Text(kTextUpdateFailed));
    cursor.adding = false;
    view.MarkWritten();
    cursor.LogNotices("Update");
    return Value();
  });
}

bool Recipients::Delete() {
  return Traced("Delete", [&] {
    impl_->RequireOpen();
    engine::code4errorCode(impl_->session, 0);
    const std::int32_t code = engine::d4delete(impl_->table);
    impl_->RaisePending();
    if (code == engine::kLocked) throw Error(code, {}, Text(kTextRecordLocked));
    if (code != engine::kSuccess) throw Error(code, {}, Text(kTextNoCurrentRecord));
    impl_->LogNotices("Delete");
    return true;
  });
}

bool Recipients::CloseTable() {
  return Traced("CloseTable", [&] {
    impl_->RequireOpen();
    TableRecordView::DetachTable(impl_->table);
    engine::code4errorCode(impl_->session, 0);
    const std::int32_t code = engine::d4close(impl_->table);
    if (code != engine::kSuccess) {
      impl_->RaisePending();
      throw Error(code, {}, Text(kTextCloseFailed));
    }
    impl_->view = nullptr;
    impl_->table = 0;
    impl_->adding = false;
    return true;
  });
}

const automation::MemberTable& Recipients::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Property("Fields", &Recipients::GetFields, &Recipients::SetFields)
          .Method("CreateInst", &Recipients::CreateInst, {"pSession", "pTable"})
          .Get("State", &Recipients::GetState)
          .Get("TableHandle", &Recipients::GetTableHandle)
          .Method("AddNew", &Recipients::AddNew)
          .Method("Update", &Recipients::Update)
          .Method("Delete", &Recipients::Delete)
          .Method("MoveFirst", &Recipients::MoveFirst)
          .Method("Find", &Recipients::Find,
                  {"sCriteria", "lSkipRows", "lSearchDirection", "vStart"})
          .Method("SeekFirst", &Recipients::SeekFirst, {"sValue", "sIndex"})
          .Method("Move", &Recipients::Move, {"NumRecords"})
          .Method("MoveNext", &Recipients::MoveNext)
          .Method("MovePrev", &Recipients::MovePrev)
          .Method("MoveLast", &Recipients::MoveLast)
          .Get("BOF", &Recipients::IsBof)
          .Get("EOF", &Recipients::IsEof)
          .Get("RecordCount", &Recipients::GetRecordCount)
          .Get("RecordNo", &Recipients::GetRecordNo)
          .Method("CloseTable", &Recipients::CloseTable);
  return table;
}

}  // namespace pv::tablestore

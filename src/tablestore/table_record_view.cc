// The engine's record as Fields. Tested by record_view_test.cc.
#include "tablestore/table_record_view.h"

#include <utility>

#include "tablestore/field_access.h"

namespace pv::tablestore {
namespace {

thread_local TableRecordView* first_view = nullptr;

}  // namespace

TableRecordView::TableRecordView(engine::Handle session, engine::Handle table,
                                 automation::Ref<Fields> fields)
    : RecordView(std::move(fields)),
      session_(session),
      table_(table),
      page_(engine::d4codePage(table)) {
  if (page_ == nullptr) page_ = CodePage::Windows1252();
  std::vector<std::string> names;
  const std::int32_t count = engine::d4numFields(table);
  for (std::int32_t j = 1; j <= count; ++j) {
    Column column;
    column.field = engine::d4fieldJ(table, j);
    column.letter = static_cast<char>(engine::f4type(column.field));
    column.width = engine::f4len_v(column.field);
    column.nullable = engine::f4nullable(column.field) != 0;
    column.name = FieldName(column.field, *page_);
    if (!IsKnownLetter(column.letter) && unknown_letter_ == 0) unknown_letter_ = column.letter;
    names.push_back(column.name);
    columns_.push_back(std::move(column));
  }
  SetNames(std::move(names));
  for (TableRecordView* view = first_view; view != nullptr; view = view->next_) {
    if (view->table_ == table_) view->shares_table_ = shares_table_ = true;
  }
  next_ = first_view;
  if (next_ != nullptr) next_->previous_ = this;
  first_view = this;
}

TableRecordView::~TableRecordView() {
  Finish();
  (previous_ != nullptr ? previous_->next_ : first_view) = next_;
  if (next_ != nullptr) next_->previous_ = previous_;
}

void TableRecordView::Read(std::int32_t ordinal, automation::Value* value) const {
  ReadField(session_, columns_[static_cast<std::size_t>(ordinal)], *page_, value);
}

void TableRecordView::Clear() {
  if (shares_table_) KeepOthers();
  RecordView::Clear();
}

void TableRecordView::Show(Shows what) {
  if (what == Shows::kRecord && unknown_letter_ != 0) {
    RaiseUnknownLetter(unknown_letter_);
  }
  RecordView::Show(what);
}

void TableRecordView::KeepOthers() {
  if (!shares_table_) return;
  for (TableRecordView* view = first_view; view != nullptr; view = view->next_) {
    if (view != this && view->table_ == table_) view->Keep();
  }
}

void TableRecordView::DetachSession(engine::Handle session) {
  for (TableRecordView* view = first_view; view != nullptr; view = view->next_) {
    if (view->session_ == session) view->Detach();
  }
}

void TableRecordView::DetachTable(engine::Handle table) {
  for (TableRecordView* view = first_view; view != nullptr; view = view->next_) {
    if (view->table_ == table) view->Detach();
  }
}

}  // namespace pv::tablestore

// Connecting Fields with the engine's record buffer. Tested by record_view_test.cc.
#include "tablestore/record_view.h"

#include <exception>
#include <utility>

#include "pvgroupman/automation/error.h"
#include "tablestore/field_access.h"
#include "tablestore/resource_strings.h"

namespace pv::tablestore {
namespace {

thread_local RecordView* first_view = nullptr;

}  // namespace

RecordView::RecordView(engine::Handle session, engine::Handle table, automation::Ref<Fields> fields)
    : session_(session),
      table_(table),
      fields_(std::move(fields)),
      page_(engine::d4codePage(table)) {
  if (page_ == nullptr) page_ = CodePage::Windows1252();
  const std::int32_t count = engine::d4numFields(table);
  for (std::int32_t j = 1; j <= count; ++j) {
    Column column;
    column.field = engine::d4fieldJ(table, j);
    column.letter = static_cast<char>(engine::f4type(column.field));
    column.width = engine::f4len_v(column.field);
    column.name = FieldName(column.field, *page_);
    if (!IsKnownLetter(column.letter) && unknown_letter_ == 0) unknown_letter_ = column.letter;
    ordinals_.emplace(column.name, j - 1);
    columns_.push_back(std::move(column));
  }
  cache_.resize(columns_.size());
  is_handed_out_.resize(columns_.size());
  for (RecordView* view = first_view; view != nullptr; view = view->next_) {
    if (view->table_ == table_) view->shares_table_ = shares_table_ = true;
  }
  next_ = first_view;
  if (next_ != nullptr) next_->previous_ = this;
  first_view = this;
}

RecordView::~RecordView() {
  if (fields_->reference_count() > 1) {
    Detach();
  } else {
    ReleaseHeld();
    if (fields_->view_ == this) fields_->view_ = nullptr;
  }
  (previous_ != nullptr ? previous_->next_ : first_view) = next_;
  if (next_ != nullptr) next_->previous_ = previous_;
}

std::int32_t RecordView::OrdinalOf(std::string_view name) const {
  if (shows_ == Shows::kNothing) return -1;
  for (std::size_t i = last_found_; i < columns_.size() && i < last_found_ + 2; ++i) {
    if (columns_[i].name == name) return static_cast<std::int32_t>(last_found_ = i);
  }
  const auto at = ordinals_.find(name);
  if (at == ordinals_.end()) return -1;
  last_found_ = static_cast<std::size_t>(at->second);
  return at->second;
}

const automation::Ref<Field>& RecordView::FieldAt(std::int32_t ordinal) {
  const auto i = static_cast<std::size_t>(ordinal);
  automation::Ref<Field>& field = cache_[i];
  if (!field) {
    field = automation::MakeObject<Field>();
    field->name_ = columns_[i].name;
    field->view_ = this;
    field->ordinal_ = ordinal;
  }
  if (!is_handed_out_[i]) {
    is_handed_out_[i] = true;
    handed_out_.push_back(ordinal);
  }
  return field;
}

const automation::Value& RecordView::ValueOf(const Field& field) const {
  if (field.decoded_ == epoch_) return field.value_;
  if (shows_ == Shows::kRecord) {
    ReadField(session_, columns_[static_cast<std::size_t>(field.ordinal_)], *page_, &field.value_);
  } else {
    field.value_ = {};
  }
  field.decoded_ = epoch_;
  return field.value_;
}

void RecordView::Assign(Field& field, const automation::Value& value) {
  field.value_ = value;
  field.decoded_ = epoch_;
  field.assigned_ = epoch_;
}

// A field that the host holds keeps its value; one that cannot be read any more is left Empty, as
// there is nobody to tell.
void RecordView::LetGo(Field& field) {
  try {
    ValueOf(field);
  } catch (const std::exception&) {
    field.value_ = {};
  }
  field.set_by_host_ = field.assigned_ == epoch_;
  field.view_ = nullptr;
}

void RecordView::ReleaseHeld() {
  for (const std::int32_t ordinal : handed_out_) {
    const auto i = static_cast<std::size_t>(ordinal);
    is_handed_out_[i] = false;
    if (!cache_[i] || cache_[i]->reference_count() == 1) continue;
    LetGo(*cache_[i]);
    cache_[i] = nullptr;
  }
  handed_out_.clear();
}

void RecordView::Connect() {
  if (fields_->view_ == this) return;
  if (fields_->view_ != nullptr) fields_->view_->Detach();
  fields_->items_.Clear();
  fields_->view_ = this;
}

void RecordView::Clear() {
  if (shares_table_) KeepOthers();
  ReleaseHeld();
  shows_ = Shows::kNothing;
  ++epoch_;
  Connect();
}

void RecordView::Show(Shows what) {
  if (what == Shows::kRecord && unknown_letter_ != 0) {
    RaiseUnknownLetter(unknown_letter_);
  }
  shows_ = what;
}

void RecordView::Keep() {
  for (std::int32_t i = 0; i < Count() && fields_->view_ == this; ++i) {
    try {
      ValueOf(*FieldAt(i));
    } catch (const std::exception&) {
      // It stays to be decoded, and fails when it is asked for.
    }
  }
}

void RecordView::KeepOthers() {
  if (!shares_table_) return;
  for (RecordView* view = first_view; view != nullptr; view = view->next_) {
    if (view != this && view->table_ == table_) view->Keep();
  }
}

void RecordView::Detach() {
  if (fields_->view_ != this) return;
  for (std::int32_t i = 0; i < Count(); ++i) {
    const automation::Ref<Field> field = FieldAt(i);
    LetGo(*field);
    if (fields_->items_.Find(field->name_) == nullptr) fields_->items_.Add(field->name_, field);
    cache_[static_cast<std::size_t>(i)] = nullptr;
  }
  ReleaseHeld();
  fields_->view_ = nullptr;
}

void RecordView::SetFields(automation::Ref<Fields> fields) {
  Detach();
  fields_ = std::move(fields);
}

const automation::Value* RecordView::Pending(std::int32_t ordinal, bool adding) const {
  static const automation::Value kEmpty;
  const auto i = static_cast<std::size_t>(ordinal);
  if (fields_->view_ == this) {
    const Field* const field = cache_[i].get();
    if (field != nullptr && field->assigned_ == epoch_) return &field->value_;
    return adding ? &kEmpty : nullptr;
  }
  const automation::Ref<automation::Object>* item = fields_->items_.Find(columns_[i].name);
  if (item == nullptr) automation::RaiseObjectNotSet();
  const auto* field = static_cast<const Field*>(item->get());
  return adding || field->set_by_host_ ? &field->Current() : nullptr;
}

void RecordView::MarkWritten() {
  for (const automation::Ref<Field>& field : cache_) {
    if (field) field->assigned_ = 0;
  }
  if (fields_->view_ == this) return;
  for (std::int32_t i = 0; i < fields_->items_.Count(); ++i) {
    static_cast<Field*>(fields_->items_.At(i).get())->set_by_host_ = false;
  }
}

void RecordView::DetachSession(engine::Handle session) {
  for (RecordView* view = first_view; view != nullptr; view = view->next_) {
    if (view->session_ == session) view->Detach();
  }
}

void RecordView::DetachTable(engine::Handle table) {
  for (RecordView* view = first_view; view != nullptr; view = view->next_) {
    if (view->table_ == table) view->Detach();
  }
}

}  // namespace pv::tablestore

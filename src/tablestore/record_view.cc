// Connecting Fields with a cursor's record. Tested by record_view_test.cc.
#include "tablestore/record_view.h"

#include <exception>
#include <utility>

#include "pvgroupman/automation/error.h"

namespace pv::tablestore {

void RecordView::SetNames(std::vector<std::string> names) {
  names_ = std::move(names);
  for (std::size_t i = 0; i < names_.size(); ++i) {
    ordinals_.emplace(names_[i], static_cast<std::int32_t>(i));
  }
  spellings_ = names_;
  cache_.resize(names_.size());
  is_handed_out_.resize(names_.size());
}

void RecordView::Finish() {
  if (fields_->reference_count() > 1) {
    Detach();
  } else {
    ReleaseHeld();
    if (fields_->view_ == this) fields_->view_ = nullptr;
  }
}

std::int32_t RecordView::OrdinalOf(std::string_view name) const {
  if (shows_ == Shows::kNothing) return -1;
  const std::size_t next = last_found_ + 1 < spellings_.size() ? last_found_ + 1 : 0;
  for (const std::size_t i : {next, last_found_}) {
    if (i < spellings_.size() && spellings_[i] == name) {
      return static_cast<std::int32_t>(last_found_ = i);
    }
  }
  const auto at = ordinals_.find(name);
  if (at == ordinals_.end()) return -1;
  last_found_ = static_cast<std::size_t>(at->second);
  spellings_[last_found_] = name;
  return at->second;
}

const automation::Ref<Field>& RecordView::FieldAt(std::int32_t ordinal) {
  const auto i = static_cast<std::size_t>(ordinal);
  automation::Ref<Field>& field = cache_[i];
  if (!field) {
    field = automation::MakeObject<Field>();
    field->name_ = names_[i];
    field->view_ = this;
    field->ordinal_ = ordinal;
  }
  if (!is_handed_out_[i]) {
    is_handed_out_[i] = 1;
    handed_out_.push_back(ordinal);
  }
  return field;
}

const automation::Value& RecordView::ValueOf(const Field& field) const {
  if (field.decoded_ == epoch_) return field.value_;
  if (shows_ == Shows::kRecord) {
    Read(field.ordinal_, &field.value_);
  } else {
    field.value_ = {};
  }
  field.decoded_ = epoch_;
  return field.value_;
}

void RecordView::Assign(Field& field, const automation::Value& value) {
  if (const auto* text = value.TryGet<std::string>()) {
    field.value_.AssignText(*text);
  } else {
    field.value_ = value;
  }
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
    is_handed_out_[i] = 0;
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
  ReleaseHeld();
  shows_ = Shows::kNothing;
  ++epoch_;
  Connect();
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

const automation::Value* RecordView::Assigned(std::int32_t ordinal, bool all) const {
  static const automation::Value kEmpty;
  const auto i = static_cast<std::size_t>(ordinal);
  if (fields_->view_ == this) {
    const Field* const field = cache_[i].get();
    if (field != nullptr && field->assigned_ == epoch_) return &field->value_;
    return all ? &kEmpty : nullptr;
  }
  const automation::Ref<automation::Object>* item = fields_->items_.Find(names_[i]);
  if (item == nullptr) automation::RaiseObjectNotSet();
  const auto* field = static_cast<const Field*>(item->get());
  return all || field->set_by_host_ ? &field->Current() : nullptr;
}

void RecordView::ForgetAssignments() {
  for (const automation::Ref<Field>& field : cache_) {
    if (field) field->assigned_ = 0;
  }
  if (fields_->view_ == this) return;
  for (std::int32_t i = 0; i < fields_->items_.Count(); ++i) {
    static_cast<Field*>(fields_->items_.At(i).get())->set_by_host_ = false;
  }
}

}  // namespace pv::tablestore

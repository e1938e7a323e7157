// Reading and changing the current row. Tested by recordset_edit_test.cc.
#include "providers/adodb/failure.h"
#include "providers/adodb/recordset.h"

namespace pv::adodb {

using automation::Value;

namespace {
constexpr std::int32_t kAffectCurrent = 1;
}

void Recordset::RequireEditor(const char* source) const {
  RequireOpen(source);
  if (!editor_) Raise(kErrNotSupported, source, "the recordset can be read only");
}

Value Recordset::FieldValue(std::size_t column) {
  constexpr const char* kSource = "Field::Value";
  RequireOpen(kSource);
  if (edit_mode_ == kEditAdd) return change_[column] ? *change_[column] : Value();
  RequireRow(kSource);
  if (edit_mode_ == kEditInProgress && change_[column]) return *change_[column];
  return Underlying(column);
}

void Recordset::SetFieldValue(std::size_t column, const Value& value) {
  constexpr const char* kSource = "Field::Value";
  RequireEditor(kSource);
  if (edit_mode_ != kEditAdd) RequireRow(kSource);
  if (value.IsObject()) automation::Raise(automation::kErrTypeMismatch, kSource);
  Value coerced = Coerced(columns_[column], value);
  if (edit_mode_ == kEditNone) {
    change_.assign(columns_.size(), std::nullopt);
    edit_mode_ = kEditInProgress;
  }
  change_[column] = std::move(coerced);
}

void Recordset::AddNew(const std::optional<Value>& FieldList, const std::optional<Value>& Values) {
  constexpr const char* kSource = "Recordset::AddNew";
  RequireEditor(kSource);
  if (FieldList.has_value() != Values.has_value()) Raise(kErrInvalidArgument, kSource);
  FinishEdit(kSource);
  change_.assign(columns_.size(), std::nullopt);
  edit_mode_ = kEditAdd;
  if (!FieldList) return;
  try {
    const auto* names = FieldList->TryGet<automation::TextArray>();
    const auto* texts = Values->TryGet<automation::TextArray>();
    if (names == nullptr) {
      if (texts != nullptr) Raise(kErrInvalidArgument, kSource);
      fields_->Item(*FieldList)->SetValue(*Values);
    } else {
      if (texts == nullptr || texts->size() != names->size()) Raise(kErrInvalidArgument, kSource);
      for (std::size_t i = 0; i < names->size(); ++i) {
        fields_->Item(Value((*names)[i]))->SetValue(Value((*texts)[i]));
      }
    }
    Update();
  } catch (const automation::Error& e) {
    CancelUpdate();
    throw e.WithSource(kSource);
  }
}

// Makes what was written the values of the current row.
void Recordset::KeepWritten(const Change& change) {
  if (!in_memory_ && written_.empty()) written_.resize(columns_.size());
  for (std::size_t i = 0; i < change.size(); ++i) {
    if (!change[i]) continue;
    if (in_memory_) {
      rows_[shown_[position_]][i] = *change[i];
    } else {
      written_[i] = *change[i];
    }
  }
}

void Recordset::Update() {
  constexpr const char* kSource = "Recordset::Update";
  RequireEditor(kSource);
  if (edit_mode_ == kEditNone) return;
  if (edit_mode_ == kEditInProgress) {
    CheckStatus(editor_->Update(CurrentRow(), change_), kSource);
    KeepWritten(change_);
    edit_mode_ = kEditNone;
    return;
  }
  Row row;
  if (lock_obtained_ == kBatchOptimistic) {
    row.assign(columns_.size(), Value::Null());
    for (std::size_t i = 0; i < change_.size(); ++i) {
      if (change_[i]) row[i] = *change_[i];
    }
    batch_.push_back(std::move(change_));
  } else {
    CheckStatus(editor_->Insert(change_, &row), kSource);
  }
  edit_mode_ = kEditNone;
  if (in_memory_) {
    if (deleted_) shown_.erase(shown_.begin() + static_cast<std::ptrdiff_t>(position_));
    LeaveRow();
    rows_.push_back(std::move(row));
    shown_.push_back(rows_.size() - 1);
    position_ = shown_.size() - 1;
  } else {
    const Place before = added_ ? before_added_ : place_;
    LeaveRow();
    before_added_ = before;
    added_ = true;
    written_.assign(row.begin(), row.end());
  }
  place_ = Place::kRow;
}

void Recordset::FinishEdit(const char* source) {
  if (edit_mode_ == kEditNone) return;
  try {
    Update();
  } catch (const automation::Error& e) {
    throw e.WithSource(source);
  }
}

void Recordset::CancelUpdate() {
  RequireOpen("Recordset::CancelUpdate");
  edit_mode_ = kEditNone;
  change_.clear();
}

void Recordset::Delete(const std::optional<std::int32_t>& AffectRecords) {
  constexpr const char* kSource = "Recordset::Delete";
  RequireEditor(kSource);
  if (AffectRecords.value_or(kAffectCurrent) != kAffectCurrent) {
    Raise(kErrNotSupported, kSource, "only the current row");
  }
  if (edit_mode_ == kEditAdd) {
    CancelUpdate();
    return;
  }
  RequireRow(kSource);
  CancelUpdate();
  CheckStatus(editor_->Delete(CurrentRow()), kSource);
  deleted_ = true;
}

void Recordset::UpdateBatch(const std::optional<std::int32_t>&) {
  constexpr const char* kSource = "Recordset::UpdateBatch";
  RequireEditor(kSource);
  FinishEdit(kSource);
  if (batch_.empty()) return;
  std::int64_t failed = -1;
  const Status written = editor_->InsertMany(batch_, &failed);
  if (!written.ok() && failed >= 0) {
    CheckStatus(Status(written.code(),
                       "row " + std::to_string(failed + 1) + " of the batch: " + written.message(),
                       written.detail()),
                kSource);
  }
  CheckStatus(written, kSource);
  batch_.clear();
}

void Recordset::CancelBatch(const std::optional<std::int32_t>&) {
  constexpr const char* kSource = "Recordset::CancelBatch";
  RequireEditor(kSource);
  CancelUpdate();
  batch_.clear();
}

}  // namespace pv::adodb

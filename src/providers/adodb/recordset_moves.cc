// Moving, finding, filtering and sorting. Tested by recordset_moves_test.cc.
#include <algorithm>
#include <cmath>

#include "providers/adodb/failure.h"
#include "providers/adodb/recordset.h"

namespace pv::adodb {

using automation::Value;

namespace {

constexpr std::int32_t kPositionUnknown = -1;
constexpr std::int32_t kPositionBof = -2;
constexpr std::int32_t kPositionEof = -3;
constexpr std::int32_t kSearchBackward = -1;

std::int32_t AsI4(std::int64_t count) {
  return static_cast<std::int32_t>(std::min<std::int64_t>(count, INT32_MAX));
}

// What GetRows gives: the type of its records lives as long as they do.
struct OwnRecords {
  automation::RecordType type;
  std::vector<std::string> names;
  automation::Records records;
};

}  // namespace

bool Recordset::GetBof() const {
  RequireOpen("Recordset::BOF");
  return edit_mode_ != kEditAdd && (place_ == Place::kBof || (empty_ && place_ != Place::kRow));
}

bool Recordset::GetEof() const {
  RequireOpen("Recordset::EOF");
  return edit_mode_ != kEditAdd && (place_ == Place::kEof || (empty_ && place_ != Place::kRow));
}

bool Recordset::Admitted() {
  return !filter_ || filter_->Matches([this](std::size_t column) { return Underlying(column); });
}

void Recordset::LeaveRow() {
  written_.clear();
  added_ = false;
  deleted_ = false;
  at_first_ = false;
}

void Recordset::Advance(const char* source) {
  for (;;) {
    LeaveRow();
    const Result<bool> next = reader_->Next();
    if (!next.ok()) CheckStatus(next.status(), source);
    if (!*next) {
      place_ = Place::kEof;
      count_ = ordinal_;
      return;
    }
    place_ = Place::kRow;
    if (!Admitted()) continue;
    ++ordinal_;
    return;
  }
}

Value Recordset::Underlying(std::size_t column) {
  if (in_memory_) return rows_[shown_[position_]][column];
  if (column < written_.size() && written_[column]) return *written_[column];
  if (added_) return Value::Null();
  Result<Value> value = reader_->Get(column);
  if (!value.ok()) CheckStatus(value.status(), "Field::Value");
  return std::move(*value);
}

Row Recordset::CurrentRow() {
  Row row(columns_.size());
  for (std::size_t i = 0; i < row.size(); ++i) row[i] = Underlying(i);
  return row;
}

// Takes the current row and all that follow it; the walk must stand on its first row, if any.
void Recordset::TakeAllRows(const char* source) {
  const std::optional<Criteria> filter = std::move(filter_);
  filter_.reset();
  while (place_ == Place::kRow) {
    rows_.push_back(CurrentRow());
    Advance(source);
  }
  filter_ = filter;
  reader_.reset();
  in_memory_ = true;
}

// Applies filter and order to the rows in memory, and stands on the first.
void Recordset::ArrangeRows() {
  shown_.clear();
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    const bool admitted =
        !filter_ || filter_->Matches([&](std::size_t column) { return rows_[i][column]; });
    if (admitted) shown_.push_back(i);
  }
  if (!sort_.empty()) {
    std::stable_sort(shown_.begin(), shown_.end(), [&](std::size_t a, std::size_t b) {
      for (const SortKey& key : sort_) {
        const int order =
            CompareValues(rows_[a][key.column], rows_[b][key.column], columns_[key.column].kind);
        if (order != 0) return key.descending ? order > 0 : order < 0;
      }
      return false;
    });
  }
  LeaveRow();
  position_ = 0;
  place_ = shown_.empty() ? Place::kEof : Place::kRow;
  empty_ = shown_.empty();
}

void Recordset::Materialise(const char* source) {
  if (in_memory_) return;
  const Place place = place_;
  const auto ordinal = static_cast<std::size_t>(ordinal_);
  const bool gone = deleted_;
  Row current;
  if (place == Place::kRow && !gone) current = CurrentRow();
  if (!at_first_ || !written_.empty() || gone || filter_) {
    // The rows before this one have gone by: they are read again.
    const std::optional<Criteria> filter = std::move(filter_);
    filter_.reset();
    Start(source);
    filter_ = filter;
  }
  if (!in_memory_) TakeAllRows(source);
  ArrangeRows();
  if (place != Place::kRow || gone) {
    place_ = place == Place::kBof ? Place::kBof : Place::kEof;
    return;
  }
  // The row that was current: at its old place, or wherever it is now.
  const auto is_current = [&](std::size_t i) { return rows_[i] == current; };
  if (ordinal >= 1 && ordinal <= shown_.size() && is_current(shown_[ordinal - 1])) {
    position_ = ordinal - 1;
    return;
  }
  const auto at = std::find_if(shown_.begin(), shown_.end(), is_current);
  if (at == shown_.end()) {
    throw automation::Error(kErrRowChanged, source,
                            "The current row was changed or deleted by somebody else.");
  }
  position_ = static_cast<std::size_t>(at - shown_.begin());
}

void Recordset::RequireScrolling(const char* source) {
  if (cursor_obtained_ == kForwardOnly) {
    throw automation::Error(kErrCannotFetchBackwards, source,
                            "A forward-only cursor cannot move backwards or by position.");
  }
  Materialise(source);
}

void Recordset::MoveFirst() {
  constexpr const char* kSource = "Recordset::MoveFirst";
  RequireOpen(kSource);
  FinishEdit(kSource);
  if (in_memory_) {
    if (deleted_) shown_.erase(shown_.begin() + static_cast<std::ptrdiff_t>(position_));
    LeaveRow();
    if (shown_.empty()) Raise(kErrNoCurrentRecord, kSource);
    position_ = 0;
    place_ = Place::kRow;
    return;
  }
  if (!(at_first_ && place_ == Place::kRow && !deleted_ && !added_)) Start(kSource);
  if (place_ != Place::kRow) Raise(kErrNoCurrentRecord, kSource);
}

void Recordset::MoveNext() {
  constexpr const char* kSource = "Recordset::MoveNext";
  RequireOpen(kSource);
  FinishEdit(kSource);
  if (place_ == Place::kEof || (empty_ && place_ == Place::kBof)) {
    Raise(kErrNoCurrentRecord, kSource);
  }
  if (!in_memory_) {
    if (added_ && before_added_ != Place::kRow) {
      LeaveRow();
      place_ = Place::kEof;
      return;
    }
    Advance(kSource);
    return;
  }
  if (place_ == Place::kBof) {
    position_ = 0;
  } else if (deleted_) {
    shown_.erase(shown_.begin() + static_cast<std::ptrdiff_t>(position_));
  } else {
    ++position_;
  }
  LeaveRow();
  place_ = position_ < shown_.size() ? Place::kRow : Place::kEof;
}

void Recordset::MovePrevious() {
  constexpr const char* kSource = "Recordset::MovePrevious";
  RequireOpen(kSource);
  FinishEdit(kSource);
  if (place_ == Place::kBof || empty_) Raise(kErrNoCurrentRecord, kSource);
  RequireScrolling(kSource);
  if (place_ == Place::kEof) position_ = shown_.size();
  if (deleted_) shown_.erase(shown_.begin() + static_cast<std::ptrdiff_t>(position_));
  LeaveRow();
  if (position_ == 0) {
    place_ = Place::kBof;
    return;
  }
  --position_;
  place_ = Place::kRow;
}

void Recordset::MoveLast() {
  constexpr const char* kSource = "Recordset::MoveLast";
  RequireOpen(kSource);
  FinishEdit(kSource);
  RequireScrolling(kSource);
  if (deleted_) shown_.erase(shown_.begin() + static_cast<std::ptrdiff_t>(position_));
  LeaveRow();
  if (shown_.empty()) Raise(kErrNoCurrentRecord, kSource);
  position_ = shown_.size() - 1;
  place_ = Place::kRow;
}

void Recordset::Move(std::int32_t NumRecords, const std::optional<Value>& Start) {
  constexpr const char* kSource = "Recordset::Move";
  RequireOpen(kSource);
  FinishEdit(kSource);
  if (Start) {
    // 0 is the current row, 1 and 2 are the first and the last.
    if (*Start == Value(1)) {
      MoveFirst();
    } else if (*Start == Value(2)) {
      MoveLast();
    } else if (!(*Start == Value(0))) {
      SetBookmark(*Start);
    }
  }
  for (std::int32_t n = NumRecords; n > 0; --n) {
    MoveNext();
    if (place_ == Place::kEof) return;
  }
  for (std::int32_t n = NumRecords; n < 0; ++n) {
    MovePrevious();
    if (place_ == Place::kBof) return;
  }
}

std::int32_t Recordset::GetRecordCount() const {
  RequireOpen("Recordset::RecordCount");
  if (!in_memory_) return AsI4(count_);
  return AsI4(static_cast<std::int64_t>(shown_.size()) - (deleted_ ? 1 : 0));
}

std::int32_t Recordset::GetAbsolutePosition() const {
  RequireOpen("Recordset::AbsolutePosition");
  if (place_ == Place::kBof) return kPositionBof;
  if (place_ == Place::kEof) return kPositionEof;
  if (in_memory_) return AsI4(static_cast<std::int64_t>(position_) + 1);
  return added_ ? kPositionUnknown : AsI4(ordinal_);
}

void Recordset::SetAbsolutePosition(std::int32_t value) {
  constexpr const char* kSource = "Recordset::AbsolutePosition";
  RequireOpen(kSource);
  FinishEdit(kSource);
  RequireScrolling(kSource);
  if (value < 1) Raise(kErrInvalidArgument, kSource);
  MoveFirst();
  if (static_cast<std::size_t>(value) > shown_.size()) {
    place_ = Place::kEof;
    return;
  }
  position_ = static_cast<std::size_t>(value) - 1;
}

Value Recordset::GetBookmark() {
  constexpr const char* kSource = "Recordset::Bookmark";
  RequireRow(kSource);
  if (cursor_obtained_ == kForwardOnly) Raise(kErrNotSupported, kSource);
  FinishEdit(kSource);
  Materialise(kSource);
  // Rows keep their number as long as the recordset is not queried again.
  return Value(static_cast<double>(shown_[position_]) + 1);
}

void Recordset::SetBookmark(const Value& value) {
  constexpr const char* kSource = "Recordset::Bookmark";
  RequireOpen(kSource);
  if (cursor_obtained_ == kForwardOnly) Raise(kErrNotSupported, kSource);
  FinishEdit(kSource);
  Materialise(kSource);
  const double number = value.ToR8() - 1;
  const auto at = std::find_if(shown_.begin(), shown_.end(),
                               [&](std::size_t row) { return static_cast<double>(row) == number; });
  const bool is_deleted = deleted_ && at - shown_.begin() == static_cast<std::ptrdiff_t>(position_);
  if (at == shown_.end() || is_deleted) Raise(kErrInvalidArgument, kSource);
  const std::size_t wanted = *at;
  MoveFirst();  // takes a deleted row out
  position_ =
      static_cast<std::size_t>(std::find(shown_.begin(), shown_.end(), wanted) - shown_.begin());
}

void Recordset::Find(const std::string& Criteria, const std::optional<std::int32_t>& SkipRecords,
                     const std::optional<std::int32_t>& SearchDirection,
                     const std::optional<Value>& Start) {
  constexpr const char* kSource = "Recordset::Find";
  RequireOpen(kSource);
  FinishEdit(kSource);
  const adodb::Criteria criteria =
      Check(adodb::Criteria::Parse(Criteria, columns_, /*single=*/true), kSource);
  const bool backward = SearchDirection.value_or(1) == kSearchBackward;
  if (Start && !(*Start == Value(0))) Move(0, Start);
  const std::int32_t skip = SkipRecords.value_or(0);
  if (skip != 0) Move(backward ? -skip : skip, std::nullopt);
  if (skip == 0 && place_ != Place::kRow) Raise(kErrNoCurrentRecord, kSource);
  while (place_ == Place::kRow) {
    if (!deleted_ && criteria.Matches([this](std::size_t c) { return Underlying(c); })) return;
    if (backward) {
      MovePrevious();
    } else {
      MoveNext();
    }
  }
}

void Recordset::SetFilter(const Value& value) {
  constexpr const char* kSource = "Recordset::Filter";
  RequireOpen(kSource);
  FinishEdit(kSource);
  std::optional<Criteria> filter;
  if (value.IsText()) {
    const std::string text = value.ToText();
    if (!TrimBlanks(text).empty()) {
      filter = Check(adodb::Criteria::Parse(text, columns_, /*single=*/false), kSource);
    }
  } else if (!(value.IsNumeric() && value.ToI4() == 0)) {
    Raise(kErrNotSupported, kSource, "only criteria and 0 (none)");
  }
  filter_ = std::move(filter);
  filter_text_ = filter_ ? value : Value(0);
  if (!in_memory_) {
    Start(kSource);
  } else {
    ArrangeRows();
  }
}

void Recordset::SetSort(const std::string& value) {
  constexpr const char* kSource = "Recordset::Sort";
  RequireOpen(kSource);
  FinishEdit(kSource);
  if (cursor_location_ != kUseClient)
    Raise(kErrNotSupported, kSource, "the cursor is the server's");
  sort_ = Check(ParseSort(value, columns_), kSource);
  sort_text_ = value;
  ArrangeRows();
}

Value Recordset::GetRows(const std::optional<std::int32_t>& Rows, const std::optional<Value>& Start,
                         const std::optional<Value>& Fields) {
  constexpr const char* kSource = "Recordset::GetRows";
  RequireOpen(kSource);
  if (Start) Move(0, Start);
  RequireRow(kSource);
  const auto own = std::make_shared<OwnRecords>();
  std::vector<std::size_t> wanted;
  const auto want = [&](const Value& index) {
    const auto field = fields_->Item(index);
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (fields_->Item(Value(static_cast<std::int32_t>(i))) == field) wanted.push_back(i);
    }
  };
  if (!Fields) {
    for (std::size_t i = 0; i < columns_.size(); ++i) wanted.push_back(i);
  } else if (const auto* names = Fields->TryGet<automation::TextArray>()) {
    for (const std::string& name : *names) want(Value(name));
  } else {
    want(*Fields);
  }
  for (const std::size_t i : wanted) own->names.push_back(columns_[i].name);
  own->type.name = "Row";
  for (const std::string& name : own->names) {
    own->type.fields.push_back({name.c_str(), {.kind = automation::TypeKind::kVariant}});
  }
  own->records.type = &own->type;
  for (std::int32_t n = Rows.value_or(-1); n != 0 && place_ == Place::kRow; --n) {
    std::vector<Value>& row = own->records.rows.emplace_back();
    for (const std::size_t i : wanted) row.push_back(FieldValue(i));
    MoveNext();
  }
  return Value(std::shared_ptr<const automation::Records>(own, &own->records));
}

}  // namespace pv::adodb

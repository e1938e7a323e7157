// Moving and seeking. Tested by navigate_test.cc.
#include <algorithm>
#include <cstring>

#include "tablestore/engine/error_codes.h"
#include "tablestore/engine/table.h"

namespace pv::engine {

void Table::LeaveRecord(Place place) {
  place_ = place;
  position_valid_ = false;
  if (memos_touched_) ForgetMemos();
}

void Table::GoEof() { LeaveRecord(Place::kEof); }

void Table::SelectTag(int tag) {
  EndWalk();
  selected_ = tag;
  position_valid_ = false;
}

// Reads the record and makes it current; a number that is not there answers kNoEntry.
std::int32_t Table::LandOnRecord(std::uint32_t record) {
  // Records never go while somebody has the table open, so only one that was not there when we
  // looked last is worth another look.
  if (record > count_) {
    if (auto count = RecordCount(); !count.ok()) return session_->Fail(count.status());
  }
  if (record < 1 || record > count_) {
    LeaveRecord(Place::kEof);
    return kNoEntry;
  }
  if (Status s = LoadRecord(record); !s.ok()) {
    LeaveRecord(Place::kEof);
    return session_->Fail(s);
  }
  return kSuccess;
}

std::int32_t Table::LandOn(const TagPosition& position, bool forward) {
  if (!position.on_entry()) {
    LeaveRecord(forward ? Place::kEof : Place::kBof);
    return forward ? kEndOfFile : kBeginOfFile;
  }
  const std::int32_t code = LandOnRecord(position.record());
  position_valid_ = code == kSuccess;
  position_follows_ = false;
  if (code != kNoEntry) return code;
  return session_->Fail({StatusCode::kCorrupt,
                         index_path_ + ": tag " + selected().tag->definition().name +
                             " leads to record " + std::to_string(position.record()) +
                             ", which is not there",
                         kErrIndexDamaged});
}

std::int32_t Table::Top() { return GoToEnd(true); }
std::int32_t Table::Bottom() { return GoToEnd(false); }

std::int32_t Table::GoToEnd(bool first) {
  EndWalk();
  empty_ = false;
  std::int32_t code = kEndOfFile;
  if (selected_ >= 0) {
    platform::RangeLock lock;
    Status s = LockIndex(platform::LockKind::kShared, false, &lock);
    Tag* const tag = selected().tag;
    if (s.ok()) s = first ? tag->First(&position_) : tag->Last(&position_);
    lock.Release();
    if (!s.ok()) {
      LeaveRecord(Place::kEof);
      return session_->Fail(s, true);
    }
    code = LandOn(position_, true);
  } else {
    auto count = RecordCount();
    if (!count.ok()) return session_->Fail(count.status());
    if (*count != 0) code = LandOnRecord(first ? 1 : *count);
  }
  if (code == kEndOfFile) {
    LeaveRecord(Place::kEof);
    empty_ = true;
  }
  return code;
}

std::int32_t Table::Go(std::int32_t record) {
  EndWalk();
  empty_ = false;
  position_valid_ = false;
  const std::int32_t code =
      record < 1 ? std::int32_t{kNoEntry} : LandOnRecord(static_cast<std::uint32_t>(record));
  if (code != kNoEntry) return code;
  LeaveRecord(Place::kEof);
  return session_->Fail(
      {StatusCode::kNotFound, path_ + " has no record " + std::to_string(record), kErrNoRecord});
}

std::int32_t Table::Skip(std::int32_t count) {
  if (place_ == Place::kAppending) LeaveRecord(Place::kEof);
  NoteStep(count);
  return selected_ >= 0 ? SkipInTag(count) : SkipNaturally(count);
}

std::int32_t Table::SkipNaturally(std::int32_t count) {
  if (count == 1 && place_ == Place::kRecord && record_number_ < count_) {
    return LandOnRecord(record_number_ + 1);
  }
  auto records = RecordCount();
  if (!records.ok()) return session_->Fail(records.status());
  std::int64_t from = record_number_;
  if (place_ == Place::kEof) from = std::int64_t{*records} + 1;
  if (place_ == Place::kBof) from = 0;
  const std::int64_t to = from + count;
  if (to > *records) {
    LeaveRecord(Place::kEof);
    return kEndOfFile;
  }
  if (to < 1) {
    LeaveRecord(Place::kBof);
    return kBeginOfFile;
  }
  return LandOnRecord(static_cast<std::uint32_t>(to));
}

// Makes position_ belong to the current record, or to the entry that follows its place when the
// tag does not have it. Under the index lock.
Status Table::FindPlaceInTag() {
  TagState& tag = selected();
  if (!tag.keys) {
    return {StatusCode::kUnsupported,
            index_path_ + ": tag " + tag.tag->definition().name +
                " cannot be entered from a record: " + tag.unusable,
            kErrIndexReadOnly};
  }
  std::array<std::uint8_t, kMaxKeyLength + 1> key;
  PV_RETURN_IF_ERROR(tag.keys->MakeKey(original_.data(), record_number_, key.data()));
  bool equal = false;
  PV_RETURN_IF_ERROR(tag.tag->SeekEntry(key.data(), record_number_, &position_, &equal));
  position_valid_ = true;
  position_follows_ = !equal;
  return {};
}

std::int32_t Table::SkipInTag(std::int32_t count) {
  // What was fetched ahead is there only as long as each step is like the one before.
  if (!ahead_->empty() && AheadIsFresh()) return StepAhead();
  Tag* const tag = selected().tag;
  const bool forward = count >= 0;
  if (count == 0) {
    return place_ == Place::kRecord ? LandOnRecord(record_number_)
                                    : (place_ == Place::kBof ? kBeginOfFile : kEndOfFile);
  }
  // A long skip holds the lock over all its steps; a single one inside a leaf needs none.
  platform::RangeLock lock;
  std::int64_t left = std::abs(std::int64_t{count});
  Status s;
  bool locked = index_is_ours();
  const auto ensure_lock = [&] {
    if (!locked) {
      s = LockIndex(platform::LockKind::kShared, false, &lock);
      locked = s.ok();
    }
    return s.ok();
  };
  if (place_ == Place::kRecord) {
    if (!position_valid_) {
      if (ensure_lock()) s = FindPlaceInTag();
      if (s.ok() && position_follows_) {
        position_follows_ = false;
        if (forward) --left;  // the entry after our place is the next one
      }
    }
  } else if (ensure_lock()) {
    const bool at_end = place_ == Place::kEof;
    if (at_end == forward) {
      LeaveRecord(forward ? Place::kEof : Place::kBof);
      return forward ? kEndOfFile : kBeginOfFile;
    }
    s = forward ? tag->First(&position_) : tag->Last(&position_);
    --left;
  }
  while (s.ok() && left > 0 && (position_.on_entry() || (!forward && position_.past_last()))) {
    if (!locked && tag->StepNeedsLock(position_, forward) && !ensure_lock()) break;
    s = forward ? tag->Next(&position_) : tag->Previous(&position_);
    --left;
  }
  lock.Release();
  if (!s.ok()) {
    LeaveRecord(Place::kEof);
    return session_->Fail(s, true);
  }
  const std::int32_t code = LandOn(position_, forward);
  if (code == kSuccess && walked_ >= kStepsOfWalk && ahead_->empty()) LookAhead(forward);
  return code;
}

std::int32_t Table::Seek(std::string_view text) { return SeekKey(text, false); }
std::int32_t Table::SeekNext(std::string_view text) { return SeekKey(text, true); }

std::int32_t Table::SeekKey(std::string_view text, bool after_current) {
  empty_ = false;
  EndWalk();
  if (selected_ < 0 || !selected().keys) return kNoEntry;
  TagState& state = selected();
  const TagDefinition& definition = state.tag->definition();
  std::array<std::uint8_t, kMaxKeyLength + 1> key{};
  std::size_t exact = 0;
  const bool is_value = state.keys->KeyFromText(text, key.data(), &exact);
  const bool is_text = state.keys->kind() == KeyKind::kCharacter;
  const std::size_t length = definition.key_length;
  // Text that goes on behind the width of the key is equal to no key.
  const std::size_t text_room = length - (definition.nullable ? 1 : 0);
  const bool too_long = is_text && text.size() > text_room &&
                        text.find_first_not_of(' ', text_room) != std::string_view::npos;

  platform::RangeLock lock;
  Status s = LockIndex(platform::LockKind::kShared, false, &lock);
  bool equal = false;
  bool prefix = false;
  bool continued = false;
  if (s.ok() && after_current && place_ == Place::kRecord) {
    if (!position_valid_) s = FindPlaceInTag();
    if (s.ok() && !position_follows_ && position_.on_entry() &&
        std::memcmp(position_.key(), key.data(), length) == 0) {
      continued = true;
      s = state.tag->Next(&position_);
      equal =
          s.ok() && position_.on_entry() && std::memcmp(position_.key(), key.data(), length) == 0;
    }
  }
  if (s.ok() && !continued) {
    s = state.tag->Seek(key.data(), length, &position_, &equal);
    // The equal key is not the wanted one when the text said more than a key can hold.
    while (s.ok() && equal && too_long) {
      s = state.tag->Next(&position_);
      equal = position_.on_entry() && std::memcmp(position_.key(), key.data(), length) == 0;
    }
    if (s.ok() && !equal && is_text && !too_long && exact < length) {
      s = state.tag->Seek(key.data(), exact, &position_, &prefix);
    }
  }
  lock.Release();
  if (!s.ok()) {
    LeaveRecord(Place::kEof);
    return session_->Fail(s, true);
  }
  if (!position_.on_entry()) {
    LeaveRecord(Place::kEof);
    return kEndOfFile;
  }
  const std::int32_t code = LandOnRecord(position_.record());
  position_valid_ = code == kSuccess;
  position_follows_ = false;
  if (code != kSuccess) return code;
  if (equal && is_value) return kSuccess;
  return prefix ? kNearMiss : kAfter;
}

}  // namespace pv::engine

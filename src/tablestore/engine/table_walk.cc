// Moving through a table record by record. Tested by walk_test.cc.
//
// A walk is a row of steps in one direction. What it reads it reads once, so that memory stays
// bounded; and in the order of a tag it fetches records ahead (read_ahead.h).
//
// What was fetched ahead is as good as read now: an exclusive session is alone, and every change of
// it ends the walk. Under shared access every step looks whether the index has changed since, and
// whoever changes a record changes the index with it (invariants 2 and 4). Only other programs may
// write a record and leave the index alone when no key has changed: for their sake nothing is kept
// for long.
#include <algorithm>
#include <utility>
#include <vector>

#include "tablestore/engine/table.h"

namespace pv::engine {
namespace {

constexpr std::uint64_t kAheadMicroseconds = 1'000'000;

// How many records are fetched first; a walk that takes them all gets more the next time.
constexpr std::size_t kFetchedFirst = 64;
constexpr std::size_t kGrowth = 4;

}  // namespace

void Table::NoteStep(std::int32_t count) {
  if ((count == 1 || count == -1) && count == last_step_ && place_ == Place::kRecord) {
    ++walked_;
    return;
  }
  EndWalk();
  last_step_ = count;
}

void Table::EndWalk() {
  walked_ = 0;
  ahead_->Forget();
  ahead_count_ = kFetchedFirst;
}

std::uint64_t Table::AheadAge() const {
  return session_->files()->RoughMicroseconds() - ahead_time_;
}

// True when what was fetched ahead may still be given out; else nothing of it is left.
bool Table::AheadIsFresh() {
  if (exclusive()) return true;
  if (index_->epoch() != ahead_epoch_ || index_->HasMoved()) {
    EndWalk();
    return false;
  }
  if (AheadAge() > kAheadMicroseconds) {
    // A host that takes its time gets no more than it takes.
    ahead_count_ = std::max(kFetchedFirst, ahead_->passed() / 2);
    ahead_->Forget();
    return false;
  }
  return true;
}

// A step to the next record that was fetched ahead, of which there is one. The place in the tag is
// known again behind the last of them; before, the record's key leads to it.
std::int32_t Table::StepAhead() {
  const std::uint32_t number = ahead_->number();
  Status s;
  if (ahead_->Take(original_.data())) {
    ShowRecord(number);
  } else {
    s = LoadRecord(number);
  }
  if (!s.ok()) {
    LeaveRecord(Place::kEof);
    return session_->Fail(s);
  }
  if (ahead_->empty()) {
    position_ = ahead_end_;
    position_valid_ = true;
    position_follows_ = false;
    if (walked_ >= kStepsOfWalk) LookAhead(last_step_ > 0);
  }
  return kSuccess;
}

// Fetches what the walk will come to. Nothing that goes wrong here is an error: the walk meets it
// itself.
void Table::LookAhead(bool forward) {
  if (!selected().keys) return EndWalk();  // no way back to the place in the tag
  if (ahead_->fetched() > 0 && AheadAge() < kAheadMicroseconds / kGrowth) {
    ahead_count_ = std::min(ahead_count_ * kGrowth, ahead_->Capacity());
  }
  ahead_->Forget();
  std::vector<std::uint32_t> numbers;
  {
    // Whoever holds the lock is changing the index; this step did not need to wait for him.
    platform::RangeLock lock;
    if (!exclusive()) {
      if (!platform::LockWithin(session_->files(), index_raw_.get(), kIndexLockOffset, 1,
                                platform::LockKind::kShared, 0, &lock)
               .ok()) {
        return EndWalk();
      }
      const auto marked = index_->IsMarked();
      if (!marked.ok() || *marked || !index_->Refresh().ok()) return EndWalk();
    }
    if (!selected().tag->ListAhead(position_, forward, ahead_count_, &numbers, &ahead_end_).ok() ||
        !RecordCount().ok()) {
      return EndWalk();
    }
    ahead_epoch_ = index_->epoch();
  }
  ahead_time_ = session_->files()->RoughMicroseconds();
  // A number that is not there is for the walk to find.
  if (std::any_of(numbers.begin(), numbers.end(),
                  [&](std::uint32_t n) { return n < 1 || n > count_; })) {
    return EndWalk();
  }
  ahead_->Fetch(std::move(numbers), data_.get(), header_.RecordOffset(1));
  if (!ahead_->empty()) position_valid_ = false;
}

}  // namespace pv::engine

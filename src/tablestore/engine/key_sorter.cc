// External merge sort of tag entries. Tested by key_sorter_test.cc.
#include "tablestore/engine/key_sorter.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <queue>

#include "base/bytes.h"

namespace pv::engine {
namespace {

constexpr std::size_t kRunBlock = 256 * 1024;

// Ranges that are smaller are sorted by insertion.
constexpr std::ptrdiff_t kSmall = 16;

// Keys lie all over the memory when they come out in order: they are asked for so much ahead.
constexpr std::size_t kPrefetched = 8;

// Reads one sorted run block by block.
class RunReader {
 public:
  RunReader(platform::File* file, std::uint64_t offset, std::uint64_t entries,
            std::size_t entry_size)
      : file_(file), offset_(offset), left_(entries), entry_size_(entry_size) {}

  // Moves to the next entry; false at the end.
  Result<bool> Next() {
    if (left_ == 0) return false;
    --left_;
    at_ += entry_size_;
    if (at_ < block_.size()) return true;
    const auto entries = static_cast<std::size_t>(
        std::min<std::uint64_t>(left_ + 1, std::max<std::size_t>(1, kRunBlock / entry_size_)));
    block_.resize(entries * entry_size_);
    PV_ASSIGN_OR_RETURN(const std::size_t got, file_->Read(offset_, block_.data(), block_.size()));
    if (got < block_.size()) {
      return Status::IoError(file_->path() + ": the sort file was cut short");
    }
    offset_ += got;
    at_ = 0;
    return true;
  }
  const std::uint8_t* entry() const { return block_.data() + at_; }

 private:
  platform::File* file_;
  std::uint64_t offset_;
  std::uint64_t left_;
  std::size_t entry_size_;
  std::vector<std::uint8_t> block_;
  std::size_t at_ = 0;
};

}  // namespace

// Eight bytes of a key from `depth` on as a number that compares as they do.
std::uint64_t KeySorter::WordAt(std::uint32_t at, std::size_t depth) const {
  const std::uint8_t* const key = keys_.data() + at + 1;
  const std::size_t length = keys_[at];
  if (depth + 8 <= length) return LoadBe64(key + depth);
  if (depth >= length) return fill_word_;
  std::uint64_t word = fill_word_;
  std::memcpy(&word, key + depth, length - depth);
  return __builtin_bswap64(word);
}

void KeySorter::Restore(std::uint32_t at, std::uint8_t* key) const {
  const std::size_t length = keys_[at];
  std::memcpy(key, keys_.data() + at + 1, length);
  std::memset(key + length, fill_, key_length_ - length);
}

void KeySorter::Expect(std::size_t entries) {
  items_.reserve(std::min(entries, memory_limit_ / sizeof(Item) + 1));
}

KeySorter::KeySorter(platform::FileSystem* files, std::string run_path, std::size_t key_length,
                     std::size_t memory_limit, std::uint8_t fill)
    : files_(files),
      run_path_(std::move(run_path)),
      key_length_(key_length),
      memory_limit_(std::min<std::size_t>(memory_limit, UINT32_MAX / 2)),
      fill_(fill),
      fill_word_(fill * 0x0101010101010101ULL) {}

KeySorter::~KeySorter() {
  if (run_file_) {
    run_file_.reset();
    // A sort file that stays behind is only space; the next sort replaces it.
    (void)files_->Remove(run_path_).ok();
  }
}

Status KeySorter::Add(const std::uint8_t* key, std::uint32_t record) {
  if (!items_.empty() && MemoryUsed() >= memory_limit_) PV_RETURN_IF_ERROR(WriteRun());
  std::size_t length = key_length_;
  while (length >= 8 && LoadLe64(key + length - 8) == fill_word_) length -= 8;
  while (length > 0 && key[length - 1] == fill_) --length;
  const auto at = static_cast<std::uint32_t>(keys_.size());
  keys_.push_back(static_cast<std::uint8_t>(length));
  keys_.insert(keys_.end(), key, key + length);
  items_.push_back({WordAt(at, 0), at, record});
  return {};
}

void KeySorter::SortMemory() {
  if (items_.empty()) return;
  const int patience = 2 * static_cast<int>(std::bit_width(items_.size()));
  SortFrom(items_.data(), items_.data() + items_.size(), 0, patience);
}

// Of two items whose words begin at `depth`.
bool KeySorter::Before(const Item& a, const Item& b, std::size_t depth) const {
  if (a.word != b.word) return a.word < b.word;
  for (depth += 8; depth < key_length_; depth += 8) {
    const std::uint64_t x = WordAt(a.at, depth);
    const std::uint64_t y = WordAt(b.at, depth);
    if (x != y) return x < y;
  }
  return a.record < b.record;
}

// Quicksort in three parts, by eight bytes of the key at a time: comparisons look at one word that
// lies in the item, and only items that are equal so far have their next word fetched. Where the
// parts come out badly too often, `patience` ends.
void KeySorter::SortFrom(Item* begin, Item* end, std::size_t depth, int patience) {
  while (end - begin > kSmall) {
    if (patience-- == 0) {
      std::sort(begin, end, [&](const Item& a, const Item& b) { return Before(a, b, depth); });
      return;
    }
    const std::uint64_t first = begin->word;
    const std::uint64_t middle = begin[(end - begin) / 2].word;
    const std::uint64_t last = (end - 1)->word;
    const std::uint64_t pivot =
        std::max(std::min(first, middle), std::min(std::max(first, middle), last));
    Item* less = begin;  // [begin, less) is smaller, [less, at) equal, [greater, end) greater
    Item* greater = end;
    for (Item* at = begin; at < greater;) {
      if (at->word < pivot) {
        std::swap(*at++, *less++);
      } else if (at->word > pivot) {
        std::swap(*at, *--greater);
      } else {
        ++at;
      }
    }
    if (greater - less > 1) {
      if (depth + 8 < key_length_) {
        for (Item* item = less; item != greater; ++item) item->word = WordAt(item->at, depth + 8);
        SortFrom(less, greater, depth + 8,
                 2 * static_cast<int>(std::bit_width(static_cast<std::size_t>(greater - less))));
      } else {
        std::sort(less, greater, [](const Item& a, const Item& b) { return a.record < b.record; });
      }
    }
    // The smaller part by recursion, which then never goes deep.
    if (less - begin < end - greater) {
      SortFrom(begin, less, depth, patience);
      begin = greater;
    } else {
      SortFrom(greater, end, depth, patience);
      end = less;
    }
  }
  for (Item* item = begin; item < end; ++item) {
    const Item moved = *item;
    Item* at = item;
    for (; at > begin && Before(moved, *(at - 1), depth); --at) *at = *(at - 1);
    *at = moved;
  }
}

Status KeySorter::WriteRun() {
  if (!run_file_) {
    platform::OpenOptions options;
    options.create = platform::CreateMode::kOpenOrCreate;
    options.share = platform::ShareMode::kDenyAll;
    PV_ASSIGN_OR_RETURN(run_file_, files_->Open(run_path_, options));
    PV_RETURN_IF_ERROR(run_file_->Truncate(0));
  }
  SortMemory();
  runs_.push_back({run_end_, items_.size()});
  std::vector<std::uint8_t> block;
  block.reserve(kRunBlock + entry_size());
  const auto write = [&]() -> Status {
    PV_RETURN_IF_ERROR(run_file_->Write(run_end_, block.data(), block.size()));
    run_end_ += block.size();
    block.clear();
    return {};
  };
  PV_RETURN_IF_ERROR(EmitMemory([&](const std::uint8_t* key, std::uint32_t number) -> Status {
    block.insert(block.end(), key, key + key_length_);
    std::uint8_t record[4];
    StoreLe32(record, number);
    block.insert(block.end(), record, record + 4);
    return block.size() >= kRunBlock ? write() : Status();
  }));
  if (!block.empty()) PV_RETURN_IF_ERROR(write());
  items_.clear();
  keys_.clear();
  return {};
}

Status KeySorter::Sort(const Emit& emit) {
  if (runs_.empty()) {
    SortMemory();
    return EmitMemory(emit);
  }
  if (!items_.empty()) PV_RETURN_IF_ERROR(WriteRun());
  return Merge(emit);
}

Status KeySorter::EmitMemory(const Emit& emit) {
  std::array<std::uint8_t, 256> key;
  for (std::size_t i = 0; i < items_.size(); ++i) {
    if (i + kPrefetched < items_.size()) {
      const std::uint8_t* const soon = keys_.data() + items_[i + kPrefetched].at;
      __builtin_prefetch(soon);
      __builtin_prefetch(soon + 40);
    }
    Restore(items_[i].at, key.data());
    PV_RETURN_IF_ERROR(emit(key.data(), items_[i].record));
  }
  return {};
}

Status KeySorter::Merge(const Emit& emit) {
  std::vector<RunReader> readers;
  readers.reserve(runs_.size());
  for (const Run& run : runs_) {
    readers.emplace_back(run_file_.get(), run.offset, run.entries, entry_size());
  }
  const auto record_of = [this](const RunReader& r) { return LoadLe32(r.entry() + key_length_); };
  const auto after = [&](std::size_t a, std::size_t b) {
    const int order = std::memcmp(readers[a].entry(), readers[b].entry(), key_length_);
    if (order != 0) return order > 0;
    return record_of(readers[a]) > record_of(readers[b]);
  };
  std::priority_queue<std::size_t, std::vector<std::size_t>, decltype(after)> queue(after);
  for (std::size_t i = 0; i < readers.size(); ++i) {
    PV_ASSIGN_OR_RETURN(const bool more, readers[i].Next());
    if (more) queue.push(i);
  }
  while (!queue.empty()) {
    const std::size_t i = queue.top();
    queue.pop();
    PV_RETURN_IF_ERROR(emit(readers[i].entry(), record_of(readers[i])));
    PV_ASSIGN_OR_RETURN(const bool more, readers[i].Next());
    if (more) queue.push(i);
  }
  return {};
}

}  // namespace pv::engine

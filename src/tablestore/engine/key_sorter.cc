// External merge sort of tag entries. Tested by key_sorter_test.cc.
#include "tablestore/engine/key_sorter.h"

#include <algorithm>
#include <cstring>
#include <queue>

#include "base/bytes.h"

namespace pv::engine {
namespace {

constexpr std::size_t kRunBlock = 256 * 1024;

// Eight bytes of a key from `depth` on as a number that compares as they do; zeros past its end.
std::uint64_t WordOf(const std::uint8_t* key, std::size_t length, std::size_t depth) {
  if (depth + 8 <= length) return LoadBe64(key + depth);
  std::uint8_t bytes[8] = {};
  std::memcpy(bytes, key + depth, length - depth);
  return LoadBe64(bytes);
}

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

std::uint64_t KeySorter::WordAt(std::uint32_t index, std::size_t depth) const {
  return WordOf(KeyOf(index), key_length_, depth);
}

void KeySorter::Expect(std::size_t entries) {
  const std::size_t most = memory_limit_ / (key_length_ + sizeof(Item)) + 1;
  keys_.reserve(std::min(entries, most) * key_length_);
  items_.reserve(std::min(entries, most));
}

KeySorter::KeySorter(platform::FileSystem* files, std::string run_path, std::size_t key_length,
                     std::size_t memory_limit)
    : files_(files),
      run_path_(std::move(run_path)),
      key_length_(key_length),
      memory_limit_(memory_limit) {}

KeySorter::~KeySorter() {
  if (run_file_) {
    run_file_.reset();
    // A sort file that stays behind is only space; the next sort replaces it.
    (void)files_->Remove(run_path_).ok();
  }
}

Status KeySorter::Add(const std::uint8_t* key, std::uint32_t record) {
  if (!items_.empty() && items_.size() * (key_length_ + sizeof(Item)) >= memory_limit_) {
    PV_RETURN_IF_ERROR(WriteRun());
  }
  const auto index = static_cast<std::uint32_t>(items_.size());
  keys_.insert(keys_.end(), key, key + key_length_);
  items_.push_back({WordOf(key, key_length_, 0), index, record});
  return {};
}

// Sorts by eight bytes of the key at a time: comparisons look at one word that lies in the item,
// and only items that are equal so far have their next word fetched.
void KeySorter::SortMemory() {
  if (items_.size() > 1) SortFrom(items_.data(), items_.data() + items_.size(), 0);
}

void KeySorter::SortFrom(Item* begin, Item* end, std::size_t depth) {
  for (;;) {
    std::sort(begin, end, [](const Item& a, const Item& b) {
      return a.word != b.word ? a.word < b.word : a.record < b.record;
    });
    depth += 8;
    if (depth >= key_length_) return;
    // All equal is common (a shared beginning): go on with the same range, without recursion.
    if (begin->word == (end - 1)->word) {
      for (Item* item = begin; item != end; ++item) item->word = WordAt(item->index, depth);
      continue;
    }
    for (Item* first = begin; first != end;) {
      Item* last = first + 1;
      while (last != end && last->word == first->word) ++last;
      if (last - first > 1) {
        for (Item* item = first; item != last; ++item) item->word = WordAt(item->index, depth);
        SortFrom(first, last, depth);
      }
      first = last;
    }
    return;
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
  for (const Item& item : items_) {
    const std::uint8_t* key = KeyOf(item.index);
    block.insert(block.end(), key, key + key_length_);
    std::uint8_t record[4];
    StoreLe32(record, item.record);
    block.insert(block.end(), record, record + 4);
    if (block.size() >= kRunBlock) PV_RETURN_IF_ERROR(write());
  }
  if (!block.empty()) PV_RETURN_IF_ERROR(write());
  items_.clear();
  keys_.clear();
  return {};
}

Status KeySorter::Sort(const Emit& emit) {
  if (runs_.empty()) {
    SortMemory();
    for (const Item& item : items_) PV_RETURN_IF_ERROR(emit(KeyOf(item.index), item.record));
    return {};
  }
  if (!items_.empty()) PV_RETURN_IF_ERROR(WriteRun());
  return Merge(emit);
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

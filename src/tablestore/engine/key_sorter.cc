// External merge sort of tag entries. Tested by key_sorter_test.cc.
#include "tablestore/engine/key_sorter.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <queue>
#include <system_error>
#include <utility>

#include "base/bytes.h"

namespace pv::engine {
namespace {

constexpr std::size_t kRunBlock = 256 * 1024;

// Few enough to stay near the processor while they are sorted.
constexpr std::size_t kBlockEntries = 64 * 1024;

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

// Passes through one sorted block.
class BlockReader {
 public:
  BlockReader(const KeyShape* shape, const std::vector<std::uint8_t>& bytes)
      : shape_(shape), at_(bytes.data()), end_(bytes.data() + bytes.size()) {
    if (!done()) word_ = shape_->WordAt(at_, 0);
  }

  bool done() const { return at_ == end_; }
  void Next() {
    at_ += 1 + at_[0] + KeyBlock::kRecordSize;
    if (!done()) word_ = shape_->WordAt(at_, 0);
  }
  std::uint32_t record() const { return LoadLe32(at_ + 1 + at_[0]); }
  // The whole key, in `key`.
  void Restore(std::uint8_t* key) const {
    const std::size_t kept = at_[0];
    std::memcpy(key, at_ + 1, kept);
    std::memset(key + kept, shape_->fill, shape_->length - kept);
  }

  bool Before(const BlockReader& other) const {
    if (word_ != other.word_) return word_ < other.word_;
    for (std::size_t depth = 8; depth < shape_->length; depth += 8) {
      const std::uint64_t x = shape_->WordAt(at_, depth);
      const std::uint64_t y = shape_->WordAt(other.at_, depth);
      if (x != y) return x < y;
    }
    return record() < other.record();
  }

 private:
  const KeyShape* shape_;
  const std::uint8_t* at_;
  const std::uint8_t* end_;
  std::uint64_t word_ = 0;
};

// The readers as a heap whose first is before all others; moves the first, which has changed, to
// where it belongs.
void SiftDown(std::vector<BlockReader>* heap, std::size_t at) {
  for (;;) {
    std::size_t least = 2 * at + 1;
    if (least >= heap->size()) return;
    if (least + 1 < heap->size() && (*heap)[least + 1].Before((*heap)[least])) ++least;
    if (!(*heap)[least].Before((*heap)[at])) return;
    std::swap((*heap)[least], (*heap)[at]);
    at = least;
  }
}

}  // namespace

KeySorter::KeySorter(platform::FileSystem* files, std::string run_path, std::size_t key_length,
                     std::size_t memory_limit, std::uint8_t fill)
    : files_(files),
      run_path_(std::move(run_path)),
      shape_(key_length, fill),
      memory_limit_(std::min<std::size_t>(memory_limit, UINT32_MAX / 2)),
      block_(shape_) {}

KeySorter::~KeySorter() {
  if (run_file_) {
    run_file_.reset();
    // A sort file that stays behind is only space; the next sort replaces it.
    (void)files_->Remove(run_path_).ok();
  }
}

Status KeySorter::Add(const std::uint8_t* key, std::uint32_t record) {
  if (entries_ > 0 && MemoryUsed() >= memory_limit_) PV_RETURN_IF_ERROR(WriteRun());
  block_.Add(key, record);
  ++entries_;
  if (block_.size() == kBlockEntries) EndBlock(true);
  return {};
}

// The entries added since the last such call become one sorted block.
void KeySorter::EndBlock(bool in_thread) {
  const auto full = std::make_shared<KeyBlock>(std::exchange(block_, KeyBlock(shape_)));
  sorted_bytes_ += full->SortedSize();
  if (in_thread) {
    block_.Reserve(kBlockEntries);
    try {
      blocks_.push_back(std::async(std::launch::async, [full] { return full->Sorted(); }));
      return;
    } catch (const std::system_error&) {
      // No thread to be had: the caller's will do.
    }
  }
  std::promise<Bytes> sorted;
  sorted.set_value(full->Sorted());
  blocks_.push_back(sorted.get_future());
}

Status KeySorter::WriteRun() {
  if (!run_file_) {
    platform::OpenOptions options;
    options.create = platform::CreateMode::kOpenOrCreate;
    options.share = platform::ShareMode::kDenyAll;
    PV_ASSIGN_OR_RETURN(run_file_, files_->Open(run_path_, options));
    PV_RETURN_IF_ERROR(run_file_->Truncate(0));
  }
  runs_.push_back({run_end_, entries_});
  std::vector<std::uint8_t> block;
  block.reserve(kRunBlock + entry_size());
  const auto write = [&]() -> Status {
    PV_RETURN_IF_ERROR(run_file_->Write(run_end_, block.data(), block.size()));
    run_end_ += block.size();
    block.clear();
    return {};
  };
  PV_RETURN_IF_ERROR(EmitMemory([&](const std::uint8_t* key, std::uint32_t number) -> Status {
    block.insert(block.end(), key, key + shape_.length);
    std::uint8_t record[4];
    StoreLe32(record, number);
    block.insert(block.end(), record, record + 4);
    return block.size() >= kRunBlock ? write() : Status();
  }));
  return block.empty() ? Status() : write();
}

Status KeySorter::Sort(const Emit& emit) {
  if (runs_.empty()) return EmitMemory(emit);
  if (entries_ > 0) PV_RETURN_IF_ERROR(WriteRun());
  return Merge(emit);
}

// Gives out what is in memory, and forgets it.
Status KeySorter::EmitMemory(const Emit& emit) {
  if (!block_.empty()) EndBlock(false);
  std::vector<Bytes> blocks;
  for (std::future<Bytes>& block : blocks_) blocks.push_back(block.get());
  blocks_.clear();
  sorted_bytes_ = 0;
  entries_ = 0;
  std::vector<BlockReader> heap;
  for (const Bytes& block : blocks) heap.emplace_back(&shape_, block);
  for (std::size_t i = heap.size(); i-- > 0;) SiftDown(&heap, i);
  std::array<std::uint8_t, 256> key;
  while (!heap.empty()) {
    BlockReader& first = heap.front();
    first.Restore(key.data());
    PV_RETURN_IF_ERROR(emit(key.data(), first.record()));
    first.Next();
    if (first.done()) {
      first = heap.back();
      heap.pop_back();
      if (heap.empty()) break;
    }
    SiftDown(&heap, 0);
  }
  return {};
}

Status KeySorter::Merge(const Emit& emit) {
  std::vector<RunReader> readers;
  readers.reserve(runs_.size());
  for (const Run& run : runs_) {
    readers.emplace_back(run_file_.get(), run.offset, run.entries, entry_size());
  }
  const auto record_of = [this](const RunReader& r) { return LoadLe32(r.entry() + shape_.length); };
  const auto after = [&](std::size_t a, std::size_t b) {
    const int order = std::memcmp(readers[a].entry(), readers[b].entry(), shape_.length);
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

// Sorts the entries of one tag for building it: keys of one length with their record numbers, in
// memory up to a bound, in sorted runs in a file beyond it.
//
// Entries are sorted in blocks, each in a thread of its own as soon as it is full, and merged in
// the end.
#ifndef PV_TABLESTORE_ENGINE_KEY_SORTER_H_
#define PV_TABLESTORE_ENGINE_KEY_SORTER_H_

#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "base/status.h"
#include "platform/file_system.h"
#include "tablestore/engine/key_block.h"

namespace pv::engine {

class KeySorter {
 public:
  // `run_path` names the file for the runs; it is made when the first run is written and removed
  // by the destructor. `memory_limit` is in bytes of entries. Keys that end in `fill` bytes are
  // kept without them.
  KeySorter(platform::FileSystem* files, std::string run_path, std::size_t key_length,
            std::size_t memory_limit, std::uint8_t fill = ' ');
  ~KeySorter();
  KeySorter(const KeySorter&) = delete;
  KeySorter& operator=(const KeySorter&) = delete;

  Status Add(const std::uint8_t* key, std::uint32_t record);

  // Bytes of the entries that are in memory.
  std::size_t MemoryUsed() const { return block_.MemoryUsed() + sorted_bytes_; }

  // Calls `emit` for every entry in ascending (key, record) order; stops at the first failure.
  using Emit = std::function<Status(const std::uint8_t* key, std::uint32_t record)>;
  Status Sort(const Emit& emit);

 private:
  using Bytes = std::vector<std::uint8_t>;
  struct Run {
    std::uint64_t offset;
    std::uint64_t entries;
  };

  std::size_t entry_size() const { return shape_.length + 4; }
  void EndBlock(bool in_thread);
  Status EmitMemory(const Emit& emit);
  Status WriteRun();
  Status Merge(const Emit& emit);

  platform::FileSystem* files_;
  std::string run_path_;
  KeyShape shape_;
  std::size_t memory_limit_;
  KeyBlock block_;                          // to which entries are added
  std::vector<std::future<Bytes>> blocks_;  // the full ones, sorted
  std::size_t sorted_bytes_ = 0;            // of these
  std::uint64_t entries_ = 0;               // in memory
  std::unique_ptr<platform::File> run_file_;
  std::uint64_t run_end_ = 0;
  std::vector<Run> runs_;
};

}  // namespace pv::engine

#endif  // PV_TABLESTORE_ENGINE_KEY_SORTER_H_

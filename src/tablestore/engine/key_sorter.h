// Sorts the entries of one tag for building it: keys of one length with their record numbers, in
// memory up to a bound, in sorted runs in a file beyond it.
#ifndef PV_TABLESTORE_ENGINE_KEY_SORTER_H_
#define PV_TABLESTORE_ENGINE_KEY_SORTER_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/status.h"
#include "platform/file_system.h"

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

  // Makes room for that many entries at once, within the memory limit.
  void Expect(std::size_t entries);

  Status Add(const std::uint8_t* key, std::uint32_t record);

  // Calls `emit` for every entry in ascending (key, record) order; stops at the first failure.
  using Emit = std::function<Status(const std::uint8_t* key, std::uint32_t record)>;
  Status Sort(const Emit& emit);

 private:
  struct Item {
    std::uint64_t word;  // the eight bytes of the key that are being compared
    std::uint32_t at;    // of the key in keys_: its length there, then its bytes
    std::uint32_t record;
  };
  struct Run {
    std::uint64_t offset;
    std::uint64_t entries;
  };

  std::size_t entry_size() const { return key_length_ + 4; }
  std::size_t MemoryUsed() const { return keys_.size() + items_.size() * sizeof(Item); }
  std::uint64_t WordAt(std::uint32_t at, std::size_t depth) const;
  // The whole key, in `key`.
  void Restore(std::uint32_t at, std::uint8_t* key) const;
  bool Before(const Item& a, const Item& b, std::size_t depth) const;
  void SortMemory();
  void SortFrom(Item* begin, Item* end, std::size_t depth, int patience);
  Status EmitMemory(const Emit& emit);
  Status WriteRun();
  Status Merge(const Emit& emit);

  platform::FileSystem* files_;
  std::string run_path_;
  std::size_t key_length_;
  std::size_t memory_limit_;
  std::uint8_t fill_;
  std::uint64_t fill_word_;
  std::vector<std::uint8_t> keys_;
  std::vector<Item> items_;
  std::unique_ptr<platform::File> run_file_;
  std::uint64_t run_end_ = 0;
  std::vector<Run> runs_;
};

}  // namespace pv::engine

#endif  // PV_TABLESTORE_ENGINE_KEY_SORTER_H_

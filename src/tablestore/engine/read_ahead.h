// Records that a walk in the order of a tag will come to, fetched before it does. In a tag's order
// records lie all over the data file; fetched by the hundred thousand in the order of the file,
// each piece of the file is touched once for all of them, and need not stay in memory.
//
// Kept without the trailing blanks of their text, so that many fit: the memory is bounded.
#ifndef PV_TABLESTORE_ENGINE_READ_AHEAD_H_
#define PV_TABLESTORE_ENGINE_READ_AHEAD_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/file_system.h"
#include "tablestore/engine/record_layout.h"

namespace pv::engine {

class ReadAhead {
 public:
  // Bytes of packed records that are kept at most, and records.
  static constexpr std::size_t kMostBytes = std::size_t{14} << 20;
  static constexpr std::size_t kMostRecords = std::size_t{1} << 18;
  // Records are written to buffers that have room for so many bytes behind them.
  static constexpr std::size_t kSlack = 16;

  explicit ReadAhead(const RecordLayout& layout);

  // Fetches the records of a walk, whose numbers come in its order, from `data`, where record 1
  // begins at `first_record`. Those that cannot be read, or for which there is no room, are left
  // out.
  void Fetch(std::vector<std::uint32_t> numbers, platform::File* data, std::uint64_t first_record);

  // The number of the next record of the walk, while there is one.
  std::uint32_t number() const { return numbers_[next_]; }

  // Passes that record, and gives it out when it was fetched.
  bool Take(std::uint8_t* out) {
    const std::uint32_t place = places_[next_++];
    if (next_ + kPrefetched < places_.size() && places_[next_ + kPrefetched] != kNowhere) {
      const std::uint8_t* const soon = packed_.get() + places_[next_ + kPrefetched];
      __builtin_prefetch(soon);
      __builtin_prefetch(soon + 64);
    }
    if (place == kNowhere) return false;
    Unpack(packed_.get() + place, out);
    return true;
  }

  // How many were fetched last, how many of them the walk has passed, and whether any are left.
  std::size_t fetched() const { return numbers_.size(); }
  std::size_t passed() const { return next_; }
  bool empty() const { return next_ == numbers_.size(); }

  // How many records like those fetched last fit into the memory.
  std::size_t Capacity() const;

  void Forget() {
    numbers_.clear();
    next_ = 0;
  }

 private:
  static constexpr std::uint32_t kNowhere = 0xFFFFFFFF;
  static constexpr std::size_t kPrefetched = 6;  // steps ahead of the walk

  // A piece of the record: one text field, or the bytes between text fields.
  struct Piece {
    std::uint32_t offset;
    std::uint32_t length;
    bool is_text;
  };

  std::size_t Pack(const std::uint8_t* record, std::uint8_t* out) const;
  void Unpack(const std::uint8_t* packed, std::uint8_t* out) const;

  std::uint32_t record_length_;
  std::vector<Piece> pieces_;
  std::vector<std::uint32_t> numbers_;  // in the walk's order
  std::vector<std::uint32_t> places_;   // of each in packed_, or kNowhere
  std::size_t next_ = 0;
  std::unique_ptr<std::uint8_t[]> packed_;
  std::size_t room_ = 0;
  std::size_t packed_size_ = 0;
  std::size_t packed_records_ = 0;
};

}  // namespace pv::engine

#endif  // PV_TABLESTORE_ENGINE_READ_AHEAD_H_

// Which record has which text, for any number of records.
#ifndef PV_BASE_RECORD_SET_H_
#define PV_BASE_RECORD_SET_H_

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace pv {

// A number for a text that other texts hardly ever share. The same in this process only.
std::uint64_t HashOf(std::string_view text);

// Eight bytes a record in a table that is at most half full. Texts are told apart by half of
// their number, so whoever finds a record must look at it before believing it.
class RecordSet {
 public:
  static constexpr std::uint32_t kNotFound = 0;

  RecordSet() : slots_(1024) {}

  // Prepares for this many records.
  void Reserve(std::uint64_t records);

  // Calls `same(record)` for each record with this number until it answers true; that record, or
  // kNotFound.
  template <typename Same>
  std::uint32_t Find(std::uint64_t hash, Same same) const {
    const std::uint32_t key = KeyOf(hash);
    for (std::size_t i = key & (slots_.size() - 1);; i = (i + 1) & (slots_.size() - 1)) {
      const Slot& slot = slots_[i];
      if (slot.record == kNotFound) return kNotFound;
      if (slot.key == key && same(slot.record)) return slot.record;
    }
  }

  // Begins to fetch the place of a number that will be asked for soon.
  void Prefetch(std::uint64_t hash) const {
    __builtin_prefetch(&slots_[KeyOf(hash) & (slots_.size() - 1)], 1);
  }

  // `record` must not be kNotFound.
  void Add(std::uint64_t hash, std::uint32_t record);

 private:
  struct Slot {
    std::uint32_t key = 0;
    std::uint32_t record = kNotFound;
  };
  static std::uint32_t KeyOf(std::uint64_t hash) { return static_cast<std::uint32_t>(hash >> 32); }
  void Grow(std::size_t slots);
  void Put(const Slot& slot);

  std::vector<Slot> slots_;  // a power of two
  std::size_t used_ = 0;
};

}  // namespace pv

#endif  // PV_BASE_RECORD_SET_H_

// E-mail addresses: which text is one, and a set of those already met.
#ifndef PV_CLI_ADDRESS_H_
#define PV_CLI_ADDRESS_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace pv::cli {

// Why `text` (UTF-8, without blanks around it) is no address, as the end of a sentence; null when
// it is one: exactly one "@" with something before and after it, and no blanks, control
// characters or commas. More is not asked: the mailing program knows better.
const char* AddressFault(std::string_view text);

// The address in lower case. ASCII text of at most `buffer_size` bytes is written to `buffer`,
// other text to *scratch. Two addresses are the same when this is equal.
std::string_view LowerAddress(std::string_view address, char* buffer, std::size_t buffer_size,
                              std::string* scratch);

std::uint64_t HashOf(std::string_view text);

// Which record has which address, for any number of records: eight bytes each in a table that is
// at most half full. Addresses are told apart by half of a 64-bit number, so whoever finds one must
// look at the record before believing it.
class AddressSet {
 public:
  static constexpr std::uint32_t kNotFound = 0;

  AddressSet() : slots_(1024) {}

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

}  // namespace pv::cli

#endif  // PV_CLI_ADDRESS_H_

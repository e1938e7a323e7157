// The journal of one change in place. A record that is overwritten could be torn by the death of
// the process between two of its bytes; so the new bytes are noted first, as one entry list in
// pages that the index file has reserved for it, and whoever finds the writer's mark finishes the
// copying. New records need none of this: they lie beyond the record count until it moves.
//
// Layout of the reserved pages (all little-endian). On disk: never change.
//
//   0   8  "PVJRNL01"
//   8   4  state: 1 while the entries must be carried out, else 0
//  12   4  length of what follows at 24
//  16   8  checksum of those bytes
//  24   …  entries: target (1: 0 data file, 1 memo file), source (1: 0 the bytes follow, 1 they
//          are staged in the memo file), zero (2), length (4), offset in the target (8), offset
//          of the staged bytes or zero (8), checksum of the bytes (8), then the bytes if they
//          follow
#ifndef PV_TABLESTORE_ENGINE_DATA_JOURNAL_H_
#define PV_TABLESTORE_ENGINE_DATA_JOURNAL_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "base/status.h"
#include "platform/file_system.h"

namespace pv::engine {

class Journal {
 public:
  static constexpr std::size_t kHeaderSize = 24;
  static constexpr std::size_t kEntrySize = 32;

  enum class Target : std::uint8_t { kData = 0, kMemo = 1 };

  // Collects one change.
  void Clear() { entries_.clear(); }
  void AddBytes(Target target, std::uint64_t offset, std::string_view bytes);
  void AddStaged(std::uint64_t memo_offset, std::uint64_t staged_offset, std::string_view bytes);
  std::size_t size() const { return kHeaderSize + entries_.size(); }
  bool empty() const { return entries_.empty(); }

  // Notes the change at `offset` of the index file, in one write: from its end on the change will
  // be carried out, by us or by whoever finds it.
  Status Commit(platform::File* index, std::uint64_t offset);

  // Says that the change at `offset` has been carried out.
  static Status Finish(platform::File* index, std::uint64_t offset);

  // Carries out the change noted in the `capacity` bytes at `offset`, if there is a whole one.
  // A list that is torn, or staged bytes that were overwritten since, are left alone. Returns
  // whether anything was written. `memo` may be null.
  static Result<bool> Replay(platform::File* index, std::uint64_t offset, std::uint64_t capacity,
                             platform::File* data, platform::File* memo);

 private:
  std::string entries_;
};

// A 64-bit checksum for torn writes (not for ill will).
std::uint64_t Checksum(std::string_view bytes);

}  // namespace pv::engine

#endif  // PV_TABLESTORE_ENGINE_DATA_JOURNAL_H_

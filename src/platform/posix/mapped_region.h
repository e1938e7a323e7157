// A file's shared mapping, with copies in and out of it that survive the file being cut short.
#ifndef PV_PLATFORM_POSIX_MAPPED_REGION_H_
#define PV_PLATFORM_POSIX_MAPPED_REGION_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/file_system.h"

namespace pv::platform {

// Maps far beyond the file's end (address space only), so that growth by this or another process
// shows without mapping again. The caller keeps every copy inside the file's size; where the
// size was stale, the copy says so by returning false.
//
// What a copy touches becomes resident in the process, in pieces of up to a window (the largest
// piece that systems map at one fault). Where there is a limit, a further window takes the place of
// the oldest, but only when it has been wanted a number of times. Until then a read or write call
// does the work, which costs less than mapping a window for one record. So a walk over a table of
// any size, in any order, stays bounded and never thrashes.
class MappedRegion {
 public:
  // The longest copy, in bytes.
  static constexpr std::size_t kLongestCopy = std::size_t{1} << 20;

  // Without a limit it is the system that takes pages back when memory is short: they are the
  // file's own, and not the process's.
  MappedRegion() = default;
  // At most one window is resident at a time: for passing through the file.
  struct Passing {};
  explicit MappedRegion(Passing) : most_resident_(1), wanted_in_a_row_enough_(8) {}
  ~MappedRegion() { Unmap(); }
  MappedRegion(const MappedRegion&) = delete;
  MappedRegion& operator=(const MappedRegion&) = delete;

  // Makes [0, size) of the file part of the mapping; true at once when it is. False when the
  // system does not map this file, and from then on always.
  bool Cover(int descriptor, std::uint64_t size, bool writable) {
    return size <= capacity_ || Map(descriptor, size, writable);
  }

  // True when bytes that are covered may be copied; false when a call is to do it this time.
  bool Admit(std::uint64_t offset, std::size_t size) {
    const std::uint64_t first = offset >> kWindowShift;
    const std::uint64_t last = (offset + size - (size > 0)) >> kWindowShift;
    return (first == last && windows_[first] == kResident) || AdmitWindows(first, last);
  }

  // Copies bytes that have just been admitted. False when the file ends before them or its blocks
  // cannot be had; some may have been copied.
  bool CopyOut(std::uint64_t offset, void* out, std::size_t size);
  bool CopyIn(std::uint64_t offset, const void* data, std::size_t size);

  // Copies the first of the pieces and those behind it that lie in the same window and before
  // `end`, admitting it; returns how many, 0 when a call is to do it.
  std::size_t CopyOutMany(std::span<const File::Piece> pieces, std::size_t size, std::uint64_t end);

 private:
  static constexpr std::uint8_t kResident = 0xFF;
  static constexpr unsigned kWindowShift = 21;
  static constexpr std::uint8_t kWantedOften = 250;

  bool Map(int descriptor, std::uint64_t size, bool writable);
  void Unmap();
  // `weight` says for how many copies.
  bool AdmitWindows(std::uint64_t first, std::uint64_t last, std::size_t weight = 1);

  char* base_ = nullptr;
  std::uint64_t capacity_ = 0;
  bool refused_ = false;
  std::vector<std::uint8_t> windows_;    // kResident, or how often it was wanted in vain
  std::vector<std::uint64_t> resident_;  // the resident ones; when full, a ring
  std::size_t oldest_ = 0;
  std::size_t most_resident_ = SIZE_MAX;
  // When a window is worth the place of another: wanted so often in a row, or kWantedOften at all.
  std::uint32_t wanted_in_a_row_enough_ = 16;
  std::uint64_t last_wanted_ = 0;
  std::size_t wanted_in_a_row_ = 0;
};

}  // namespace pv::platform

#endif  // PV_PLATFORM_POSIX_MAPPED_REGION_H_

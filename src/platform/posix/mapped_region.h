// A file's shared mapping, with copies in and out of it that survive the file being cut short.
#ifndef PV_PLATFORM_POSIX_MAPPED_REGION_H_
#define PV_PLATFORM_POSIX_MAPPED_REGION_H_

#include <cstddef>
#include <cstdint>
#include <vector>

namespace pv::platform {

// Maps far beyond the file's end (address space only), so that growth by this or another process
// shows without mapping again. The caller keeps every copy inside the file's size; where the
// size was stale, the copy says so by returning false.
//
// What a copy touches becomes resident in the process, in pieces of up to a window (the largest
// piece that systems map at one fault). At most so many windows as the limit allows are touched at
// a time: with all of them in use a further one takes the place of the oldest, but only when it
// has been wanted a number of times. Until then a read or write call does the work, which costs
// less than mapping a window for one record. So a walk over a table of any size, in any order,
// stays bounded and never thrashes.
class MappedRegion {
 public:
  // The longest copy, in bytes.
  static constexpr std::size_t kLongestCopy = std::size_t{1} << 20;

  MappedRegion() = default;
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

  // How many bytes of one file may be resident, for regions mapped from now on; at least two
  // windows of 2 MiB, 64 MiB unless set.
  static void SetResidentLimit(std::uint64_t bytes);

 private:
  static constexpr unsigned kWindowShift = 21;
  static constexpr std::uint8_t kResident = 0xFF;
  // When a window is worth the place of another: wanted so often in a row, or so often at all.
  static constexpr std::uint32_t kWantedInARow = 16;
  static constexpr std::uint8_t kWantedOften = 250;

  bool Map(int descriptor, std::uint64_t size, bool writable);
  void Unmap();
  bool AdmitWindows(std::uint64_t first, std::uint64_t last);

  char* base_ = nullptr;
  std::uint64_t capacity_ = 0;
  bool refused_ = false;
  std::vector<std::uint8_t> windows_;    // kResident, or how often it was wanted in vain
  std::vector<std::uint64_t> resident_;  // the resident ones; when full, a ring
  std::size_t oldest_ = 0;
  std::size_t most_resident_ = 0;
  std::uint64_t last_wanted_ = 0;
  std::uint32_t wanted_in_a_row_ = 0;
};

}  // namespace pv::platform

#endif  // PV_PLATFORM_POSIX_MAPPED_REGION_H_

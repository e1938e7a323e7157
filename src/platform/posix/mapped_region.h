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
// Pages that were touched stay in the process's resident set until they are dropped. The region
// counts the chunks that copies have touched and drops them all when they pass the limit, so that
// a walk over a table of any size, in any order, stays bounded. The pages remain in the system's
// cache: touching one again costs under a microsecond.
class MappedRegion {
 public:
  MappedRegion() = default;
  ~MappedRegion() { Unmap(); }
  MappedRegion(const MappedRegion&) = delete;
  MappedRegion& operator=(const MappedRegion&) = delete;

  // Makes [0, size) of the file part of the mapping; true at once when it is. False when the
  // system does not map this file, and from then on always.
  bool Cover(int descriptor, std::uint64_t size, bool writable);

  // Copies, offset + size being covered. False when the file ends before them or its blocks
  // cannot be had; some bytes may have been copied.
  bool CopyOut(std::uint64_t offset, void* out, std::size_t size);
  bool CopyIn(std::uint64_t offset, const void* data, std::size_t size);

  // How many bytes of one file may stay resident; for all regions, 96 MiB unless set.
  static void SetResidentLimit(std::uint64_t bytes);

 private:
  void Unmap();
  void Touch(std::uint64_t offset, std::size_t size);
  void TouchNew(std::uint64_t first, std::uint64_t last);

  char* base_ = nullptr;
  std::uint64_t capacity_ = 0;
  bool refused_ = false;
  std::vector<std::uint64_t> touched_;  // one bit a chunk
  std::uint64_t touched_count_ = 0;
};

}  // namespace pv::platform

#endif  // PV_PLATFORM_POSIX_MAPPED_REGION_H_

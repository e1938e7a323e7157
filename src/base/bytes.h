// Fixed-width integers in byte buffers, little- and big-endian. Callers check bounds first.
#ifndef PV_BASE_BYTES_H_
#define PV_BASE_BYTES_H_

#include <bit>
#include <cstdint>
#include <cstring>

namespace pv {

static_assert(std::endian::native == std::endian::little,
              "the loads below copy bytes as they stand in little-endian order");

namespace internal {
template <typename T>
inline T LoadRaw(const void* p) {
  T v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
template <typename T>
inline void StoreRaw(void* p, T v) {
  std::memcpy(p, &v, sizeof v);
}
}  // namespace internal

inline std::uint16_t LoadLe16(const void* p) { return internal::LoadRaw<std::uint16_t>(p); }
inline std::uint32_t LoadLe32(const void* p) { return internal::LoadRaw<std::uint32_t>(p); }
inline std::uint64_t LoadLe64(const void* p) { return internal::LoadRaw<std::uint64_t>(p); }
inline std::uint16_t LoadBe16(const void* p) { return __builtin_bswap16(LoadLe16(p)); }
inline std::uint32_t LoadBe32(const void* p) { return __builtin_bswap32(LoadLe32(p)); }
inline std::uint64_t LoadBe64(const void* p) { return __builtin_bswap64(LoadLe64(p)); }

inline void StoreLe16(void* p, std::uint16_t v) { internal::StoreRaw(p, v); }
inline void StoreLe32(void* p, std::uint32_t v) { internal::StoreRaw(p, v); }
inline void StoreLe64(void* p, std::uint64_t v) { internal::StoreRaw(p, v); }
inline void StoreBe16(void* p, std::uint16_t v) { StoreLe16(p, __builtin_bswap16(v)); }
inline void StoreBe32(void* p, std::uint32_t v) { StoreLe32(p, __builtin_bswap32(v)); }
inline void StoreBe64(void* p, std::uint64_t v) { StoreLe64(p, __builtin_bswap64(v)); }

}  // namespace pv

#endif  // PV_BASE_BYTES_H_

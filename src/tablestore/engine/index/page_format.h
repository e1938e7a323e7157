// Sizes and small helpers of the compound index format, which docs/index-file.md describes.
#ifndef PV_TABLESTORE_ENGINE_INDEX_PAGE_FORMAT_H_
#define PV_TABLESTORE_ENGINE_INDEX_PAGE_FORMAT_H_

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "base/bytes.h"
#include "tablestore/engine/index/index_file.h"

namespace pv::engine::tree {

// On disk: never change.
constexpr std::uint16_t kRootAttribute = 0x01;
constexpr std::uint16_t kLeafAttribute = 0x02;
constexpr std::uint32_t kNoPage = 0xFFFFFFFF;
constexpr std::size_t kHeaderSize = 1024;  // of the directory and of every tag
constexpr std::size_t kPoolSize = 512;     // of expression and filter, in the second half
constexpr std::size_t kInteriorHeader = 12;
constexpr std::size_t kLeafHeader = 24;
constexpr std::size_t kNameLength = 10;  // key length of the directory
constexpr std::size_t kMaxKey = 240;

// The tag that a key of the directory names: without the blanks, or zero bytes, that fill the key.
inline std::string NameOfKey(const std::uint8_t* key) {
  std::string name(key, key + kNameLength);
  while (!name.empty() && (name.back() == ' ' || name.back() == 0)) name.pop_back();
  return name;
}

constexpr std::uint8_t kUniqueOption = 0x01;
constexpr std::uint8_t kNullableOption = 0x02;
constexpr std::uint8_t kCandidateOption = 0x04;
constexpr std::uint8_t kFilterOption = 0x08;
constexpr std::uint8_t kCompactOption = 0x20;
constexpr std::uint8_t kCompoundOption = 0x40;
constexpr std::uint8_t kDirectoryOption = 0x80;

// No tree of ours comes near it; a deeper one is damage.
constexpr int kMaxDepth = 64;

// The index is never longer, so that no page meets the byte that programs lock.
constexpr std::uint64_t kMaxFileSize = 0x7FFFFE00;

// A page in memory, with spare bytes so that packed entries can be loaded eight bytes at a time.
struct PageBuffer {
  alignas(64) std::uint8_t bytes[kPageSize + 8];
};

inline std::uint16_t AttributesOf(const std::uint8_t* page) { return LoadLe16(page); }
inline std::uint32_t CountOf(const std::uint8_t* page) { return LoadLe16(page + 2); }
inline std::uint32_t LeftOf(const std::uint8_t* page) { return LoadLe32(page + 4); }
inline std::uint32_t RightOf(const std::uint8_t* page) { return LoadLe32(page + 8); }
inline bool IsLeaf(const std::uint8_t* page) { return (AttributesOf(page) & kLeafAttribute) != 0; }

// True for what can be a page that a tree or the free list points to.
inline bool IsPageOffset(std::uint32_t offset) {
  return offset >= kHeaderSize && offset % kPageSize == 0;
}

// Interior pages: entries of key, big-endian record number, big-endian child offset.
inline std::size_t InteriorStride(std::size_t key_length) { return key_length + 8; }
inline std::size_t InteriorCapacity(std::size_t key_length) {
  return (kPageSize - kInteriorHeader) / InteriorStride(key_length);
}
inline const std::uint8_t* InteriorKey(const std::uint8_t* page, std::size_t key_length,
                                       std::size_t index) {
  return page + kInteriorHeader + index * InteriorStride(key_length);
}
inline std::uint32_t InteriorRecord(const std::uint8_t* page, std::size_t key_length,
                                    std::size_t index) {
  return LoadBe32(InteriorKey(page, key_length, index) + key_length);
}
inline std::uint32_t InteriorChild(const std::uint8_t* page, std::size_t key_length,
                                   std::size_t index) {
  return LoadBe32(InteriorKey(page, key_length, index) + key_length + 4);
}

// Null, or what is wrong with the fixed part of an interior page.
inline const char* CheckInterior(const std::uint8_t* page, std::size_t key_length) {
  const std::uint32_t count = CountOf(page);
  if (count == 0) return "an interior page without entries";
  if (count > InteriorCapacity(key_length)) return "more entries than an interior page can hold";
  return nullptr;
}

inline int CompareKeys(const std::uint8_t* a, const std::uint8_t* b, std::size_t length) {
  if (length >= 8) {
    const std::uint64_t x = LoadBe64(a), y = LoadBe64(b);
    if (x != y) return x < y ? -1 : 1;
  }
  return std::memcmp(a, b, length);
}

// Key length without trailing fill bytes.
inline std::uint32_t TrimmedLength(const std::uint8_t* key, std::size_t length, std::uint8_t fill) {
  const std::uint64_t pattern = 0x0101010101010101ULL * fill;
  while (length >= 8 && LoadLe64(key + length - 8) == pattern) length -= 8;
  while (length > 0 && key[length - 1] == fill) --length;
  return static_cast<std::uint32_t>(length);
}

// Number of leading bytes that are the same.
inline std::uint32_t CommonPrefix(const std::uint8_t* a, const std::uint8_t* b,
                                  std::size_t length) {
  std::size_t n = 0;
  while (n + 8 <= length) {
    const std::uint64_t difference = LoadLe64(a + n) ^ LoadLe64(b + n);
    if (difference != 0) {
      return static_cast<std::uint32_t>(n +
                                        static_cast<std::size_t>(std::countr_zero(difference) / 8));
    }
    n += 8;
  }
  while (n < length && a[n] == b[n]) ++n;
  return static_cast<std::uint32_t>(n);
}

}  // namespace pv::engine::tree

#endif  // PV_TABLESTORE_ENGINE_INDEX_PAGE_FORMAT_H_

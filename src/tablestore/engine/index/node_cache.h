// What a tag keeps in memory of its interior pages: not the pages but a digest of each, up to 24
// bytes of every key and where the children are. A tag of long keys has many small interior
// pages; their digests are one or two cache lines each, so that a way down costs little more than
// the leaf at its end.
//
// The bytes (the window: up to three words of eight) begin after those that all keys of the page
// share (the skip). A way down knows how many leading bytes the key that is looked for shares with
// the keys left and right of the child taken, and so with every key below: when these are at least
// the skip, the windows alone decide, unless one equals the looked for key's. In all other cases
// the page itself is read.
#ifndef PV_TABLESTORE_ENGINE_INDEX_NODE_CACHE_H_
#define PV_TABLESTORE_ENGINE_INDEX_NODE_CACHE_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "base/bytes.h"
#include "tablestore/engine/index/page_format.h"

namespace pv::engine::tree {

// A child: the digest of an interior page, a leaf, or a page that was not looked at yet.
class ChildRef {
 public:
  enum class Kind : std::uint32_t { kUnknown = 0, kLeaf = 1, kNode = 2 };

  ChildRef() = default;
  static ChildRef Unknown(std::uint32_t page) { return {Kind::kUnknown, page / kPageSize}; }
  static ChildRef Leaf(std::uint32_t page) { return {Kind::kLeaf, page / kPageSize}; }
  static ChildRef Node(std::uint32_t slot) { return {Kind::kNode, slot}; }

  Kind kind() const { return static_cast<Kind>(bits_ >> 30); }
  bool is_node() const { return kind() == Kind::kNode; }
  std::uint32_t slot() const { return bits_ & kMask; }                // of a node
  std::uint32_t page() const { return (bits_ & kMask) * kPageSize; }  // of the others

 private:
  static constexpr std::uint32_t kMask = 0x3FFFFFFF;
  ChildRef(Kind kind, std::size_t value)
      : bits_(static_cast<std::uint32_t>(kind) << 30 | static_cast<std::uint32_t>(value)) {}

  std::uint32_t bits_ = 0;
};

class NodeCache {
 public:
  explicit NodeCache(std::size_t key_length)
      : capacity_(InteriorCapacity(key_length)),
        words_(std::clamp<std::size_t>((key_length + 7) / 8, 1, kMaxWords)),
        lines_((kRefsAt + capacity_ * (sizeof(ChildRef) + words_ * sizeof(std::uint64_t)) + 7 +
                sizeof(Line) - 1) /
               sizeof(Line)) {}

  static constexpr std::size_t kMaxWords = 3;
  // Words of each window.
  std::size_t words() const { return words_; }

  // Pointers are good until the next Allocate or Clear.
  class Node {
   public:
    std::uint32_t count() const { return bytes_[0]; }
    std::uint32_t skip() const { return bytes_[1]; }
    std::uint32_t page() const { return LoadLe32(bytes_ + 4); }
    ChildRef* refs() const { return reinterpret_cast<ChildRef*>(bytes_ + kRefsAt); }
    // Word `word` of the windows of all keys, side by side.
    std::uint64_t* windows(std::size_t word) const {
      return reinterpret_cast<std::uint64_t*>(
                 bytes_ + (kRefsAt + capacity_ * sizeof(ChildRef) + 7) / 8 * 8) +
             word * capacity_;
    }
    void set_header(std::uint32_t page, std::uint32_t count, std::uint32_t skip) const {
      bytes_[0] = static_cast<std::uint8_t>(count);
      bytes_[1] = static_cast<std::uint8_t>(skip);
      StoreLe32(bytes_ + 4, page);
    }

   private:
    friend class NodeCache;
    Node(std::uint8_t* bytes, std::size_t capacity) : bytes_(bytes), capacity_(capacity) {}
    std::uint8_t* bytes_;
    std::size_t capacity_;
  };

  Node At(std::uint32_t slot) {
    return {reinterpret_cast<std::uint8_t*>(pool_.data() + slot * lines_), capacity_};
  }

  std::uint32_t Allocate() {
    if (!free_.empty()) {
      const std::uint32_t slot = free_.back();
      free_.pop_back();
      return slot;
    }
    pool_.resize(pool_.size() + lines_);
    return used_++;
  }
  void Free(std::uint32_t slot) { free_.push_back(slot); }

  // True when it should be emptied before it grows any more.
  bool Full() const { return pool_.size() * sizeof(Line) > kMaxBytes; }
  void Clear() {
    pool_.clear();
    free_.clear();
    used_ = 0;
  }

 private:
  static constexpr std::size_t kRefsAt = 8;
  static constexpr std::size_t kMaxBytes = std::size_t{16} << 20;
  struct alignas(64) Line {
    std::uint8_t bytes[64];
  };

  std::size_t capacity_;
  std::size_t words_;
  std::size_t lines_;  // of one node
  std::vector<Line> pool_;
  std::vector<std::uint32_t> free_;
  std::uint32_t used_ = 0;
};

// Index of the first window that is not smaller.
inline std::uint32_t FindWindow(const std::uint64_t* windows, std::uint32_t count,
                                std::uint64_t window) {
  std::uint32_t index = 0;
  if (count <= 12) {
    for (std::uint32_t i = 0; i < count; ++i) index += windows[i] < window ? 1 : 0;
    return index;
  }
  for (std::uint32_t length = count; length > 0;) {
    const std::uint32_t half = (length + 1) / 2;
    index += windows[index + half - 1] < window ? half : 0;
    length -= half;
  }
  return index;
}

// Eight bytes of a key from `skip` on as a number that orders as they do; zeros past its end.
inline std::uint64_t WindowOf(const std::uint8_t* key, std::size_t key_length, std::size_t skip) {
  if (skip + 8 <= key_length) return LoadBe64(key + skip);
  std::uint8_t bytes[8] = {};
  if (skip < key_length) std::memcpy(bytes, key + skip, key_length - skip);
  return LoadBe64(bytes);
}

}  // namespace pv::engine::tree

#endif  // PV_TABLESTORE_ENGINE_INDEX_NODE_CACHE_H_

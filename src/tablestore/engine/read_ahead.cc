// Fetches records in the order of the file and gives them out in that of a walk. Tested by
// read_ahead_test.cc.
#include "tablestore/engine/read_ahead.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <utility>

#include "base/bytes.h"

namespace pv::engine {
namespace {

// Records of one piece of the file are fetched together; inside it any order does.
constexpr std::size_t kPieceBytes = 32 * 1024;

// Records that are read by one call.
constexpr std::size_t kTogether = 64;

// Texts that are shorter are kept as they are.
constexpr std::uint32_t kLeastText = 8;

// Copies in steps of 16 bytes, up to 15 beyond the end.
inline void CopyLoosely(std::uint8_t* to, const std::uint8_t* from, std::size_t size) {
  for (std::size_t i = 0; i < size; i += 16) std::memcpy(to + i, from + i, 16);
}

// `size` without the blanks at the end.
inline std::size_t TextSize(const std::uint8_t* text, std::size_t size) {
  constexpr std::uint64_t kBlanks = 0x2020202020202020;
  while (size >= 8 && LoadLe64(text + size - 8) == kBlanks) size -= 8;
  while (size > 0 && text[size - 1] == ' ') --size;
  return size;
}

inline void BlankLoosely(std::uint8_t* to, std::size_t size) {
  for (std::size_t i = 0; i < size; i += 16) std::memset(to + i, ' ', 16);
}

}  // namespace

ReadAhead::ReadAhead(const RecordLayout& layout) : record_length_(layout.record_length) {
  std::uint32_t end = 0;
  const auto add_between = [&](std::uint32_t until) {
    if (until > end) pieces_.push_back({end, until - end, false});
  };
  for (const FieldLayout& f : layout.fields) {
    if (f.type != FieldLetter::kCharacter || f.length < kLeastText || f.length > 255) continue;
    if (f.offset < end) continue;
    add_between(f.offset);
    pieces_.push_back({f.offset, f.length, true});
    end = f.offset + f.length;
  }
  add_between(record_length_);
}

std::size_t ReadAhead::Pack(const std::uint8_t* record, std::uint8_t* out) const {
  std::uint8_t* at = out;
  for (const Piece& p : pieces_) {
    const std::uint8_t* const from = record + p.offset;
    std::size_t size = p.length;
    if (p.is_text) {
      size = TextSize(from, size);
      *at++ = static_cast<std::uint8_t>(size);
    }
    CopyLoosely(at, from, size);
    at += size;
  }
  return static_cast<std::size_t>(at - out);
}

void ReadAhead::Unpack(const std::uint8_t* packed, std::uint8_t* out) const {
  for (const Piece& p : pieces_) {
    std::uint8_t* const to = out + p.offset;
    std::size_t size = p.length;
    if (p.is_text) {
      size = *packed++;
      CopyLoosely(to, packed, size);
      BlankLoosely(to + size, p.length - size);
    } else {
      CopyLoosely(to, packed, size);
    }
    packed += size;
  }
}

std::size_t ReadAhead::Capacity() const {
  if (packed_records_ == 0) return kMostBytes / (record_length_ + pieces_.size());
  return std::min(kMostRecords, kMostBytes / (packed_size_ / packed_records_ + 1));
}

void ReadAhead::Fetch(std::vector<std::uint32_t> numbers, platform::File* data,
                      std::uint64_t first_record) {
  numbers_ = std::move(numbers);
  next_ = 0;
  places_.assign(numbers_.size(), kNowhere);
  packed_size_ = 0;
  packed_records_ = 0;
  if (numbers_.empty()) return;

  // The order of the file, as far as it matters: by pieces.
  const std::uint32_t in_piece =
      std::max<std::uint32_t>(1, static_cast<std::uint32_t>(kPieceBytes / record_length_));
  const std::uint32_t last = *std::max_element(numbers_.begin(), numbers_.end());
  std::vector<std::uint32_t> begins(last / in_piece + 2, 0);
  for (const std::uint32_t n : numbers_) ++begins[n / in_piece + 1];
  for (std::size_t i = 1; i < begins.size(); ++i) begins[i] += begins[i - 1];
  struct Wanted {
    std::uint32_t number;
    std::uint32_t index;  // in the walk
  };
  std::vector<Wanted> order(numbers_.size());
  for (std::uint32_t i = 0; i < numbers_.size(); ++i) {
    order[begins[numbers_[i] / in_piece]++] = {numbers_[i], i};
  }

  const std::size_t most = record_length_ + pieces_.size() + kSlack;  // that one can take, packed
  const std::size_t room = std::min(kMostBytes, numbers_.size() * most);
  if (room > room_) {
    packed_ = std::make_unique_for_overwrite<std::uint8_t[]>(room);
    room_ = room;
  }
  const std::size_t stride = record_length_ + kSlack;
  std::vector<std::uint8_t> buffer(kTogether * stride);
  std::array<platform::File::Piece, kTogether> pieces;
  for (std::size_t at = 0; at < order.size();) {
    const std::size_t n = std::min(kTogether, order.size() - at);
    for (std::size_t k = 0; k < n; ++k) {
      pieces[k] = {first_record + std::uint64_t{order[at + k].number - 1} * record_length_,
                   buffer.data() + k * stride};
    }
    const auto read = data->ReadPieces(std::span(pieces.data(), n), record_length_);
    const std::size_t got = read.ok() ? *read : 0;
    for (std::size_t k = 0; k < got; ++k) {
      if (packed_size_ + most > room_) return;
      places_[order[at + k].index] = static_cast<std::uint32_t>(packed_size_);
      packed_size_ += Pack(buffer.data() + k * stride, packed_.get() + packed_size_);
      ++packed_records_;
    }
    at += got < n ? got + 1 : n;
  }
}

}  // namespace pv::engine

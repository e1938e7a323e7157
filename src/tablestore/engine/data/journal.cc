// Notes and finishes changes in place. Tested by journal_test.cc.
#include "tablestore/engine/data/journal.h"

#include <array>
#include <cstring>

#include "base/bytes.h"

namespace pv::engine {
namespace {

constexpr std::string_view kMagic = "PVJRNL01";
constexpr std::uint32_t kCommitted = 1;

}  // namespace

std::uint64_t Checksum(std::string_view bytes) {
  // Multiply and fold, eight bytes at a time (the finaliser of a well-known hash family).
  std::uint64_t h = 0x9E3779B97F4A7C15ULL ^ bytes.size();
  const auto mix = [&h](std::uint64_t word) {
    h = (h ^ word) * 0xFF51AFD7ED558CCDULL;
    h ^= h >> 33;
  };
  std::size_t i = 0;
  for (; i + 8 <= bytes.size(); i += 8) mix(LoadLe64(bytes.data() + i));
  std::uint64_t tail = 0;
  if (i < bytes.size()) std::memcpy(&tail, bytes.data() + i, bytes.size() - i);
  mix(tail);
  return h;
}

void Journal::AddBytes(Target target, std::uint64_t offset, std::string_view bytes) {
  std::array<char, kEntrySize> e{};
  e[0] = static_cast<char>(target);
  StoreLe32(e.data() + 4, static_cast<std::uint32_t>(bytes.size()));
  StoreLe64(e.data() + 8, offset);
  StoreLe64(e.data() + 24, Checksum(bytes));
  entries_.append(e.data(), e.size());
  entries_.append(bytes);
}

void Journal::AddStaged(std::uint64_t memo_offset, std::uint64_t staged_offset,
                        std::string_view bytes) {
  std::array<char, kEntrySize> e{};
  e[0] = static_cast<char>(Target::kMemo);
  e[1] = 1;
  StoreLe32(e.data() + 4, static_cast<std::uint32_t>(bytes.size()));
  StoreLe64(e.data() + 8, memo_offset);
  StoreLe64(e.data() + 16, staged_offset);
  StoreLe64(e.data() + 24, Checksum(bytes));
  entries_.append(e.data(), e.size());
}

Status Journal::Commit(platform::File* index, std::uint64_t offset) {
  std::string bytes(kHeaderSize, '\0');
  std::memcpy(bytes.data(), kMagic.data(), kMagic.size());
  StoreLe32(bytes.data() + 8, kCommitted);
  StoreLe32(bytes.data() + 12, static_cast<std::uint32_t>(entries_.size()));
  StoreLe64(bytes.data() + 16, Checksum(entries_));
  bytes += entries_;
  return index->Write(offset, bytes.data(), bytes.size());
}

Status Journal::Finish(platform::File* index, std::uint64_t offset) {
  std::array<std::uint8_t, 4> state{};
  return index->Write(offset + 8, state.data(), state.size());
}

Result<bool> Journal::Replay(platform::File* index, std::uint64_t offset, std::uint64_t capacity,
                             platform::File* data, platform::File* memo) {
  if (capacity < kHeaderSize) return false;
  std::string header(kHeaderSize, '\0');
  PV_ASSIGN_OR_RETURN(std::size_t got, index->Read(offset, header.data(), header.size()));
  if (got < header.size()) return false;
  if (header.compare(0, kMagic.size(), kMagic) != 0) return false;
  if (LoadLe32(header.data() + 8) != kCommitted) return false;
  const std::size_t length = LoadLe32(header.data() + 12);
  if (length > capacity - kHeaderSize) return false;
  PV_ASSIGN_OR_RETURN(const std::uint64_t file_size, index->Size());
  if (file_size < offset + kHeaderSize + length) return false;
  std::string body(length, '\0');
  PV_ASSIGN_OR_RETURN(got, index->Read(offset + kHeaderSize, body.data(), body.size()));
  if (got < body.size()) return false;
  const std::string_view entries = body;
  if (Checksum(entries) != LoadLe64(header.data() + 16)) return false;

  bool wrote = false;
  for (std::size_t at = 0; at + kEntrySize <= entries.size();) {
    const char* e = entries.data() + at;
    at += kEntrySize;
    const std::size_t size = LoadLe32(e + 4);
    const std::uint64_t target_offset = LoadLe64(e + 8);
    std::string staged;
    std::string_view content;
    if (e[1] == 0) {
      if (size > entries.size() - at) break;
      content = entries.substr(at, size);
      at += size;
    } else if (memo != nullptr) {
      PV_ASSIGN_OR_RETURN(const std::uint64_t memo_size, memo->Size());
      const std::uint64_t from = LoadLe64(e + 16);
      if (from > memo_size || size > memo_size - from) continue;
      staged.resize(size);
      PV_ASSIGN_OR_RETURN(const std::size_t read, memo->Read(from, staged.data(), size));
      if (read < size) continue;
      content = staged;
    }
    if (Checksum(content) != LoadLe64(e + 24)) continue;
    platform::File* const target = e[0] == 0 ? data : memo;
    if (target == nullptr) continue;
    // A change in place never makes a file longer.
    PV_ASSIGN_OR_RETURN(const std::uint64_t target_size, target->Size());
    if (target_offset > target_size || content.size() > target_size - target_offset) continue;
    PV_RETURN_IF_ERROR(target->Write(target_offset, content.data(), content.size()));
    wrote = true;
  }
  PV_RETURN_IF_ERROR(Finish(index, offset));
  return wrote;
}

}  // namespace pv::engine

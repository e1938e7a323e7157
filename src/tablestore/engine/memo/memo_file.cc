// Memo allocation and reading. Tested by memo_file_test.cc.
#include "tablestore/engine/memo/memo_file.h"

#include <algorithm>
#include <array>

#include "base/bytes.h"
#include "tablestore/engine/error_codes.h"

namespace pv::engine {
namespace {

constexpr std::uint64_t kLargestGap = std::uint64_t{16} << 20;  // bytes

}  // namespace

Status MemoFile::Damaged(std::uint32_t block, const std::string& why) const {
  return {StatusCode::kCorrupt, file_->path() + ": memo block " + std::to_string(block) + " " + why,
          kErrMemoDamaged};
}

Status MemoFile::Create(platform::File* file, std::uint16_t block_size) {
  std::string header(kMemoHeaderSize, '\0');
  StoreBe32(header.data(),
            static_cast<std::uint32_t>((kMemoHeaderSize + block_size - 1) / block_size));
  StoreBe16(header.data() + 6, block_size);
  PV_RETURN_IF_ERROR(file->Truncate(0));
  return file->Write(0, header.data(), header.size());
}

Result<std::unique_ptr<MemoFile>> MemoFile::Open(platform::File* file) {
  std::array<std::uint8_t, 8> header{};
  PV_ASSIGN_OR_RETURN(const std::size_t got, file->Read(0, header.data(), header.size()));
  if (got < header.size()) {
    return Status(StatusCode::kCorrupt, file->path() + ": the memo file's header is cut short",
                  kErrMemoDamaged);
  }
  const std::uint32_t block_size = LoadBe16(header.data() + 6);
  if (block_size == 0) {
    return Status(StatusCode::kCorrupt, file->path() + ": the memo block size is 0",
                  kErrMemoDamaged);
  }
  return std::unique_ptr<MemoFile>(new MemoFile(file, block_size));
}

std::unique_ptr<MemoFile> MemoFile::Assume(platform::File* file, std::uint16_t block_size) {
  return std::unique_ptr<MemoFile>(new MemoFile(file, block_size));
}

std::uint32_t MemoFile::BlocksFor(std::uint64_t text_length) const {
  return static_cast<std::uint32_t>((text_length + kMemoEntryHeader + block_size_ - 1) /
                                    block_size_);
}

Result<std::uint32_t> MemoFile::NextFree() {
  std::array<std::uint8_t, 4> bytes{};
  PV_ASSIGN_OR_RETURN(const std::size_t got, file_->Read(0, bytes.data(), bytes.size()));
  if (got < bytes.size()) {
    return Status(StatusCode::kCorrupt, file_->path() + ": the memo file's header is cut short",
                  kErrMemoDamaged);
  }
  return LoadBe32(bytes.data());
}

Result<std::uint64_t> MemoFile::FirstFreeBlock() {
  PV_ASSIGN_OR_RETURN(const std::uint32_t next, NextFree());
  PV_ASSIGN_OR_RETURN(const std::uint64_t size, file_->Size());
  const std::uint64_t after_all =
      (std::max<std::uint64_t>(size, kMemoHeaderSize) + block_size_ - 1) / block_size_;
  // What lies between may belong to memos of a file that was cut short, so it is not given out
  // again; a counter far beyond the end is damage, and must not make the file as large as it says
  // (one beyond the largest size makes no file: it is full).
  if (next > after_all + kLargestGap / block_size_ &&
      std::uint64_t{next} * block_size_ < kMaxMemoFileSize - kLargestGap) {
    return Status(StatusCode::kCorrupt,
                  file_->path() + ": the header says that block " + std::to_string(next) +
                      " is the next free one, but the file ends before block " +
                      std::to_string(after_all),
                  kErrMemoDamaged);
  }
  return std::max<std::uint64_t>(next, after_all);
}

Result<MemoFile::Entry> MemoFile::Inspect(std::uint32_t block) {
  if (OffsetOf(block) < kMemoHeaderSize) return Damaged(block, "lies inside the file's header");
  std::array<std::uint8_t, kMemoEntryHeader> header{};
  PV_ASSIGN_OR_RETURN(const std::size_t got,
                      file_->Read(OffsetOf(block), header.data(), header.size()));
  if (got < header.size()) return Damaged(block, "lies beyond the end of the file");
  Entry e;
  e.type = LoadBe32(header.data());
  e.length = LoadBe32(header.data() + 4);
  if (e.type > 1) return Damaged(block, "has the unknown type " + std::to_string(e.type));
  if (e.type == 0 && e.length == 0) return Damaged(block, "is blank");
  if (e.length > kMaxMemoLength) {
    return Damaged(block, "has the impossible length " + std::to_string(e.length));
  }
  PV_ASSIGN_OR_RETURN(const std::uint64_t size, file_->Size());
  if (OffsetOf(block) + kMemoEntryHeader + e.length > size) {
    return Damaged(block,
                   "has the length " + std::to_string(e.length) + " and would end beyond the file");
  }
  e.blocks = BlocksFor(e.length);
  return e;
}

Result<std::string> MemoFile::Read(std::uint32_t block) {
  if (block == 0) return std::string();
  PV_ASSIGN_OR_RETURN(const Entry e, Inspect(block));
  std::string text(e.length, '\0');
  PV_ASSIGN_OR_RETURN(const std::size_t got,
                      file_->Read(OffsetOf(block) + kMemoEntryHeader, text.data(), text.size()));
  if (got < text.size()) return Damaged(block, "was cut short while it was read");
  return text;
}

std::string MemoFile::EntryBytes(std::string_view text, MemoType type) const {
  std::string bytes(std::size_t{BlocksFor(text.size())} * block_size_, '\0');
  StoreBe32(bytes.data(), static_cast<std::uint32_t>(type));
  StoreBe32(bytes.data() + 4, static_cast<std::uint32_t>(text.size()));
  std::copy(text.begin(), text.end(), bytes.begin() + kMemoEntryHeader);
  return bytes;
}

Result<std::uint32_t> MemoFile::Append(std::string_view text, MemoType type) {
  if (text.size() > kMaxMemoLength) {
    return Status(StatusCode::kLimit, file_->path() + ": the memo is too long", kErrFieldValue);
  }
  PV_ASSIGN_OR_RETURN(const std::uint64_t first, FirstFreeBlock());
  const std::string bytes = EntryBytes(text, type);
  const std::uint64_t next = first + BlocksFor(text.size());
  if (next > 0xFFFFFFFF || first * block_size_ + bytes.size() > kMaxMemoFileSize) {
    return Status(StatusCode::kLimit, file_->path() + ": the memo file is full", kErrTooLarge);
  }
  const auto block = static_cast<std::uint32_t>(first);
  PV_RETURN_IF_ERROR(file_->Write(OffsetOf(block), bytes.data(), bytes.size()));
  std::array<std::uint8_t, 4> counter{};
  StoreBe32(counter.data(), static_cast<std::uint32_t>(next));
  PV_RETURN_IF_ERROR(file_->Write(0, counter.data(), counter.size()));
  return block;
}

Result<std::uint64_t> MemoFile::Stage(std::string_view entry_bytes) {
  PV_ASSIGN_OR_RETURN(const std::uint64_t first, FirstFreeBlock());
  const std::uint64_t offset = first * block_size_;
  if (offset + entry_bytes.size() > kMaxMemoFileSize) {
    return Status(StatusCode::kLimit, file_->path() + ": the memo file is full", kErrTooLarge);
  }
  PV_RETURN_IF_ERROR(file_->Write(offset, entry_bytes.data(), entry_bytes.size()));
  return offset;
}

}  // namespace pv::engine

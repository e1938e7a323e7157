// Reads an import's bytes. Tested by byte_source_test.cc.
#include "cli/import/byte_source.h"

#include <algorithm>
#include <cstring>

#include "base/text.h"

namespace pv::cli {
namespace {

constexpr std::size_t kUnitBlock = 256 * 1024;

bool IsHigh(std::uint32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool IsLow(std::uint32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

std::uint32_t UnitAt(const char* p, bool big_endian) {
  const auto a = static_cast<unsigned char>(p[0]);
  const auto b = static_cast<unsigned char>(p[1]);
  return big_endian ? static_cast<std::uint32_t>(a << 8 | b)
                    : static_cast<std::uint32_t>(b << 8 | a);
}

}  // namespace

Result<std::size_t> MemorySource::Read(char* out, std::size_t size) {
  const std::size_t n = std::min(size, rest_.size());
  std::memcpy(out, rest_.data(), n);
  rest_.remove_prefix(n);
  return n;
}

Result<std::size_t> FileSource::Read(char* out, std::size_t size) {
  PV_ASSIGN_OR_RETURN(const std::size_t n, file_->Read(offset_, out, size));
  offset_ += n;
  return n;
}

Result<std::size_t> Utf16Source::Read(char* out, std::size_t size) {
  while (taken_ == ready_.size()) {
    if (ended_ && raw_size_ == 0) return std::size_t{0};
    PV_RETURN_IF_ERROR(Convert());
  }
  const std::size_t n = std::min(size, ready_.size() - taken_);
  std::memcpy(out, ready_.data() + taken_, n);
  taken_ += n;
  return n;
}

Status Utf16Source::Convert() {
  raw_.resize(kUnitBlock);
  while (!ended_ && raw_size_ < 4) {
    PV_ASSIGN_OR_RETURN(const std::size_t n,
                        units_->Read(raw_.data() + raw_size_, raw_.size() - raw_size_));
    if (n == 0) ended_ = true;
    raw_size_ += n;
  }
  ready_.clear();
  taken_ = 0;
  std::size_t pos = 0;
  while (raw_size_ - pos >= 2) {
    const std::uint32_t unit = UnitAt(&raw_[pos], big_endian_);
    if (IsHigh(unit)) {
      if (raw_size_ - pos < 4 && !ended_) break;
      const std::uint32_t next = raw_size_ - pos >= 4 ? UnitAt(&raw_[pos + 2], big_endian_) : 0;
      if (IsLow(next)) {
        AppendUtf8(&ready_, 0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00));
        pos += 4;
        continue;
      }
    }
    if (IsHigh(unit) || IsLow(unit)) {
      ready_.push_back(static_cast<char>(0xE0 | unit >> 12));
      ready_.push_back(static_cast<char>(0x80 | (unit >> 6 & 0x3F)));
      ready_.push_back(static_cast<char>(0x80 | (unit & 0x3F)));
    } else {
      AppendUtf8(&ready_, unit);
    }
    pos += 2;
  }
  if (ended_ && raw_size_ - pos == 1) {
    ready_.push_back(kOddByte);
    ready_.push_back(static_cast<char>(0x80 | (raw_[pos] >> 4 & 0x0F)));
    ready_.push_back(static_cast<char>(0x80 | (raw_[pos] & 0x0F)));
    ++pos;
  }
  std::memmove(raw_.data(), raw_.data() + pos, raw_size_ - pos);
  raw_size_ -= pos;
  return {};
}

std::uint64_t Utf16Size(std::string_view text) {
  std::uint64_t size = 0;
  for (const char c : text) {
    const auto b = static_cast<unsigned char>(c);
    if (c == Utf16Source::kOddByte) {
      ++size;
    } else if (b >= 0xF0) {
      size += 4;
    } else if (b < 0x80 || b >= 0xC0) {
      size += 2;
    }
  }
  return size;
}

}  // namespace pv::cli

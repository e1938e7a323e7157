// Opens import sources and reads their rows. Tested by import_source_test.cc and tests/cli.
#include "cli/import_source.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "cli/failure.h"
#include "platform/system.h"

namespace pv::cli {
namespace {

constexpr std::size_t kSampleSize = 256 * 1024;

const char* FaultText(RowFault fault) {
  switch (fault) {
    case RowFault::kNone:
      return nullptr;
    case RowFault::kOpenQuote:
      return "a quote is never closed";
    case RowFault::kAfterQuote:
      return "text stands behind a closing quote";
    case RowFault::kTooLong:
      return "the row is longer than 16 MiB";
  }
  return nullptr;
}

// Whether a row is plain ASCII, and whether it holds a zero byte, in one pass.
struct RowScan {
  bool ascii, zero;
};
RowScan Scan(std::string_view bytes) {
  constexpr std::uint64_t kOnes = 0x0101010101010101U;
  constexpr std::uint64_t kHigh = 0x8080808080808080U;
  std::uint64_t high = 0;
  std::uint64_t zero = 0;
  const char* p = bytes.data();
  std::size_t left = bytes.size();
  for (; left >= 8; left -= 8, p += 8) {
    std::uint64_t word;
    std::memcpy(&word, p, 8);
    high |= word;
    zero |= (word - kOnes) & ~word;
  }
  for (; left > 0; --left, ++p) {
    high |= static_cast<unsigned char>(*p);
    if (*p == 0) zero |= kHigh;
  }
  return {(high & kHigh) == 0, (zero & kHigh) != 0};
}

}  // namespace

ImportSource::ImportSource(const ImportOptions& options) {
  platform::FileSystem* files = platform::CurrentSystem().files;
  if (options.file == "-") {
    name_ = "standard input";
    spooled_ = Take(SpooledInput::FromStream(stdin));
  } else {
    name_ = options.file;
    const platform::FileInfo info = Take(files->Stat(options.file));
    if (info.is_directory) throw Failure(kUnavailable, options.file + " is a folder");
    // A pipe has no size and cannot be read twice.
    std::FILE* stream = info.size == 0 ? std::fopen(options.file.c_str(), "rb") : nullptr;
    if (stream != nullptr) {
      const bool seekable = std::fseek(stream, 0, SEEK_END) == 0;
      if (!seekable) spooled_ = Take(SpooledInput::FromStream(stream));
      std::fclose(stream);
    }
    platform::OpenOptions open;
    open.read_only = true;
    if (spooled_ == nullptr) opened_ = Take(files->Open(options.file, open));
  }
  file_ = spooled_ != nullptr ? spooled_->file() : opened_.get();
  size_ = Take(file_->Size());

  FileSource whole(file_, 0);
  if (options.encoding.empty()) {
    sniffed_encoding_ = Take(SniffEncoding(&whole));
  } else {
    sniffed_encoding_.encoding = Take(EncodingByName(options.encoding));
    char start[4];
    const std::size_t n = Take(whole.Read(start, sizeof start));
    // "utf-16" leaves the byte order to the mark.
    if (std::string_view(start, std::min<std::size_t>(n, 2)) == "\xFE\xFF" &&
        sniffed_encoding_.encoding.is_utf16()) {
      sniffed_encoding_.encoding = Take(EncodingByName("utf-16be"));
    }
    sniffed_encoding_.mark_size = MarkSize(sniffed_encoding_.encoding, {start, n});
  }
  sniffed_ = SniffDialect(Sample(), options.dialect);
  sniffed_.dialect.utf16 = encoding().is_utf16();
}

std::string ImportSource::Sample() const {
  const auto bytes = Bytes();
  std::string sample(kSampleSize, '\0');
  std::size_t size = 0;
  while (size < sample.size()) {
    const std::size_t n = Take(bytes->Read(sample.data() + size, sample.size() - size));
    if (n == 0) break;
    size += n;
  }
  sample.resize(size);
  return sample;
}

std::unique_ptr<ByteSource> ImportSource::Bytes() const {
  auto bytes = std::make_unique<FileSource>(file_, mark_size());
  if (!encoding().is_utf16()) return bytes;
  return std::make_unique<Utf16Source>(std::move(bytes), encoding().kind == EncodingKind::kUtf16Be);
}

Result<std::string> ImportSource::ReadOriginal(std::uint64_t offset, std::size_t size) const {
  std::string bytes(size, '\0');
  PV_ASSIGN_OR_RETURN(const std::size_t n, file_->Read(offset, bytes.data(), size));
  bytes.resize(n);
  return bytes;
}

RowReader::RowReader(const ImportSource& source)
    : bytes_(source.Bytes()),
      reader_(bytes_.get(), source.dialect()),
      decoder_(source.encoding()),
      encoding_(source.encoding()),
      mark_size_(source.mark_size()) {
  if (!NextRaw()) return;
  if (!source.has_header()) {
    for (std::size_t i = 1; i <= reader_.fields().size(); ++i) {
      headings_.push_back(std::to_string(i));
    }
    held_first_ = true;
    return;
  }
  fault_ = Decode();
  if (fault_ != nullptr) {
    throw Failure(kUsage, source.name() + ": the header row cannot be used: " + fault_);
  }
  headings_.assign(fields_.begin(), fields_.end());
  header_bytes_ = Original();
}

bool RowReader::NextRaw() { return Take(reader_.Next()); }

bool RowReader::Next() {
  if (!held_first_ && !NextRaw()) return false;
  held_first_ = false;
  fault_ = Decode();
  if (fault_ != nullptr || fields_.size() == headings_.size()) return true;
  fault_text_ = std::to_string(fields_.size()) + (fields_.size() == 1 ? " column" : " columns") +
                " instead of " + std::to_string(headings_.size());
  fault_ = fault_text_.c_str();
  return true;
}

// Takes the reader's fields over as UTF-8; the fault, or null.
const char* RowReader::Decode() {
  fields_.clear();
  if (reader_.fault() != RowFault::kNone) return FaultText(reader_.fault());
  const RowScan scan = Scan(reader_.original());
  if (scan.zero) return "a value holds a zero byte";
  if (scan.ascii) {
    fields_.assign(reader_.fields().begin(), reader_.fields().end());
    return nullptr;
  }
  const std::size_t count = reader_.fields().size();
  if (scratch_.size() < count) scratch_.resize(count);
  for (std::size_t i = 0; i < count; ++i) {
    std::string_view text;
    if (!decoder_.Decode(reader_.fields()[i], &scratch_[i], &text)) {
      fault_text_ = "column " + std::to_string(i + 1) + " is not valid " + encoding_.name;
      return fault_text_.c_str();
    }
    fields_.push_back(text);
  }
  return nullptr;
}

std::string RowReader::Original() const {
  if (!encoding_.is_utf16()) return std::string(reader_.original());
  return Utf16FromBytes(reader_.original(), encoding_.kind == EncodingKind::kUtf16Be);
}

}  // namespace pv::cli

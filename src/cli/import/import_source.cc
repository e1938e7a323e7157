// Opens import sources. Tested by row_reader_test.cc and tests/cli.
#include "cli/import/import_source.h"

#include <algorithm>
#include <cstdio>

#include "cli/failure.h"
#include "platform/system.h"

namespace pv::cli {
namespace {

constexpr std::size_t kSampleSize = 256 * 1024;
constexpr const char* kStandardInput = "standard input";

}  // namespace

ImportSource::ImportSource(const ImportOptions& options) {
  platform::FileSystem* files = platform::CurrentSystem().files;
  if (options.spool != nullptr) {
    name_ = options.file;
    spooled_ = options.spool;
  } else if (options.file == "-") {
    name_ = kStandardInput;
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

std::string ImportSource::stem() const {
  if (is_file()) return name_;
  std::string stem = name_ == kStandardInput ? "stdin" : name_;
  for (char& c : stem) {
    if (c == '/' || c == '\\' || c == ':' || static_cast<unsigned char>(c) < 0x20) c = '_';
  }
  return stem;
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

// A pass over the file's bytes, beside others.
class ImportSource::Reading : public ByteSource {
 public:
  explicit Reading(const ImportSource& source) : source_(source), offset_(source.mark_size()) {}

  Result<std::size_t> Read(char* out, std::size_t size) override {
    PV_ASSIGN_OR_RETURN(const std::size_t n, source_.Read(offset_, out, size));
    offset_ += n;
    return n;
  }

 private:
  const ImportSource& source_;
  std::uint64_t offset_;
};

std::unique_ptr<ByteSource> ImportSource::Bytes() const {
  auto bytes = std::make_unique<Reading>(*this);
  if (!encoding().is_utf16()) return bytes;
  return std::make_unique<Utf16Source>(std::move(bytes), encoding().kind == EncodingKind::kUtf16Be);
}

Result<std::size_t> ImportSource::Read(std::uint64_t offset, char* out, std::size_t size) const {
  const std::lock_guard lock(reading_);
  return file_->Read(offset, out, size);
}

Result<std::string> ImportSource::ReadOriginal(std::uint64_t offset, std::size_t size) const {
  std::string bytes(size, '\0');
  PV_ASSIGN_OR_RETURN(const std::size_t n, Read(offset, bytes.data(), size));
  bytes.resize(n);
  return bytes;
}

}  // namespace pv::cli

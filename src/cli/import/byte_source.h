// Where an import reads its bytes from: a file or the spooled standard input, as they are or, for
// UTF-16, turned into UTF-8 on the way.
#ifndef PV_CLI_IMPORT_BYTE_SOURCE_H_
#define PV_CLI_IMPORT_BYTE_SOURCE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "platform/file_system.h"

namespace pv::cli {

// Bytes in their order, once.
class ByteSource {
 public:
  virtual ~ByteSource() = default;

  // Reads up to `size` bytes; 0 at the end and only there.
  virtual Result<std::size_t> Read(char* out, std::size_t size) = 0;
};

// A part of memory; it must outlive the source.
class MemorySource : public ByteSource {
 public:
  explicit MemorySource(std::string_view bytes) : rest_(bytes) {}
  Result<std::size_t> Read(char* out, std::size_t size) override;

 private:
  std::string_view rest_;
};

// A file from `offset` to its end. The file must outlive the source.
class FileSource : public ByteSource {
 public:
  FileSource(platform::File* file, std::uint64_t offset) : file_(file), offset_(offset) {}
  Result<std::size_t> Read(char* out, std::size_t size) override;

 private:
  platform::File* file_;
  std::uint64_t offset_;
};

// UTF-16 units of another source as UTF-8. Nothing is lost: a surrogate without its partner comes
// out as three bytes that are not valid UTF-8, and an odd byte at the end as kOddByte and two more,
// so that Utf16Size can tell how many bytes any part of the text had.
class Utf16Source : public ByteSource {
 public:
  static constexpr char kOddByte = '\xFE';
  Utf16Source(std::unique_ptr<ByteSource> units, bool big_endian)
      : units_(std::move(units)), big_endian_(big_endian) {}
  Result<std::size_t> Read(char* out, std::size_t size) override;

 private:
  Status Convert();

  std::unique_ptr<ByteSource> units_;
  bool big_endian_;
  bool ended_ = false;
  std::vector<char> raw_;
  std::size_t raw_size_ = 0;  // bytes of raw_ not yet converted
  std::string ready_;
  std::size_t taken_ = 0;
};

// The number of bytes that Utf16Source made `text` of, which may be any cut of its output.
std::uint64_t Utf16Size(std::string_view text);

}  // namespace pv::cli

#endif  // PV_CLI_IMPORT_BYTE_SOURCE_H_

// The source of an import, opened and looked at, and its rows as UTF-8.
#ifndef PV_CLI_IMPORT_SOURCE_H_
#define PV_CLI_IMPORT_SOURCE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "cli/csv_reader.h"
#include "cli/encoding.h"
#include "cli/import_options.h"
#include "cli/spooled_input.h"
#include "platform/file_system.h"

namespace pv::cli {

// A file, or standard input or a pipe kept in a private file. It can be read any number of times.
class ImportSource {
 public:
  explicit ImportSource(const ImportOptions& options);

  // For people: the file's name as it was given, or "standard input".
  const std::string& name() const { return name_; }
  // Whether it is a file that others can be written beside.
  bool is_file() const { return spooled_ == nullptr; }

  const Encoding& encoding() const { return sniffed_encoding_.encoding; }
  std::size_t mark_size() const { return sniffed_encoding_.mark_size; }
  const CsvDialect& dialect() const { return sniffed_.dialect; }
  bool has_header() const { return sniffed_.has_header; }
  std::uint64_t size() const { return size_; }

  // The bytes behind the byte-order mark, as CsvReader takes them.
  std::unique_ptr<ByteSource> Bytes() const;

  // The bytes [offset, offset + size) of the file itself; fewer at its end.
  Result<std::string> ReadOriginal(std::uint64_t offset, std::size_t size) const;

 private:
  std::string Sample() const;

  std::string name_;
  std::unique_ptr<platform::File> opened_;
  std::unique_ptr<SpooledInput> spooled_;
  platform::File* file_ = nullptr;
  std::uint64_t size_ = 0;
  SniffedEncoding sniffed_encoding_;
  SniffedDialect sniffed_;
};

// Reads the rows of a source. The header row is taken first, when there is one.
class RowReader {
 public:
  explicit RowReader(const ImportSource& source);

  // Headings of the columns; without a header row "1", "2", … as wide as the first row.
  const std::vector<std::string>& headings() const { return headings_; }
  // The header row's bytes; empty when there is none.
  const std::string& header_bytes() const { return header_bytes_; }

  // Goes to the next row; false when there is none. Throws Failure when reading fails.
  bool Next();

  // Why the row cannot be used, or null. fields() is as long as headings() unless there is a
  // fault, and is UTF-8 without zero bytes.
  const char* fault() const { return fault_; }
  const std::vector<std::string_view>& fields() const { return fields_; }

  // The row's bytes in the source's own encoding; empty when it is too long to be held.
  std::string Original() const;
  bool original_held() const { return reader_.fault() != RowFault::kTooLong; }
  std::uint64_t line() const { return reader_.line(); }
  std::uint64_t offset() const { return reader_.offset() + mark_size_; }  // in the file
  std::uint64_t size() const { return reader_.size(); }

  std::uint64_t blank_lines() const { return reader_.blank_lines(); }
  std::uint64_t consumed() const { return reader_.consumed() + mark_size_; }

 private:
  bool NextRaw();
  const char* Decode();

  std::unique_ptr<ByteSource> bytes_;
  CsvReader reader_;
  TextDecoder decoder_;
  Encoding encoding_;
  std::size_t mark_size_;
  std::vector<std::string> headings_;
  std::string header_bytes_;
  bool held_first_ = false;  // a first row that is no header waits for Next
  const char* fault_ = nullptr;
  std::string fault_text_;
  std::vector<std::string_view> fields_;
  std::vector<std::string> scratch_;  // decoded fields
};

}  // namespace pv::cli

#endif  // PV_CLI_IMPORT_SOURCE_H_

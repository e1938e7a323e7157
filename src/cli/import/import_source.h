// The source of an import, opened and looked at.
#ifndef PV_CLI_IMPORT_IMPORT_SOURCE_H_
#define PV_CLI_IMPORT_IMPORT_SOURCE_H_

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "cli/import/csv_reader.h"
#include "cli/import/encoding.h"
#include "cli/import/import_options.h"
#include "cli/import/spooled_input.h"
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

  // What files with its rejected rows are named after.
  std::string stem() const;

  const Encoding& encoding() const { return sniffed_encoding_.encoding; }
  std::size_t mark_size() const { return sniffed_encoding_.mark_size; }
  const CsvDialect& dialect() const { return sniffed_.dialect; }
  bool has_header() const { return sniffed_.has_header; }
  std::uint64_t size() const { return size_; }

  // The bytes behind the byte-order mark, as CsvReader takes them. The source must outlive what
  // is returned, which may be read in another thread.
  std::unique_ptr<ByteSource> Bytes() const;

  // The bytes [offset, offset + size) of the file itself; fewer at its end.
  Result<std::string> ReadOriginal(std::uint64_t offset, std::size_t size) const;

 private:
  class Reading;
  std::string Sample() const;
  Result<std::size_t> Read(std::uint64_t offset, char* out, std::size_t size) const;

  std::string name_;
  std::unique_ptr<platform::File> opened_;
  std::shared_ptr<SpooledInput> spooled_;
  platform::File* file_ = nullptr;
  mutable std::mutex reading_;  // a File is for one thread at a time
  std::uint64_t size_ = 0;
  SniffedEncoding sniffed_encoding_;
  SniffedDialect sniffed_;
};

}  // namespace pv::cli

#endif  // PV_CLI_IMPORT_IMPORT_SOURCE_H_

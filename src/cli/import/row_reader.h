// The rows of an import's source as UTF-8 columns, read ahead by a thread of their own.
#ifndef PV_CLI_IMPORT_ROW_READER_H_
#define PV_CLI_IMPORT_ROW_READER_H_

#include <array>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "cli/import/csv_reader.h"
#include "cli/import/import_source.h"

namespace pv::cli {

// Reads the rows of a source. The header row is taken first, when there is one. A large source is
// read, cut and decoded in a second thread, a few batches ahead of the caller.
class RowReader {
 public:
  using Columns = std::span<const std::string_view>;

  // The source must outlive the reader. `key_column`, when given, is the column of addresses:
  // their faults and hashes are found ahead too. `look`, when given, is called for every row
  // without a fault before Next comes to it, perhaps in the second thread.
  explicit RowReader(const ImportSource& source,
                     std::optional<std::size_t> key_column = std::nullopt,
                     std::function<void(Columns)> look = nullptr);
  ~RowReader();
  RowReader(const RowReader&) = delete;
  RowReader& operator=(const RowReader&) = delete;

  // Headings of the columns; without a header row "1", "2", … as wide as the first row.
  const std::vector<std::string>& headings() const { return headings_; }
  // The header row's bytes in the source; empty when there is none.
  const std::string& header_bytes() const { return header_bytes_; }

  // Goes to the next row; false when there is none. Throws Failure when reading fails. What the
  // members below give is valid until the next call.
  bool Next();

  // Why the row cannot be used, or nothing. fields() is as long as headings() unless there is a
  // fault, and is UTF-8 without zero bytes.
  std::string_view fault() const { return fault_; }
  Columns fields() const { return fields_; }

  // Of the key column without blanks around it: why it is no address, or null; and HashOf its
  // lower-case form. Not set for rows with a fault.
  const char* key_fault() const { return row_->key_fault; }
  std::uint64_t key_hash() const { return row_->key_hash; }
  // The hash of a row that comes soon, or any number.
  std::uint64_t KeyHashAhead() const;

  // Where the row's bytes lie in the file, and the row's first line, from 1.
  std::uint64_t line() const { return row_->line; }
  std::uint64_t offset() const { return row_->offset; }
  std::uint64_t size() const { return row_->size; }

  std::uint64_t blank_lines() const { return blank_lines_; }  // up to here
  std::uint64_t consumed() const { return consumed_; }        // bytes of the file, up to here

 private:
  struct Span {
    std::size_t at = 0, size = 0;  // in the batch's bytes
  };
  struct Row {
    std::size_t first_field = 0, field_count = 0;
    Span fault;
    std::uint64_t line = 0, offset = 0, size = 0, blank_lines = 0, consumed = 0;
    const char* key_fault = nullptr;
    std::uint64_t key_hash = 0;
  };
  struct Batch {
    std::string bytes;
    std::vector<Span> spans;
    std::vector<std::string_view> fields;  // the same, when all bytes are there
    std::vector<Row> rows;
    std::uint64_t blank_lines = 0, consumed = 0;  // up to its end
    bool last = false;
    Status error;
  };
  static constexpr std::size_t kBatches = 16;

  static Columns FieldsOf(const Batch& batch, const Row& row) {
    return Columns(batch.fields).subspan(row.first_field, row.field_count);
  }
  Result<bool> NextRaw() { return reader_.Next(); }
  void Fill(Batch* batch);
  void AddRow(Batch* batch);
  // The fault of the reader's current row, or ""; its columns are in raw_fields_ then.
  std::string_view Interpret();
  void Produce();
  Batch* NextBatch();

  std::unique_ptr<ByteSource> bytes_;
  CsvReader reader_;
  TextDecoder decoder_;
  std::string encoding_name_;
  std::uint64_t mark_size_;
  std::optional<std::size_t> key_column_;
  std::function<void(Columns)> look_;
  std::vector<std::string> headings_;
  std::string header_bytes_;
  bool held_first_ = false;  // a first row that is no header waits to be taken
  std::string fault_text_;
  std::vector<std::string_view> raw_fields_;
  std::vector<std::string> scratch_;  // decoded fields
  std::string lower_scratch_;

  // Shared with the producing thread, which alone uses what stands above once it runs.
  std::array<Batch, kBatches> batches_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Batch*> free_;
  std::deque<Batch*> filled_;
  bool stop_ = false;
  std::thread producer_;

  // The caller's side.
  Batch* batch_ = nullptr;
  std::size_t index_ = 0;
  Row none_;
  const Row* row_ = &none_;
  std::string_view fault_;
  Columns fields_;
  std::uint64_t blank_lines_ = 0;
  std::uint64_t consumed_ = 0;
};

}  // namespace pv::cli

#endif  // PV_CLI_IMPORT_ROW_READER_H_

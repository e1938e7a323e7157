// Reads delimited text row by row and knows, for each row, its line, its place in the source and
// its original bytes, so that a row that cannot be used can be handed back as it was.
#ifndef PV_CLI_IMPORT_CSV_READER_H_
#define PV_CLI_IMPORT_CSV_READER_H_

#include <csv.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/status.h"
#include "cli/import/byte_source.h"

namespace pv::cli {

struct CsvDialect {
  char delimiter = ',';
  char quote = '"';          // 0: no character quotes
  bool trim_blanks = false;  // drop blanks around fields (files written as a, "b", c)
  bool cr_only = false;      // lines end in CR; otherwise in LF or CRLF
  bool utf16 = false;        // the source is a Utf16Source: count offsets in its original bytes
};

// What keeps a row from being read at all.
enum class RowFault : std::uint8_t {
  kNone,
  kOpenQuote,   // a quoted field does not end, or not within kMaxQuotedLines and -Bytes
  kAfterQuote,  // text between a closing quote and the next delimiter
  kTooLong,     // one line of more than kMaxRowBytes
};

// Limits. A quoted field may hold line ends, but one that is never closed must not swallow the
// rest of the source: its first line alone is then reported, and reading goes on with the next.
constexpr std::size_t kMaxQuotedLines = 1000;
constexpr std::size_t kMaxQuotedBytes = std::size_t{1} << 20;
constexpr std::size_t kMaxRowBytes = std::size_t{16} << 20;

// Empty lines, and lines of nothing but blanks, are no rows: they are counted and passed over.
// Memory stays constant: about the longest row met, at most a few times kMaxRowBytes.
class CsvReader {
 public:
  // The source must outlive the reader.
  CsvReader(ByteSource* source, const CsvDialect& dialect);
  ~CsvReader();
  CsvReader(const CsvReader&) = delete;
  CsvReader& operator=(const CsvReader&) = delete;

  // Goes to the next row; false when there is none. What the members below give is valid until
  // the next call.
  Result<bool> Next();

  // The fields without their quotes; empty when the row has a fault.
  const std::vector<std::string_view>& fields() const { return fields_; }
  RowFault fault() const { return fault_; }

  // The row's bytes as they stand in the source, its line end included. Empty for kTooLong: then
  // only offset() and size() tell where it lies.
  std::string_view original() const { return original_; }
  std::uint64_t line() const { return line_; }      // of the row's first line, from 1
  std::uint64_t offset() const { return offset_; }  // in the source, from where it was begun
  std::uint64_t size() const { return size_; }

  std::uint64_t blank_lines() const { return blank_lines_; }
  std::uint64_t consumed() const { return next_offset_; }

 private:
  struct Line {
    std::size_t content = 0;  // bytes before the line end
    std::size_t whole = 0;    // bytes with it; both 0 when the source has ended
    bool too_long = false;
  };

  Result<Line> FindLine(std::size_t from);
  Result<bool> Fill();
  bool HasQuote(std::size_t begin, std::size_t end);
  void SplitPlain(std::string_view content);
  Status ReadQuoted();
  // True when the row was whole; *strict_error is the offending character's position or npos.
  bool FeedLine(std::string_view content, std::string_view line_end, std::size_t* strict_error);
  void StartParser(bool strict);
  Status SkipLongLine();
  void Take(std::size_t bytes, std::size_t lines);

  static void OnField(void* bytes, std::size_t size, void* self);
  static void OnRow(int terminator, void* self);

  ByteSource* source_;
  CsvDialect dialect_;

  // The source's bytes [pos_, end_) of buffer_ are read but not yet taken.
  std::vector<char> buffer_;
  std::size_t pos_ = 0;
  std::size_t end_ = 0;
  bool ended_ = false;
  // The first quote in [.., quote_scanned_) that is at or after the latest line asked for.
  std::size_t quote_at_ = 0;
  std::size_t quote_scanned_ = 0;
  bool quote_known_ = false;

  std::vector<std::string_view> fields_;
  RowFault fault_ = RowFault::kNone;
  std::string_view original_;
  std::uint64_t line_ = 0, offset_ = 0, size_ = 0;
  std::uint64_t next_line_ = 1, next_offset_ = 0;
  std::uint64_t blank_lines_ = 0;

  csv_parser parser_;
  bool parser_ready_ = false;
  bool row_done_ = false;
  std::string unquoted_;  // the fields that the parser gave, one after the other
  std::vector<std::pair<std::size_t, std::size_t>> parts_;
};

}  // namespace pv::cli

#endif  // PV_CLI_IMPORT_CSV_READER_H_

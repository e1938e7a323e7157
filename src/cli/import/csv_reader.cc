// Cuts delimited text into rows and fields. Tested by csv_reader_test.cc.
//
// A line without a quote character, which is nearly every line, is cut at its delimiters in place.
// All others go through libcsv, one line at a time. It runs strictly at first; a quote inside an
// unquoted field (5" nails) is then taken as text by reading the row again leniently, while text
// after a closing quote is a fault, because to go on would join this row with the next ones.
#include "cli/import/csv_reader.h"

#include <algorithm>
#include <cstring>

namespace pv::cli {
namespace {

constexpr std::size_t kBlock = std::size_t{1} << 20;
constexpr std::size_t kNone = static_cast<std::size_t>(-1);

// libcsv asks functions without an argument of ours, so what they answer is kept per thread.
// Line ends count only while the line end itself is fed: a CR inside a line is text.
thread_local bool feeding_line_end = false;

int IsTerminator(unsigned char c) { return feeding_line_end && (c == '\n' || c == '\r') ? 1 : 0; }
int IsNeverBlank(unsigned char) { return 0; }
int IsBlank(unsigned char c) { return c == ' ' ? 1 : 0; }

bool OnlyBlanks(std::string_view text) { return text.find_first_not_of(' ') == text.npos; }

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

}  // namespace

CsvReader::CsvReader(ByteSource* source, const CsvDialect& dialect)
    : source_(source), dialect_(dialect), buffer_(2 * kBlock) {}

CsvReader::~CsvReader() {
  if (parser_ready_) csv_free(&parser_);
}

Result<bool> CsvReader::Next() {
  for (;;) {
    PV_ASSIGN_OR_RETURN(const Line line, FindLine(0));
    if (line.too_long) {
      PV_RETURN_IF_ERROR(SkipLongLine());
      return true;
    }
    if (line.whole == 0) return false;
    const std::string_view content(buffer_.data() + pos_, line.content);
    if (OnlyBlanks(content)) {
      ++blank_lines_;
      Take(line.whole, 1);
      continue;
    }
    fields_.clear();
    fault_ = RowFault::kNone;
    if (HasQuote(pos_, pos_ + line.content)) {
      PV_RETURN_IF_ERROR(ReadQuoted());
    } else {
      SplitPlain(content);
      Take(line.whole, 1);
    }
    return true;
  }
}

// Notes the row's place and goes past it. The bytes stay where they are until the next Fill.
void CsvReader::Take(std::size_t bytes, std::size_t lines) {
  original_ = std::string_view(buffer_.data() + pos_, bytes);
  size_ = dialect_.utf16 ? Utf16Size(original_) : bytes;
  line_ = next_line_;
  offset_ = next_offset_;
  next_line_ += lines;
  next_offset_ += size_;
  pos_ += bytes;
}

// The line that begins `from` bytes after pos_.
Result<CsvReader::Line> CsvReader::FindLine(std::size_t from) {
  const char end_char = dialect_.cr_only ? '\r' : '\n';
  std::size_t searched = from;
  for (;;) {
    const char* start = buffer_.data() + pos_;
    const std::size_t have = end_ - pos_;
    const void* hit =
        have > searched ? std::memchr(start + searched, end_char, have - searched) : nullptr;
    if (hit != nullptr) {
      const auto content = static_cast<std::size_t>(static_cast<const char*>(hit) - start);
      Line line{content - from, content + 1 - from};
      if (!dialect_.cr_only && content > from && start[content - 1] == '\r') --line.content;
      return line;
    }
    searched = have;
    if (ended_) return Line{have - from, have - from};
    if (have - from > kMaxRowBytes) return Line{0, 0, true};
    PV_RETURN_IF_ERROR(Fill().status());
  }
}

// Reads one more block behind what is there; false at the end of the source.
Result<bool> CsvReader::Fill() {
  if (pos_ > 0) {
    std::memmove(buffer_.data(), buffer_.data() + pos_, end_ - pos_);
    quote_known_ = false;
    quote_scanned_ = 0;
    end_ -= pos_;
    pos_ = 0;
  }
  if (buffer_.size() - end_ < kBlock) buffer_.resize(std::max(buffer_.size() * 2, end_ + kBlock));
  PV_ASSIGN_OR_RETURN(const std::size_t n, source_->Read(buffer_.data() + end_, kBlock));
  end_ += n;
  if (n == 0) ended_ = true;
  return n != 0;
}

// True when [begin, end) of the buffer holds a quote. Asked with growing positions, so the buffer
// is looked through once for all of its lines.
bool CsvReader::HasQuote(std::size_t begin, std::size_t end) {
  if (dialect_.quote == 0) return false;
  if (quote_known_ && quote_at_ < begin) quote_known_ = false;
  if (!quote_known_) {
    const std::size_t from = std::max(begin, quote_scanned_);
    if (from >= end) return false;
    const void* hit = std::memchr(buffer_.data() + from, dialect_.quote, end_ - from);
    quote_known_ = hit != nullptr;
    quote_at_ = quote_known_
                    ? static_cast<std::size_t>(static_cast<const char*>(hit) - buffer_.data())
                    : end_;
    quote_scanned_ = quote_known_ ? quote_at_ + 1 : end_;
  }
  return quote_known_ && quote_at_ < end;
}

void CsvReader::SplitPlain(std::string_view content) {
  const char* p = content.data();
  const char* const end = p + content.size();
  for (;;) {
    const auto left = static_cast<std::size_t>(end - p);
    const auto* hit = static_cast<const char*>(std::memchr(p, dialect_.delimiter, left));
    const char* stop = hit != nullptr ? hit : end;
    std::string_view field(p, static_cast<std::size_t>(stop - p));
    fields_.push_back(dialect_.trim_blanks ? Trimmed(field) : field);
    if (hit == nullptr) return;
    p = hit + 1;
  }
}

void CsvReader::OnField(void* bytes, std::size_t size, void* self) {
  auto* reader = static_cast<CsvReader*>(self);
  reader->parts_.emplace_back(reader->unquoted_.size(), size);
  if (size != 0) reader->unquoted_.append(static_cast<const char*>(bytes), size);
}

void CsvReader::OnRow(int, void* self) { static_cast<CsvReader*>(self)->row_done_ = true; }

void CsvReader::StartParser(bool strict) {
  if (!parser_ready_) {
    csv_init(&parser_, 0);
    csv_set_delim(&parser_, static_cast<unsigned char>(dialect_.delimiter));
    csv_set_quote(&parser_, static_cast<unsigned char>(dialect_.quote));
    csv_set_space_func(&parser_, dialect_.trim_blanks ? IsBlank : IsNeverBlank);
    csv_set_term_func(&parser_, IsTerminator);
    csv_set_blk_size(&parser_, 64 * 1024);
    parser_ready_ = true;
  }
  csv_fini(&parser_, nullptr, nullptr, nullptr);
  csv_set_opts(&parser_, strict ? CSV_STRICT : 0);
  unquoted_.clear();
  parts_.clear();
  row_done_ = false;
}

bool CsvReader::FeedLine(std::string_view content, std::string_view line_end,
                         std::size_t* strict_error) {
  *strict_error = kNone;
  feeding_line_end = false;
  const std::size_t done =
      csv_parse(&parser_, content.data(), content.size(), OnField, OnRow, this);
  if (done != content.size()) {
    *strict_error = done;
    return false;
  }
  feeding_line_end = true;
  csv_parse(&parser_, line_end.data(), line_end.size(), OnField, OnRow, this);
  return row_done_;
}

// Reads the row at pos_ whose first line holds a quote.
Status CsvReader::ReadQuoted() {
  bool strict = true;
  StartParser(strict);
  std::size_t size = 0;
  std::size_t lines = 0;
  std::size_t first_line = 0;
  for (;;) {
    PV_ASSIGN_OR_RETURN(const Line line, FindLine(size));
    const bool gone_on_too_long = lines >= kMaxQuotedLines || (lines > 0 && size > kMaxQuotedBytes);
    if (line.whole == 0 || line.too_long || gone_on_too_long) {
      fault_ = RowFault::kOpenQuote;
      break;
    }
    const char* start = buffer_.data() + pos_ + size;
    std::string_view line_end(start + line.content, line.whole - line.content);
    if (line_end.empty()) line_end = "\n";  // the source's last line ends with it
    std::size_t error = kNone;
    const std::string_view content(start, line.content);
    size += line.whole;
    if (++lines == 1) first_line = size;
    if (FeedLine(content, line_end, &error)) break;
    if (error == kNone) continue;
    if (!strict || content[error] != dialect_.quote) {
      // On a later line this is more likely the opening quote of some other field.
      fault_ = lines == 1 ? RowFault::kAfterQuote : RowFault::kOpenQuote;
      break;
    }
    strict = false;
    StartParser(strict);
    size = lines = 0;
  }
  if (fault_ != RowFault::kNone) {
    Take(first_line, 1);
    return {};
  }
  for (const auto& [at, length] : parts_) {
    fields_.emplace_back(unquoted_.data() + at, length);
  }
  Take(size, lines);
  return {};
}

// Passes over a line that is longer than a row may be, a block at a time.
Status CsvReader::SkipLongLine() {
  const char end_char = dialect_.cr_only ? '\r' : '\n';
  fields_.clear();
  fault_ = RowFault::kTooLong;
  const std::uint64_t line = next_line_;
  const std::uint64_t offset = next_offset_;
  for (bool whole = false; !whole;) {
    const void* hit = std::memchr(buffer_.data() + pos_, end_char, end_ - pos_);
    whole = hit != nullptr || ended_;
    const std::size_t bytes =
        hit != nullptr
            ? static_cast<std::size_t>(static_cast<const char*>(hit) - buffer_.data()) + 1 - pos_
            : end_ - pos_;
    Take(bytes, 0);
    if (!whole) PV_RETURN_IF_ERROR(Fill().status());
  }
  original_ = {};
  line_ = line;
  offset_ = offset;
  size_ = next_offset_ - offset;
  next_line_ = line + 1;
  return {};
}

}  // namespace pv::cli

// Reads rows ahead. Tested by row_reader_test.cc.
#include "cli/import/row_reader.h"

#include <cstring>
#include <system_error>
#include <utility>

#include "base/record_set.h"
#include "base/text.h"
#include "cli/failure.h"
#include "cli/fields/address.h"

namespace pv::cli {
namespace {

// Below this size a second thread gains nothing.
constexpr std::uint64_t kThreadFrom = 1 << 20;
constexpr std::size_t kBatchBytes = 128 * 1024;
constexpr std::size_t kAhead = 16;

const char* FaultText(RowFault fault) {
  switch (fault) {
    case RowFault::kNone:
      return "";
    case RowFault::kOpenQuote:
      return "a quote is never closed";
    case RowFault::kAfterQuote:
      return "text stands behind a closing quote";
    case RowFault::kTooLong:
      return "the row is longer than 16 MiB";
  }
  return "";
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

// Whether `part` lies inside `whole`, as bytes of the same buffer.
bool Contains(std::string_view whole, std::string_view part) {
  const auto begin = reinterpret_cast<std::uintptr_t>(whole.data());
  const auto at = reinterpret_cast<std::uintptr_t>(part.data());
  return at >= begin && part.size() <= whole.size() && at - begin <= whole.size() - part.size();
}

}  // namespace

RowReader::RowReader(const ImportSource& source, std::optional<std::size_t> key_column,
                     std::function<void(Columns)> look)
    : bytes_(source.Bytes()),
      reader_(bytes_.get(), source.dialect()),
      decoder_(source.encoding()),
      encoding_name_(source.encoding().name),
      mark_size_(source.mark_size()),
      key_column_(key_column),
      look_(std::move(look)) {
  if (Take(NextRaw())) {
    if (source.has_header()) {
      const std::string_view fault = Interpret();
      if (!fault.empty()) {
        throw Failure(kUsage,
                      source.name() + ": the header row cannot be used: " + std::string(fault));
      }
      headings_.assign(raw_fields_.begin(), raw_fields_.end());
      header_bytes_ = Take(source.ReadOriginal(mark_size_ + reader_.offset(),
                                               static_cast<std::size_t>(reader_.size())));
    } else {
      for (std::size_t i = 1; i <= reader_.fields().size(); ++i) {
        headings_.push_back(std::to_string(i));
      }
      held_first_ = true;
    }
  }
  for (Batch& batch : batches_) free_.push_back(&batch);
  if (source.size() < kThreadFrom) return;
  try {
    producer_ = std::thread([this] { Produce(); });
  } catch (const std::system_error&) {
    // No thread to be had: the caller's will do.
  }
}

RowReader::~RowReader() {
  if (!producer_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    stop_ = true;
  }
  changed_.notify_all();
  producer_.join();
}

void RowReader::Produce() {
  for (;;) {
    Batch* batch = nullptr;
    {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] { return stop_ || !free_.empty(); });
      if (stop_) return;
      batch = free_.back();
      free_.pop_back();
    }
    Fill(batch);
    const bool last = batch->last;
    {
      const std::lock_guard lock(mutex_);
      filled_.push_back(batch);
    }
    changed_.notify_all();
    if (last) return;
  }
}

// Gives the caller's batch back and gets the one behind it.
RowReader::Batch* RowReader::NextBatch() {
  Batch* done = batch_;
  batch_ = nullptr;
  if (!producer_.joinable()) {
    Batch* batch = &batches_[0];
    Fill(batch);
    return batch;
  }
  std::unique_lock lock(mutex_);
  if (done != nullptr) {
    free_.push_back(done);
    changed_.notify_all();
  }
  changed_.wait(lock, [this] { return !filled_.empty(); });
  Batch* batch = filled_.front();
  filled_.pop_front();
  return batch;
}

void RowReader::Fill(Batch* batch) {
  batch->bytes.clear();
  batch->spans.clear();
  batch->rows.clear();
  while (batch->bytes.size() < kBatchBytes) {
    if (!held_first_) {
      const Result<bool> more = NextRaw();
      if (!more.ok()) batch->error = more.status();
      if (!more.ok() || !*more) {
        batch->last = true;
        break;
      }
    }
    held_first_ = false;
    AddRow(batch);
  }
  batch->fields.clear();
  for (const Span& span : batch->spans) {
    batch->fields.emplace_back(batch->bytes.data() + span.at, span.size);
  }
  if (look_) {
    for (const Row& row : batch->rows) {
      if (row.fault.size == 0) look_(FieldsOf(*batch, row));
    }
  }
  batch->blank_lines = reader_.blank_lines();
  batch->consumed = reader_.consumed() + mark_size_;
}

void RowReader::AddRow(Batch* batch) {
  Row row;
  row.line = reader_.line();
  row.offset = reader_.offset() + mark_size_;
  row.size = reader_.size();
  row.blank_lines = reader_.blank_lines();
  row.consumed = reader_.consumed() + mark_size_;
  const auto keep = [batch](std::string_view text) {
    const Span span{batch->bytes.size(), text.size()};
    batch->bytes.append(text);
    return span;
  };
  std::string_view fault = Interpret();
  if (fault.empty() && raw_fields_.size() != headings_.size()) {
    fault_text_ = std::to_string(raw_fields_.size()) +
                  (raw_fields_.size() == 1 ? " column" : " columns") + " instead of " +
                  std::to_string(headings_.size());
    fault = fault_text_;
  }
  row.fault = keep(fault);
  if (fault.empty()) {
    row.first_field = batch->spans.size();
    row.field_count = raw_fields_.size();
    // The columns of a plain row are kept with what stands between them, at once.
    const std::string_view original = reader_.original();
    const bool plain = !original.empty() && Contains(original, raw_fields_.front()) &&
                       Contains(original, raw_fields_.back());
    const std::size_t at = batch->bytes.size();
    if (plain) batch->bytes.append(original);
    for (const std::string_view field : raw_fields_) {
      if (plain && Contains(original, field)) {
        const auto from = static_cast<std::size_t>(field.data() - original.data());
        batch->spans.push_back({at + from, field.size()});
      } else {
        batch->spans.push_back(keep(field));
      }
    }
    if (key_column_) {
      const std::string_view key = TrimBlanks(raw_fields_[*key_column_]);
      row.key_fault = AddressFault(key);
      char buffer[256];
      row.key_hash = HashOf(LowerAddress(key, buffer, sizeof buffer, &lower_scratch_));
    }
  }
  // An empty row still takes room, so that every batch ends.
  batch->bytes.push_back('\n');
  batch->rows.push_back(row);
}

std::string_view RowReader::Interpret() {
  raw_fields_.clear();
  if (reader_.fault() != RowFault::kNone) return FaultText(reader_.fault());
  const RowScan scan = Scan(reader_.original());
  if (scan.zero) return "a value holds a zero byte";
  if (scan.ascii) {
    raw_fields_.assign(reader_.fields().begin(), reader_.fields().end());
    return {};
  }
  const std::size_t count = reader_.fields().size();
  if (scratch_.size() < count) scratch_.resize(count);
  for (std::size_t i = 0; i < count; ++i) {
    std::string_view text;
    if (!decoder_.Decode(reader_.fields()[i], &scratch_[i], &text)) {
      fault_text_ = "column " + std::to_string(i + 1) + " is not valid " + encoding_name_;
      return fault_text_;
    }
    raw_fields_.push_back(text);
  }
  return {};
}

bool RowReader::Next() {
  ++index_;
  while (batch_ == nullptr || index_ >= batch_->rows.size()) {
    if (batch_ != nullptr && batch_->last) {
      Check(batch_->error);
      blank_lines_ = batch_->blank_lines;
      consumed_ = batch_->consumed;
      index_ = batch_->rows.size();
      return false;
    }
    batch_ = NextBatch();
    index_ = 0;
  }
  row_ = &batch_->rows[index_];
  blank_lines_ = row_->blank_lines;
  consumed_ = row_->consumed;
  const char* bytes = batch_->bytes.data();
  fault_ = {bytes + row_->fault.at, row_->fault.size};
  fields_ = FieldsOf(*batch_, *row_);
  return true;
}

std::uint64_t RowReader::KeyHashAhead() const {
  const std::size_t ahead = index_ + kAhead;
  return ahead < batch_->rows.size() ? batch_->rows[ahead].key_hash : 0;
}

}  // namespace pv::cli

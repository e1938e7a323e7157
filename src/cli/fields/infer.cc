// Finds types and widths for columns. Tested by infer_test.cc.
#include "cli/fields/infer.h"

#include <algorithm>

#include "base/text.h"
#include "cli/fields/address.h"

namespace pv::cli {
namespace {

std::size_t RoundUp(std::size_t n, std::size_t step) { return (n + step - 1) / step * step; }

}  // namespace

PageEncoder::PageEncoder(std::shared_ptr<const CodePage> page) : page_(std::move(page)) {
  if (page_->is_double_byte()) return;
  bytes_.resize(0x10000);
  for (std::size_t b = 255; b > 0; --b) {
    const auto byte = static_cast<char>(b);
    const std::string text = page_->Decode({&byte, 1});
    std::size_t pos = 0;
    const char32_t c = DecodeUtf8(text, &pos);
    if (c < bytes_.size() && c != kReplacementCharacter) bytes_[c] = static_cast<std::uint8_t>(b);
  }
}

bool PageEncoder::Encode(std::string_view utf8, std::string* scratch, std::string_view* out) const {
  *out = utf8;
  if (IsAscii(utf8)) return true;
  if (bytes_.empty()) {
    bool lossy = false;
    *scratch = page_->Encode(utf8, &lossy);
    *out = *scratch;
    return !lossy;
  }
  scratch->clear();
  for (std::size_t pos = 0; pos < utf8.size();) {
    const char32_t c = DecodeUtf8(utf8, &pos);
    if (c >= bytes_.size() || bytes_[c] == 0) return false;
    scratch->push_back(static_cast<char>(bytes_[c]));
  }
  *out = *scratch;
  return true;
}

std::string DescribeShape(const FieldShape& shape) {
  std::string text(1, shape.type);
  switch (shape.type) {
    case 'C':
    case 'Z':
    case 'W':
      return text + "(" + std::to_string(shape.length) + ")";
    case 'N':
    case 'F':
      return text + "(" + std::to_string(shape.length) + "," + std::to_string(shape.decimals) + ")";
    default:
      return text;
  }
}

void ColumnStats::Add(std::string_view text, const PageEncoder& encoder) {
  const std::string_view trimmed = TrimBlanks(text);
  if (!trimmed.empty()) {
    ++filled_;
    if (trimmed.find('@') != trimmed.npos && AddressFault(trimmed) == nullptr) ++addresses_;
    AddNumber(trimmed);
    AddDate(trimmed);
    if (maybe_boolean_) {
      const BooleanWords words = ReadBooleanWords(trimmed);
      true_pairs_ |= words.true_of;
      false_pairs_ |= words.false_of;
      common_pairs_ &= words.true_of | words.false_of;
      maybe_boolean_ = common_pairs_ != 0;
    }
  }
  AddText(text, encoder);
}

// Numbers and dates are counted even where a value before was none: a column of an existing
// group's number field may hold a few bad rows.
void ColumnStats::AddNumber(std::string_view text) {
  const char first = text.front();
  const bool hopeful = first == '-' || (first >= '0' && first <= '9');
  bool any = false;
  for (NumberKind* kind : {&point_, &comma_}) {
    NumberShape shape;
    if (!hopeful || (kind == &comma_ && text.find(',') == text.npos)) continue;
    if (!ReadNumber(text, kind == &point_ ? '.' : ',', &shape)) continue;
    any = true;
    ++kind->count;
    if (shape.decimals > 0) ++kind->fractions;
    if (shape.decimals == 3 && shape.whole <= 3 && text.front() != '0') ++kind->thousands;
    kind->max_whole = std::max(kind->max_whole, shape.whole + (shape.negative ? 1 : 0));
    kind->max_decimals = std::max(kind->max_decimals, shape.decimals);
    kind->max_digits = std::max(kind->max_digits, shape.whole + shape.decimals);
    kind->codes = kind->codes || shape.leading_zero;
    if (shape.decimals == 0 && kind == &point_) {
      // A whole number reads the same either way.
      comma_.count++;
      comma_.max_whole = std::max(comma_.max_whole, shape.whole + (shape.negative ? 1 : 0));
      comma_.max_digits = std::max(comma_.max_digits, shape.whole);
      comma_.codes = comma_.codes || shape.leading_zero;
      break;
    }
  }
  if (!any) maybe_number_ = false;
}

void ColumnStats::AddDate(std::string_view text) {
  const DateShape shape = ReadDateShape(text);
  if (shape.orders == kNoOrder) {
    maybe_date_ = false;
    return;
  }
  ++dates_;
  for (const unsigned order : {kYmd, kDmy, kMdy}) {
    if ((shape.orders & order) != 0) ++in_order_[order];
  }
  common_orders_ &= shape.orders;
  timed_ = timed_ || shape.has_time;
  if ((shape.orders & kYmd) == 0) (shape.dotted ? dotted_ : slashed_) = true;
}

void ColumnStats::AddText(std::string_view text, const PageEncoder& encoder) {
  const std::size_t known = std::min({max_bytes_, max_units_, kMaxUnicodeUnits});
  if (text.size() <= known && IsAscii(text)) return;
  thread_local std::string scratch;
  std::string_view bytes;
  const bool encodable = encoder.Encode(text, &scratch, &bytes);
  const std::size_t units = Utf16Length(text);
  if (encodable) {
    max_bytes_ = std::max(max_bytes_, bytes.size());
  } else {
    ++unencodable_;
  }
  max_units_ = std::max(max_units_, units);
  if (units > kMaxUnicodeUnits) ++over_units_;
}

Inference::Inference(const std::vector<ColumnStats>& columns, const InferenceHints& hints)
    : columns_(columns),
      decimal_given_(hints.decimal != 0),
      day_month_(hints.date_order),
      order_given_(hints.date_order != kNoOrder) {
  if (decimal_given_) {
    decimal_ = hints.decimal;
  } else {
    // A column shows its decimal character when all its values are numbers with it and it cannot
    // as well be a mark between thousands (1.234).
    std::size_t points = 0, commas = 0;
    for (const ColumnStats& c : columns) {
      const auto shows = [&c](const ColumnStats::NumberKind& kind) {
        return kind.count == c.filled_ && kind.fractions > kind.thousands;
      };
      if (shows(c.point_)) ++points;
      if (shows(c.comma_)) ++commas;
    }
    if (commas > points) decimal_ = ',';
  }
  if (day_month_ == kNoOrder) {
    // A value that is a date in one order only settles it for the whole source.
    bool day_first = false, month_first = false;
    for (const ColumnStats& c : columns) {
      if (!c.maybe_date_ || c.dates_ == 0 || !c.slashed_) continue;
      if (c.common_orders_ == kDmy) day_first = true;
      if (c.common_orders_ == kMdy) month_first = true;
    }
    if (day_first != month_first) day_month_ = day_first ? kDmy : kMdy;
  }
}

bool Inference::IsNumber(const ColumnStats& c, char decimal) const {
  const ColumnStats::NumberKind& kind = decimal == ',' ? c.comma_ : c.point_;
  if (c.filled_ == 0 || kind.count != c.filled_ || kind.codes) return false;
  if (kind.max_digits > kMaxNumberDigits) return false;
  // Three decimals throughout may be thousands: not a number unless the user says so.
  return decimal_given_ || kind.fractions == 0 || kind.fractions > kind.thousands;
}

DateOrder Inference::OrderOf(const ColumnStats& c, bool* unknown) const {
  *unknown = false;
  // For a column with bad values, the order in which most are dates.
  unsigned orders = c.maybe_date_ ? c.common_orders_ : 0U;
  if (orders == 0) {
    const std::uint64_t most = std::max({c.in_order_[kYmd], c.in_order_[kDmy], c.in_order_[kMdy]});
    if (most == 0) return kNoOrder;
    for (const unsigned order : {kYmd, kDmy, kMdy}) {
      if (c.in_order_[order] == most) orders |= order;
    }
  }
  if (orders == kYmd) return kYmd;
  if (orders == kDmy) return kDmy;
  if (orders == kMdy) return kMdy;
  if (c.dotted_ && !c.slashed_ && !order_given_) return kDmy;
  if (day_month_ != kNoOrder) return day_month_;
  *unknown = true;
  return kNoOrder;
}

ColumnReading Inference::ReadingOf(std::size_t column) const {
  const ColumnStats& c = columns_[column];
  ColumnReading reading;
  reading.decimal = decimal_;
  if (!decimal_given_ && c.point_.count != c.comma_.count) {
    reading.decimal = c.comma_.count > c.point_.count ? ',' : '.';
  }
  reading.order = OrderOf(c, &reading.order_unknown);
  return reading;
}

bool Inference::HoldsDates(std::size_t column) const {
  const ColumnStats& c = columns_[column];
  return c.maybe_date_ && c.dates_ != 0 && c.common_orders_ != 0;
}

FieldShape Inference::ShapeOf(std::size_t column, bool is_code) const {
  const ColumnStats& c = columns_[column];
  if (c.filled_ != 0 && !is_code) {
    // Both words of a pair must occur, so that a column of Norwegians ("NO") stays text.
    if (c.maybe_boolean_ && (c.common_pairs_ & c.true_pairs_ & c.false_pairs_) != 0) {
      return {'L', 1, 0};
    }
    bool unknown = false;
    if (c.maybe_date_ && c.dates_ == c.filled_ && c.common_orders_ != 0 &&
        OrderOf(c, &unknown) != kNoOrder) {
      return c.timed_ ? FieldShape{'T', 8, 0} : FieldShape{'D', 8, 0};
    }
    const char decimal = ReadingOf(column).decimal;
    if (c.maybe_number_ && IsNumber(c, decimal)) {
      const ColumnStats::NumberKind& kind = decimal == ',' ? c.comma_ : c.point_;
      const std::size_t fraction = kind.max_decimals == 0 ? 0 : kind.max_decimals + 1;
      // Two places more than met: a sign and one digit.
      const std::size_t width = std::min(kind.max_whole + fraction + 2, kMaxNumberWidth);
      return {'N', width, kind.max_decimals};
    }
  }
  if (c.unencodable_ != 0 && c.over_units_ <= c.unencodable_) {
    // Where neither kind of field can hold every value, the one that holds more is taken.
    return {'W', std::min(RoundUp(c.max_units_, 10), kMaxUnicodeUnits) * 2, 0};
  }
  if (c.max_bytes_ > kMaxTextBytes) return {'M', 4, 0};
  return {'C', std::clamp(RoundUp(c.max_bytes_, 10), std::size_t{10}, kMaxTextBytes), 0};
}

}  // namespace pv::cli

// What the columns of a source hold, found by looking at every row, and the fields made of them.
#ifndef PV_CLI_FIELDS_INFER_H_
#define PV_CLI_FIELDS_INFER_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/code_page.h"
#include "cli/fields/values.h"

namespace pv::cli {

// Text in a table's code page, without an allocation for text that is ASCII.
class PageEncoder {
 public:
  explicit PageEncoder(std::shared_ptr<const CodePage> page);

  // `utf8` itself or *scratch. False when the page lacks a character.
  bool Encode(std::string_view utf8, std::string* scratch, std::string_view* out) const;

  const CodePage& page() const { return *page_; }

 private:
  std::shared_ptr<const CodePage> page_;
  std::vector<std::uint8_t> bytes_;  // by character below U+10000, 0 when it is none
};

// Field lengths that the table store allows.
constexpr std::size_t kMaxTextBytes = 254;
constexpr std::size_t kMaxUnicodeUnits = 127;
constexpr std::size_t kMaxNumberWidth = 20;
constexpr std::size_t kMaxNumberDigits = 15;  // what a double holds exactly
constexpr std::size_t kMaxKeyBytes = 240;

// A field as it is created: `type` is the table store's letter, lengths are bytes.
struct FieldShape {
  char type = 'C';
  std::size_t length = 0;
  std::size_t decimals = 0;
  bool operator==(const FieldShape&) const = default;
};
std::string DescribeShape(const FieldShape& shape);  // as create takes it: "C(40)", "N(10,2)"

// How a column's text is to be read.
struct ColumnReading {
  char decimal = '.';
  DateOrder order = kNoOrder;
  bool order_unknown = false;  // dates, but day and month cannot be told apart
};

// Gathers what one column holds.
class ColumnStats {
 public:
  // Looks at one value (UTF-8 without zero bytes).
  void Add(std::string_view text, const PageEncoder& encoder);

  std::uint64_t filled() const { return filled_; }
  std::uint64_t addresses() const { return addresses_; }

  std::size_t max_bytes() const { return max_bytes_; }

 private:
  friend class Inference;
  void AddNumber(std::string_view text);
  void AddDate(std::string_view text);
  void AddText(std::string_view text, const PageEncoder& encoder);

  struct NumberKind {
    std::uint64_t count = 0;      // values that are such numbers
    std::uint64_t fractions = 0;  // of these, with decimals
    std::uint64_t thousands = 0;  // of these, with exactly three decimals and no leading zero
    std::uint32_t max_whole = 0;  // with the sign
    std::uint32_t max_decimals = 0;
    std::uint32_t max_digits = 0;
    bool codes = false;  // some begin with a zero
  };

  std::uint64_t filled_ = 0;
  std::uint64_t addresses_ = 0;
  NumberKind point_, comma_;
  std::uint64_t in_order_[5] = {};  // by DateOrder
  std::uint64_t dates_ = 0;
  bool dotted_ = false, slashed_ = false, timed_ = false;
  unsigned common_orders_ = kYmd | kDmy | kMdy;
  std::uint32_t true_pairs_ = 0, false_pairs_ = 0;
  std::uint32_t common_pairs_ = ~0U;
  std::size_t max_bytes_ = 0;      // in the code page, of what it can hold
  std::size_t max_units_ = 0;      // UTF-16
  std::uint64_t unencodable_ = 0;  // values with characters that the page lacks
  std::uint64_t over_units_ = 0;   // values longer than a Unicode field
  bool maybe_number_ = true, maybe_date_ = true, maybe_boolean_ = true;
};

// What the caller knows and looking cannot tell.
struct InferenceHints {
  char decimal = 0;                 // --decimal
  DateOrder date_order = kNoOrder;  // --date-order: between day and month first
};

// The columns together: one decimal character and one order of day and month hold for the source.
class Inference {
 public:
  Inference(const std::vector<ColumnStats>& columns, const InferenceHints& hints);

  // How to read a column whose field holds numbers or dates.
  ColumnReading ReadingOf(std::size_t column) const;

  // The field for a column of a new group. Codes (postal codes, telephone numbers) stay text.
  FieldShape ShapeOf(std::size_t column, bool is_code) const;

  // Whether every value of the column is a date, in whichever order.
  bool HoldsDates(std::size_t column) const;

  char decimal() const { return decimal_; }
  DateOrder day_month_order() const { return day_month_; }  // kNoOrder when nothing tells

 private:
  bool IsNumber(const ColumnStats& c, char decimal) const;
  DateOrder OrderOf(const ColumnStats& c, bool* unknown) const;

  const std::vector<ColumnStats>& columns_;
  char decimal_ = '.';
  bool decimal_given_;
  DateOrder day_month_ = kNoOrder;
  bool order_given_;
};

}  // namespace pv::cli

#endif  // PV_CLI_FIELDS_INFER_H_

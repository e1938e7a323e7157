// How the text of a source reads as a number, a date or a yes/no value.
#ifndef PV_CLI_FIELDS_VALUES_H_
#define PV_CLI_FIELDS_VALUES_H_

#include <cstdint>
#include <optional>
#include <string_view>

#include "base/date.h"

namespace pv::cli {

// A decimal number: an optional "-", digits, and optionally the decimal character and digits. No
// grouping, no exponent, no "+" (telephone numbers begin so).
struct NumberShape {
  bool negative = false;
  bool leading_zero = false;  // "007", but not "0" or "0.5": a code rather than a number
  std::uint32_t whole = 0;    // digits before the decimal character
  std::uint32_t decimals = 0;
};
bool ReadNumber(std::string_view text, char decimal, NumberShape* shape);

// The order of year, month and day. Values are bits.
enum DateOrder : unsigned { kNoOrder = 0, kYmd = 1, kDmy = 2, kMdy = 4 };

struct DateShape {
  unsigned orders = kNoOrder;  // in which it is a date of the years 1 to 9999
  bool has_time = false;
  bool dotted = false;  // written with points: day first, unless the caller knows better
};
// A date is three numbers with the same separator (- / .), the year in four digits, and optionally
// a blank or "T" and a time of day hh:mm or hh:mm:ss (perhaps with .000) without a zone.
DateShape ReadDateShape(std::string_view text);

// The moment that `text` means when read in `order`.
std::optional<CivilDateTime> ReadMoment(std::string_view text, DateOrder order);

// Pairs of words for true and false, as in yes/no; letter case is ignored. A value may belong to
// several (n is the end of y/n, j/n, o/n).
struct BooleanWords {
  std::uint32_t true_of = 0;   // bit i: the true word of pair i
  std::uint32_t false_of = 0;  // bit i: its false word
};
BooleanWords ReadBooleanWords(std::string_view text);

// Any such word, or 1 and 0.
std::optional<bool> ReadBoolean(std::string_view text);

}  // namespace pv::cli

#endif  // PV_CLI_FIELDS_VALUES_H_

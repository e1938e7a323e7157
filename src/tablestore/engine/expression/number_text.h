// Numbers as decimal text: how numeric fields are read, and what VAL, STR and ROUND do.
#ifndef PV_TABLESTORE_ENGINE_EXPRESSION_NUMBER_TEXT_H_
#define PV_TABLESTORE_ENGINE_EXPRESSION_NUMBER_TEXT_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace pv::engine::expr {

// The number that `text` begins with, after blanks: sign, digits, point, digits, exponent. What
// follows it is ignored; 0 when there is none (blanks, asterisks). Infinite when it is too large
// for a double.
double ParseLeadingNumber(std::string_view text);

// The whole of `text` but for blanks around it as a number: sign, digits, point, no exponent.
std::optional<double> ParseWholeNumber(std::string_view text);

// The same, as a count of 1/10^decimals (decimals up to 4); nothing when it has more decimals
// than that which are not zero, or does not fit.
std::optional<std::int64_t> ParseWholeScaled(std::string_view text, int decimals);

// `value` (finite) right-justified in `size` bytes with `decimals` decimals, halves rounded away
// from zero. When it does not fit, decimals are left out; when the digits before the point do
// not fit either, every byte is an asterisk.
void FormatNumber(double value, int decimals, char* out, std::size_t size);

// `value` (finite) rounded to so many decimals, before the point when negative; halves away from
// zero. Infinite when the rounded number is too large for a double.
double RoundDecimals(double value, int decimals);

}  // namespace pv::engine::expr

#endif  // PV_TABLESTORE_ENGINE_EXPRESSION_NUMBER_TEXT_H_

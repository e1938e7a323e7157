// Numbers as text and back, for the conversions of Value.
#ifndef PV_AUTOMATION_NUMBER_TEXT_H_
#define PV_AUTOMATION_NUMBER_TEXT_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace pv::automation {

// How reading a number went.
enum class ReadNumber : std::uint8_t { kOk, kNoNumber, kTooLarge };

// Reads "-12.5", "1E+20", "&H1F" or "&O17" with blanks around it.
ReadNumber DoubleFromText(std::string_view text, double* value);

// Reads a decimal number as a count of 1/10,000, exactly; what lies below is rounded half to even.
ReadNumber CurrencyFromText(std::string_view text, std::int64_t* units);

// The shortest text that reads back as the same double: without an exponent where that takes no
// more than 15 places on either side of the point, else as "1.5E+20".
std::string TextFromDouble(double value);

// "12.5": as many of the four decimals as are not zero.
std::string TextFromCurrency(std::int64_t units);

}  // namespace pv::automation

#endif  // PV_AUTOMATION_NUMBER_TEXT_H_

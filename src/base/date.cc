// Calendar arithmetic. Tested by date_test.cc.
#include "base/date.h"

#include <array>
#include <cmath>

namespace pv {
namespace {

// Julian day number of 0000-03-01, from which the cycles below count.
constexpr std::int32_t kMarchFirstYear0 = 1'721'120;
constexpr std::int32_t kDaysPer400Years = 146'097;
constexpr std::int32_t kLastJulian = 5'373'484;   // 9999-12-31
constexpr std::int32_t kFirstJulian = 1'721'426;  // 0001-01-01

bool IsLeap(std::int32_t y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }

}  // namespace

bool IsValidDate(const CivilDate& d) {
  static constexpr std::array<std::int8_t, 12> kDays = {31, 28, 31, 30, 31, 30,
                                                        31, 31, 30, 31, 30, 31};
  if (d.year < 1 || d.year > 9999 || d.month < 1 || d.month > 12 || d.day < 1) return false;
  const std::int32_t days =
      kDays[static_cast<std::size_t>(d.month - 1)] + (d.month == 2 && IsLeap(d.year) ? 1 : 0);
  return d.day <= days;
}

std::int32_t JulianFromDate(const CivilDate& d) {
  // Years begin in March here, so that the leap day is a year's last day.
  const std::int32_t year = d.month > 2 ? d.year : d.year - 1;
  const std::int32_t month = d.month > 2 ? d.month - 3 : d.month + 9;
  return kMarchFirstYear0 + year * 365 + year / 4 - year / 100 + year / 400 +
         (153 * month + 2) / 5 + d.day - 1;
}

std::optional<CivilDate> DateFromJulian(std::int64_t julian) {
  if (julian < kFirstJulian || julian > kLastJulian) return std::nullopt;
  const std::int32_t days = static_cast<std::int32_t>(julian) - kMarchFirstYear0;
  const std::int32_t era = days / kDaysPer400Years;
  const std::int32_t in_era = days % kDaysPer400Years;
  const std::int32_t year_of_era =
      (in_era - in_era / 1460 + in_era / 36524 - in_era / 146096) / 365;
  const std::int32_t day_of_year =
      in_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const std::int32_t month = (5 * day_of_year + 2) / 153;
  CivilDate d;
  d.day = day_of_year - (153 * month + 2) / 5 + 1;
  d.month = month < 10 ? month + 3 : month - 9;
  d.year = year_of_era + era * 400 + (d.month <= 2 ? 1 : 0);
  return d;
}

std::optional<CivilDate> ParseDigits(std::string_view text) {
  if (text.size() != 8) return std::nullopt;
  std::int32_t n = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return std::nullopt;
    n = n * 10 + (c - '0');
  }
  const CivilDate d{n / 10000, n / 100 % 100, n % 100};
  if (!IsValidDate(d)) return std::nullopt;
  return d;
}

std::string FormatDigits(const CivilDate& d) {
  std::array<char, 8> out;
  auto n = static_cast<std::uint32_t>(d.year * 10000 + d.month * 100 + d.day);
  for (std::size_t i = out.size(); i-- > 0; n /= 10) out[i] = static_cast<char>('0' + n % 10);
  return {out.data(), out.size()};
}

double AutomationFromDateTime(const CivilDateTime& m) {
  const double days = JulianFromDate(m.date) - kAutomationEpochJulian;
  const double fraction = (m.hour * 3600 + m.minute * 60 + m.second) / 86400.0;
  return days < 0 ? days - fraction : days + fraction;
}

std::optional<CivilDateTime> DateTimeFromAutomation(double date) {
  // 0100-01-01 is -657434 and 9999-12-31 is 2958465.
  if (!(date > -657435.0 && date < 2958466.0)) return std::nullopt;
  double whole = std::trunc(date);
  auto seconds = static_cast<std::int32_t>(std::lround(std::fabs(date - whole) * 86400.0));
  if (seconds == 86400) {
    seconds = 0;
    whole += 1;
  }
  const auto day = DateFromJulian(static_cast<std::int64_t>(whole) + kAutomationEpochJulian);
  if (!day) return std::nullopt;
  return CivilDateTime{*day, seconds / 3600, seconds / 60 % 60, seconds % 60};
}

}  // namespace pv

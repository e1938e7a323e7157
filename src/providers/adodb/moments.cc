// Dates and times. Tested by moments_test.cc.
#include "providers/adodb/moments.h"

#include <cmath>

#include "base/date.h"

namespace pv::adodb {
namespace {
constexpr double kMicrosecondsADay = 86'400e6;
}

std::optional<automation::Date> DateFromOdbc(const SQL_TIMESTAMP_STRUCT& moment) {
  const CivilDate date{moment.year, moment.month, moment.day};
  if (!IsValidDate(date) || date.year < 100 || moment.hour > 23 || moment.minute > 59) {
    return std::nullopt;
  }
  // A leap second has no place in a day.
  const int second = moment.second > 59 ? 59 : moment.second;
  double days = AutomationFromDateTime({date, moment.hour, moment.minute, second});
  const double rest = static_cast<double>(moment.fraction) / 86'400e9;
  days += std::signbit(std::trunc(days)) && std::trunc(days) != 0 ? -rest : rest;
  return automation::Date{days};
}

std::optional<SQL_TIMESTAMP_STRUCT> OdbcFromDate(automation::Date date) {
  double day = std::trunc(date.days);
  double micros = std::nearbyint(std::fabs(date.days - day) * kMicrosecondsADay);
  // What a double of days lacks in exactness is no part of the time.
  const double millis = std::nearbyint(micros / 1000) * 1000;
  if (std::fabs(micros - millis) <= (std::fabs(day) < 1e5 ? 2 : 50)) micros = millis;
  if (micros >= kMicrosecondsADay) {
    micros -= kMicrosecondsADay;
    day += 1;  // the time of day counts upwards before 1899 too
  }
  const std::optional<CivilDateTime> civil = DateTimeFromAutomation(day);
  if (!civil) return std::nullopt;
  const auto whole = static_cast<std::int64_t>(micros);
  const std::int64_t seconds = whole / 1'000'000;
  SQL_TIMESTAMP_STRUCT moment = {};
  moment.year = static_cast<SQLSMALLINT>(civil->date.year);
  moment.month = static_cast<SQLUSMALLINT>(civil->date.month);
  moment.day = static_cast<SQLUSMALLINT>(civil->date.day);
  moment.hour = static_cast<SQLUSMALLINT>(seconds / 3600);
  moment.minute = static_cast<SQLUSMALLINT>(seconds / 60 % 60);
  moment.second = static_cast<SQLUSMALLINT>(seconds % 60);
  moment.fraction = static_cast<SQLUINTEGER>(whole % 1'000'000 * 1000);
  return moment;
}

}  // namespace pv::adodb

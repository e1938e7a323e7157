// Calendar arithmetic: Julian day numbers (as the table files store them) and automation dates
// (days since 1899-12-30 as a double, the time of day as the fraction).
#ifndef PV_BASE_DATE_H_
#define PV_BASE_DATE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace pv {

struct CivilDate {
  std::int32_t year = 0;   // 1 to 9999 in stored data
  std::int32_t month = 0;  // 1 to 12
  std::int32_t day = 0;    // 1 to 31
  bool operator==(const CivilDate&) const = default;
};

struct CivilDateTime {
  CivilDate date;
  std::int32_t hour = 0;
  std::int32_t minute = 0;
  std::int32_t second = 0;
  bool operator==(const CivilDateTime&) const = default;
};

constexpr std::int32_t kMillisecondsPerDay = 86'400'000;

// Julian day number of 1899-12-30, the automation date 0.
constexpr std::int32_t kAutomationEpochJulian = 2'415'019;

// True for a date of the proleptic Gregorian calendar in the years 1 to 9999.
bool IsValidDate(const CivilDate& date);

// Julian day number; 2024-02-29 is 2460370. The date must be valid.
std::int32_t JulianFromDate(const CivilDate& date);

// The date of a Julian day number; nothing outside the years 1 to 9999.
std::optional<CivilDate> DateFromJulian(std::int64_t julian);

// Reads exactly eight digits YYYYMMDD; nothing for blanks, other text or impossible dates.
std::optional<CivilDate> ParseDigits(std::string_view yyyymmdd);

// Eight digits YYYYMMDD.
std::string FormatDigits(const CivilDate& date);

// The automation date of a moment. Days before 1899-12-30 count as automation counts them: the
// fraction is always added away from zero (-1.25 is 1899-12-29 06:00).
double AutomationFromDateTime(const CivilDateTime& moment);

// The moment of an automation date, rounded to the nearest second; nothing outside the years
// 100 to 9999 (automation's own range) or for NaN.
std::optional<CivilDateTime> DateTimeFromAutomation(double date);

}  // namespace pv

#endif  // PV_BASE_DATE_H_

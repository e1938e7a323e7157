// Dates as text and back. Tested by number_text_test.cc.
#include <array>
#include <charconv>

#include "base/date.h"
#include "base/text.h"
#include "pvgroupman/automation/error.h"
#include "pvgroupman/automation/value.h"

namespace pv::automation {
namespace {

constexpr std::array<const char*, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

std::string Padded(std::int32_t number, std::size_t width) {
  std::string text = std::to_string(number);
  if (text.size() < width) text.insert(0, width - text.size(), '0');
  return text;
}

// Reads `least` to `most` digits off the front of `text`.
bool TakeNumber(std::string_view* text, std::size_t least, std::size_t most, std::int32_t* out) {
  std::size_t n = 0;
  while (n < text->size() && n < most && (*text)[n] >= '0' && (*text)[n] <= '9') ++n;
  if (n < least) return false;
  std::from_chars(text->data(), text->data() + n, *out);
  text->remove_prefix(n);
  return true;
}

bool TakeChar(std::string_view* text, char c) {
  if (text->empty() || text->front() != c) return false;
  text->remove_prefix(1);
  return true;
}

// "13:45" or "13:45:10", to the end of the text.
bool ReadTime(std::string_view text, CivilDateTime* moment) {
  if (!TakeNumber(&text, 1, 2, &moment->hour) || !TakeChar(&text, ':') ||
      !TakeNumber(&text, 2, 2, &moment->minute)) {
    return false;
  }
  if (TakeChar(&text, ':') && !TakeNumber(&text, 2, 2, &moment->second)) return false;
  return text.empty() && moment->hour < 24 && moment->minute < 60 && moment->second < 60;
}

}  // namespace

bool ParseDate(std::string_view text, Date* date) {
  text = TrimBlanks(text);
  CivilDateTime moment;
  moment.date = {1899, 12, 30};
  if (!ReadTime(text, &moment)) {
    moment = {};
    if (!TakeNumber(&text, 4, 4, &moment.date.year)) return false;
    const char separator = text.empty() ? '\0' : text.front();
    if (separator != '-' && separator != '/') return false;
    text.remove_prefix(1);
    if (!TakeNumber(&text, 1, 2, &moment.date.month) || !TakeChar(&text, separator) ||
        !TakeNumber(&text, 1, 2, &moment.date.day) || !IsValidDate(moment.date) ||
        moment.date.year < 100) {
      return false;
    }
    if (!text.empty()) {
      if (text.front() != ' ' && text.front() != 'T') return false;
      if (!ReadTime(TrimBlanks(text.substr(1)), &moment)) return false;
    }
  }
  date->days = AutomationFromDateTime(moment);
  return true;
}

std::string FormatDate(Date date, std::string_view pattern) {
  const std::optional<CivilDateTime> moment = DateTimeFromAutomation(date.days);
  if (!moment) Raise(kErrInvalidCall);
  std::string out;
  bool after_hour = false;
  for (std::size_t i = 0; i < pattern.size();) {
    const char letter = pattern[i];
    std::size_t run = 1;
    while (i + run < pattern.size() && pattern[i + run] == letter) ++run;
    const std::string_view token = pattern.substr(i, run);
    if (token == "yyyy") {
      out += Padded(moment->date.year, 4);
    } else if (token == "yy") {
      out += Padded(moment->date.year % 100, 2);
    } else if (token == "mmm") {
      out += kMonths[static_cast<std::size_t>(moment->date.month - 1)];
    } else if (token == "nn" || (token == "mm" && after_hour)) {
      out += Padded(moment->minute, 2);
    } else if (token == "mm") {
      out += Padded(moment->date.month, 2);
    } else if (token == "dd") {
      out += Padded(moment->date.day, 2);
    } else if (token == "hh") {
      out += Padded(moment->hour, 2);
    } else if (token == "ss") {
      out += Padded(moment->second, 2);
    } else {
      out += token;
    }
    if ((letter >= 'a' && letter <= 'z') && run >= 2) after_hour = token == "hh";
    i += run;
  }
  return out;
}

}  // namespace pv::automation

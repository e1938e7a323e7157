// Stored property values. Tested by wab_book_test.cc and mapi_values_test.cc.
#include "providers/converter/model/mapi_values.h"

#include <cmath>
#include <string>
#include <utility>

#include "base/bytes.h"
#include "providers/converter/text/decode.h"

namespace pv::converter {
namespace {

constexpr double kDaysFrom1601 = 109'205;  // to 1899-12-30
constexpr std::uint64_t kStepsPerSecond = 10'000'000;
constexpr std::uint64_t kSecondsPerDay = 86'400;
constexpr std::uint64_t kLastSecond = 265'046'774'399;  // the end of the year 9999

}  // namespace

std::optional<automation::Date> DateFromFileTime(std::uint64_t steps) {
  const std::uint64_t seconds = steps / kStepsPerSecond;
  // Nought stands for no moment; what was before 1900 does too.
  if (steps == 0 || seconds > kLastSecond) return std::nullopt;
  const double days = static_cast<double>(seconds / kSecondsPerDay) - kDaysFrom1601;
  if (days < 0) return std::nullopt;
  return automation::Date{days + static_cast<double>(seconds % kSecondsPerDay) /
                                     static_cast<double>(kSecondsPerDay)};
}

void AddMapiValue(PropertyTag tag, const std::vector<std::string_view>& values, Contact* contact) {
  if (values.empty()) return;
  const std::string_view value = values.front();
  switch (tag & 0xFFFF) {
    case 0x001F:
      contact->AddText(tag - 1, FromUtf16Le(value));
      break;
    case 0x001E:
      contact->AddText(tag, Utf8OrAnsi(value.substr(0, value.find('\0'))));
      break;
    case 0x101F: {
      automation::TextArray texts;
      for (const std::string_view text : values) texts.push_back(FromUtf16Le(text));
      contact->Add(tag - 1, std::move(texts));
      break;
    }
    case 0x0040:
      if (value.size() >= 8) {
        auto date = DateFromFileTime(LoadLe64(value.data()));
        if (!date) break;
        // Midnight where it was typed in, kept in universal time: the nearest midnight is the day.
        if (tag == kBirthday || tag == kWeddingAnniversary)
          date->days = std::floor(date->days + 0.5);
        contact->Add(tag, *date);
      }
      break;
    case 0x0003:
      if (value.size() >= 4) {
        contact->Add(tag, static_cast<std::int32_t>(LoadLe32(value.data())));
      }
      break;
    case 0x000B:
      if (value.size() >= 2) contact->Add(tag, LoadLe16(value.data()) != 0);
      break;
    case 0x0102:
      contact->Add(tag, automation::Bytes(value.begin(), value.end()));
      break;
    default:
      break;
  }
}

std::optional<Member> OneOffMember(std::string_view identifier, std::size_t names_at, bool utf16) {
  if (identifier.size() <= names_at) return std::nullopt;
  std::string_view rest = identifier.substr(names_at);
  std::string parts[3];  // name, address type, address
  for (std::string& part : parts) {
    if (utf16) {
      std::size_t end = 0;
      while (end + 1 < rest.size() && (rest[end] != '\0' || rest[end + 1] != '\0')) end += 2;
      part = FromUtf16Le(rest.substr(0, end));
      rest.remove_prefix(std::min(end + 2, rest.size()));
    } else {
      const std::size_t end = std::min(rest.find('\0'), rest.size());
      part = Utf8OrAnsi(rest.substr(0, end));
      rest.remove_prefix(std::min(end + 1, rest.size()));
    }
  }
  if (TrimSpace(parts[2]).empty()) return std::nullopt;
  return Member::OfAddress(std::move(parts[2]), std::move(parts[0]));
}

}  // namespace pv::converter

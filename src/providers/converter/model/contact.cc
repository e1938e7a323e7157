// Properties of one contact. Tested by contact_test.cc.
#include "providers/converter/model/contact.h"

#include <algorithm>
#include <optional>

#include "base/text.h"

namespace pv::converter {
namespace {

constexpr std::int64_t kSecondsPerDay = 86'400;
constexpr double kUnixEpoch = 25'569;  // 1970-01-01 in days since 1899-12-30

bool IsBlank(std::string_view text) {
  return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

}  // namespace

automation::Value* Contact::Slot(PropertyTag tag) {
  for (Property& property : properties_) {
    if (property.first == tag) return &property.second;
  }
  return nullptr;
}

const automation::Value* Contact::Find(PropertyTag tag) const {
  return const_cast<Contact*>(this)->Slot(tag);
}

std::string_view Contact::Text(PropertyTag tag) const {
  const automation::Value* const value = Find(tag);
  const std::string* const text = value != nullptr ? value->TryGet<std::string>() : nullptr;
  return text != nullptr ? std::string_view(*text) : std::string_view();
}

void Contact::Clear() {
  properties_.clear();
  properties_.reserve(24);
  categories_.clear();
  addresses_.clear();
}

void Contact::AddText(PropertyTag tag, std::string_view text) {
  if (!IsBlank(text) && Slot(tag) == nullptr) properties_.emplace_back(tag, text);
}

void Contact::PutText(PropertyTag tag, std::string_view text) {
  if (IsBlank(text)) return;
  if (automation::Value* const there = Slot(tag)) {
    there->AssignText(text);
  } else {
    properties_.emplace_back(tag, text);
  }
}

void Contact::AddLine(PropertyTag tag, std::string_view text) {
  if (IsBlank(text)) return;
  automation::Value* const there = Slot(tag);
  if (there == nullptr) {
    properties_.emplace_back(tag, text);
  } else if (const std::string* const lines = there->TryGet<std::string>()) {
    std::string longer = *lines;
    longer.append("\n").append(text);
    *there = automation::Value(std::move(longer));
  }
}

void Contact::Add(PropertyTag tag, automation::Value value) {
  if (Slot(tag) == nullptr) properties_.emplace_back(tag, std::move(value));
}

void Contact::AddDate(PropertyTag tag, const CivilDate& date) {
  if (IsValidDate(date)) Add(tag, automation::Date{AutomationFromDateTime({date})});
}

void Contact::AddUnixTime(PropertyTag tag, std::int64_t seconds) {
  // Up to the year 9999, and exact to the second in between.
  if (seconds <= 0 || seconds > 253'402'300'799) return;
  Add(tag, automation::Date{kUnixEpoch + static_cast<double>(seconds) / kSecondsPerDay});
}

void Contact::AddCategory(std::string_view name) {
  name = TrimBlanks(name);
  if (name.empty() ||
      std::find(categories_.begin(), categories_.end(), name) != categories_.end()) {
    return;
  }
  categories_.emplace_back(name);
}

void Contact::AddAddress(std::string_view address) {
  address = TrimBlanks(address);
  if (IsBlank(address)) return;
  for (const std::string& there : addresses_) {
    if (EqualsIgnoreCase(there, address)) return;
  }
  addresses_.emplace_back(address);
}

void Contact::Finish() {
  if (!addresses_.empty()) {
    AddText(kEmail, addresses_.front());
    AddText(kAddressType, "SMTP");
    if (addresses_.size() > 1) Add(kAllAddresses, addresses_);
  }
  if (Slot(kDisplayName) == nullptr) {
    std::string name;
    for (const PropertyTag part : {kGivenName, kMiddleName, kSurname}) {
      const std::string_view text = TrimBlanks(Text(part));
      if (!text.empty() && !name.empty()) name += ' ';
      name += text;
    }
    AddText(kDisplayName, name);
  }
}

}  // namespace pv::converter

// Properties of one contact. Tested by contact_test.cc.
#include "providers/converter/model/contact.h"

#include <algorithm>
#include <utility>

#include "base/text.h"

namespace pv::converter {
namespace {

constexpr std::int64_t kSecondsPerDay = 86'400;
constexpr double kUnixEpoch = 25'569;  // 1970-01-01 in days since 1899-12-30

// Up to this many of a kind are searched one by one.
constexpr std::size_t kFew = 64;

bool IsBlank(std::string_view text) {
  if (!text.empty() && text.front() > ' ') return false;  // nearly always
  return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

}  // namespace

Contact::Index& Contact::Large() {
  if (*index_ == nullptr) *index_ = std::make_unique<Index>();
  return **index_;
}

const Contact::Property* Contact::Slot(PropertyTag tag) const {
  if (properties_.size() > kFew) {
    const auto& known = (*index_)->properties;
    const auto found = known.find(tag);
    return found != known.end() ? &properties_[found->second] : nullptr;
  }
  for (const Property& property : properties_) {
    if (property.tag == tag) return &property;
  }
  return nullptr;
}

void Contact::Append(PropertyTag tag, Property::Kept kept, Place place) {
  properties_.push_back({tag, kept, place});
  if (properties_.size() <= kFew) return;
  auto& known = Large().properties;
  for (std::size_t i = known.size(); i < properties_.size(); ++i) known[properties_[i].tag] = i;
}

Contact::Place Contact::Keep(std::string_view text) {
  const std::size_t offset = texts_.size();
  texts_.append(text);
  return {offset, text.size()};
}

std::string_view Contact::TextOf(const Property& property) const {
  switch (property.kept) {
    case Property::Kept::kText:
      return At(property.place);
    case Property::Kept::kLines:
      return lines_[property.place.offset];
    case Property::Kept::kValue:
      break;
  }
  const auto* const text = values_[property.place.offset].TryGet<std::string>();
  return text != nullptr ? std::string_view(*text) : std::string_view();
}

std::optional<automation::Value> Contact::Find(PropertyTag tag) const {
  const Property* const property = Slot(tag);
  if (property == nullptr) return std::nullopt;
  if (property->kept == Property::Kept::kValue) return values_[property->place.offset];
  return automation::Value(TextOf(*property));
}

std::string_view Contact::Text(PropertyTag tag) const {
  const Property* const property = Slot(tag);
  return property != nullptr ? TextOf(*property) : std::string_view();
}

void Contact::Clear() {
  properties_.clear();
  texts_.clear();
  lines_.clear();
  values_.clear();
  categories_.clear();
  addresses_.clear();
  (*index_).reset();
}

void Contact::AddText(PropertyTag tag, std::string_view text) {
  if (!IsBlank(text) && !Has(tag)) Append(tag, Property::Kept::kText, Keep(text));
}

void Contact::PutText(PropertyTag tag, std::string_view text) {
  if (IsBlank(text)) return;
  const Property* const there = Slot(tag);
  if (there == nullptr) {
    Append(tag, Property::Kept::kText, Keep(text));
    return;
  }
  Property& property = properties_[static_cast<std::size_t>(there - properties_.data())];
  property.kept = Property::Kept::kText;
  property.place = Keep(text);
}

void Contact::AddLine(PropertyTag tag, std::string_view text) {
  if (IsBlank(text)) return;
  const Property* const there = Slot(tag);
  if (there == nullptr) {
    Append(tag, Property::Kept::kText, Keep(text));
    return;
  }
  Property& property = properties_[static_cast<std::size_t>(there - properties_.data())];
  if (property.kept == Property::Kept::kValue) return;
  if (property.kept == Property::Kept::kText) {
    lines_.emplace_back(At(property.place));
    property.kept = Property::Kept::kLines;
    property.place = {lines_.size() - 1, 0};
  }
  lines_[property.place.offset].append("\n").append(text);
}

void Contact::Add(PropertyTag tag, automation::Value value) {
  if (Has(tag)) return;
  values_.push_back(std::move(value));
  Append(tag, Property::Kept::kValue, {values_.size() - 1, 0});
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
  if (name.empty()) return;
  if (categories_.size() >= kFew) {
    auto& known = Large().categories;
    if (known.empty()) {
      for (const std::string& there : categories_) known.emplace(there, true);
    }
    if (!known.emplace(name, true).second) return;
  } else if (std::find(categories_.begin(), categories_.end(), name) != categories_.end()) {
    return;
  }
  categories_.emplace_back(name);
}

void Contact::AddAddress(std::string_view address) {
  address = TrimBlanks(address);
  if (IsBlank(address)) return;
  if (addresses_.size() >= kFew) {
    auto& known = Large().addresses;
    if (known.empty()) {
      for (const Place& there : addresses_) known.emplace(At(there), true);
    }
    if (!known.emplace(address, true).second) return;
  } else {
    for (const Place& there : addresses_) {
      if (EqualsIgnoreCase(At(there), address)) return;
    }
  }
  addresses_.push_back(Keep(address));
}

std::vector<std::string> Contact::addresses() const {
  std::vector<std::string> texts;
  texts.reserve(addresses_.size());
  for (const Place& place : addresses_) texts.emplace_back(At(place));
  return texts;
}

void Contact::Finish() {
  if (!addresses_.empty()) {
    if (!Has(kEmail)) Append(kEmail, Property::Kept::kText, addresses_.front());
    AddText(kAddressType, "SMTP");
    if (addresses_.size() > 1) Add(kAllAddresses, addresses());
  }
  if (!Has(kDisplayName)) {
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

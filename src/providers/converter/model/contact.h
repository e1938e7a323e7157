// One contact of an address book, as every reader gives it.
#ifndef PV_PROVIDERS_CONVERTER_MODEL_CONTACT_H_
#define PV_PROVIDERS_CONVERTER_MODEL_CONTACT_H_

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/date.h"
#include "providers/converter/model/property_tags.h"
#include "pvgroupman/automation/value.h"

namespace pv::converter {

// Properties in the order in which they were added, each once, none empty: text (UTF-8), several
// texts, moments, bytes or numbers as the type in the tag says. Categories stand beside them.
class Contact {
 public:
  using Property = std::pair<PropertyTag, automation::Value>;

  const std::vector<Property>& properties() const { return properties_; }
  const std::vector<std::string>& categories() const { return categories_; }
  bool empty() const { return properties_.empty() && addresses_.empty(); }

  // The value, or null.
  const automation::Value* Find(PropertyTag tag) const;
  // The value when it is text, else "".
  std::string_view Text(PropertyTag tag) const;

  void Clear();

  // Adds the property unless the contact has it or the text is empty (blanks alone count as that).
  void AddText(PropertyTag tag, std::string_view text);
  // Sets the property whether the contact has it or not.
  void PutText(PropertyTag tag, std::string_view text);
  // Adds the text as a further line of the property.
  void AddLine(PropertyTag tag, std::string_view text);
  void Add(PropertyTag tag, automation::Value value);
  // Adds the day when it is one.
  void AddDate(PropertyTag tag, const CivilDate& date);
  // Adds the moment, counted in seconds from 1970-01-01 in universal time, when it is in range.
  void AddUnixTime(PropertyTag tag, std::int64_t seconds);
  void AddCategory(std::string_view name);
  // Adds one address; the first is the contact's own, repetitions are left out.
  void AddAddress(std::string_view address);
  // Every address that was added.
  const std::vector<std::string>& addresses() const { return addresses_; }

  // Settles what follows from the rest: the addresses, their type, and the name to display when
  // only its parts are there. Every reader ends with it.
  void Finish();

 private:
  automation::Value* Slot(PropertyTag tag);

  std::vector<Property> properties_;
  std::vector<std::string> categories_;
  std::vector<std::string> addresses_;
};

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_MODEL_CONTACT_H_

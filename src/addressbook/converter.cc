// Calls of the converter. Tested by address_book_contacts_test.cc, against one that records them.
#include "addressbook/converter.h"

#include <algorithm>

#include "base/date.h"
#include "base/text.h"
#include "platform/system.h"
#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/progid.h"

namespace pv::addressbook {

using automation::CallMember;
using automation::GetProperty;
using automation::Object;
using automation::PutProperty;
using automation::Ref;
using automation::Value;

namespace {

Ref<Object> Item(const Ref<Object>& collection, std::int32_t index) {
  return CallMember(collection, "Item", {Value(index)}).ToObject();
}

// Several texts, however the converter gives them.
std::vector<std::string> Texts(const Value& value) {
  if (const auto* texts = value.TryGet<automation::TextArray>()) return *texts;
  std::vector<std::string> parts;
  if (value.IsEmpty() || value.IsNull()) return parts;
  const std::string joined = value.ToText();
  for (std::size_t from = 0; from <= joined.size();) {
    const std::size_t to = std::min(joined.find(';', from), joined.size());
    const auto part = TrimBlanks(std::string_view(joined).substr(from, to - from));
    if (!part.empty()) parts.emplace_back(part);
    from = to + 1;
  }
  return parts;
}

}  // namespace

ConverterLink::ConverterLink() : converter_(automation::CreateObject(kConverterProgId)) {}

std::int32_t ConverterLink::FormatCount() const {
  return GetProperty(GetProperty(converter_, "Formats").ToObject(), "Count").ToI4();
}

ConverterFormat ConverterLink::FormatAt(std::int32_t index) const {
  const Ref<Object> format = Item(GetProperty(converter_, "Formats").ToObject(), index);
  const std::string code = ToUpper(GetProperty(format, "ID").ToText());
  return {std::string(TrimBlanks(code)), GetProperty(format, "IsImportAvailable").ToBoolean(),
          GetProperty(format, "IsApplicationInstalled").ToBoolean()};
}

std::string ConverterLink::FormatName(std::int32_t index) const {
  const Ref<Object> format = Item(GetProperty(converter_, "Formats").ToObject(), index);
  return format->IdOfName("Name") == Object::kNoSuchId ? "" : GetProperty(format, "Name").ToText();
}

std::string ConverterLink::FormatReason(std::int32_t index) const {
  const Ref<Object> format = Item(GetProperty(converter_, "Formats").ToObject(), index);
  return format->IdOfName("Reason") == Object::kNoSuchId ? ""
                                                         : GetProperty(format, "Reason").ToText();
}

void ConverterLink::SetSource(const std::string& format, const std::string& location, bool silent) {
  const CivilDateTime now = platform::CurrentSystem().process->LocalTime();
  PutProperty(converter_, "TimeStamp", automation::Date{AutomationFromDateTime(now)});
  PutProperty(converter_, "Format", format);
  PutProperty(converter_, "Location", location);
  PutProperty(converter_, "SilentMode", std::int32_t{silent ? -1 : 0});
  contacts_ = GetProperty(converter_, "Contacts").ToObject();
}

void ConverterLink::IncludeDistributionLists(bool include) {
  PutProperty(contacts_, "IncludeDistributionLists", include);
}

std::int32_t ConverterLink::Count() const { return GetProperty(contacts_, "Count").ToI4(); }

Ref<Object> ConverterLink::ContactAt(std::int32_t position) const {
  return Item(contacts_, position);
}

Ref<Object> ConverterLink::ContactFromId(const Value& id) const {
  return CallMember(contacts_, "GetContactFromID", {id}).ToObject();
}

std::vector<CountedName> ConverterLink::Names(const char* member) const {
  std::vector<CountedName> names;
  const Ref<Object> collection = GetProperty(converter_, member).ToObject();
  const std::int32_t count = GetProperty(collection, "Count").ToI4();
  for (std::int32_t i = 1; i <= count; ++i) {
    const Ref<Object> name = Item(collection, i);
    names.push_back({GetProperty(name, "Name").ToText(), GetProperty(name, "Count").ToI4()});
  }
  return names;
}

std::vector<CountedName> ConverterLink::Categories() const { return Names("Categories"); }

std::vector<CountedName> ConverterLink::DistributionLists() const {
  return Names("DistributionLists");
}

std::vector<std::string> ConverterLink::Warnings() const {
  if (converter_->IdOfName("Warnings") == Object::kNoSuchId) return {};
  const Value warnings = GetProperty(converter_, "Warnings");
  if (const auto* texts = warnings.TryGet<automation::TextArray>()) return *texts;
  return {};
}

Value IdOf(const Ref<Object>& contact) { return GetProperty(contact, "ID"); }

std::vector<std::int32_t> TagsOf(const Ref<Object>& contact) {
  const Ref<Object> properties = GetProperty(contact, "Properties").ToObject();
  std::vector<std::int32_t> tags;
  const std::int32_t count = GetProperty(properties, "Count").ToI4();
  for (std::int32_t i = 1; i <= count; ++i) {
    tags.push_back(CallMember(properties, "Item", {Value(i)}).ToI4());
  }
  return tags;
}

std::vector<std::string> CategoriesOf(const Ref<Object>& contact) {
  return Texts(PropertyOf(contact, "Categories"));
}

std::vector<std::string> DistributionListsOf(const Ref<Object>& contact) {
  return Texts(PropertyOf(contact, "DistributionLists"));
}

Value PropertyOf(const Ref<Object>& contact, const Value& property) {
  return CallMember(contact, "GetProperty", {property});
}

}  // namespace pv::addressbook

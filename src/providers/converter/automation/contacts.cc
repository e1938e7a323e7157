// Contacts as objects. Tested by converter_test.cc.
#include "providers/converter/automation/contacts.h"

#include <string>
#include <vector>

#include "base/text.h"
#include "providers/converter/text/decode.h"
#include "pvgroupman/automation/error.h"
#include "pvgroupman/automation/member_table.h"

namespace pv::converter {

using automation::MakeObject;
using automation::Ref;
using automation::TextArray;
using automation::Value;

PropertyTags::PropertyTags(const Contact& contact) {
  tags_.reserve(contact.property_count());
  for (std::size_t i = 0; i < contact.property_count(); ++i) tags_.push_back(contact.TagAt(i));
}

std::int32_t PropertyTags::Item(std::int32_t Index) const {
  if (Index < 1 || Index > GetCount()) {
    automation::Raise(automation::kErrSubscript, "PropertyTags::Item");
  }
  return static_cast<std::int32_t>(tags_[static_cast<std::size_t>(Index - 1)]);
}

const automation::MemberTable& PropertyTags::Members() const {
  static const automation::MemberTable table = automation::Class(kClassName)
                                                   .Get("Count", &PropertyTags::GetCount)
                                                   .Default("Item", &PropertyTags::Item, {"Index"});
  return table;
}

ConverterContact::ConverterContact(std::shared_ptr<Roster> roster, std::uint32_t position)
    : roster_(std::move(roster)), position_(position), contact_(roster_->TakeContact()) {
  Read(roster_->asked());
}

void ConverterContact::Read(const Wanted& wanted) const {
  read_ = {};
  ThrowUnlessOk(roster_->ReadSome(position_, wanted, contact_.get()), "Contacts::GetContactFromID");
  read_ = wanted;
}

const Contact& ConverterContact::Whole() const {
  if (!read_.everything()) Read(Wanted::Everything());
  return *contact_;
}

ConverterContact::~ConverterContact() { roster_->GiveBack(std::move(contact_)); }

Ref<PropertyTags> ConverterContact::GetProperties() const {
  return MakeObject<PropertyTags>(Whole());
}

Value ConverterContact::GetDistributionLists() const {
  TextArray names;
  for (const std::uint32_t list : roster_->ListsOf(position_)) {
    names.push_back(roster_->lists()[list].name);
  }
  return names;
}

Value ConverterContact::GetProperty(const Value& PropertyID) const {
  PropertyTag tag = 0;
  if (const std::string* const name = PropertyID.TryGet<std::string>()) {
    if (EqualsIgnoreCase(*name, "Categories")) return GetCategories();
    if (EqualsIgnoreCase(*name, "DistributionLists")) return GetDistributionLists();
  }
  tag = static_cast<PropertyTag>(PropertyID.ToI4());
  roster_->Ask(tag);
  if (!read_.Has(tag)) Whole();
  std::optional<Value> value = contact_->Find(tag);
  if (!value) return {};
  const TextArray* const texts = value->TryGet<TextArray>();
  if (texts == nullptr) return *std::move(value);
  std::string joined;
  for (const std::string& text : *texts) joined.append(joined.empty() ? "" : "; ").append(text);
  return joined;
}

const automation::MemberTable& ConverterContact::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Method("GetProperty", &ConverterContact::GetProperty, {"PropertyID"})
          .Get("ID", &ConverterContact::GetId)
          .Get("Properties", &ConverterContact::GetProperties)
          .Get("Categories", &ConverterContact::GetCategories)
          .Get("DistributionLists", &ConverterContact::GetDistributionLists);
  return table;
}

std::int32_t ConverterContacts::GetCount() const {
  const std::shared_ptr<Roster> roster = session_->Book();
  return static_cast<std::int32_t>(include_lists_ ? roster->count() : roster->own_count());
}

Ref<ConverterContact> ConverterContacts::Item(std::int32_t Index) const {
  if (Index > GetCount()) automation::Raise(automation::kErrSubscript, "Contacts::Item");
  return GetContactFromId(Index);
}

Ref<ConverterContact> ConverterContacts::GetContactFromId(std::int32_t ID) const {
  std::shared_ptr<Roster> roster = session_->Book();
  if (ID < 1 || static_cast<std::uint32_t>(ID) > roster->count()) {
    automation::Raise(automation::kErrSubscript, "Contacts::GetContactFromID");
  }
  return MakeObject<ConverterContact>(std::move(roster), static_cast<std::uint32_t>(ID - 1));
}

const automation::MemberTable& ConverterContacts::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Method("GetContactFromID", &ConverterContacts::GetContactFromId, {"ID"})
          .Property("IncludeDistributionLists", &ConverterContacts::GetIncludeDistributionLists,
                    &ConverterContacts::SetIncludeDistributionLists)
          .Get("Count", &ConverterContacts::GetCount)
          .Default("Item", &ConverterContacts::Item, {"Index"});
  return table;
}

}  // namespace pv::converter

// Contacts as automation objects; converter.h shows their use.
#ifndef PV_PROVIDERS_CONVERTER_AUTOMATION_CONTACTS_H_
#define PV_PROVIDERS_CONVERTER_AUTOMATION_CONTACTS_H_

#include <cstdint>
#include <memory>
#include <utility>

#include "providers/converter/automation/session.h"
#include "providers/converter/model/contact.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/automation/value.h"

namespace pv::converter {

// The property tags of a contact. Positions count from 1.
class PropertyTags : public automation::Object {
 public:
  static constexpr const char* kClassName = "PropertyTags";
  explicit PropertyTags(const Contact& contact);

  std::int32_t GetCount() const { return static_cast<std::int32_t>(tags_.size()); }
  std::int32_t Item(std::int32_t Index) const;

  const automation::MemberTable& Members() const override;

 private:
  std::vector<PropertyTag> tags_;
};

// One contact as it was when it was asked for. A walk asks the same of every contact: what was
// asked of those before it is read at once, and the rest when it is asked for.
class ConverterContact : public automation::Object {
 public:
  static constexpr const char* kClassName = "Contact";

  // Reads the contact at a position; throws automation::Error.
  ConverterContact(std::shared_ptr<Roster> roster, std::uint32_t position);
  ~ConverterContact() override;

  std::int32_t GetId() const { return static_cast<std::int32_t>(position_ + 1); }
  automation::Ref<PropertyTags> GetProperties() const;
  automation::Value GetCategories() const { return Whole().categories(); }
  automation::Value GetDistributionLists() const;
  automation::Value GetProperty(const automation::Value& PropertyID) const;

  const automation::MemberTable& Members() const override;

 private:
  void Read(const Wanted& wanted) const;
  const Contact& Whole() const;

  std::shared_ptr<Roster> roster_;
  std::uint32_t position_;
  std::unique_ptr<Contact> contact_;
  mutable Wanted read_;  // what of it is there
};

class ConverterContacts : public automation::Object {
 public:
  static constexpr const char* kClassName = "Contacts";
  explicit ConverterContacts(std::shared_ptr<Session> session) : session_(std::move(session)) {}

  bool GetIncludeDistributionLists() const { return include_lists_; }
  void SetIncludeDistributionLists(bool NewValue) { include_lists_ = NewValue; }

  std::int32_t GetCount() const;
  automation::Ref<ConverterContact> Item(std::int32_t Index) const;
  // IDs stay the same whatever IncludeDistributionLists says.
  automation::Ref<ConverterContact> GetContactFromId(std::int32_t ID) const;

  const automation::MemberTable& Members() const override;

 private:
  std::shared_ptr<Session> session_;
  bool include_lists_ = false;
};

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_AUTOMATION_CONTACTS_H_

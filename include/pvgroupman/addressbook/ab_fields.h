// The columns that an open address book has.
#ifndef PVGROUPMAN_ADDRESSBOOK_AB_FIELDS_H_
#define PVGROUPMAN_ADDRESSBOOK_AB_FIELDS_H_

#include <cstdint>
#include <string>

#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/collection.h"
#include "pvgroupman/automation/object.h"

namespace pv::addressbook {

// One column: a property of contacts, by its MAPI tag (the property's number in the high 16 bits,
// its type in the low ones), and the names that go with it.
class PV_API ABField : public automation::Object {
 public:
  static constexpr const char* kClassName = "ABField";

  // The tag; 0 until it is set.
  std::int32_t GetPropertyId() const { return property_id_; }

  // Stores the tag and sets both names: those of the catalogue, or the tag's decimal text (with
  // its minus sign) when the catalogue does not have it.
  void SetPropertyId(std::int32_t NewValue);

  // The field's name in a record, "BusinessPhone".
  std::string GetName() const { return name_; }

  // The name for people, "Business Telephone Number". Hosts do not see it.
  const std::string& display_name() const { return display_name_; }

  const automation::MemberTable& Members() const override;

 private:
  std::int32_t property_id_ = 0;
  std::string display_name_;
  std::string name_;
};

// Columns in the order in which they were met, keyed by the decimal text of their tags. Item of a
// key or position that is not there fails with error 5 or 9.
class PV_API ABFields : public automation::CollectionOf<ABField> {
 public:
  static constexpr const char* kClassName = "ABFields";

  // Appends the column of a tag and returns it; a tag that is there already adds nothing, and its
  // column is returned.
  automation::Ref<ABField> Add(std::int32_t PropertyID);

  const automation::MemberTable& Members() const override;
};

}  // namespace pv::addressbook

#endif  // PVGROUPMAN_ADDRESSBOOK_AB_FIELDS_H_

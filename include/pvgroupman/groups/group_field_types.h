// The fields of an open group, in one vocabulary for every kind of group.
#ifndef PVGROUPMAN_GROUPS_GROUP_FIELD_TYPES_H_
#define PVGROUPMAN_GROUPS_GROUP_FIELD_TYPES_H_

#include <cstdint>
#include <string>

#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/collection.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/groups/types.h"

namespace pv::groups {

// One field. A plain holder.
class PV_API GroupFieldType : public automation::Object {
 public:
  static constexpr const char* kClassName = "GroupFieldType";

  // The name in proper case, "Email".
  std::string GetName() const { return name_; }
  void SetName(const std::string& NewValue) { name_ = NewValue; }

  // What the field holds.
  PVGroupFieldType GetType() const { return type_; }
  void SetType(PVGroupFieldType NewValue) { type_ = NewValue; }

  // The field's width as its store counts it.
  std::int32_t GetLength() const { return length_; }
  void SetLength(std::int32_t NewValue) { length_ = NewValue; }

  const automation::MemberTable& Members() const override;

 private:
  std::string name_;
  PVGroupFieldType type_ = PVGroupFieldType::kText;
  std::int32_t length_ = 0;
};

// Fields in order, keyed by name (letter case ignored). Item of a name or position that is not
// there fails with error 5 or 9.
class PV_API GroupFieldTypes : public automation::CollectionOf<GroupFieldType> {
 public:
  static constexpr const char* kClassName = "GroupFieldTypes";

  // Appends an entry and returns it; error 457, adding nothing, when the name is taken.
  automation::Ref<GroupFieldType> Add(const std::string& Name, PVGroupFieldType Type_,
                                      std::int32_t Length);

  // Removes every entry.
  void Clear();

  const automation::MemberTable& Members() const override;
};

}  // namespace pv::groups

#endif  // PVGROUPMAN_GROUPS_GROUP_FIELD_TYPES_H_

// Definitions of the fields of a group to be created.
#ifndef PVGROUPMAN_TABLESTORE_FIELD_DEFS_H_
#define PVGROUPMAN_TABLESTORE_FIELD_DEFS_H_

#include <cstdint>
#include <string>

#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/collection.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/tablestore/types.h"

namespace pv::tablestore {

// One field. A plain holder: nothing is checked before a table is made from it.
class PV_API FieldDef : public automation::Object {
 public:
  static constexpr const char* kClassName = "FieldDef";

  // The field's name, at most 10 characters when a table is made.
  std::string GetName() const { return name_; }
  void SetName(const std::string& NewValue) { name_ = NewValue; }

  // What the field holds.
  PVFieldType GetType() const { return type_; }
  void SetType(PVFieldType NewValue) { type_ = NewValue; }

  // Width in bytes; dates, currency and booleans have one of their own.
  std::int16_t GetLength() const { return length_; }
  void SetLength(std::int16_t NewValue) { length_ = NewValue; }

  // Decimal places of a number.
  std::int16_t GetDecimalPlaces() const { return decimal_places_; }
  void SetDecimalPlaces(std::int16_t NewValue) { decimal_places_ = NewValue; }

  // Whether the field can hold Null.
  bool GetNullsAllowed() const { return nulls_allowed_; }
  void SetNullsAllowed(bool NewValue) { nulls_allowed_ = NewValue; }

  const automation::MemberTable& Members() const override;

 private:
  std::string name_;
  PVFieldType type_ = PVFieldType::kText;
  std::int16_t length_ = 0;
  std::int16_t decimal_places_ = 0;
  bool nulls_allowed_ = false;
};

// The fields of a group, in order, keyed by name (letter case ignored).
class PV_API FieldDefs : public automation::CollectionOf<FieldDef> {
 public:
  static constexpr const char* kClassName = "FieldDefs";

  // Appends a definition and returns it; error 457, adding nothing, when the name is taken.
  automation::Ref<FieldDef> Add(const std::string& Name, PVFieldType Type_, std::int16_t Length,
                                std::int16_t DecimalPlaces, bool NullsAllowed);

  // One definition, by 1-based position or name; an empty reference when there is none.
  automation::Ref<FieldDef> Item(const automation::Value& Index) const;

  const automation::MemberTable& Members() const override;
};

}  // namespace pv::tablestore

#endif  // PVGROUPMAN_TABLESTORE_FIELD_DEFS_H_

// The values of one record.
#ifndef PVGROUPMAN_TABLESTORE_FIELDS_H_
#define PVGROUPMAN_TABLESTORE_FIELDS_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/collection.h"
#include "pvgroupman/automation/enumerator.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/automation/value.h"

namespace pv::tablestore {

class Fields;
class RecordView;

// A name and a value of any subtype. One that was taken from a cursor's Fields belongs to the
// current record: setting its value and calling the cursor's Update writes it. Once the cursor
// moves, or starts a new record, it is on its own and keeps the value it had.
class PV_API Field : public automation::Object {
 public:
  static constexpr const char* kClassName = "Field";

  // A field on its own, with no name and an Empty value.
  Field() = default;

  // The name; for a field of a table in upper case.
  std::string GetName() const { return name_; }

  // Renames the object; the key under which a collection holds it stays.
  void SetName(const std::string& NewValue);

  // The value. For a field of a cursor it is decoded from the record when first asked for, which
  // can fail with the table engine's code when a memo is damaged.
  automation::Value GetValue() const { return Current(); }

  // The value without a copy; valid until it is set or the cursor moves.
  const automation::Value& Current() const;

  // Sets the value, unchecked.
  void SetValue(const automation::Value& NewValue);

  const automation::MemberTable& Members() const override;

 private:
  friend class Fields;
  friend class RecordView;
  ~Field() override = default;

  std::string name_;
  mutable automation::Value value_;
  RecordView* view_ = nullptr;         // the cursor's record, or null when on its own
  std::int32_t ordinal_ = 0;           // 0-based, in that record
  mutable std::uint64_t decoded_ = 0;  // the view's epoch for which value_ holds
  std::uint64_t assigned_ = 0;         // the view's epoch in which the host set the value
  bool set_by_host_ = true;            // on its own: whether Update must write it
};

// The values of a record, in field order, keyed by field name (letter case ignored). A cursor
// keeps one Fields object all its life and refills it as it moves; it is empty when the cursor
// is on no record.
class PV_API Fields : public automation::Object {
 public:
  static constexpr const char* kClassName = "Fields";

  Fields() = default;

  // Appends a new field and returns it; error 457, adding nothing, when the name is taken.
  automation::Ref<Field> Add(const std::string& Name, const automation::Value& Value);

  // Number of fields.
  std::int32_t Count() const;

  // Removes one field. A 32-bit integer is a 0-based position, any other number a 1-based one,
  // text a name. Errors: 5 no such name, 9 no such position, 13 neither number nor text.
  void Delete(const automation::Value& Index);

  // One field, by the same kinds of index; an empty reference when there is none.
  automation::Ref<Field> Item(const automation::Value& Index) const;

  // One field by name, or an empty reference, without the cost of a Value.
  automation::Ref<Field> Find(std::string_view name) const;

  // The fields in order.
  automation::Ref<automation::Enumerator> NewEnum() const;

  const automation::MemberTable& Members() const override;

 private:
  friend class Field;
  friend class RecordView;
  ~Fields() override;

  // Turns a cursor's live view into fields of their own with the values of this moment.
  void Detach() const;

  mutable RecordView* view_ = nullptr;  // the record shown, or null: then items_ are the fields
  mutable automation::KeyedCollection items_;
};

}  // namespace pv::tablestore

#endif  // PVGROUPMAN_TABLESTORE_FIELDS_H_

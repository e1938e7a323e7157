// Field and Fields. Tested by fields_test.cc and record_view_test.cc.
#include "pvgroupman/tablestore/fields.h"

#include <cmath>

#include "pvgroupman/automation/member_table.h"
#include "tablestore/record_view.h"

namespace pv::tablestore {

void Field::SetName(const std::string& NewValue) {
  // The name of a connected field is the table's; a renamed one belongs to the host.
  if (view_ != nullptr) view_->Detach();
  name_ = NewValue;
}

const automation::Value& Field::Current() const {
  return view_ != nullptr ? view_->ValueOf(*this) : value_;
}

void Field::SetValue(const automation::Value& NewValue) {
  if (view_ != nullptr) {
    view_->Assign(*this, NewValue);
  } else {
    value_ = NewValue;
    set_by_host_ = true;
  }
}

const automation::MemberTable& Field::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Property("Name", &Field::GetName, &Field::SetName)
          .Property("Value", &Field::GetValue, &Field::SetValue);
  return table;
}

Fields::~Fields() = default;

void Fields::Detach() const {
  if (view_ != nullptr) view_->Detach();
}

automation::Ref<Field> Fields::Add(const std::string& Name, const automation::Value& Value) {
  Detach();
  automation::Ref<Field> field = automation::MakeObject<Field>();
  field->name_ = Name;
  field->value_ = Value;
  items_.Add(Name, field);
  return field;
}

std::int32_t Fields::Count() const { return view_ != nullptr ? view_->Count() : items_.Count(); }

namespace {

// 32-bit integers count from 0 here, everything else as the collection has it.
automation::Value CollectionIndex(const automation::Value& index) {
  const auto* position = index.TryGet<std::int32_t>();
  if (position == nullptr) return index;
  // The greatest one stays outside the collection instead of wrapping round.
  return automation::Value(static_cast<double>(*position) + 1);
}

automation::Ref<Field> Typed(const automation::Ref<automation::Object>& item) {
  return automation::Ref<Field>(static_cast<Field*>(item.get()));
}

}  // namespace

void Fields::Delete(const automation::Value& Index) {
  Detach();
  items_.Delete(CollectionIndex(Index));
}

automation::Ref<Field> Fields::Item(const automation::Value& Index) const {
  if (const auto* name = Index.TryGet<std::string>()) return Find(*name);
  const automation::Value index = CollectionIndex(Index);
  if (view_ == nullptr) {
    const auto* item = items_.TryItem(index);
    return item != nullptr ? Typed(*item) : automation::Ref<Field>();
  }
  if (!index.IsNumeric()) return {};
  const double position = std::nearbyint(index.ToR8());
  if (!(position >= 1 && position <= view_->Count())) return {};
  return view_->FieldAt(static_cast<std::int32_t>(position) - 1);
}

automation::Ref<Field> Fields::Find(std::string_view name) const {
  if (view_ != nullptr) {
    const std::int32_t ordinal = view_->OrdinalOf(name);
    return ordinal < 0 ? automation::Ref<Field>() : view_->FieldAt(ordinal);
  }
  const auto* item = items_.Find(name);
  return item != nullptr ? Typed(*item) : automation::Ref<Field>();
}

automation::Ref<automation::Enumerator> Fields::NewEnum() const {
  if (view_ == nullptr) return items_.NewEnum();
  std::vector<automation::Value> items;
  for (std::int32_t i = 0; i < view_->Count(); ++i) items.emplace_back(view_->FieldAt(i));
  return automation::MakeObject<automation::Enumerator>(std::move(items));
}

const automation::MemberTable& Fields::Members() const {
  static const automation::MemberTable table = automation::Class(kClassName)
                                                   .Method("Add", &Fields::Add, {"Name", "Value"})
                                                   .Get("Count", &Fields::Count)
                                                   .Method("Delete", &Fields::Delete, {"Index"})
                                                   .Default("Item", &Fields::Item, {"Index"})
                                                   .Enumerator("NewEnum", &Fields::NewEnum);
  return table;
}

}  // namespace pv::tablestore

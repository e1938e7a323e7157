// Names with the number of contacts behind each: categories and distribution lists.
#ifndef PV_PROVIDERS_CONVERTER_AUTOMATION_NAMES_H_
#define PV_PROVIDERS_CONVERTER_AUTOMATION_NAMES_H_

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "pvgroupman/automation/enumerator.h"
#include "pvgroupman/automation/object.h"

namespace pv::converter {

struct CountedNameData {
  std::string name;
  std::int32_t count = 0;
  std::string nickname;
  std::string description;
};

class CountedName : public automation::Object {
 public:
  static constexpr const char* kClassName = "CountedName";
  explicit CountedName(CountedNameData data) : data_(std::move(data)) {}

  std::string GetName() const { return data_.name; }
  std::int32_t GetCount() const { return data_.count; }
  std::string GetNickName() const { return data_.nickname; }
  std::string GetDescription() const { return data_.description; }

  const automation::MemberTable& Members() const override;

 private:
  CountedNameData data_;
};

// Positions count from 1. What was there when it was made.
class CountedNames : public automation::Object {
 public:
  static constexpr const char* kClassName = "CountedNames";
  explicit CountedNames(std::vector<CountedNameData> names) : names_(std::move(names)) {}

  std::int32_t GetCount() const { return static_cast<std::int32_t>(names_.size()); }
  automation::Ref<CountedName> Item(std::int32_t Index) const;
  automation::Ref<automation::Enumerator> NewEnum() const;

  const automation::MemberTable& Members() const override;

 private:
  std::vector<CountedNameData> names_;
};

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_AUTOMATION_NAMES_H_

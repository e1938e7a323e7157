// A list of objects that have names: what ADO's collections are.
#ifndef PV_PROVIDERS_ADODB_NAMED_LIST_H_
#define PV_PROVIDERS_ADODB_NAMED_LIST_H_

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "base/text.h"
#include "providers/adodb/failure.h"
#include "pvgroupman/automation/enumerator.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/automation/value.h"

namespace pv::adodb {

// A fixed list of objects with names; positions count from 0, as ADO's do. An item that is not
// there is error 3265.
template <typename T>
class NamedList : public automation::Object {
 public:
  std::int32_t Count() const { return static_cast<std::int32_t>(items_.size()); }
  automation::Ref<T> Item(const automation::Value& Index) const;
  automation::Ref<automation::Enumerator> NewEnum() const;

 protected:
  std::vector<automation::Ref<T>> items_;
};

template <typename T>
automation::Ref<T> NamedList<T>::Item(const automation::Value& Index) const {
  if (const auto* name = Index.TryGet<std::string>()) {
    for (const automation::Ref<T>& item : items_) {
      if (EqualsIgnoreCase(item->GetName(), *name)) return item;
    }
    Raise(kErrItemNotFound, T::kClassName, *name);
  }
  const double position = std::nearbyint(Index.ToR8());
  if (!(position >= 0) || position >= static_cast<double>(items_.size())) {
    Raise(kErrItemNotFound, T::kClassName, Index.ToText());
  }
  return items_[static_cast<std::size_t>(position)];
}

template <typename T>
automation::Ref<automation::Enumerator> NamedList<T>::NewEnum() const {
  std::vector<automation::Value> items(items_.begin(), items_.end());
  return automation::MakeObject<automation::Enumerator>(std::move(items));
}

}  // namespace pv::adodb

#endif  // PV_PROVIDERS_ADODB_NAMED_LIST_H_

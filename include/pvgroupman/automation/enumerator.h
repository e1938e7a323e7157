// Walking the items of a collection.
#ifndef PVGROUPMAN_AUTOMATION_ENUMERATOR_H_
#define PVGROUPMAN_AUTOMATION_ENUMERATOR_H_

#include <cstddef>
#include <utility>
#include <vector>

#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/automation/value.h"

namespace pv::automation {

// Yields the items that the collection had when the enumerator was made, in the order in which
// they were added; later additions and removals do not disturb it. It holds the items meanwhile.
class PV_API Enumerator : public Object {
 public:
  static constexpr const char* kClassName = "Enumerator";

  explicit Enumerator(std::vector<Value> items) : items_(std::move(items)) {}

  // Moves to the next item; false, leaving `item` alone, when there is none.
  bool Next(Value* item);

  // Passes over `count` items; false when there were fewer.
  bool Skip(std::size_t count);

  // Back to before the first item.
  void Reset() { next_ = 0; }

  // Another enumerator of the same items at the same place.
  Ref<Enumerator> Clone() const;

  // No members: doors give their callers an enumerator of their own kind over this one.
  const MemberTable& Members() const override;

 private:
  std::vector<Value> items_;
  std::size_t next_ = 0;
};

}  // namespace pv::automation

#endif  // PVGROUPMAN_AUTOMATION_ENUMERATOR_H_

// Enumerators over a snapshot of items. Tested by collection_test.cc.
#include "pvgroupman/automation/enumerator.h"

#include "pvgroupman/automation/member_table.h"

namespace pv::automation {

bool Enumerator::Next(Value* item) {
  if (next_ >= items_.size()) return false;
  *item = items_[next_++];
  return true;
}

bool Enumerator::Skip(std::size_t count) {
  if (count > items_.size() - next_) {
    next_ = items_.size();
    return false;
  }
  next_ += count;
  return true;
}

Ref<Enumerator> Enumerator::Clone() const {
  Ref<Enumerator> clone = MakeObject<Enumerator>(items_);
  clone->next_ = next_;
  return clone;
}

const MemberTable& Enumerator::Members() const {
  static const MemberTable table = Class("Enumerator");
  return table;
}

}  // namespace pv::automation
